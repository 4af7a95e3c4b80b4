#pragma once

#include <string>

#include "fuzz/Choices.h"

namespace radvex::fuzz {

/// Arguments of WriteImage beside the path, and what to expect of the file.
struct WriteInput {
    velmora::Image image;
    std::string compression{};
    vint first = 0; ///< parameters of the compression
    vint second = 0;
    velmora::Store metadata = velmora::Store::empty();
    velmora::Store overlays = velmora::Store::empty();
    velmora::Store overlayOptions = velmora::Store::empty();
    std::string defaultKeyword{}; ///< a default value that is another during the call; empty: none is
    std::string defaultValue{};

    /// The metadata says of the pixels what the image does not: how many frames, in which layout.
    bool hasOtherLayout = false;
};

/// What an input says to write: sizes, type, compression and layout by its choices, the rest by the bytes behind.
///
///   byte 0   type (of 5), layout, channels (of 8)
///   byte 1   slices (of 8); 0 is a 2D image
///   byte 2   rows; byte 3 columns: the number and one, from 250 on a side of some interest
///   byte 4   compression; byte 5 and 6 its parameters
///   byte 7   how pixels come about
WriteInput writeInputOf(Bytes input);

} // namespace radvex::fuzz

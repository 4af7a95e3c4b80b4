#pragma once

#include <functional>
#include <string>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "host/Host.h"
#include "host/Value.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/FileWindow.h"

namespace radvex::volume {

/// The modality values of a file (HU for most CT) as one array: [row][column], or [frame][row][column] for more than
/// one frame.
struct ModalityArray {
    vint type = 0; ///< VNumericArray_...: the library's choice, or f64 where values are no whole numbers
    std::vector<vint> shape{};
    formats::SliceBytes bytes{};    ///< of the chosen frames, in `owner` or `rescaled`
    velmora::Value owner{};         ///< the library's array of all frames
    std::vector<double> rescaled{}; ///< values that were rescaled here
};

/// The frames that are wanted of those that there are.
using ChooseFrames = std::function<FrameSpan(vint available)>;

/// Refuses a file that holds fewer pixels than its attributes promise: the library makes up what is missing. Of a copy,
/// of which the name is not the path, it is known what it lacks.
/// @param frames  that were read
/// @throws VolumeError
void requireWhole(const FileMetadata& metadata, const std::string& path, std::size_t frames);

/// Reads the modality values of a grey file. The library cuts fractions off, lets values of over 32 bits overflow, and
/// knows neither the scaling of doses nor the rescale of single frames; those values are rescaled here.
/// @param path    for the library
/// @param name    of the file, as the user knows it
/// @param choose  gets the number of frames; the frames that it chooses have to exist
/// @throws LibraryError  the file cannot be read as grey values
/// @throws VolumeError   its pixels have another shape than its attributes say, or are fewer, see requireWhole
ModalityArray readModalityArray(velmora::Host& host, const std::string& path, const std::string& name,
                                const ChooseFrames& choose);

} // namespace radvex::volume

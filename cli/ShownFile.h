#pragma once

#include <string>
#include <vector>

#include "Host.h"
#include "PictureOptions.h"

namespace radvex::cli {

/// What a file gives to the pictures of its series.
struct ShownFile {
    bool isOpen = false;             ///< the library opened it, and it has a place in the order of the series
    long number = 0;                 ///< InstanceNumber, 0 for none
    std::string error{};             ///< why there is no picture, else empty
    std::vector<std::string> pngs{}; ///< PNG files, one for each frame
};

/// Renders a file, each picture with a window of its own or the one that the options give.
/// @param path  as the library takes it
ShownFile showFile(velmora::Host& host, const std::string& path, const PictureOptions& options);

/// Indices of the open files in the order in which the library puts the pictures of a series: by InstanceNumber, and
/// files of one number as it happens to leave them.
std::vector<std::size_t> libraryOrder(const std::vector<ShownFile>& files);

/// The same for a process that had another render it.
std::string toParcel(const ShownFile& file);
ShownFile shownFileOfParcel(const std::string& bytes);

} // namespace radvex::cli

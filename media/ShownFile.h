#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "host/Host.h"
#include "media/Rendering.h"

namespace radvex::media {

/// What a file gives to the pictures of its series.
struct ShownFile {
    bool isOpen = false;             ///< the library opened it, and it has a place in the order of the series
    long number = 0;                 ///< InstanceNumber, 0 for none
    std::string error{};             ///< why there is no picture, else empty
    std::vector<std::string> pngs{}; ///< PNG files, one for each frame

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.isOpen, self.number, self.error, self.pngs);
    }
};

/// Renders a file, each picture with a window of its own or the one that is chosen.
/// @param path  as the library takes it
ShownFile showFile(velmora::Host& host, const std::string& path, const Rendering& rendering);

/// Indices of the open files in the order in which the library puts the pictures of a series: by InstanceNumber, and
/// files of one number as it happens to leave them.
std::vector<std::size_t> libraryOrder(const std::vector<ShownFile>& files);

} // namespace radvex::media

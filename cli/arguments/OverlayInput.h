#pragma once

#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::cli {

/// One property of an overlay, as "2:OverlayLabel=Lesion" gives it.
struct OverlayProperty {
    std::size_t overlay = 0; ///< from 1; 0 for all
    std::string name{};
    std::string value{};
};

/// Reads [NUMBER:]PROPERTY=VALUE.
/// @throws UsageError  no such property, a position that is no number, an overlay beyond `count`
OverlayProperty parseOverlayProperty(const std::string& text, std::size_t count);

/// The properties as the library takes them: for each overlay, by its number, texts by property.
velmora::Store overlayOptions(const std::vector<OverlayProperty>& properties, std::size_t count);

/// The overlays as the library takes them: bit images. @throws FileError
velmora::Store readOverlays(const std::vector<std::string>& files);

} // namespace radvex::cli

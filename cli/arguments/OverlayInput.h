#pragma once

#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::cli {

/// One property of an overlay, given as "2:OverlayLabel=Lesion".
struct OverlayProperty {
    std::size_t overlay = 0; ///< number of the overlay, from 1; 0 for all overlays
    std::string name{};
    std::string value{};
};

/// Reads [NUMBER:]PROPERTY=VALUE.
/// @throws UsageError  the property is unknown, an origin is not a number, or the overlay is beyond `count`
OverlayProperty parseOverlayProperty(const std::string& text, std::size_t count);

/// The properties in the form that the library takes: for each overlay number the texts by property.
velmora::Store overlayOptions(const std::vector<OverlayProperty>& properties, std::size_t count);

/// The overlays in the form that the library takes: bit images. @throws FileError
velmora::Store readOverlays(const std::vector<std::string>& files);

} // namespace radvex::cli

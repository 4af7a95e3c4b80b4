#pragma once

#include <string>

#include "formats/json/LosslessJson.h"
#include "media/Rendering.h"

namespace radvex::python {

/// How pictures are wanted, from JSON with the members "window" ([width, centre] in the unit of the values, or a name
/// as media::windowNamed takes it), "scaling" ("minmax", "trimmed", "none", and "common" for series) and "overlays"
/// (whether planes are burnt in). Members that are missing or null have their defaults.
/// @throws UsageError
media::Rendering renderingFrom(const formats::Json& json);

} // namespace radvex::python

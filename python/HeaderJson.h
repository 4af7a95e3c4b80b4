#pragma once

#include "formats/json/LosslessJson.h"
#include "formats/volumes/VolumeFile.h"

namespace radvex::python {

/// The header of a volume as JSON and back: the worker makes volumes, and Python keeps what is needed to save them.
formats::Json jsonOf(const formats::VolumeHeader& header);
/// @throws JsonError  not from jsonOf
formats::VolumeHeader headerOf(const formats::Json& json);

} // namespace radvex::python

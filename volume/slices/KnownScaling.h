#pragma once

#include <string>

#include "volume/slices/FileMetadata.h"

namespace radvex::volume {

/// Refuses a file whose modality values nobody knows: a dose without DoseGridScaling, or one whose scaling stands there
/// in an unknown representation (UN), which nothing applies. Files without any scaling are listed once more for that.
/// @param path  for the library
/// @throws VolumeError
void requireKnownScaling(const FileMetadata& metadata, const std::string& path);

} // namespace radvex::volume

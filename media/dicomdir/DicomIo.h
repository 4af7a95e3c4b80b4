#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::media {

/// Loads a file; long values stay in the file until they are needed.
/// @throws std::runtime_error  part of a sentence
void loadDicom(DcmFileFormat& file, const std::string& path);

/// Writes a loaded file in its own transfer syntax and with its own meta information, of which only the length is
/// updated. Checks that everything was written.
/// @param path  not that of the loaded file
/// @throws std::runtime_error  part of a sentence; an incomplete file may be left at the path
void saveDicom(DcmFileFormat& file, const std::string& path);

} // namespace radvex::media

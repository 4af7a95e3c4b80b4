#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::media {

/// Loads a file; long values stay in it until they are asked for.
/// @throws std::runtime_error  part of a sentence
void loadDicom(DcmFileFormat& file, const std::string& path);

/// Writes a loaded file as it is, in its own transfer syntax and with its meta information as it is but for its
/// length, and makes sure that all of it reached the file. @param path  of another file than the one that was loaded
/// @throws std::runtime_error  part of a sentence; a part may be left at the path
void saveDicom(DcmFileFormat& file, const std::string& path);

} // namespace radvex::media

#pragma once

#include <memory>
#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex::media {

/// The elements of a directory record as a dataset in Explicit VR Little Endian.
/// @throws std::runtime_error  part of a sentence: DCMTK cannot write them
std::string toBytes(DcmDirectoryRecord& record);

/// A record with these elements. @throws std::runtime_error  part of a sentence: they are none
std::unique_ptr<DcmDirectoryRecord> recordOfBytes(E_DirRecType type, const std::string& bytes);

} // namespace radvex::media

#pragma once

#include <memory>
#include <string>

#include "dcmtk/config/osconfig.h"
#include "media/FileDescription.h"

#include "dcmtk/dcmdata/dcdirrec.h"

namespace radvex::media {

/// Describes a file. Pixels are not read.
/// @param hasMark  the file has the mark of a DICOM file. One without it that cannot be read is NotForADirectory, and
///                 not Refused
/// @param before   the last file that was described and is listed before this one, or null. Records of patient, study
///                 and series that both have are left out
FileDescription describeFile(const std::string& path, bool hasMark, const FileDescription* before = nullptr);

/// Describes a file for a listing: what it says in UTF-8, and no records.
FileDescription listFile(const std::string& path, bool hasMark);

/// The record that a description holds as bytes.
/// @throws std::runtime_error  part of a sentence: the bytes are not a valid record
std::unique_ptr<DcmDirectoryRecord> recordOfBytes(E_DirRecType type, const std::string& bytes);

} // namespace radvex::media

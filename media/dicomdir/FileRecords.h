#pragma once

#include <string>

#include "media/FileDescription.h"

namespace radvex::media {

/// Describes a file. Pixels are not read.
/// @param before   the last file that was described and is taken before this one, or null: upper records that both have
///                 are left out
/// @param hasMark  the file has the mark of a DICOM file; one without that cannot be read as DICOM is no refusal
FileDescription describeFile(const std::string& path, bool hasMark, const FileDescription* before = nullptr);

} // namespace radvex::media

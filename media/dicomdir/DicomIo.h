#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::media {

/// Loads a file; long values stay in the file until they are needed.
/// @throws std::runtime_error  part of a sentence
void loadDicom(DcmFileFormat& file, const std::string& path);

/// The same without long values such as pixels. @throws std::runtime_error  part of a sentence
void loadDicomHead(DcmFileFormat& file, const std::string& path);

enum class MetaInformation {
    Kept, ///< only its length is updated
    New   ///< nothing of the old one is left, nor of the preamble
};

/// Writes a loaded file in its own transfer syntax. Checks that everything was written.
/// @param path      not that of the loaded file
/// @param instance  MediaStorageSOPInstanceUID of new meta information where the dataset has no SOPInstanceUID: DCMTK
/// would
///                  make one of this machine's number and the time
/// @throws std::runtime_error  part of a sentence; an incomplete file may be left at the path
void saveDicom(DcmFileFormat& file, const std::string& path, MetaInformation meta = MetaInformation::Kept,
               const std::string& instance = "");

} // namespace radvex::media

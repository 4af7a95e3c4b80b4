#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"
#include "guard/SourceFile.h"

namespace radvex::media {

/// Loads a file; long values stay in the file until they are needed.
/// @throws std::runtime_error  part of a sentence
void loadDicom(DcmFileFormat& file, const std::string& path);

/// The same without long values such as pixels, which are read when they are asked for or written.
/// @return what they are read from: DCMTK says nothing of a read that fails, so that `requireRead` has to be called
/// after
///         the last of them @throws std::runtime_error  part of a sentence
std::shared_ptr<SourceFile> loadDicomHead(DcmFileFormat& file, const std::string& path);

/// @throws std::runtime_error  part of a sentence: a value was not read, or the file is not what it was when it was
/// opened
void requireRead(SourceFile& source);

enum class MetaInformation {
    Kept, ///< only its length is updated
    New   ///< nothing of the old one is left, nor of the preamble
};

/// Writes a loaded file in its own transfer syntax. Checks that everything was written.
/// @param path      not that of the loaded file
/// @param instance  MediaStorageSOPInstanceUID of new meta information where the dataset has no SOPInstanceUID: DCMTK
/// would
///                  make one of this machine's number and the time
/// @param see       gets all bytes that are written, in pieces; may be empty
/// @throws std::runtime_error  part of a sentence; an incomplete file may be left at the path
void saveDicom(DcmFileFormat& file, const std::string& path, MetaInformation meta = MetaInformation::Kept,
               const std::string& instance = "", const std::function<void(std::string_view bytes)>& see = {});

} // namespace radvex::media

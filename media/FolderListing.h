#pragma once

#include <string>
#include <vector>

#include "media/FolderIndex.h"
#include "media/MediumRecords.h"

namespace radvex::media {

/// The DICOM files of a folder as patients, studies and series.
struct FolderListing {
    std::vector<MediumPatient> patients{}; ///< in the order of the paths of their first files
    LeftOut leftOut{};
};

/// Reads a folder and everything below it, by the rules of indexFolder but for one: what a file does not say is empty,
/// and nothing is invented. Nothing is written anywhere.
/// @param jobs  processes at a time; 0: this one reads the files
/// @throws FileError  a sentence: the folder cannot be read
FolderListing listFolder(const std::string& folder, std::size_t jobs, const workers::Progress& progress);

} // namespace radvex::media

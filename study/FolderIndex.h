#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace radvex::study {

struct IndexedFile {
    std::string fileId{}; ///< "I0000000": name of the link beside the DICOMDIR, and its File ID in there
    std::string path{};   ///< the file as the user would name it: the folder as given and the way below it
};

struct RefusedFile {
    std::string path{};
    std::string reason{}; ///< part of a sentence: "it has no StudyInstanceUID"
};

struct FolderIndex {
    std::string dicomdir{}; ///< path of the DICOMDIR; empty when no file could be indexed: then nothing was written
    std::vector<IndexedFile> files{};
    std::size_t patientCount = 0;
    std::size_t studyCount = 0;
    std::size_t seriesCount = 0;
    std::size_t skippedCount = 0;       ///< files that are not DICOM, and media directories
    std::vector<RefusedFile> refused{}; ///< DICOM files that could not be indexed, and what could not be read at all
};

/// Told after each file. `total` stays the same over a run.
using Progress = std::function<void(std::size_t done, std::size_t total)>;

/// Indexes a folder and everything below it: writes a DICOMDIR into the folder `place`, and beside it a symbolic link
/// of 8 characters for each file, since a File ID cannot say the names that people give to files.
///
/// Files are taken in the order of their paths, byte by byte. Links to folders are not followed, and a link to a file
/// that lies below the folder anyway is that file once more and left out; so the links of an earlier index are no
/// obstacle. Only regular files are opened, and none is changed. Several files of one instance are all indexed.
/// Attributes that a directory record needs and the file lacks (patient and study ID, numbers) are invented; the three
/// UIDs of study, series and instance are not.
/// @param folder    must not be `place` or hold it unless its files may be joined by the links
/// @param progress  may be empty
/// @throws std::runtime_error  a sentence: the folder cannot be read, there is a DICOMDIR in `place` already, or it
///                             cannot be written there; then everything that was made in `place` is gone again
FolderIndex indexFolder(const std::string& folder, const std::string& place, const Progress& progress);

} // namespace radvex::study

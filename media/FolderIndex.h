#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "media/FileDescription.h"

namespace radvex::media {

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

/// Indexes a folder and everything below it: writes a DICOMDIR into the folder `place`, and beside it a symbolic link
/// of 8 characters for each file, since a File ID cannot say the names that people give to files.
///
/// Files are taken in the order of their paths, byte by byte. Links to folders are not followed, and a link to a file
/// that lies below the folder anyway is that file once more and left out; so the links of an earlier index are no
/// obstacle. Only regular files are opened, and none is changed. Several files of one instance are all indexed.
/// Attributes that a directory record needs and the file lacks (patient and study ID, numbers) are invented; the three
/// UIDs of study, series and instance are not.
///
/// What was made in `place` goes with this object, unless it was finished.
class FolderIndexing {
  public:
    virtual ~FolderIndexing() = default;

    virtual std::size_t fileCount() const = 0;
    /// Reads a file. Changes nothing that is seen from outside: a copy of this process may do it.
    virtual FileDescription describe(std::size_t file) = 0;
    /// Takes a description; file after file in their order.
    /// @throws std::runtime_error  a sentence: `place` cannot be written
    virtual void take(std::size_t file, const FileDescription& description) = 0;
    /// Writes the DICOMDIR when there was a file for it.
    /// @throws std::runtime_error  a sentence: there is one in `place` already, or it cannot be written there
    virtual FolderIndex finish() = 0;
};

/// Entry of radvexDatasets.so that starts an indexing, with the result in its last argument.
/// @throws std::runtime_error  a sentence: the folder cannot be read, there is a DICOMDIR in `place` already, or it
///                             cannot be written there
using StartIndexingEntry = void (*)(const std::string& folder, const std::string& place,
                                    std::unique_ptr<FolderIndexing>& indexing);

inline constexpr const char* kStartIndexingEntry = "radvexStartIndexing";

} // namespace radvex::media

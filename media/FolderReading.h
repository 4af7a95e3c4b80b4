#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/FileDescription.h"
#include "media/FolderIndex.h"

namespace radvex::media {

/// The files of a folder and everything below it, which are described one by one.
class FolderReading {
  public:
    virtual ~FolderReading() = default;

    virtual std::size_t fileCount() const = 0;
    /// As the user would name the file: the folder as given, and the path below it.
    virtual std::string path(std::size_t file) const = 0;
    /// What is no file or cannot be reached.
    virtual LeftOut leftOut() const = 0;
    /// Reads a file. A forked process may do it: the description is all that it changes.
    virtual FileDescription describe(std::size_t file) = 0;
};

/// Where an index is written.
class IndexTarget {
  public:
    virtual ~IndexTarget() = default;

    /// Path at which the DICOMDIR is to be written.
    virtual std::string draft() const = 0;
    /// The next File ID that is free, or is the name of a link to this target.
    /// @throws std::runtime_error  a sentence, as from all that follow
    virtual std::string fileIdFor(const std::string& target) = 0;
    /// Makes the link for a File ID from `fileIdFor`.
    virtual void link(const std::string& fileId, const std::string& target) = 0;
    /// Gives everything its final name. @return path of the DICOMDIR
    virtual std::string publish() = 0;
};

/// Makes the index of a folder step by step, as indexFolder documents it.
class FolderIndexing : public FolderReading {
  public:
    /// Takes the descriptions, in the order of the files.
    /// @throws std::runtime_error  a sentence: the target cannot be written
    virtual void take(std::size_t file, const FileDescription& description) = 0;
    /// Writes the DICOMDIR if any file can be listed in it.
    /// @throws std::runtime_error  a sentence: there is a DICOMDIR already, or it cannot be written
    virtual FolderIndex finish() = 0;
};

/// Describes all files of a folder in other processes. A file that ends its process is refused.
/// @param take  gets the descriptions in the order of the files
void forEachDescription(FolderReading& reading, std::size_t jobs, const std::string& what,
                        const workers::Progress& progress,
                        const std::function<void(std::size_t file, const FileDescription& description)>& take);

// Entries of radvexDatasets.so, with the result in their last argument.

/// @throws std::runtime_error  a sentence: the folder cannot be read
using StartListingEntry = void (*)(const std::string& folder, std::unique_ptr<FolderReading>& reading);
inline constexpr const char* kStartListingEntry = "radvexStartListing";

/// @param target  outlives the result
/// @throws std::runtime_error  a sentence: the folder cannot be read
using StartIndexingEntry = void (*)(const std::string& folder, IndexTarget& target,
                                    std::unique_ptr<FolderIndexing>& indexing);
inline constexpr const char* kStartIndexingEntry = "radvexStartIndexing";

} // namespace radvex::media

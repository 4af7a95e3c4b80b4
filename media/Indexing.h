#pragma once

#include <string>
#include <vector>

#include "media/FolderIndex.h"
#include "workers/Workers.h"

namespace radvex::media {

/// Indexes a folder as startIndexing tells, its files read by processes: a file that takes its process down is refused,
/// and the others go on.
/// @param jobs  processes at a time; 0: this one reads the files
/// @throws FileError  a sentence; nothing is left in `place` then
FolderIndex indexFolder(const std::string& folder, const std::string& place, std::size_t jobs,
                        const workers::Progress& progress);

/// Sentences about what an index leaves out: how many files were skipped, and of each that was refused why. Nothing for
/// a clean folder.
std::vector<std::string> whatIsLeftOut(const FolderIndex& index);

} // namespace radvex::media

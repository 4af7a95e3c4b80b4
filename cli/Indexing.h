#pragma once

#include <string>

#include "FileJobs.h"
#include "FolderIndex.h"

namespace radvex::cli {

/// Indexes a folder as study::startIndexing tells, its files read by the processes of `jobs`: a file that takes its
/// process down is refused, and the others go on. Shows its progress.
/// @throws FileError  a sentence; nothing is left in `place` then
study::FolderIndex indexFolder(const std::string& folder, const std::string& place, const FileJobs& jobs);

/// Says on standard error how many files were skipped, and of each that was refused why. Nothing for a clean folder.
void reportLeftOut(const study::FolderIndex& index);

} // namespace radvex::cli

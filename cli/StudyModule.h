#pragma once

#include <string>

#include "FolderIndex.h"

namespace radvex::cli {

/// study::indexFolder out of radvexStudy.so, which is loaded when it is first needed. Shows its progress.
/// @throws FileError  a sentence, also when the module is not where this command expects it
study::FolderIndex indexFolder(const std::string& folder, const std::string& place);

/// Says on standard error how many files were skipped, and of each that was refused why. Nothing for a clean folder.
void reportLeftOut(const study::FolderIndex& index);

} // namespace radvex::cli

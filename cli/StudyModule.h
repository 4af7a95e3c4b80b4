#pragma once

#include <string>

#include "Anonymization.h"
#include "FolderIndex.h"

namespace radvex::cli {

/// study::startIndexing out of radvexStudy.so, which is loaded when it is first needed.
/// @throws FileError  a sentence, also when the module is not where this command expects it
std::unique_ptr<study::FolderIndexing> openIndexing(const std::string& folder, const std::string& place);

/// study::startAnonymization out of the same. @throws FileError  a sentence
std::unique_ptr<study::Anonymization> openAnonymization(study::AnonymizationSettings settings);

} // namespace radvex::cli

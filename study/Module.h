#pragma once

#include "Anonymization.h"
#include "FolderIndex.h"

// The entries of radvexStudy.so. The command loads it when a folder is to be indexed or files are anonymized: DCMTK
// takes longer to load than the rest of the command together, and most runs reach it through the library alone or not
// at all.

namespace radvex::study {

/// startIndexing, with the result in its last argument. Throws what that throws.
using StartIndexingEntry = void (*)(const std::string& folder, const std::string& place,
                                    std::unique_ptr<FolderIndexing>& indexing);

/// startAnonymization, with the result in its last argument. Throws what that throws.
using StartAnonymizationEntry = void (*)(const AnonymizationSettings& settings, std::unique_ptr<Anonymization>& run);

inline constexpr const char* kStartAnonymizationEntry = "radvexStartAnonymization";
inline constexpr const char* kStartIndexingEntry = "radvexStartIndexing";
inline constexpr const char* kModuleFile = "radvexStudy.so";

} // namespace radvex::study

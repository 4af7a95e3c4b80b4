#pragma once

#include "Anonymization.h"
#include "FolderIndex.h"

// The entries of radvexStudy.so. The command loads it when a folder is to be indexed or files are anonymized: DCMTK
// takes longer to load than the rest of the command together, and most runs reach it through the library alone or not
// at all.

namespace radvex::study {

/// indexFolder, with the result in its last argument. Throws what that throws.
using IndexFolderEntry = void (*)(const std::string& folder, const std::string& place, const Progress& progress,
                                  FolderIndex& index);

/// startAnonymization, with the result in its last argument. Throws what that throws.
using StartAnonymizationEntry = void (*)(const AnonymizationSettings& settings, std::unique_ptr<Anonymization>& run);

inline constexpr const char* kStartAnonymizationEntry = "radvexStartAnonymization";
inline constexpr const char* kIndexFolderEntry = "radvexIndexFolder";
inline constexpr const char* kModuleFile = "radvexStudy.so";

} // namespace radvex::study

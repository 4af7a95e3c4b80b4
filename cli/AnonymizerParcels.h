#pragma once

#include <set>
#include <string>
#include <vector>

#include "Anonymization.h"

namespace radvex::cli {

// What a process that works on files for an anonymizer sends to it.

/// After the first round.
struct MadeFile {
    bool isDicom = false;
    std::string error{}; ///< a sentence; empty also for a file that is not DICOM
    study::Originals originals{};
    std::vector<study::Change> changes{};
};

/// After the second.
struct CheckedFile {
    bool isClean = false; ///< no identifier of the run is left in the bytes
    std::vector<study::Change> changes{};
    std::set<study::Leak> leaks{};
};

std::string toParcel(const MadeFile& file);
MadeFile madeFileOfParcel(const std::string& bytes);

std::string toParcel(const CheckedFile& file);
CheckedFile checkedFileOfParcel(const std::string& bytes);

} // namespace radvex::cli

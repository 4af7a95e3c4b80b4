#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "deidentify/FileCheck.h"
#include "workers/Workers.h"

namespace radvex::deidentify {

struct VerificationSettings {
    CheckSettings check{};
    std::size_t jobs = 0; ///< number of processes that read the files; 0: this process reads them
    workers::Progress progress = workers::withoutProgress;
};

/// What was found in a finished file.
struct VerifiedFile {
    std::string name{};         ///< relative to the folder that is checked
    bool showsIdentity = false; ///< the name holds an identifier
    std::set<std::string> findings{};
    std::set<std::string> pixels{};
    std::set<std::string> hints{};
};

struct VerificationResult {
    bool hasOriginals = false;
    std::size_t checkedCount = 0;  ///< DICOM files of the output
    std::size_t otherCount = 0;    ///< files of the output that are not DICOM
    std::size_t originalCount = 0; ///< DICOM files of the originals
    std::size_t failedCount = 0;   ///< files of the output that cannot be read
    std::vector<std::string> errors{};
    std::map<std::string, std::size_t> profiles{}; ///< number of files by the options that they were judged by
    std::vector<std::string> differences{};        ///< of all files together
    std::vector<VerifiedFile> files{};             ///< those in which something was found

    bool isClean() const;
};

/// Checks finished files of this or another program. Reads first what the finished files claim, then the originals,
/// then each finished file. A file that cannot be read, or ends the process that reads it, is named, and the others go
/// on.
/// @param originals  a file, a folder or a DICOMDIR; empty: none are known
/// @param output     the same
/// @throws FileError  a folder cannot be read at all
VerificationResult verify(const std::string& originals, const std::string& output,
                          const VerificationSettings& settings);

} // namespace radvex::deidentify

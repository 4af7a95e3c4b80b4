#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "deidentify/Anonymization.h"
#include "deidentify/ReplacementRules.h"
#include "host/Host.h"
#include "workers/Workers.h"

namespace radvex::deidentify {

struct AnonymizerOptions {
    bool mayReplace = false;      ///< files of the output that are there already
    bool isStrict = false;        ///< a file that may still identify gets no name
    bool examines = true;         ///< looks for attributes that may still identify
    bool keepsChanges = false;    ///< for a report
    bool hasNeutralNames = false; ///< in place of the input's
    std::size_t jobs = 0;         ///< processes that work on the files; 0: this one does
    workers::Progress progress = workers::withoutProgress;
};

/// What became of one file.
struct AnonymizedFile {
    std::string source{}; ///< path
    std::string name{};   ///< of the result, relative to the output folder
    bool isWritten = false;
    std::string error{}; ///< a sentence, why it is not written or not listed
    std::vector<Change> changes{};
    std::set<Leak> leaks{};
};

struct AnonymizationResult {
    std::vector<AnonymizedFile> files{}; ///< directories that were written among them
    std::size_t skippedCount = 0;        ///< files that are not DICOM
    std::size_t shownNameCount = 0;      ///< written files whose names show an identity
};

/// A new run. @throws FileError  a sentence
std::unique_ptr<Anonymization> openAnonymization(const AnonymizationSettings& settings);

/// Anonymizes a file, or a folder file by file: the library makes a file in a hidden folder, then its identifiers are
/// made consistent, and only what is finished gets its name. A file that fails costs that file, and so does one that
/// ends the process that works on it.
class Anonymizer {
  public:
    Anonymizer(velmora::Host& host, const ReplacementRules& rules, std::unique_ptr<Anonymization> run,
               AnonymizerOptions options)
        : mHost(host), mRules(rules.toStore()), mRun(std::move(run)), mOptions(std::move(options)) {}

    /// @throws FileError  the output cannot be written at all
    AnonymizationResult anonymizeFile(const std::string& input, const std::string& output);

    /// Everything below a folder that is DICOM; for each directory of a medium in it one of the results is written in
    /// the same place, with the same File IDs.
    /// @param output  a folder that is made when it is missing
    /// @throws FileError  the input cannot be read or the output cannot be written at all
    AnonymizationResult anonymizeFolder(const std::string& input, const std::string& output);

  private:
    class Work;

    velmora::Host& mHost;
    velmora::Store mRules;
    std::unique_ptr<Anonymization> mRun;
    AnonymizerOptions mOptions;
};

} // namespace radvex::deidentify

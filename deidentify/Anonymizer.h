#pragma once

#include <algorithm>
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
    bool mayReplace = false;      ///< replace files of the output that exist already
    bool isStrict = false;        ///< write no file that may still identify the patient
    bool examines = true;         ///< look for attributes that may still identify the patient
    bool keepsChanges = false;    ///< collect the changes of each file, for a report
    bool hasNeutralNames = false; ///< number the files instead of keeping the names of the input
    bool hasProfile = false;      ///< the run applies a profile
    bool isDryRun = false;        ///< do everything but write the output
    bool resumes = false;         ///< leave files that an earlier run with the same key has made
    std::string pseudonyms{};     ///< path of a table of pseudonyms, which is extended; empty for none
    std::size_t jobs = 0;         ///< number of processes that work on the files; 0: this process does the work
    workers::Progress progress = workers::withoutProgress;
};

/// The result for one file of the input.
struct AnonymizedFile {
    std::string source{};     ///< path of the input
    std::string name{};       ///< path of the result, relative to the output folder
    bool isWritten = false;   ///< or would be, in a dry run
    bool isEarlier = false;   ///< an earlier run has made it
    bool isDirectory = false; ///< a DICOMDIR
    std::string error{};      ///< a sentence: why the file is not written or not listed
    std::vector<Change> changes{};
    std::vector<ProfileStep> steps{};
    Leaks leaks{};
};

struct AnonymizationResult {
    std::vector<AnonymizedFile> files{}; ///< with the directories of media
    std::size_t skippedCount = 0;        ///< files that are not DICOM
    std::size_t shownNameCount = 0;      ///< written files whose names show an identity

    std::size_t writtenCount() const {
        return static_cast<std::size_t>(std::ranges::count(files, true, &AnonymizedFile::isWritten));
    }
};

/// Starts a run in radvexDatasets.so. @throws FileError  a sentence
std::unique_ptr<Anonymization> openAnonymization(const AnonymizationSettings& settings);

/// Anonymizes a file, or a folder file by file. The library makes each file in a hidden folder, then its identifiers
/// are made consistent, and only a finished file gets its name. When a file fails, or ends the process that works on
/// it, only this file is lost.
class Anonymizer {
  public:
    Anonymizer(velmora::Host& host, const ReplacementRules& rules, std::unique_ptr<Anonymization> run,
               AnonymizerOptions options)
        : mHost(host), mRules(rules.toStore()), mRun(std::move(run)), mOptions(std::move(options)) {}

    /// @throws FileError  nothing can be written to the output folder
    AnonymizationResult anonymizeFile(const std::string& input, const std::string& output);

    /// Anonymizes all DICOM files below a folder. For each DICOMDIR a new one with the same path and the same File IDs
    /// lists the results.
    /// @param output  a folder, which is made when it is missing
    /// @throws FileError  the input cannot be read, or nothing can be written to the output folder
    AnonymizationResult anonymizeFolder(const std::string& input, const std::string& output);

  private:
    class Work;

    velmora::Host& mHost;
    velmora::Store mRules;
    std::unique_ptr<Anonymization> mRun;
    AnonymizerOptions mOptions;
};

} // namespace radvex::deidentify

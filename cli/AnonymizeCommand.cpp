#include <algorithm>
#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/ProfileArguments.h"
#include "cli/arguments/ReplacementArguments.h"
#include "deidentify/AnonymizationReport.h"
#include "deidentify/Anonymizer.h"
#include "files/Errors.h"
#include "files/InputFile.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

struct AnonymizeOptions {
    std::string input{};
    std::string output{};
    ReplacementArguments replacements{};
    std::string profile = "basic";
    ProfileArguments arguments{};
    std::string masks{};
    std::string pseudonyms{};
    std::string key{};
    std::string report{};
    bool isIndependent = false;
    bool hasOriginals = false;
    bool hasNeutralNames = false;
    OutputRule rule{};
    bool resumes = false;
    bool isDryRun = false;
    bool isStrict = false;
    FileJobs jobs{};

    bool hasProfile() const { return profile != "none"; }
};

std::string readKey(const std::string& path) {
    constexpr std::size_t kShortest = 16;
    std::string key = files::readInputText(path);
    if (key.size() < kShortest) {
        throw FileError(path + " is too short for a key: at least " + std::to_string(kShortest) +
                        " bytes that nobody can guess are expected.");
    }
    return key;
}

/// Options that only mean something with a profile, or only without one.
void checkCombination(const AnonymizeOptions& options) {
    const bool wantsProfile = options.arguments.isGiven() || !options.masks.empty() || !options.pseudonyms.empty() ||
                              options.isDryRun || options.resumes;
    if (!options.hasProfile() && wantsProfile) {
        throw UsageError("--keep, --clean, --shift-dates, --keep-private, --mask, --accept-pixels, --pseudonyms, "
                         "--dry-run and --resume belong to a profile; --profile none has none.");
    }
    if (options.hasProfile() && options.isIndependent) {
        throw UsageError("--independent leaves original identifiers in texts; it needs --profile none.");
    }
    if (options.resumes && options.key.empty()) {
        throw UsageError("--resume needs the --key of the run that it goes on with.");
    }
}

std::optional<deidentify::ProfileSettings> profileSettings(const AnonymizeOptions& options,
                                                           deidentify::Anonymization& looker) {
    if (!options.hasProfile()) {
        return std::nullopt;
    }
    deidentify::ProfileSettings settings;
    settings.options = options.arguments.options();
    settings.keptPrivates = options.arguments.keptPrivates();
    settings.isStrict = options.isStrict;
    if (!options.masks.empty()) {
        settings.masksName = options.masks;
        settings.masks = files::readInputText(options.masks);
    }
    settings.acceptedPixels = options.arguments.acceptedPixels(looker.acceptablePixels());
    return settings;
}

/// Neither folder may hold the other: new files would be read as input, or needed files replaced.
void checkFolders(const std::string& input, const std::string& output) {
    switch (nestingOf(output, input)) {
    case Nesting::Apart: return;
    case Nesting::Same: throw UsageError("The output folder is the input folder; name another one.");
    case Nesting::FirstInSecond:
        throw UsageError(output + " lies inside the input folder; name a folder outside of it.");
    case Nesting::SecondInFirst:
        throw UsageError("The input lies inside " + output + "; name an output folder that does not hold it.");
    }
}

void checkOutput(const AnonymizeOptions& options, bool isFolder) {
    std::error_code error;
    if (!isFolder && fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is a folder; name the file to write.");
    }
    options.rule.check({options.report}, {options.input, options.key, options.masks, options.pseudonyms});
    if (options.isDryRun) {
        return;
    }
    if (!isFolder) {
        options.rule.check({options.output}, {options.input, options.key, options.masks, options.pseudonyms});
    } else if (!options.resumes) {
        options.rule.checkFolder(options.output);
    } else if (fs::exists(options.output, error) && !fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is not a folder.");
    }
}

/// The folder to anonymize: the input, or the folder of a DICOMDIR. Empty when the input is a single file.
std::string inputFolder(const std::string& input, deidentify::Anonymization& looker) {
    std::error_code error;
    if (fs::is_directory(input, error)) {
        return input;
    }
    try {
        if (fs::is_regular_file(input, error) && looker.kindOf(input) == deidentify::FileKind::Directory) {
            const fs::path folder = fs::path(input).parent_path();
            return folder.empty() ? "." : folder.string();
        }
    } catch (const std::runtime_error&) {
        return ""; // the library will say why the file cannot be read
    }
    return "";
}

void report(const AnonymizeOptions& options, const deidentify::AnonymizationResult& result,
            const deidentify::ReportedRun& run) {
    if (!options.report.empty()) {
        files::writeOutputText(options.rule.to(options.report), deidentify::anonymizationReport(result, run));
    }
    if (Messages::ofThisRun().isQuiet) {
        std::cerr << deidentify::remainingLines(result); // a warning, and no summary
    } else {
        // Nothing else is mixed with a report on the standard output.
        (options.report == "-" ? std::cerr : std::cout)
            << deidentify::anonymizationSummary(options.output, result, run);
    }
}

deidentify::AnonymizerOptions anonymizerOptions(const AnonymizeOptions& options) {
    deidentify::AnonymizerOptions chosen;
    chosen.mayReplace = options.rule.isForced();
    chosen.isStrict = options.isStrict;
    chosen.keepsChanges = !options.report.empty();
    chosen.hasNeutralNames = options.hasNeutralNames;
    chosen.hasProfile = options.hasProfile();
    chosen.isDryRun = options.isDryRun;
    chosen.resumes = options.resumes;
    chosen.pseudonyms = options.pseudonyms;
    chosen.jobs = options.jobs.count();
    chosen.progress = ProgressBar::forEachWork();
    return chosen;
}

void run(Session& session, const AnonymizeOptions& options) {
    checkCombination(options);
    const auto looker = deidentify::openAnonymization({});
    const auto profile = profileSettings(options, *looker);
    const std::string folder = inputFolder(options.input, *looker);
    const bool isFolder = !folder.empty();
    if (isFolder) {
        checkFolders(folder, options.output);
    }
    checkOutput(options, isFolder);
    const deidentify::ReplacementRules rules = options.replacements.rules();
    deidentify::AnonymizationSettings settings{options.key.empty() ? "" : readKey(options.key), options.isIndependent,
                                               rules.resolve(session.host()), profile};
    deidentify::Anonymizer anonymizer(session.host(), rules, deidentify::openAnonymization(settings),
                                      anonymizerOptions(options));
    const deidentify::AnonymizationResult result = isFolder ? anonymizer.anonymizeFolder(folder, options.output)
                                                            : anonymizer.anonymizeFile(options.input, options.output);
    std::size_t failed = 0;
    std::size_t done = 0;
    for (const deidentify::AnonymizedFile& file : result.files) {
        done += file.isWritten && !file.isDirectory ? 1 : 0; // a directory alone shows nothing
        if (!file.error.empty()) {
            Session::reportFile("", file.error);
            ++failed;
        }
    }
    session.endFiles(done, failed);
    report(options, result,
           {profile ? std::optional(profile->options) : std::nullopt, options.isDryRun, options.hasOriginals});
}

} // namespace

void addAnonymizeCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<AnonymizeOptions>(program, session, "anonymize", "De-identify a file, a folder or a medium", run);
    command.addRequired("IN", options.input, "DICOM file, folder, or DICOMDIR of a medium", Takes::Path);
    command.addRequired("OUT", options.output, "File or folder to write", Takes::Path);
    options.replacements.addTo(command, "the attribute's new value");
    command.addChoice(
        "--profile", options.profile, {"basic", "none"},
        "basic: the basic confidentiality profile of DICOM, the default; none: only identifiers and given "
        "values change");
    options.arguments.addTo(command);
    command.addOption("--mask", options.masks, "JSON file with rules that blank parts of pixels", Takes::File);
    command.addOption("--pseudonyms", options.pseudonyms,
                      "CSV file with original ID, new ID and new name of each patient; new patients are added",
                      Takes::File);
    command.addFlag("--dry-run", options.isDryRun, "Report what would be done, and write no file");
    command.addFlag("--resume", options.resumes, "Go on with an interrupted run of the same --key and options");
    command.addOption("--key", options.key,
                      "File of 16 or more secret bytes; runs with the same key give the same identifiers", Takes::File);
    command.addFlag("--independent", options.isIndependent, "A new value for every identifier of every file");
    command.exclude("--independent", "--key");
    command.addFlag("--neutral-names", options.hasNeutralNames, "Number the files instead of keeping their names");
    options.rule.addTo(command);
    command.addFlag("--strict", options.isStrict, "Write no file that may still identify the patient");
    command.addOption("--report", options.report, "JSON file with the changes of each file; - for the standard output",
                      Takes::File);
    command.addFlag("--report-originals", options.hasOriginals,
                    "Show paths of the input and original values in the report, which then identifies the patient");
    options.jobs.addTo(command);
    command.setFooter(
        "What may still identify the patient is listed, with --quiet on the standard error. Files and folders keep "
        "their names but for "
        "identifiers in them. When a file fails, it is named and the others go on; the exit status is then 3, or 1 if "
        "no file was written. "
        "docs/deidentification.md says what is done and what is not promised.");
    command.addExample("radvex anonymize STUDIES SHARED", "A folder under the basic confidentiality profile");
    command.addExample("radvex anonymize STUDIES SHARED --key key --shift-dates",
                       "The same pseudonyms in every run, dates moved");
    command.addExample("radvex anonymize ct.dcm new.dcm --set PatientID=S01", "One file with an ID of your choice");
    command.addExample("radvex anonymize STUDIES SHARED --dry-run --report plan.json",
                       "What would be done, and nothing written");
}

} // namespace radvex::cli

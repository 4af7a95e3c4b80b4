#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/Words.h"
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
    std::vector<std::string> assignments{};
    std::string rules{};
    std::string profile{};
    std::string key{};
    std::string report{};
    bool isIndependent = false;
    bool hasOriginals = false;
    bool hasNeutralNames = false;
    bool mayReplace = false;
    bool isStrict = false;
    bool isQuiet = false;
    FileJobs jobs{};
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

/// Later rules replace earlier ones: first the profile, then the file of rules, then the options of the command.
deidentify::ReplacementRules collectRules(const AnonymizeOptions& options,
                                          const std::optional<deidentify::Profile>& profile) {
    deidentify::ReplacementRules rules;
    if (profile) {
        for (const deidentify::ProfileRule& rule : profile->rules) {
            rules.set(rule.keyword, rule.value);
        }
    }
    if (!options.rules.empty()) {
        rules.read(options.rules);
    }
    for (const std::string& word : options.assignments) {
        const Assignment assignment = parseAssignment("--set", word);
        rules.set(assignment.keyword, assignment.value);
    }
    return rules;
}

bool isWithin(const fs::path& inner, const fs::path& outer) {
    const fs::path relative = inner.lexically_relative(outer);
    return !relative.empty() && *relative.begin() != "..";
}

/// Neither folder may hold the other: new files would be read as input, or needed files replaced.
void checkFolders(const std::string& input, const std::string& output) {
    std::error_code error;
    const fs::path in = fs::weakly_canonical(input, error);
    const fs::path out = fs::weakly_canonical(output, error);
    if (in == out) {
        throw UsageError("The output folder is the input folder; name another one.");
    }
    if (isWithin(out, in)) {
        throw UsageError(output + " lies inside the input folder; name a folder outside of it.");
    }
    if (isWithin(in, out)) {
        throw UsageError("The input lies inside " + output + "; name an output folder that does not hold it.");
    }
}

void checkOutput(const AnonymizeOptions& options, bool isFolder) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(options.output, error);
    const bool exists = fs::exists(status);
    if (isFolder && exists && !fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is not a folder.");
    }
    if (!isFolder && fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is a folder; name the file to write.");
    }
    if (options.mayReplace || !exists) {
        return;
    }
    if (!isFolder) {
        throw FileError(options.output + " exists already; --force replaces it.");
    }
    const bool isEmpty = fs::is_empty(options.output, error);
    if (!error && !isEmpty) {
        throw FileError(options.output + " is not empty; --force writes into it and replaces files of the same names.");
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
            const std::optional<deidentify::Profile>& profile) {
    if (!options.report.empty()) {
        const std::string text = deidentify::anonymizationReport(result, profile, options.hasOriginals);
        files::writeOutputFile(options.report, [&](std::FILE* file) {
            return std::fwrite(text.data(), 1, text.size(), file) == text.size();
        });
    }
    if (!options.isQuiet) {
        // Nothing else is mixed with a report on the standard output.
        (options.report == "-" ? std::cerr : std::cout)
            << deidentify::anonymizationSummary(options.output, result, profile);
    }
}

void run(Session& session, const AnonymizeOptions& options) {
    const auto looker = deidentify::openAnonymization({});
    const std::string folder = inputFolder(options.input, *looker);
    const bool isFolder = !folder.empty();
    if (isFolder) {
        checkFolders(folder, options.output);
    }
    checkOutput(options, isFolder);
    std::optional<deidentify::Profile> profile;
    if (!options.profile.empty()) {
        profile = looker->basicProfile();
    }
    const deidentify::ReplacementRules rules = collectRules(options, profile);
    deidentify::AnonymizationSettings settings{options.key.empty() ? "" : readKey(options.key), options.isIndependent,
                                               rules.resolve(session.host())};
    deidentify::Anonymizer anonymizer(
        session.host(), rules, deidentify::openAnonymization(settings),
        {options.mayReplace, options.isStrict, options.isStrict || !options.isQuiet || !options.report.empty(),
         !options.report.empty(), options.hasNeutralNames, options.jobs.count(), ProgressBar::forEachWork()});
    const deidentify::AnonymizationResult result = isFolder ? anonymizer.anonymizeFolder(folder, options.output)
                                                            : anonymizer.anonymizeFile(options.input, options.output);
    for (const deidentify::AnonymizedFile& file : result.files) {
        if (!file.error.empty()) {
            session.reportRefusal("", file.error);
        }
    }
    report(options, result, profile);
}

} // namespace

void addAnonymizeCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<AnonymizeOptions>(program, session, "anonymize", "De-identify a file, a folder or a medium", run);
    command.addRequired("IN", options.input, "DICOM file, folder, or DICOMDIR of a medium");
    command.addRequired("OUT", options.output, "File or folder to write");
    command.addRepeatable("--set", options.assignments, "KEYWORD=VALUE: the attribute's new value");
    command.addOption("--rules", options.rules, "JSON file with an object of keywords and new values");
    command.addChoice("--profile", options.profile, {"basic"},
                      "basic: new values as the basic profile of DICOM asks for");
    command.addOption("--key", options.key,
                      "File of 16 or more secret bytes; runs with the same key give the same identifiers");
    command.addFlag("--independent", options.isIndependent, "A new value for every identifier of every file");
    command.exclude("--independent", "--key");
    command.addFlag("--neutral-names", options.hasNeutralNames, "Number the files instead of keeping their names");
    command.addFlag("--force", options.mayReplace, "Replace files that exist already");
    command.addFlag("--strict", options.isStrict, "Write no file that may still identify the patient");
    command.addOption("--report", options.report, "JSON file with the changes of each file; - for the standard output");
    command.addFlag("--report-originals", options.hasOriginals,
                    "Show paths of the input and original values in the report, which then identifies the patient");
    command.addFlag("-q,--quiet", options.isQuiet, "Do not list what may still identify the patient");
    options.jobs.addTo(command);
    command.setFooter("Names, dates and descriptions stay the same unless --set, --rules or --profile gives them a "
                      "value. Attributes that "
                      "may still identify the patient are listed. Files and folders keep their names unless "
                      "--neutral-names is given. "
                      "When a file fails, it is named, the others go on, and the exit status is 1.");
}

} // namespace radvex::cli

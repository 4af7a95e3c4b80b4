#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Assignment.h"
#include "cli/arguments/FileJobs.h"
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
        throw FileError(path + " is no key: at least " + std::to_string(kShortest) +
                        " bytes that nobody can guess are expected.");
    }
    return key;
}

/// What is said later stands above: the profile, then the rules, then the words of the command.
deidentify::ReplacementRules collectRules(const AnonymizeOptions& options, const deidentify::Profile* profile) {
    deidentify::ReplacementRules rules;
    if (profile != nullptr) {
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
    const fs::path way = inner.lexically_relative(outer);
    return !way.empty() && *way.begin() != "..";
}

/// Neither folder may hold the other: files would be read that were just written, or replaced while they are needed.
void checkFolders(const std::string& input, const std::string& output) {
    std::error_code error;
    const fs::path in = fs::weakly_canonical(input, error);
    const fs::path out = fs::weakly_canonical(output, error);
    if (in == out) {
        throw UsageError("The output folder is the input folder; name another one.");
    }
    if (isWithin(out, in)) {
        throw UsageError(output + " lies inside the input folder; name one outside of it.");
    }
    if (isWithin(in, out)) {
        throw UsageError("The input lies inside " + output + "; name an output folder that does not hold it.");
    }
}

void checkOutput(const AnonymizeOptions& options, bool isFolder) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(options.output, error);
    const bool isThere = fs::exists(status);
    if (isFolder && isThere && !fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is no folder.");
    }
    if (!isFolder && fs::is_directory(options.output, error)) {
        throw FileError(options.output + " is a folder; name the file to write.");
    }
    if (options.mayReplace || !isThere) {
        return;
    }
    if (!isFolder) {
        throw FileError(options.output + " is there already; --force replaces it.");
    }
    const bool isEmpty = fs::is_empty(options.output, error);
    if (!error && !isEmpty) {
        throw FileError(options.output + " is not empty; --force writes into it and replaces files of the same names.");
    }
}

/// The folder of a medium whose directory was named in its place.
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
        return ""; // the library says why it cannot be read
    }
    return "";
}

void report(const AnonymizeOptions& options, const deidentify::AnonymizationResult& result,
            const deidentify::Profile* profile) {
    if (!options.report.empty()) {
        const std::string text = deidentify::anonymizationReport(result, {options.hasOriginals, profile});
        files::writeOutputFile(options.report, [&](std::FILE* file) {
            return std::fwrite(text.data(), 1, text.size(), file) == text.size();
        });
    }
    if (!options.isQuiet) {
        // A report on the standard output stays alone there.
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
    deidentify::Profile basic;
    const deidentify::Profile* profile = nullptr;
    if (!options.profile.empty()) {
        basic = looker->basicProfile();
        profile = &basic;
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

void addNames(const CommandLine& command, AnonymizeOptions& options) {
    command.addRequired("IN", options.input, "DICOM file, folder, or DICOMDIR of a medium");
    command.addRequired("OUT", options.output, "File or folder to write");
    command.addRepeatable("--set", options.assignments, "KEYWORD=VALUE: the attribute's new value; may be repeated");
    command.addOption("--rules", options.rules, "JSON file with an object of keywords and new values");
    command.addChoice("--profile", options.profile, {"basic"}, "basic: new values after the basic profile of DICOM");
}

void addIdentities(const CommandLine& command, AnonymizeOptions& options) {
    command.addOption("--key", options.key,
                      "File of 16 or more secret bytes: runs with the same key give the same identifiers");
    command.addFlag("--independent", options.isIndependent, "A new value for every identifier of every file");
    command.exclude("--independent", "--key");
    command.addFlag("--neutral-names", options.hasNeutralNames, "Number the files in place of keeping their names");
    command.addFlag("--force", options.mayReplace, "Replace files that are there already");
    command.addFlag("--strict", options.isStrict, "Write no file that may still identify the patient");
}

} // namespace

void addAnonymizeCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<AnonymizeOptions>();
    const CommandLine command = program.addCommand("anonymize", "De-identify a file, a folder or a medium");
    addNames(command, *options);
    addIdentities(command, *options);
    command.addOption("--report", options->report,
                      "JSON file that says what changed in each file; - for the standard "
                      "output");
    command.addFlag("--report-originals", options->hasOriginals,
                    "Paths of the input and values before in the report: it then identifies the patient");
    command.addFlag("-q,--quiet", options->isQuiet, "Do not say what may still identify the patient");
    options->jobs.addTo(command);
    command.setFooter(
        "Names, dates and descriptions stay as they are unless --set, --rules or --profile gives them a "
        "value; what may still identify the patient is listed. Names of files and folders are kept unless "
        "--neutral-names is given. A file that fails is named, the others go on; the exit status is then "
        "1.");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli

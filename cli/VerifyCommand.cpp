#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/ProfileArguments.h"
#include "cli/arguments/Words.h"
#include "deidentify/Anonymizer.h"
#include "deidentify/VerificationReport.h"
#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

struct VerifyOptions {
    std::string first{};
    std::string second{};
    ProfileArguments profile{};
    std::vector<std::string> assignments{};
    std::string rules{};
    std::string report{};
    bool isQuiet = false;
    FileJobs jobs{};
};

bool isWithin(const fs::path& inner, const fs::path& outer) {
    const fs::path relative = inner.lexically_relative(outer);
    return !relative.empty() && *relative.begin() != "..";
}

/// Finished files among the originals would be taken for originals, and all of them would be found.
void checkFolders(const std::string& originals, const std::string& output) {
    std::error_code error;
    const fs::path in = fs::weakly_canonical(originals, error);
    const fs::path out = fs::weakly_canonical(output, error);
    if (in == out || isWithin(out, in) || isWithin(in, out)) {
        throw UsageError("The originals and the output must not lie in each other; name two separate folders.");
    }
}

/// Values that the user gave when the files were made.
std::vector<deidentify::GivenValue> givenValues(Session& session, const VerifyOptions& options) {
    deidentify::ReplacementRules rules;
    if (!options.rules.empty()) {
        rules.read(options.rules);
    }
    for (const std::string& word : options.assignments) {
        const Assignment assignment = parseAssignment("--set", word);
        rules.set(assignment.keyword, assignment.value);
    }
    return options.rules.empty() && options.assignments.empty() ? std::vector<deidentify::GivenValue>()
                                                                : rules.resolve(session.host());
}

void printResult(const VerifyOptions& options, const std::string& output,
                 const deidentify::VerificationResult& result) {
    if (!options.report.empty()) {
        const std::string text = deidentify::verificationReport(result);
        files::writeOutputFile(options.report, [&](std::FILE* file) {
            return std::fwrite(text.data(), 1, text.size(), file) == text.size();
        });
    }
    if (!options.isQuiet) {
        // Nothing else is mixed with a report on the standard output.
        (options.report == "-" ? std::cerr : std::cout) << deidentify::verificationSummary(output, result);
    }
}

void run(Session& session, const VerifyOptions& options) {
    const bool hasOriginals = !options.second.empty();
    const std::string& output = hasOriginals ? options.second : options.first;
    const std::string originals = hasOriginals ? options.first : "";
    if (hasOriginals) {
        checkFolders(originals, output);
    }
    deidentify::VerificationSettings settings;
    const deidentify::ProfileOptions chosen = options.profile.options();
    if (options.profile.hasOptions()) {
        settings.check.options = chosen;
    }
    settings.check.keptPrivates = options.profile.keptPrivates();
    settings.check.acceptedPixels =
        options.profile.acceptedPixels(deidentify::openAnonymization({})->acceptablePixels());
    settings.check.given = givenValues(session, options);
    settings.jobs = options.jobs.count();
    settings.progress = ProgressBar::forEachWork();
    const deidentify::VerificationResult result = deidentify::verify(originals, output, settings);
    for (const std::string& error : result.errors) {
        session.reportRefusal("", error);
    }
    if (result.checkedCount == 0 && result.errors.empty()) {
        session.reportRefusal("", output + " has no DICOM file.");
    }
    printResult(options, output, result);
    if (!result.isClean()) {
        session.refuse();
    }
}

} // namespace

void addVerifyCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<VerifyOptions>(
        program, session, "verify", "Check what of the originals is left in de-identified files", run);
    command.addRequired("FOLDER", options.first,
                        "File, folder or DICOMDIR to check; the originals of OUTPUT when that is given too");
    command.addOption("OUTPUT", options.second, "File, folder or DICOMDIR to check");
    options.profile.addTo(command);
    command.addRepeatable("--set", options.assignments, "KEYWORD=VALUE: a value that the attribute may have");
    command.addOption("--rules", options.rules, "JSON file with an object of keywords and values that they may have");
    command.addOption("--report", options.report,
                      "JSON file with the findings of each file; - for the standard output");
    command.addFlag("-q,--quiet", options.isQuiet, "Print nothing but errors");
    options.jobs.addTo(command);
    command.setFooter(
        "The exit status is 0 when nothing was found, and 1 when something is left or a file cannot be read. Files "
        "are judged by --keep, --shift-dates and --clean, or else by the options that they say were applied to them. "
        "Pixels that may show the patient count as a finding, because a status of 0 means that files may be passed "
        "on, and this command cannot see what a picture shows; --accept-pixels says that somebody has looked.");
}

} // namespace radvex::cli

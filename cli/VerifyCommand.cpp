#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/ProfileArguments.h"
#include "cli/arguments/ReplacementArguments.h"
#include "deidentify/Anonymizer.h"
#include "deidentify/VerificationReport.h"
#include "files/Errors.h"
#include "files/OutputFile.h"

namespace radvex::cli {

namespace {

struct VerifyOptions {
    std::string first{};
    std::string second{};
    ProfileArguments profile{};
    ReplacementArguments replacements{};
    std::string report{};
    OutputRule rule{};
    FileJobs jobs{};
};

/// Finished files among the originals would be taken for originals, and all of them would be found.
void checkFolders(const std::string& originals, const std::string& output) {
    if (nestingOf(originals, output) != Nesting::Apart) {
        throw UsageError("The originals and the output must not lie in each other; name two separate folders.");
    }
}

void printResult(const VerifyOptions& options, const std::string& output,
                 const deidentify::VerificationResult& result) {
    if (!options.report.empty()) {
        files::writeOutputText(options.rule.to(options.report), deidentify::verificationReport(result));
    }
    if (!Messages::ofThisRun().isQuiet) {
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
    options.rule.check({options.report}, {options.first, options.second});
    deidentify::VerificationSettings settings;
    const deidentify::ProfileOptions chosen = options.profile.options();
    if (options.profile.hasOptions()) {
        settings.check.options = chosen;
    }
    settings.check.keptPrivates = options.profile.keptPrivates();
    settings.check.acceptedPixels =
        options.profile.acceptedPixels(deidentify::openAnonymization({})->acceptablePixels());
    if (options.replacements.isGiven()) { // the library, which knows the keywords, is loaded for them only
        settings.check.given = options.replacements.rules().resolve(session.host());
    }
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
                        "File, folder or DICOMDIR to check; the originals of OUTPUT when that is given too",
                        Takes::Path);
    command.addOption("OUTPUT", options.second, "File, folder or DICOMDIR to check", Takes::Path);
    options.profile.addTo(command);
    options.replacements.addTo(command, "a value that the attribute may have");
    command.addOption("--report", options.report, "JSON file with the findings of each file; - for the standard output",
                      Takes::File);
    options.rule.addTo(command);
    options.jobs.addTo(command);
    command.setFooter(
        "The exit status is 0 when nothing was found, and 1 when something is left or a file cannot be read. Files "
        "are judged by --keep, --shift-dates and --clean, or else by the options that they say were applied to them. "
        "Pixels that may show the patient count as a finding, because a status of 0 means that files may be passed "
        "on, and this command cannot see what a picture shows; --accept-pixels says that somebody has looked.");
    command.addExample("radvex verify SERIES", "What may still tell who the patients are");
    command.addExample("radvex verify OLD SERIES --report report.json",
                       "Whether anything of the originals in OLD is left in SERIES");
}

} // namespace radvex::cli

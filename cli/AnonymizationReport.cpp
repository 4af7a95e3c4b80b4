#include "AnonymizationReport.h"

#include <algorithm>
#include <map>

#include "LosslessJson.h"
#include "Output.h"

namespace radvex::cli {

namespace {

std::string counted(std::size_t count) { return std::to_string(count) + (count == 1 ? " file" : " files"); }

std::size_t writtenCount(const AnonymizationResult& result) {
    return static_cast<std::size_t>(std::count_if(result.files.begin(), result.files.end(),
                                                  [](const AnonymizedFile& file) { return file.isWritten; }));
}

std::size_t failedCount(const AnonymizationResult& result) {
    return static_cast<std::size_t>(std::count_if(result.files.begin(), result.files.end(),
                                                  [](const AnonymizedFile& file) { return !file.error.empty(); }));
}

/// In how many files each attribute is, in the order of the names.
std::map<std::string, std::size_t> leakCounts(const AnonymizationResult& result) {
    std::map<std::string, std::size_t> counts;
    for (const AnonymizedFile& file : result.files) {
        for (const study::Leak& leak : file.leaks) {
            ++counts[leak.attribute];
        }
    }
    return counts;
}

Json changesOf(const AnonymizedFile& file, bool hasOriginals) {
    Json changes = Json::array();
    for (const study::Change& change : file.changes) {
        Json entry{{"attribute", change.attribute}};
        if (hasOriginals) {
            entry["before"] = printable(change.before);
        }
        entry["after"] = printable(change.after);
        changes.push_back(std::move(entry));
    }
    return changes;
}

Json entryOf(const AnonymizedFile& file, bool hasOriginals) {
    Json entry = Json::object();
    if (hasOriginals) {
        entry["input"] = printable(file.source);
    }
    entry["output"] = file.isWritten ? Json(printable(file.name)) : Json();
    if (!file.error.empty()) { // the sentence names the file of the input
        entry["error"] = hasOriginals ? printable(file.error) : "said on standard error";
    }
    entry["changes"] = changesOf(file, hasOriginals);
    entry["remaining"] = Json::array();
    for (const study::Leak& leak : file.leaks) {
        entry["remaining"].push_back(printable(leak.attribute));
    }
    return entry;
}

Json entryOf(const study::Profile& profile) {
    Json replaced = Json::array();
    for (const study::ProfileRule& rule : profile.rules) {
        replaced.push_back(rule.keyword);
    }
    return {{"replaced", std::move(replaced)}, {"notExpressible", profile.notExpressible}};
}

} // namespace

std::string anonymizationReport(const AnonymizationResult& result, const ReportOptions& options) {
    Json report{{"written", writtenCount(result)}, {"failed", failedCount(result)}, {"skipped", result.skippedCount}};
    if (options.profile != nullptr) {
        report["profile"] = entryOf(*options.profile);
    }
    report["remaining"] = Json::object();
    for (const auto& [attribute, count] : leakCounts(result)) {
        report["remaining"][printable(attribute)] = count;
    }
    report["files"] = Json::array();
    for (const AnonymizedFile& file : result.files) {
        report["files"].push_back(entryOf(file, options.hasOriginals));
    }
    return report.dump(1) + '\n';
}

std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result,
                                 const study::Profile* profile) {
    constexpr std::size_t kColumn = 44;
    std::string text = printable(output) + ": " + counted(writtenCount(result)) + " written, " +
                       std::to_string(failedCount(result)) + " failed, " + std::to_string(result.skippedCount) +
                       " skipped\n";
    const auto counts = leakCounts(result);
    text += counts.empty() ? "" : "What may still identify the patient:\n";
    for (const auto& [attribute, count] : counts) {
        std::string line = "  " + printable(attribute);
        line.resize(std::max(kColumn, line.size() + 1), ' ');
        text += line + counted(count) + '\n';
    }
    if (result.shownNameCount > 0) {
        text += "With --neutral-names no name of the input is kept.\n";
    }
    if (profile != nullptr) {
        text += "The basic profile also asks for what new values cannot express: the removal of " +
                std::to_string(profile->notExpressible.size()) +
                " attributes and groups, of which the files above hold those that are listed; --report names all.\n";
    }
    return text;
}

} // namespace radvex::cli

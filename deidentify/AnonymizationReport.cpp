#include "deidentify/AnonymizationReport.h"

#include <algorithm>
#include <map>

#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

namespace {

std::size_t failedCount(const AnonymizationResult& result) {
    return static_cast<std::size_t>(std::count_if(result.files.begin(), result.files.end(),
                                                  [](const AnonymizedFile& file) { return !file.error.empty(); }));
}

/// The number of files that hold each attribute, in the order of the names.
std::map<std::string, std::size_t> leakCounts(const AnonymizationResult& result) {
    std::map<std::string, std::size_t> counts;
    for (const AnonymizedFile& file : result.files) {
        for (const std::string& leak : file.leaks) {
            ++counts[leak];
        }
    }
    return counts;
}

formats::Json changesOf(const AnonymizedFile& file, bool hasOriginals) {
    formats::Json changes = formats::Json::array();
    for (const Change& change : file.changes) {
        formats::Json entry{{"attribute", change.attribute}};
        if (hasOriginals) {
            entry["before"] = formats::printable(change.before);
            entry["after"] = formats::printable(change.after);
        }
        changes.push_back(std::move(entry));
    }
    for (const ProfileStep& step : file.steps) {
        changes.push_back({{"attribute", step.attribute}, {"action", step.action}, {"rule", step.rule}});
    }
    return changes;
}

formats::Json entryOf(const AnonymizedFile& file, bool hasOriginals) {
    formats::Json entry = formats::Json::object();
    if (hasOriginals) {
        entry["input"] = formats::printable(file.source);
    }
    entry["output"] = file.isWritten ? formats::Json(formats::printable(file.name)) : formats::Json();
    if (file.isEarlier) {
        entry["writtenBefore"] = true;
    }
    if (!file.error.empty()) { // the sentence holds the path of the input
        entry["error"] = hasOriginals ? formats::printable(file.error) : "said on standard error";
    }
    entry["changes"] = changesOf(file, hasOriginals);
    entry["remaining"] = formats::Json::array();
    for (const std::string& leak : file.leaks) {
        entry["remaining"].push_back(formats::printable(leak));
    }
    return entry;
}

formats::Json entryOf(const ProfileOptions& profile) {
    formats::Json options = formats::Json::array();
    for (const ProfileOptionNames& names : profileOptionNames()) {
        if (profile.has(names.option)) {
            options.push_back(names.column);
        }
    }
    return {{"name", "Basic Application Level Confidentiality Profile"},
            {"standard", "PS3.15, table E.1-1"},
            {"edition", kProfileEdition},
            {"options", std::move(options)}};
}

/// How many attributes were treated in each way.
std::map<std::string, std::size_t> actionCounts(const AnonymizationResult& result) {
    std::map<std::string, std::size_t> counts;
    for (const AnonymizedFile& file : result.files) {
        for (const ProfileStep& step : file.steps) {
            ++counts[step.action];
        }
    }
    return counts;
}

std::string actionLine(const AnonymizationResult& result) {
    std::string line;
    for (const auto& [action, count] : actionCounts(result)) {
        line += (line.empty() ? "  " : ", ") + action + ' ' + std::to_string(count);
    }
    return line.empty() ? "" : "Attributes:" + line.substr(1) + '\n';
}

} // namespace

std::string anonymizationReport(const AnonymizationResult& result, const ReportedRun& run) {
    formats::Json report{
        {"written", result.writtenCount()}, {"failed", failedCount(result)}, {"skipped", result.skippedCount}};
    if (run.profile) {
        report["profile"] = entryOf(*run.profile);
        report["dryRun"] = run.isDryRun;
    }
    report["remaining"] = formats::Json::object();
    for (const auto& [attribute, count] : leakCounts(result)) {
        report["remaining"][formats::printable(attribute)] = count;
    }
    report["files"] = formats::Json::array();
    for (const AnonymizedFile& file : result.files) {
        report["files"].push_back(entryOf(file, run.hasOriginals));
    }
    return formats::dumpJson(report, 1) + '\n';
}

std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result, const ReportedRun& run) {
    std::string text = formats::printable(output) + ": " + formats::counted(result.writtenCount(), "file", "files") +
                       (run.isDryRun ? " would be written, " : " written, ") + std::to_string(failedCount(result)) +
                       " failed, " + std::to_string(result.skippedCount) + " skipped\n";
    const auto earlier = std::ranges::count(result.files, true, &AnonymizedFile::isEarlier);
    if (earlier > 0) {
        text += std::to_string(earlier) + " of them were there already, from an earlier run.\n";
    }
    if (run.profile) {
        text += "By the " + run.profile->describe() + ".\n" + actionLine(result);
    }
    text += remainingLines(result);
    if (result.shownNameCount > 0) {
        text += "With --neutral-names no name of the input is kept.\n";
    }
    return text;
}

std::string remainingLines(const AnonymizationResult& result) {
    constexpr std::size_t kColumn = 44;
    const auto counts = leakCounts(result);
    std::string text = counts.empty() ? "" : "What may still identify the patient:\n";
    for (const auto& [attribute, count] : counts) {
        text += formats::withColumn("  " + formats::printable(attribute), kColumn) +
                formats::counted(count, "file", "files") + '\n';
    }
    return text;
}

} // namespace radvex::deidentify

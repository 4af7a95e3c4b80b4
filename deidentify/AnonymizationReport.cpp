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
        }
        entry["after"] = formats::printable(change.after);
        changes.push_back(std::move(entry));
    }
    return changes;
}

formats::Json entryOf(const AnonymizedFile& file, bool hasOriginals) {
    formats::Json entry = formats::Json::object();
    if (hasOriginals) {
        entry["input"] = formats::printable(file.source);
    }
    entry["output"] = file.isWritten ? formats::Json(formats::printable(file.name)) : formats::Json();
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

formats::Json entryOf(const Profile& profile) {
    formats::Json replaced = formats::Json::array();
    for (const ProfileRule& rule : profile.rules) {
        replaced.push_back(rule.keyword);
    }
    return {{"replaced", std::move(replaced)}, {"notExpressible", profile.notExpressible}};
}

} // namespace

std::string anonymizationReport(const AnonymizationResult& result, const std::optional<Profile>& profile,
                                bool hasOriginals) {
    formats::Json report{
        {"written", result.writtenCount()}, {"failed", failedCount(result)}, {"skipped", result.skippedCount}};
    if (profile) {
        report["profile"] = entryOf(*profile);
    }
    report["remaining"] = formats::Json::object();
    for (const auto& [attribute, count] : leakCounts(result)) {
        report["remaining"][formats::printable(attribute)] = count;
    }
    report["files"] = formats::Json::array();
    for (const AnonymizedFile& file : result.files) {
        report["files"].push_back(entryOf(file, hasOriginals));
    }
    return formats::dumpJson(report, 1) + '\n';
}

std::string anonymizationSummary(const std::string& output, const AnonymizationResult& result,
                                 const std::optional<Profile>& profile) {
    constexpr std::size_t kColumn = 44;
    std::string text = formats::printable(output) + ": " + formats::counted(result.writtenCount(), "file", "files") +
                       " written, " + std::to_string(failedCount(result)) + " failed, " +
                       std::to_string(result.skippedCount) + " skipped\n";
    const auto counts = leakCounts(result);
    text += counts.empty() ? "" : "What may still identify the patient:\n";
    for (const auto& [attribute, count] : counts) {
        std::string line = "  " + formats::printable(attribute);
        line.resize(std::max(kColumn, line.size() + 1), ' ');
        text += line + formats::counted(count, "file", "files") + '\n';
    }
    if (result.shownNameCount > 0) {
        text += "With --neutral-names no name of the input is kept.\n";
    }
    if (profile) {
        text += "The basic profile also asks for what new values cannot express: the removal of " +
                std::to_string(profile->notExpressible.size()) +
                " attributes and groups, of which the files above hold those that are listed; --report names all.\n";
    }
    return text;
}

} // namespace radvex::deidentify

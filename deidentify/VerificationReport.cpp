#include "deidentify/VerificationReport.h"

#include <algorithm>

#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

namespace {

/// The files of each kind of finding.
using ByKind = std::map<std::string, std::vector<std::string>>;

ByKind byKind(const VerificationResult& result, std::set<std::string> VerifiedFile::*list) {
    ByKind kinds;
    for (const VerifiedFile& file : result.files) {
        for (const std::string& kind : file.*list) {
            kinds[kind].push_back(file.name);
        }
    }
    return kinds;
}

std::string linesOf(const std::string& title, const ByKind& kinds) {
    constexpr std::size_t kColumn = 60;
    constexpr std::size_t kExamples = 3;
    std::string text = kinds.empty() ? "" : title + ":\n";
    for (const auto& [kind, names] : kinds) {
        text += formats::withColumn("  " + formats::printable(kind), kColumn) +
                formats::counted(names.size(), "file", "files") + '\n';
        for (std::size_t index = 0; index < std::min(kExamples, names.size()); ++index) {
            text += "      " + formats::printable(names[index]) + '\n';
        }
        if (names.size() > kExamples) {
            text += "      and " + std::to_string(names.size() - kExamples) + " more\n";
        }
    }
    return text;
}

formats::Json listOf(const std::set<std::string>& texts) {
    formats::Json list = formats::Json::array();
    for (const std::string& text : texts) {
        list.push_back(formats::printable(text));
    }
    return list;
}

formats::Json entryOf(const VerifiedFile& file) {
    formats::Json entry{{"file", file.showsIdentity ? formats::Json() : formats::Json(formats::printable(file.name))},
                        {"findings", listOf(file.findings)}};
    if (!file.pixels.empty()) {
        entry["pixels"] = listOf(file.pixels);
    }
    if (!file.hints.empty()) {
        entry["hints"] = listOf(file.hints);
    }
    return entry;
}

} // namespace

std::string verificationReport(const VerificationResult& result) {
    formats::Json report{{"clean", result.isClean()},
                         {"checked", result.checkedCount},
                         {"notDicom", result.otherCount},
                         {"failed", result.failedCount},
                         {"originals", result.hasOriginals ? formats::Json(result.originalCount) : formats::Json()}};
    report["errors"] = result.errors.size(); // the sentences hold paths of the originals
    report["profiles"] = formats::Json::object();
    for (const auto& [profile, count] : result.profiles) {
        report["profiles"][profile] = count;
    }
    report["differences"] = result.differences;
    report["files"] = formats::Json::array();
    for (const VerifiedFile& file : result.files) {
        report["files"].push_back(entryOf(file));
    }
    return formats::dumpJson(report, 1) + '\n';
}

std::string verificationSummary(const std::string& output, const VerificationResult& result) {
    std::string text = formats::printable(output) + ": " + formats::counted(result.checkedCount, "file", "files") +
                       " checked, " + std::to_string(result.otherCount) + " not DICOM\n";
    text += result.hasOriginals
                ? "Compared with " + formats::counted(result.originalCount, "original", "originals") + ".\n"
                : "Without originals: their UIDs, names and numbers in texts and bytes were not searched.\n";
    for (const auto& [profile, count] : result.profiles) {
        text += "Judged by the " + profile + ": " + formats::counted(count, "file", "files") + ".\n";
    }
    text += linesOf("What is left", byKind(result, &VerifiedFile::findings));
    for (const std::string& difference : result.differences) {
        text += (&difference == result.differences.data() ? "All files together:\n  " : "  ") + difference + '\n';
    }
    text += linesOf("Pictures that nobody looked at", byKind(result, &VerifiedFile::pixels));
    text += linesOf("Hints, which may be nothing", byKind(result, &VerifiedFile::hints));
    return text + (result.isClean() ? "Nothing was found.\n" : "");
}

} // namespace radvex::deidentify

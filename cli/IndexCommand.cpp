#include <iostream>
#include <set>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/OutputRule.h"
#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "media/FolderIndex.h"

namespace radvex::cli {

namespace {

struct IndexOptions {
    std::string folder{};
    std::string output{};
    OutputRule rule{};
    FileJobs jobs{};
    bool isDryRun = false;
    bool json = false;
};

formats::Json toJson(const media::FolderIndex& index) {
    formats::Json files = formats::Json::array();
    for (const media::IndexedFile& file : index.files) {
        files.push_back({{"fileId", file.fileId}, {"path", file.path}});
    }
    formats::Json refused = formats::Json::array();
    for (const media::RefusedFile& file : index.leftOut.refused) {
        refused.push_back({{"path", file.path}, {"reason", file.reason}});
    }
    return {{"dicomdir", index.dicomdir},   {"patients", index.patientCount}, {"studies", index.studyCount},
            {"series", index.seriesCount},  {"files", std::move(files)},      {"skipped", index.leftOut.skippedCount},
            {"refused", std::move(refused)}};
}

std::string summaryOf(const media::FolderIndex& index) {
    return formats::counted(index.patientCount, "patient", "patients") + ", " +
           formats::counted(index.studyCount, "study", "studies") + ", " + std::to_string(index.seriesCount) +
           " series, " + formats::counted(index.files.size(), "file", "files") + " (" +
           std::to_string(index.leftOut.skippedCount) + " skipped, " + std::to_string(index.leftOut.refused.size()) +
           " refused)";
}

/// Says what is left out and sets the status. @throws FileError  nothing can be indexed
void tellFiles(Session& session, const IndexOptions& options, const media::FolderIndex& index) {
    tellLeftOut(index.leftOut);
    if (index.files.empty()) {
        throw FileError(options.folder + " holds no DICOM file that can be indexed; nothing was written.");
    }
    session.endFiles(index.files.size(), index.leftOut.refused.size());
}

/// A line for each link: + for a new one, = for one that is there, - for one that is not listed any more.
void printChanges(const media::FolderIndex& index, const media::LinkChanges& changes) {
    const std::set<std::string> kept(changes.kept.begin(), changes.kept.end());
    std::cout << formats::printable(index.dicomdir)
              << (changes.replacesDicomdir ? " would be replaced: " : " would be made: ") << summaryOf(index) << '\n';
    for (const media::IndexedFile& file : index.files) {
        std::cout << (kept.contains(file.fileId) ? "= " : "+ ") << file.fileId << "  " << formats::printable(file.path)
                  << '\n';
    }
    for (const media::IndexedFile& link : changes.dropped) {
        std::cout << "- " << link.fileId << "  " << formats::printable(link.path) << '\n';
    }
}

void rehearse(Session& session, const IndexOptions& options) {
    const auto [index, changes] = media::rehearseIndex(options.folder, options.output, options.rule.isForced(),
                                                       options.jobs.count(), ProgressBar::forEachWork());
    tellFiles(session, options, index);
    if (!options.json) {
        return printChanges(index, changes);
    }
    formats::Json json = toJson(index);
    json["isDryRun"] = true;
    json["replacesDicomdir"] = changes.replacesDicomdir;
    json["kept"] = changes.kept;
    json["dropped"] = formats::Json::array();
    for (const media::IndexedFile& link : changes.dropped) {
        json["dropped"].push_back({{"fileId", link.fileId}, {"path", link.path}});
    }
    std::cout << formats::dumpJson(json) << '\n';
}

void run(Session& session, const IndexOptions& options) {
    if (options.isDryRun) {
        return rehearse(session, options);
    }
    const media::FolderIndex index = media::indexFolder(options.folder, options.output, options.rule.isForced(),
                                                        options.jobs.count(), ProgressBar::forEachWork());
    tellFiles(session, options, index);
    if (options.json) {
        std::cout << formats::dumpJson(toJson(index)) << '\n';
    } else if (!Messages::ofThisRun().isQuiet) {
        std::cout << formats::printable(index.dicomdir) << ": " << summaryOf(index) << '\n';
    }
}

} // namespace

void addIndexCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<IndexOptions>(program, session, "index", "Write a DICOMDIR for a plain folder", run);
    command.addRequired("FOLDER", options.folder, "Folder of DICOM files and of folders that hold some", Takes::Folder);
    command.addRequired("-o,--output", options.output,
                        "Folder for the DICOMDIR and a symbolic link to each file; made when it is missing",
                        Takes::Folder);
    options.rule.addTo(command);
    command.addFlag("--dry-run", options.isDryRun,
                    "Say what would be done, and write nothing: + a new link, = one that is there, - one that the new "
                    "DICOMDIR would not list");
    options.jobs.addTo(command);
    command.addFlag("--json", options.json, "List indexed, skipped and refused files as JSON");
    command.setFooter("Files that are not DICOM are skipped. DICOM files that cannot be indexed are named on standard "
                      "error; the exit status is then 3, or 1 if no file was indexed.");
    command.addExample("radvex index SERIES -o NEW --dry-run", "What would be written, and nothing done");
    command.addExample("radvex index SERIES -o NEW", "A DICOMDIR for a folder of files, with links to them");
}

} // namespace radvex::cli

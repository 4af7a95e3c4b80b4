#include <iostream>

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

void run(Session& session, const IndexOptions& options) {
    const media::FolderIndex index = media::indexFolder(options.folder, options.output, options.rule.isForced(),
                                                        options.jobs.count(), ProgressBar::forEachWork());
    tellLeftOut(index.leftOut);
    if (index.files.empty()) {
        throw FileError(options.folder + " holds no DICOM file that can be indexed; nothing was written.");
    }
    session.endFiles(index.files.size(), index.leftOut.refused.size());
    if (options.json) {
        std::cout << formats::dumpJson(toJson(index)) << '\n';
        return;
    }
    if (Messages::ofThisRun().isQuiet) {
        return;
    }
    std::cout << formats::printable(index.dicomdir) << ": "
              << formats::counted(index.patientCount, "patient", "patients") << ", "
              << formats::counted(index.studyCount, "study", "studies") << ", " << index.seriesCount << " series, "
              << formats::counted(index.files.size(), "file", "files") << " (" << index.leftOut.skippedCount
              << " skipped, " << index.leftOut.refused.size() << " refused)\n";
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
    options.jobs.addTo(command);
    command.addFlag("--json", options.json, "List indexed, skipped and refused files as JSON");
    command.setFooter("Files that are not DICOM are skipped. DICOM files that cannot be indexed are named on standard "
                      "error; the exit status is then 3, or 1 if no file was indexed.");
    command.addExample("radvex index SERIES -o NEW", "A DICOMDIR for a folder of files, with links to them");
}

} // namespace radvex::cli

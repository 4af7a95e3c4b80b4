#include "cli/arguments/MediumOptions.h"

#include "cli/ProgressBar.h"
#include "cli/arguments/Messages.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "media/FolderIndex.h"
#include "volume/slices/FileWindow.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::cli {

void checkPattern(const char* option, const std::string& pattern) {
    if (const std::string reason = media::whyUnusable(pattern); !reason.empty()) {
        throw UsageError(std::string(option) + " '" + formats::shortened(pattern) +
                         "' is not a usable regular expression: " + reason);
    }
}

void tellLeftOut(const media::LeftOut& leftOut) {
    media::LeftOut told = leftOut;
    told.skippedCount = Messages::ofThisRun().isQuiet ? 0 : told.skippedCount;
    for (const std::string& sentence : media::sentencesOf(told)) {
        printError(sentence);
    }
}

std::unique_ptr<media::Medium> openMedium(const std::string& path, const FileJobs& jobs) {
    auto medium = std::make_unique<media::Medium>(path, jobs.count(), ProgressBar::forEachWork());
    tellLeftOut(medium->listing().leftOut);
    return medium;
}

std::unique_ptr<media::Medium> openListedMedium(Session& session, const std::string& path, const FileJobs& jobs) {
    auto medium = openMedium(path, jobs);
    if (!medium->listing().leftOut.refused.empty()) {
        session.leaveOut();
    }
    return medium;
}

void warnAboutWindow(velmora::Host& host, const std::vector<std::string>& files, const media::Rendering& rendering,
                     const FileJobs& jobs) {
    if (!rendering.window && !rendering.named) {
        return;
    }
    for (const std::string& file : files) {
        try {
            const std::string parcel = workers::workAlone(jobs.count(), file, [&] {
                const auto doubts = volume::doubtsAbout(host, file, file, rendering);
                host.call("CloseReader", {file});
                return workers::toParcel(doubts);
            });
            const auto doubts = workers::fromParcel<std::vector<std::string>>(parcel);
            for (const std::string& doubt : doubts) {
                printError("warning: " + doubt);
            }
            if (!doubts.empty()) {
                return;
            }
        } catch (const FileError&) { // whoever renders the file says why
        }
    }
}

void SelectionOptions::addTo(const CommandLine& command) {
    command.addOption("--patient", patient, "Only if the whole PatientID matches this regular expression");
    command.addOption("--study", study, "Only if the whole StudyInstanceUID matches");
    command.addOption("--series", series, "Only if the whole SeriesInstanceUID matches");
}

bool SelectionOptions::isGiven() const {
    const media::Selection all;
    return patient != all.patient || study != all.study || series != all.series;
}

void SelectionOptions::check() const {
    checkPattern("--patient", patient);
    checkPattern("--study", study);
    checkPattern("--series", series);
}

} // namespace radvex::cli

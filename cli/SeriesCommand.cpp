#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/SeriesPictures.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/OutputNames.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "media/FolderWalk.h"
#include "media/Medium.h"
#include "media/MediumTree.h"
#include "media/TemporaryIndex.h"
#include "media/scan/FileDiagnosis.h"
#include "workers/Parcel.h"
#include "workers/SharedMemory.h"
#include "workers/Workers.h"

namespace radvex::cli {

namespace fs = std::filesystem;
using velmora::Image;
using velmora::NodeView;
using velmora::StoreView;
using velmora::Value;

namespace {

struct SeriesOptions {
    std::string medium{};
    std::string output{};
    SelectionOptions selection{};
    PictureOptions picture{};
    OutputRule rule{};
    bool isSheet = false;
    bool json = false;
    FileJobs jobs{};
};

/// One series and the selection that chooses it alone.
struct Choice {
    media::MediumSeries series{};
    media::Selection selection{};
};

std::vector<Choice> choicesOf(const std::vector<media::MediumPatient>& patients) {
    std::vector<Choice> all;
    media::forEachSeries(patients, [&](const auto& patient, const auto& study, const auto& series) {
        all.push_back({series, media::selectionOf(patient, study, series)});
    });
    return all;
}

std::vector<std::string> firstFilesOf(const std::vector<Choice>& all) {
    std::vector<std::string> files;
    for (const Choice& choice : all) {
        if (!choice.series.files.empty()) {
            files.push_back(choice.series.files.front());
        }
    }
    return files;
}

/// Renders each file alone, in other processes.
class FileByFile {
  public:
    FileByFile(Session& session, const SeriesOptions& options, const std::vector<Choice>& all)
        : mFiles(filesOf(all)),
          mWorkers(mFiles.size() < 2 ? 0 : options.jobs.count(), [this, &session, &options](std::size_t index) {
              return workers::toParcel(
                  showFile(session.host(), mFiles[index], options.picture.rendering(), options.isSheet));
          }) {}

    /// To be called for each series in turn.
    SeriesPictures show(const media::MediumSeries& series, ProgressBar& progress) {
        const std::size_t first = std::exchange(mNext, mNext + series.files.size());
        std::vector<media::ShownFile> files(series.files.size());
        mWorkers.run(first, mNext, [&](std::size_t index, const workers::WorkResult& result) {
            progress.show(index + 1, mFiles.size());
            media::ShownFile& file = files[index - first];
            if (result.isDone()) {
                file = workers::fromParcel<media::ShownFile>(result.output);
            } else {
                file.error = result.problem();
            }
        });
        SeriesPictures shown;
        for (const std::size_t index : libraryOrder(files)) {
            if (files[index].error.empty()) {
                shown.files.push_back({series.files[index], std::move(files[index].pngs)});
            }
        }
        for (std::size_t index = 0; index < files.size(); ++index) {
            if (!files[index].error.empty()) {
                shown.missing.push_back({series.files[index], files[index].error});
            }
        }
        return shown;
    }

  private:
    static std::vector<std::string> filesOf(const std::vector<Choice>& all) {
        std::vector<std::string> files;
        for (const Choice& choice : all) {
            files.insert(files.end(), choice.series.files.begin(), choice.series.files.end());
        }
        return files;
    }

    std::vector<std::string> mFiles; ///< of all series
    std::size_t mNext = 0;           ///< index of the first file of the next series
    workers::Workers mWorkers;
};

/// Calls `body` with the path and the image of each file of a series in the result of Read2DImagesDir.
template <typename Body>
void forEachPicture(const Value& result, const std::string& seriesKey, Body body) {
    for (const NodeView patient : result.get<velmora::Store>()) {
        for (const NodeView study : StoreView(patient.cell().dataStore)) {
            for (const NodeView series : StoreView(study.cell().dataStore)) {
                for (const NodeView picture : StoreView(series.cell().dataStore)) {
                    if (series.name() == seriesKey) {
                        const Value image = picture.value();
                        body(std::string(picture.name()), image.get<Image>());
                    }
                }
            }
        }
    }
}

/// The library silently leaves out a file that it cannot read. When it reads the file alone, it says why.
std::string whyMissing(velmora::Host& host, const std::string& file, const media::Rendering& rendering) {
    std::string reason = "It cannot be shown with its series, but it can be read alone.";
    try {
        (void)host.call("ReadImage",
                        {file, 0, 0, rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags});
    } catch (const velmora::LibraryError& error) {
        reason = media::explain(error, file, file);
    }
    host.call("CloseReader", {file});
    return reason;
}

/// A DICOMDIR of the whole medium, which a window common to all pictures of a series needs.
class CommonWindow {
  public:
    CommonWindow(const media::Medium& medium, std::size_t jobs) : mMedium(medium) {
        if (medium.isFolder()) {
            mIndex = std::make_unique<media::TemporaryIndex>(medium.path(), jobs, ProgressBar::forEachWork());
        }
    }

    /// Lets the library render a series as a whole.
    SeriesPictures show(velmora::Host& host, const Choice& choice, const media::Rendering& rendering,
                        bool isForSheet) const {
        SeriesPictures shown;
        std::set<std::string> known;
        media::Selection selection = choice.selection;
        if (mIndex != nullptr) { // an index invents the IDs that files do not have
            selection.patient = ".*";
        }
        const std::string& dicomdir = mIndex == nullptr ? mMedium.dicomdir() : mIndex->dicomdir();
        const Value result =
            host.call("Read2DImagesDir", {dicomdir, rendering.scalingTensor(), rendering.hasOverlays,
                                          media::kImageFlags, selection.patient, selection.study, selection.series});
        forEachPicture(result, choice.series.key, [&](const std::string& libraryPath, const Image& image) {
            const std::string path = mIndex == nullptr ? libraryPath : mIndex->userPath(libraryPath);
            known.insert(path);
            shown.files.push_back({path, encoded(host, path, formats::picturesOf(image), isForSheet)});
        });
        for (const std::string& file : choice.series.files) {
            if (!known.contains(file)) {
                shown.missing.push_back({file, whyMissing(host, file, rendering)});
            }
        }
        return shown;
    }

  private:
    const media::Medium& mMedium;
    std::unique_ptr<media::TemporaryIndex> mIndex{};
};

std::string suffix(const std::string& text) {
    const std::string safe = formats::fileNamePart(text, 32);
    return safe.empty() ? "" : "-" + safe;
}

/// The files without a picture, and those of the folder that may belong to any series.
formats::Json describeMissing(const media::Medium& medium, const SeriesPictures& shown) {
    formats::Json list = formats::Json::array();
    for (const media::RefusedFile& file : shown.missing) {
        list.push_back({{"file", file.path}, {"reason", file.reason}});
    }
    for (const media::RefusedFile& file : medium.listing().leftOut.refused) {
        list.push_back({{"file", file.path}, {"reason", file.reason}});
    }
    return list;
}

void run(Session& session, const SeriesOptions& options) {
    options.selection.check();
    requireFolderName(options.output);
    workers::keepMemoryBetweenFiles();
    const media::Rendering rendering = options.picture.rendering(); // finds wrong usage before the medium is read
    options.rule.checkFolder(options.output);
    const auto opened = openMedium(options.medium, options.jobs);
    const media::Medium& medium = *opened;
    const auto all = choicesOf(
        media::listMedium(session.host(), medium, options.selection, media::Records::all, options.jobs.count()));
    warnAboutWindow(session.host(), firstFilesOf(all), rendering, options.jobs);
    formats::Json report = formats::Json::array();
    ProgressBar progress(options.picture.commonWindow ? "Rendering series" : "Rendering files");
    std::optional<CommonWindow> commonWindow;
    if (options.picture.commonWindow) {
        commonWindow.emplace(medium, options.jobs.count());
    }
    FileByFile files(session, options, all);
    for (std::size_t index = 0; index < all.size(); ++index) {
        session.attempt("", [&] {
            const media::MediumSeries& series = all[index].series;
            const SeriesPictures shown =
                commonWindow ? commonWindow->show(session.host(), all[index], rendering, options.isSheet)
                             : files.show(series, progress);
            const std::string folder = fileNumber(index + 1) + suffix(series.modality) + suffix(series.number);
            const auto write = [&](const fs::path& path) {
                return options.isSheet ? writeSheets(options.rule, path, shown)
                                       : writePictures(options.rule, path, shown);
            };
            const bool isWritten =
                options.rule.isForced() || (shown.missing.empty() && medium.listing().leftOut.refused.empty());
            report.push_back(
                {{"SeriesInstanceUID", series.uid},
                 {"SeriesNumber", series.number},
                 {"pictures", isWritten ? write(fs::path(options.output) / folder) : formats::Json::array()},
                 {"missing", describeMissing(medium, shown)}});
            for (const media::RefusedFile& missing : shown.missing) {
                Session::reportFile(missing.path, missing.reason);
            }
            if (!shown.missing.empty() || !medium.listing().leftOut.refused.empty()) {
                session.leaveOut();
            }
            if (!isWritten) { // the numbers of pictures are those of slices
                session.reportRefusal("", "Series " + series.uid +
                                              " is not written, since pictures may be missing; --force writes it.");
            }
        });
        if (commonWindow) { // the files of a series are shown at once
            progress.show(index + 1, all.size());
        }
    }
    if (all.empty()) {
        session.reportRefusal("", options.medium + " holds no series that matches.");
    }
    if (options.json) {
        std::cout << formats::dumpJson(report) << '\n';
    }
}

} // namespace

void addSeriesCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<SeriesOptions>(
        program, session, "series", "Write a picture of every image of a medium or a folder", run);
    command.addRequired("MEDIUM", options.medium, "DICOMDIR, or a folder of DICOM files", Takes::Path);
    command.addRequired("-o,--output", options.output,
                        "Folder to write to; each series gets a folder with pictures numbered in slice order",
                        Takes::Folder);
    options.selection.addTo(command);
    options.picture.addSeriesWindowTo(command);
    options.picture.addOverlaysTo(command);
    command.addFlag("--sheet", options.isSheet,
                    "One picture of each series in place of the pictures of its slices: tiles with their numbers and "
                    "the directions R, L, A, P, H, F");
    options.jobs.addTo(command);
    options.rule.addTo(command, "Also write the pictures of a series when some are missing");
    command.addFlag("--json", options.json, "List as JSON which picture shows which file");
    command.addExample("radvex series SERIES -o PICTURES --window lung", "Pictures of all slices for the lungs");
    command.addExample("radvex series STUDIES -o SHEETS --sheet", "A contact sheet of each series");
}

} // namespace radvex::cli

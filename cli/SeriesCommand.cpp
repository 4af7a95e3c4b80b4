#include <algorithm>
#include <filesystem>
#include <iostream>
#include <set>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/MediumOptions.h"
#include "cli/arguments/PictureOptions.h"
#include "files/OutputFile.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"
#include "formats/pictures/Png.h"
#include "media/Medium.h"
#include "media/MediumTree.h"
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
    bool json = false;
    FileJobs jobs{};
};

/// A number with leading zeros, so that names sort as the numbers do.
std::string padded(std::size_t number) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%04zu", number);
    return digits;
}

/// One series with what chooses it.
struct Choice {
    std::string key{};
    std::string uid{};
    std::string number{};
    std::string modality{};
    std::vector<std::string> files{};
    media::Selection selection{};
};

std::vector<Choice> choicesOf(const std::vector<media::MediumPatient>& patients) {
    std::vector<Choice> all;
    media::forEachSeries(patients, [&](const auto& patient, const auto& study, const auto& series) {
        all.push_back({series.key, series.uid, series.number, series.modality, series.files,
                       media::selectionOf(patient, study, series)});
    });
    return all;
}

/// The pictures of one series, or why a file has none.
struct Shown {
    struct Picture {
        std::string file{}; ///< as the library takes it
        std::vector<std::string> pngs{};
    };
    std::vector<Picture> pictures{}; ///< in the library's order
    struct Missing {
        std::string file{};
        std::string reason{};
    };
    std::vector<Missing> missing{};
};

/// Renders each file for itself, in processes of their own.
class FileByFile {
  public:
    FileByFile(Session& session, const SeriesOptions& options, const std::vector<Choice>& all)
        : mOptions(options), mAll(all), mWorkers(processes(options, all), [&session, this](std::size_t item) {
              return workers::toParcel(media::showFile(session.host(), pathOf(item), mOptions.picture.rendering()));
          }) {}

    Shown show(std::size_t index) {
        const std::vector<std::string>& paths = mAll[index].files;
        const std::size_t first = firstOf(index);
        std::vector<media::ShownFile> files(paths.size());
        mWorkers.run(first, first + paths.size(), [&](std::size_t item, const workers::WorkResult& result) {
            media::ShownFile& file = files[item - first];
            if (result.isDone()) {
                file = workers::fromParcel<media::ShownFile>(result.output);
            } else {
                file.error = result.problem();
            }
        });
        Shown shown;
        for (const std::size_t place : libraryOrder(files)) {
            if (files[place].error.empty()) {
                shown.pictures.push_back({paths[place], std::move(files[place].pngs)});
            }
        }
        for (std::size_t place = 0; place < files.size(); ++place) {
            if (!files[place].error.empty()) {
                shown.missing.push_back({paths[place], files[place].error});
            }
        }
        return shown;
    }

  private:
    static std::size_t processes(const SeriesOptions& options, const std::vector<Choice>& all) {
        std::size_t files = 0;
        for (const Choice& choice : all) {
            files += choice.files.size();
        }
        return files < 2 ? 0 : options.jobs.count();
    }
    std::size_t firstOf(std::size_t index) const {
        std::size_t first = 0;
        for (std::size_t before = 0; before < index; ++before) {
            first += mAll[before].files.size();
        }
        return first;
    }
    const std::string& pathOf(std::size_t item) const {
        std::size_t index = 0;
        while (item >= mAll[index].files.size()) {
            item -= mAll[index++].files.size();
        }
        return mAll[index].files[item];
    }

    const SeriesOptions& mOptions;
    const std::vector<Choice>& mAll;
    workers::Workers mWorkers;
};

/// Has the library render a series as a whole, which a window that all its pictures share takes.
class WholeSeries {
  public:
    WholeSeries(Session& session, const media::Medium& medium, const SeriesOptions& options)
        : mSession(session), mMedium(medium), mOptions(options) {}

    Shown show(const Choice& choice) {
        Shown shown;
        std::set<std::string> known;
        const Value result = read(choice.selection);
        forEachPicture(result, choice.key, [&](const std::string& path, const Image& image) {
            known.insert(path);
            shown.pictures.push_back({path, {}});
            for (const formats::Picture& picture : formats::picturesOf(image)) {
                shown.pictures.back().pngs.push_back(formats::pngOf(picture));
            }
        });
        for (const std::string& file : choice.files) {
            if (known.count(file) == 0) {
                shown.missing.push_back({file, whyMissing(file)});
            }
        }
        return shown;
    }

  private:
    Value read(const media::Selection& selection) {
        const media::Rendering rendering = mOptions.picture.rendering();
        return mSession.host().call("Read2DImagesDir",
                                    {mMedium.dicomdir(), rendering.scalingTensor(), rendering.hasOverlays,
                                     media::kImageFlags, selection.patient, selection.study, selection.series});
    }

    template <typename Body>
    static void forEachPicture(const Value& result, const std::string& key, Body body) {
        for (const NodeView patient : result.get<velmora::Store>()) {
            for (const NodeView study : StoreView(patient.cell().dataStore)) {
                for (const NodeView series : StoreView(study.cell().dataStore)) {
                    for (const NodeView picture : StoreView(series.cell().dataStore)) {
                        if (series.name() == key) {
                            const Value image = picture.value();
                            body(std::string(picture.name()), image.get<Image>());
                        }
                    }
                }
            }
        }
    }

    /// The library leaves out what it cannot read without a word; asked for the one file, it says why.
    std::string whyMissing(const std::string& file) {
        const media::Rendering rendering = mOptions.picture.rendering();
        std::string reason = "It cannot be shown in the series; read alone it can.";
        try {
            (void)mSession.host().call(
                "ReadImage", {file, 0, 0, rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags});
        } catch (const velmora::LibraryError& error) {
            reason = error.what();
        }
        mSession.host().call("CloseReader", {file});
        return reason;
    }

    Session& mSession;
    const media::Medium& mMedium;
    const SeriesOptions& mOptions;
};

/// Writes the pictures of one series and tells of each what it shows.
class SeriesWriter {
  public:
    SeriesWriter(Session& session, const media::Medium& medium, const SeriesOptions& options)
        : mSession(session), mMedium(medium), mOptions(options) {}

    formats::Json write(const Choice& choice, std::size_t number, const Shown& shown) {
        mFolder = fs::path(mOptions.output) / (padded(number) + suffix(choice.modality) + suffix(choice.number));
        formats::Json written = formats::Json::array();
        std::size_t position = 0;
        for (const Shown::Picture& picture : shown.pictures) {
            writePicture(++position, picture, written);
        }
        for (const Shown::Missing& missing : shown.missing) {
            mSession.reportRefusal(mMedium.userPath(missing.file), mMedium.userText(missing.reason));
        }
        return {{"SeriesInstanceUID", choice.uid}, {"SeriesNumber", choice.number}, {"pictures", written}};
    }

  private:
    static std::string suffix(const std::string& text) {
        const std::string safe = formats::fileNamePart(text, 32);
        return safe.empty() ? "" : "-" + safe;
    }

    /// 0001.png, or 0001-0001.png and on for several frames.
    void writePicture(std::size_t position, const Shown::Picture& picture, formats::Json& written) {
        fs::create_directories(mFolder);
        const std::string file = mMedium.userPath(picture.file);
        for (std::size_t frame = 0; frame < picture.pngs.size(); ++frame) {
            const std::string& png = picture.pngs[frame];
            const std::string name =
                padded(position) + (picture.pngs.size() > 1 ? "-" + padded(frame + 1) : std::string{}) + ".png";
            files::writeOutputFile((mFolder / name).string(), [&](std::FILE* output) {
                return std::fwrite(png.data(), 1, png.size(), output) == png.size();
            });
            written.push_back({{"file", file}, {"frame", frame + 1}, {"written", (mFolder / name).string()}});
        }
    }

    Session& mSession;
    const media::Medium& mMedium;
    const SeriesOptions& mOptions;
    fs::path mFolder{};
};

void run(Session& session, const SeriesOptions& options) {
    options.selection.check();
    workers::keepMemoryBetweenFiles();
    (void)options.picture.rendering(); // wrong usage is found before the medium is read
    const auto opened = openMedium(options.medium, options.jobs);
    const media::Medium& medium = *opened;
    const auto all = choicesOf(
        media::listMedium(session.host(), medium, options.selection, media::Records::all, options.jobs.count()));
    formats::Json report = formats::Json::array();
    ProgressBar progress("Series");
    FileByFile files(session, options, all);
    WholeSeries whole(session, medium, options);
    SeriesWriter writer(session, medium, options);
    for (std::size_t index = 0; index < all.size(); ++index) {
        progress.show(index, all.size());
        session.attempt("", [&] {
            const Shown shown = options.picture.commonWindow ? whole.show(all[index]) : files.show(index);
            report.push_back(writer.write(all[index], index + 1, shown));
        });
    }
    if (options.json) {
        std::cout << formats::dumpJson(report) << '\n';
    } else if (all.empty()) {
        printError("No series matches.");
    }
}

} // namespace

void addSeriesCommand(const CommandLine& program, Session& session) {
    auto options = std::make_shared<SeriesOptions>();
    const CommandLine command = program.addCommand("series", "Write a picture of every image of a medium or a folder");
    command.addRequired("MEDIUM", options->medium, "DICOMDIR, or a folder of DICOM files");
    command.addRequired("-o,--output", options->output,
                        "Folder to write to: one folder for each series, pictures named in slice order");
    options->selection.addTo(command);
    options->picture.addSeriesWindowTo(command);
    options->picture.addOverlaysTo(command);
    options->jobs.addTo(command);
    command.addFlag("--json", options->json, "Say as JSON which picture shows which file");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <set>

#include "Commands.h"
#include "LosslessJson.h"
#include "Medium.h"
#include "MediumTree.h"
#include "Output.h"
#include "OutputFile.h"
#include "PictureOptions.h"
#include "Png.h"
#include "ProgressBar.h"

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
    Selection selection{};
    PictureOptions picture{};
    bool json = false;
};

/// A number with leading zeros, so that names sort as the numbers do.
std::string padded(std::size_t number) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%04zu", number);
    return digits;
}

/// What of a text can stand in a file name anywhere.
std::string nameSafe(const std::string& text) {
    std::string safe;
    for (const char letter : text) {
        const bool isPlain =
            (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
        safe += isPlain ? std::string(1, letter) : "";
    }
    return safe.substr(0, 32);
}

/// One series with what chooses it.
struct Choice {
    const MediumSeries* series;
    Selection selection;
};

std::vector<Choice> choices(const std::vector<MediumPatient>& patients) {
    std::vector<Choice> all;
    for (const MediumPatient& patient : patients) {
        for (const MediumStudy& study : patient.studies) {
            for (const MediumSeries& series : study.series) {
                all.push_back({&series, selectionOf(patient, study, series)});
            }
        }
    }
    return all;
}

/// Writes the pictures of one series and tells of each what it shows.
class SeriesWriter {
  public:
    SeriesWriter(Session& session, const Medium& medium, const SeriesOptions& options)
        : mSession(session), mMedium(medium), mOptions(options) {}

    Json write(const Choice& choice, std::size_t number) {
        const MediumSeries& series = *choice.series;
        mFolder = fs::path(mOptions.output) / (padded(number) + suffix(series.modality) + suffix(series.number));
        Json written = Json::array();
        std::set<std::string> shown;
        std::size_t position = 0;
        const Value result = read(choice.selection);
        forEachPicture(result, series.key, [&](const std::string& path, const Image& image) {
            shown.insert(path);
            writeImage(++position, mMedium.userPath(path), image, written);
        });
        for (const std::string& file : series.files) {
            if (shown.count(file) == 0) {
                reportMissing(file);
            }
        }
        return {{"SeriesInstanceUID", series.uid}, {"SeriesNumber", series.number}, {"pictures", written}};
    }

  private:
    static std::string suffix(const std::string& text) {
        const std::string safe = nameSafe(text);
        return safe.empty() ? "" : "-" + safe;
    }

    Value read(const Selection& selection) {
        return mSession.host().call("Read2DImagesDir",
                                    {mMedium.dicomdir(), mOptions.picture.scalingTensor(), mOptions.picture.overlays,
                                     kImageFlags, selection.patient, selection.study, selection.series});
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

    /// 0001.png, or 0001-0001.png and on for several frames.
    void writeImage(std::size_t position, const std::string& file, const Image& image, Json& written) {
        fs::create_directories(mFolder);
        const auto pictures = picturesOf(image);
        for (std::size_t frame = 0; frame < pictures.size(); ++frame) {
            const std::string name =
                padded(position) + (pictures.size() > 1 ? "-" + padded(frame + 1) : std::string{}) + ".png";
            writePng((mFolder / name).string(), pictures[frame]);
            written.push_back({{"file", file}, {"frame", frame + 1}, {"written", (mFolder / name).string()}});
        }
    }

    /// The library leaves out what it cannot read without a word; asked for the one file, it says why.
    void reportMissing(const std::string& file) {
        std::string reason = "It cannot be shown in the series; read alone it can.";
        try {
            (void)mSession.host().call(
                "ReadImage", {file, 0, 0, mOptions.picture.scalingTensor(), mOptions.picture.overlays, kImageFlags});
        } catch (const velmora::LibraryError& error) {
            reason = mMedium.userText(error.what());
        }
        mSession.host().call("CloseReader", {file});
        mSession.reportRefusal(mMedium.userPath(file), reason);
    }

    Session& mSession;
    const Medium& mMedium;
    const SeriesOptions& mOptions;
    fs::path mFolder{};
};

void run(Session& session, const SeriesOptions& options) {
    options.selection.check();
    (void)options.picture.scalingTensor(); // wrong usage is found before the medium is read
    const Medium medium(options.medium);
    medium.report();
    const auto patients = readMediumTree(session.host(), medium.dicomdir(), options.selection);
    const auto all = choices(patients);
    Json report = Json::array();
    ProgressBar progress("Series");
    SeriesWriter writer(session, medium, options);
    for (std::size_t index = 0; index < all.size(); ++index) {
        progress.show(index, all.size());
        session.attempt("", [&] { report.push_back(writer.write(all[index], index + 1)); });
    }
    if (options.json) {
        std::cout << dumpJson(report) << '\n';
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
    command.addFlag("--json", options->json, "Say as JSON which picture shows which file");
    command.setAction([&session, options] { run(session, *options); });
}

} // namespace radvex::cli

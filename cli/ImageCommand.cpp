#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/OutputNames.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/PartialOption.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"
#include "formats/pictures/Png.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/PixelMeaning.h"
#include "volume/slices/PromisedFrames.h"

namespace radvex::cli {

using velmora::Image;
using velmora::Value;

namespace {

struct ImageOptions {
    std::string file{};
    std::string readable{}; ///< what the library reads: the file, or a copy of what is left of it
    std::string output{};
    OutputRule rule{};
    PictureOptions picture{};
    PartialOption partial{};
    bool sheet = false;
    bool json = false;
};

/// A picture and how it was made.
struct Reading {
    Image image;
    volume::PixelMeaning meaning;
    bool isRendered = false; ///< false: a copy of stored values that DCMTK cannot render
    vint firstFrame = 0;     ///< from 0
    media::Rendering rendering{};
};

/// Why DCMTK does not render these frames; empty if it does. ReadImage would copy stored values instead, but
/// ReadImageData fails then.
std::string whyNotRendered(velmora::Host& host, const std::string& file, vint first,
                           const media::Rendering& rendering) {
    try {
        (void)host.call("ReadImageData",
                        {file, first, 1, rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags});
        return "";
    } catch (const velmora::LibraryError& error) {
        return error.what();
    }
}

Reading read(velmora::Host& host, const ImageOptions& options) {
    const volume::PixelMeaning meaning = volume::readPixelMeaning(host, options.readable);
    if (options.readable == options.file) { // it is no copy of what is left of a file
        volume::requireAllFrames(options.file, static_cast<std::size_t>(meaning.frames));
    }
    const auto [first, count] = options.picture.frameRange(meaning.frames);
    const media::Rendering rendering =
        volume::renderingOf(host, options.readable, options.file, options.picture.rendering(), {first, count});
    const std::string reason = whyNotRendered(host, options.readable, first, rendering);
    try {
        Value image = host.call("ReadImage", {options.readable, first, count == meaning.frames ? 0 : count,
                                              rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags});
        return {std::get<Image>(std::move(image)), meaning, reason.empty(), first, rendering};
    } catch (const velmora::LibraryError& error) { // of the copy, which does not know the reason
        throw velmora::LibraryError(error.code(), error.name(), reason.empty() ? error.what() : reason);
    }
}

/// The window that made the picture's grey values.
formats::Json describeWindow(velmora::Host& host, const ImageOptions& options, const Reading& reading) {
    if (!reading.isRendered || reading.image.info().channels != 1) {
        return nullptr;
    }
    formats::Json window = options.picture.describeWindow(reading.rendering);
    if (window["method"] == "minmax") {
        const Value values = host.call("ReadIntermediatePixelData", {options.readable, media::kImageFlags, 0});
        if (values.is<velmora::NumericArray>()) {
            const volume::Statistics all = volume::statisticsOf(*values.get<velmora::NumericArray>().handle());
            window["from"] = all.minimum;
            window["to"] = all.maximum;
        }
    }
    return window;
}

formats::Json describe(velmora::Host& host, const ImageOptions& options, const Reading& reading) {
    const VelmoraImage& info = reading.image.info();
    formats::Json json{{"file", options.file},
                       {"values", reading.isRendered ? "rendered" : "stored"},
                       {"type", formats::typeName(formats::kImageTypeNames, info.type)},
                       {"rows", info.rows},
                       {"columns", info.columns},
                       {"channels", info.channels},
                       {"frames", info.slices},
                       {"firstFrame", reading.isRendered ? reading.firstFrame + 1 : 1}};
    json.update(volume::describeMeaning(reading.meaning, reading.isRendered));
    json["window"] = describeWindow(host, options, reading);
    volume::addStatistics(json, volume::statisticsOf(reading.image));
    return json;
}

void printSummary(const ImageOptions& options, const Reading& reading) {
    const VelmoraImage& info = reading.image.info();
    std::cout << formats::printable(options.file) << ": " << info.columns << " x " << info.rows << ", "
              << formats::typeName(formats::kImageTypeNames, info.type) << ", " << (info.channels == 1 ? "grey" : "RGB")
              << ", " << info.slices << (info.slices == 1 ? " frame, " : " frames, ")
              << (reading.isRendered ? "rendered" : "stored values") << ", "
              << volume::textOf(volume::statisticsOf(reading.image)) << '\n';
}

/// OUT.png becomes OUT-0001.png and so on, so that names sort in the order of the frames.
std::string numberedName(const std::string& path, std::size_t number) {
    const std::filesystem::path whole(path);
    const std::string name = whole.stem().string() + '-' + fileNumber(number) + whole.extension().string();
    return (whole.parent_path() / name).string();
}

/// The files to write, in the order of the pictures. @throws UsageError, FileError
std::vector<std::string> namesOf(const ImageOptions& options, std::size_t firstFrame, std::size_t count) {
    std::vector<std::string> names{options.output};
    if (count > 1) {
        if (options.output == "-") {
            throw UsageError(
                "Several pictures cannot go to the standard output: choose one frame with --frame, or use --sheet.");
        }
        names.clear();
        for (std::size_t index = 0; index < count; ++index) {
            names.push_back(numberedName(options.output, firstFrame + index + 1));
        }
    }
    options.rule.check(names, {options.file}); // before the first is written
    return names;
}

std::vector<std::string> writePictures(const ImageOptions& options, const Reading& reading) {
    auto pictures = formats::picturesOf(reading.image);
    if (!reading.isRendered) { // a copy of stored values always holds all frames
        const auto [first, count] = options.picture.frameRange(static_cast<vint>(pictures.size()));
        pictures = {pictures.begin() + first, pictures.begin() + first + count};
    }
    if (options.sheet) {
        pictures = {formats::contactSheet(pictures)};
    }
    std::vector<std::string> names = namesOf(options, static_cast<std::size_t>(reading.firstFrame), pictures.size());
    ProgressBar progress("Writing pictures");
    for (std::size_t index = 0; index < names.size(); ++index) {
        formats::writePng(options.rule.to(names[index]), pictures[index]);
        progress.show(index + 1, names.size());
    }
    return names;
}

void show(Session& session, const ImageOptions& options) {
    velmora::Host& host = session.host();
    const media::Rendering wanted = options.picture.rendering();
    const Reading reading = read(host, options);
    warnAboutWindow(host, options.readable, options.file, wanted);
    const auto written = options.output.empty() ? std::vector<std::string>{} : writePictures(options, reading);
    if (options.json) {
        formats::Json json = describe(host, options, reading);
        json["written"] = written;
        (options.output == "-" ? std::cerr : std::cout) << formats::dumpJson(json) << '\n';
    } else if (options.output.empty()) {
        printSummary(options, reading);
    }
}

void run(Session& session, const ImageOptions& options) {
    (void)options.picture.rendering(); // finds wrong usage before the file is read
    requirePictureName(options.output);
    options.rule.check({options.output}, {options.file});
    options.partial.read(session, options.file, [&](const std::string& path) {
        ImageOptions chosen = options;
        chosen.readable = path;
        show(session, chosen);
    });
}

} // namespace

void addImageCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<ImageOptions>(program, session, "image", "Render a file as PNG, or describe its picture", run);
    command.addRequired("FILE", options.file, "DICOM file", Takes::File);
    command.addOption("-o,--output", options.output,
                      "PNG to write; several frames become numbered files; - for the standard output", Takes::File);
    options.picture.addTo(command);
    options.rule.addTo(command);
    command.addFlag("--sheet", options.sheet, "All frames in one picture");
    command.addFlag("--json", options.json, "Describe the picture as JSON");
    options.partial.addTo(command);
    command.addExample("radvex image ct.dcm --window lung -o lung.png", "A CT as it is looked at for the lungs");
    command.addExample("radvex image ct.dcm --window file -o ct.png", "With the window that the file brings");
    command.addExample("radvex image cine.dcm --frame 3 -o frame.png", "The third of several frames");
    command.addExample("radvex image broken.dcm --partial -o part.png", "The rows that are left of a cut file");
}

} // namespace radvex::cli

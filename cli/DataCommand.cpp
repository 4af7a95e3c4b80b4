#include <algorithm>
#include <iostream>

#include "cli/Commands.h"
#include "cli/PixelReading.h"
#include "cli/arguments/OutputNames.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/PartialOption.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "formats/pictures/Npy.h"
#include "formats/pictures/NpyHeader.h"
#include "formats/volumes/VolumeFile.h"
#include "volume/samples/ModalityArray.h"
#include "volume/samples/VolumeType.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/PixelMeaning.h"
#include "volume/slices/PromisedFrames.h"

namespace radvex::cli {

using velmora::Store;
using velmora::Value;

namespace {

struct DataOptions {
    std::string file{};
    std::string readable{}; ///< what the library reads: the file, or a copy of what is left of it
    std::string output{};
    OutputRule rule{};
    std::string pixel{};
    PictureOptions picture{};
    PartialOption partial{};
    bool rendered = false;
    bool json = false;
};

/// Values of one type and shape, frame by frame.
struct Data {
    Value owner{};
    vint type = 0;
    std::vector<vint> shape{};
    std::vector<formats::SliceBytes> parts{}; ///< one after the other, in `owner` or `modality`
    volume::ModalityArray modality{};
    media::Rendering rendering{}; ///< of rendered values
};

formats::SliceBytes bytesOf(const VelmoraNumericArray& array) {
    return {static_cast<const std::byte*>(array.data.get()),
            static_cast<std::size_t>(array.length) * velmora::numericArrayElementSize(array.type)};
}

/// Of colour, the library gives the red alone. @throws FileError
void requireGrey(velmora::Host& host, const DataOptions& options) {
    const Value found = host.call("ReadMetadata", {options.readable, Store::ofTexts({"SamplesPerPixel"}), false});
    if (found.get<Store>().view().integer("SamplesPerPixel").value_or(1) > 1) {
        throw FileError(options.file + " is in colour, which has no modality values: --rendered gives its red, green "
                                       "and blue, and --pixel those of a pixel.");
    }
}

/// The chosen frames of the modality values.
Data readModalityValues(velmora::Host& host, const DataOptions& options) {
    const auto choose = [&](vint available) {
        const auto [first, count] = options.picture.frameRange(available);
        return volume::FrameSpan{first, count};
    };
    requireGrey(host, options);
    Data data;
    data.modality = volume::readModalityArray(host, options.readable, options.file, choose);
    data.type = data.modality.type;
    data.shape = data.modality.shape;
    data.parts = {data.modality.bytes};
    return data;
}

Data readRenderedValues(velmora::Host& host, const DataOptions& options, const volume::PixelMeaning& meaning) {
    if (options.readable == options.file) { // it is no copy of what is left of a file
        volume::requireAllFrames(options.file, static_cast<std::size_t>(meaning.frames));
    }
    const auto [first, count] = options.picture.frameRange(meaning.frames);
    const media::Rendering wanted = options.picture.rendering();
    const media::Rendering rendering =
        volume::renderingOf(host, options.readable, options.file, wanted, {first, count});
    warnAboutWindow(host, options.readable, options.file, wanted);
    Data data{host.call("ReadImageData", {options.readable, first, count == meaning.frames ? 0 : count,
                                          rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags})};
    data.rendering = rendering;
    for (const velmora::NodeView node : data.owner.get<Store>()) {
        const VelmoraNumericArray& array = *node.cell().numericArray;
        data.type = array.type;
        data.shape = array.dimensions;
        data.parts.push_back(bytesOf(array));
    }
    if (data.parts.size() > 1) {
        data.shape.insert(data.shape.begin(), static_cast<vint>(data.parts.size()));
    }
    return data;
}

volume::Statistics statisticsOf(vint type, formats::SliceBytes bytes) {
    return volume::withType(type, [&](auto sample) {
        return volume::statisticsOf(reinterpret_cast<const decltype(sample)*>(bytes.data()),
                                    bytes.size() / sizeof sample);
    });
}

volume::Statistics statisticsOfAll(const Data& data) {
    volume::Statistics all = statisticsOf(data.type, data.parts.front());
    double sum = 0;
    for (const formats::SliceBytes part : data.parts) {
        const volume::Statistics one = statisticsOf(data.type, part);
        all.minimum = std::min(all.minimum, one.minimum);
        all.maximum = std::max(all.maximum, one.maximum);
        sum += one.mean;
    }
    all.mean = sum / static_cast<double>(data.parts.size());
    return all;
}

void print(const DataOptions& options, const Data& data, const volume::PixelMeaning& meaning) {
    std::ostream& stream = options.output == "-" ? std::cerr : std::cout;
    const char* values = options.rendered ? "rendered" : "modality";
    if (options.json) {
        formats::Json json{
            {"file", options.file}, {"values", values}, {"type", formats::numpyType(data.type)}, {"shape", data.shape}};
        json.update(volume::describeMeaning(meaning, options.rendered));
        if (options.rendered) {
            json["window"] = options.picture.describeWindow(data.rendering);
        }
        volume::addStatistics(json, statisticsOfAll(data));
        json["written"] = options.output.empty() ? formats::Json() : formats::Json(options.output);
        stream << formats::dumpJson(json) << '\n';
    } else if (options.output.empty()) {
        stream << formats::printable(options.file) << ": " << values << " values, " << formats::numpyType(data.type);
        for (std::size_t index = 0; index < data.shape.size(); ++index) {
            stream << (index == 0 ? " " : " x ") << data.shape[index];
        }
        stream << (meaning.unit.empty() || options.rendered ? "" : ", unit " + formats::printable(meaning.unit)) << ", "
               << volume::textOf(statisticsOfAll(data)) << '\n';
    }
}

void checkUsage(const DataOptions& options) {
    if (!options.rendered && (!options.picture.window.empty() || options.picture.overlays)) {
        throw UsageError("Windows and overlays need --rendered; without it modality values are read.");
    }
    if (!options.pixel.empty() && (options.rendered || !options.output.empty())) {
        throw UsageError("--pixel prints modality values; it goes with neither --rendered nor --output.");
    }
    requireArrayName(options.output);
    options.rule.check({options.output}, {options.file});
}

void printPixel(velmora::Host& host, const DataOptions& options, vint frames) {
    const PixelReading reading =
        readPixel(host, options.readable, options.file, parsePixel(options.pixel), options.picture.frameRange(frames));
    if (options.json) {
        formats::Json json{{"file", options.file}};
        json["pixel"] = jsonOf(reading);
        std::cout << formats::dumpJson(json) << '\n';
    } else {
        std::cout << textOf(reading);
    }
}

void describe(Session& session, const DataOptions& options) {
    velmora::Host& host = session.host();
    const volume::PixelMeaning meaning = volume::readPixelMeaning(host, options.readable);
    if (!options.pixel.empty()) {
        return printPixel(host, options, meaning.frames);
    }
    const Data data = options.rendered ? readRenderedValues(host, options, meaning) : readModalityValues(host, options);
    if (!options.output.empty()) {
        formats::writeNpy(options.rule.to(options.output), data.type, data.shape, data.parts);
    }
    print(options, data, meaning);
}

void run(Session& session, const DataOptions& options) {
    checkUsage(options);
    options.partial.read(session, options.file, [&](const std::string& path) {
        DataOptions chosen = options;
        chosen.readable = path;
        describe(session, chosen);
    });
}

} // namespace

void addDataCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<DataOptions>(program, session, "data", "Write pixel values as .npy, or describe them", run);
    command.addRequired("FILE", options.file, "DICOM file", Takes::File);
    command.addOption("-o,--output", options.output, ".npy file to write; - for the standard output", Takes::File);
    command.addFlag("--rendered", options.rendered, "Windowed values as in a picture, not modality values");
    options.picture.addTo(command);
    options.rule.addTo(command);
    command.addOption("--pixel", options.pixel,
                      "Print the modality value of the pixel ROW,COLUMN, both counted from 1, in each frame");
    command.addFlag("--json", options.json, "Describe the values as JSON");
    options.partial.addTo(command);
    command.addExample("radvex data ct.dcm --pixel 10,20", "The value in row 10 and column 20, with its unit");
    command.addExample("radvex data cine.dcm --frames 2:4 -o frames.npy", "Three frames as an array");
    command.addExample("radvex data ct.dcm --rendered --window lung -o lung.npy", "Grey levels under a lung window");
    command.addExample("radvex data broken.dcm --partial -o part.npy", "The values that are left of a cut file");
}

} // namespace radvex::cli

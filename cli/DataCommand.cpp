#include <iostream>

#include "cli/Commands.h"
#include "cli/arguments/OutputRule.h"
#include "cli/arguments/PartialOption.h"
#include "cli/arguments/PictureOptions.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "formats/pictures/Npy.h"
#include "formats/pictures/NpyHeader.h"
#include "volume/slices/PixelMeaning.h"

namespace radvex::cli {

using velmora::NumericArray;
using velmora::Store;
using velmora::Value;

namespace {

struct DataOptions {
    std::string file{};
    std::string readable{}; ///< what the library reads: the file, or a copy of what is left of it
    std::string output{};
    OutputRule rule{};
    PictureOptions picture{};
    PartialOption partial{};
    bool rendered = false;
    bool json = false;
};

/// Values of one type and shape in one or several arrays of the host.
struct Data {
    Value owner{};
    vint type = 0;
    std::vector<vint> shape{};
    std::vector<const VelmoraNumericArray*> arrays{};
};

/// Modality values of all frames. The library cannot read a range of frames here.
Data readModalityValues(velmora::Host& host, const DataOptions& options) {
    Data data{host.call("ReadIntermediatePixelData", {options.readable, media::kImageFlags, 0})};
    if (!data.owner.is<NumericArray>()) {
        throw velmora::LibraryError(0, "", options.file + ": DCMTK's intermediate values have no array type.");
    }
    const VelmoraNumericArray* array = data.owner.get<NumericArray>().handle();
    data.type = array->type;
    data.shape = array->dimensions;
    data.arrays = {array};
    return data;
}

Data readRenderedValues(velmora::Host& host, const DataOptions& options, const volume::PixelMeaning& meaning) {
    const auto [first, count] = options.picture.frameRange(meaning.frames);
    const media::Rendering rendering = options.picture.rendering();
    Data data{host.call("ReadImageData", {options.readable, first, count == meaning.frames ? 0 : count,
                                          rendering.scalingTensor(), rendering.hasOverlays, media::kImageFlags})};
    for (const velmora::NodeView node : data.owner.get<Store>()) {
        data.arrays.push_back(node.cell().numericArray);
    }
    data.type = data.arrays.front()->type;
    data.shape = data.arrays.front()->dimensions;
    if (data.arrays.size() > 1) {
        data.shape.insert(data.shape.begin(), static_cast<vint>(data.arrays.size()));
    }
    return data;
}

volume::Statistics statisticsOfAll(const Data& data) {
    volume::Statistics all = volume::statisticsOf(*data.arrays.front());
    double sum = 0;
    for (const VelmoraNumericArray* array : data.arrays) {
        const volume::Statistics one = volume::statisticsOf(*array);
        all.minimum = std::min(all.minimum, one.minimum);
        all.maximum = std::max(all.maximum, one.maximum);
        sum += one.mean;
    }
    all.mean = sum / static_cast<double>(data.arrays.size());
    return all;
}

void write(const files::Output& output, const Data& data) {
    std::vector<std::span<const std::byte>> parts;
    for (const VelmoraNumericArray* array : data.arrays) {
        parts.emplace_back(static_cast<const std::byte*>(array->data.get()),
                           static_cast<std::size_t>(array->length) * velmora::numericArrayElementSize(array->type));
    }
    formats::writeNpy(output, data.type, data.shape, parts);
}

void print(const DataOptions& options, const Data& data, const volume::PixelMeaning& meaning) {
    std::ostream& stream = options.output == "-" ? std::cerr : std::cout;
    const char* values = options.rendered ? "rendered" : "modality";
    if (options.json) {
        formats::Json json{
            {"file", options.file}, {"values", values}, {"type", formats::numpyType(data.type)}, {"shape", data.shape}};
        json.update(volume::describeMeaning(meaning, options.rendered));
        if (options.rendered) {
            json["window"] = options.picture.describeWindow();
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

void describe(Session& session, const DataOptions& options) {
    velmora::Host& host = session.host();
    const volume::PixelMeaning meaning = volume::readPixelMeaning(host, options.readable);
    const Data data = options.rendered ? readRenderedValues(host, options, meaning) : readModalityValues(host, options);
    if (!options.output.empty()) {
        write(options.rule.to(options.output), data);
    }
    print(options, data, meaning);
}

void run(Session& session, const DataOptions& options) {
    if (!options.rendered && (!options.picture.frame.empty() || !options.picture.frames.empty() ||
                              !options.picture.window.empty() || options.picture.overlays)) {
        throw UsageError("Windows, overlays and frames need --rendered; without it the modality values of all frames "
                         "are read.");
    }
    options.rule.check({options.output}, {options.file});
    FileOpener opener(options.partial);
    const ReadableFile file = opener.open(options.file);
    PartialOption::tell(session, file.notice());
    session.attemptFile(options.file, [&] {
        file.read([&](const std::string& path) {
            DataOptions chosen = options;
            chosen.readable = path;
            describe(session, chosen);
        });
    });
}

} // namespace

void addDataCommand(const CommandLine& program, Session& session) {
    const auto [command, options] =
        addCommand<DataOptions>(program, session, "data", "Write pixel values as .npy, or describe them", run);
    command.addRequired("FILE", options.file, "DICOM file");
    command.addOption("-o,--output", options.output, ".npy file to write; - for the standard output");
    command.addFlag("--rendered", options.rendered, "Windowed values as in a picture, not modality values");
    options.picture.addTo(command);
    options.rule.addTo(command);
    command.addFlag("--json", options.json, "Describe the values as JSON");
    options.partial.addTo(command);
    command.addExample("radvex data broken.dcm --partial -o part.npy", "The values that are left of a cut file");
}

} // namespace radvex::cli

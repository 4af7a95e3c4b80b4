#include "cli/PixelReading.h"

#include "cli/arguments/Words.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "volume/samples/ModalityArray.h"
#include "volume/samples/PixelValues.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/KnownScaling.h"

namespace radvex::cli {

namespace {

void requireInside(const PixelPlace& place, const volume::PixelValues& values, std::size_t frames,
                   const std::string& file) {
    if (place.row > values.rows() || place.column > values.columns()) {
        throw UsageError("--pixel " + std::to_string(place.row) + ',' + std::to_string(place.column) +
                         " lies outside of " + file + ": it has rows 1 to " + std::to_string(values.rows()) +
                         " and columns 1 to " + std::to_string(values.columns()) + '.');
    }
    if (frames > values.frames()) {
        throw FileError(file + " holds " + formats::counted(values.frames(), "frame", "frames") +
                        ", fewer than its attributes promise.");
    }
}

} // namespace

PixelPlace parsePixel(const std::string& text) {
    const std::size_t comma = text.find(',');
    const auto numberIn = [](const std::string& word) { return parseNumber<std::size_t>(word).value_or(0); };
    const PixelPlace place{numberIn(text.substr(0, comma)),
                           comma == std::string::npos ? 0 : numberIn(text.substr(comma + 1))};
    if (place.row == 0 || place.column == 0) {
        throw UsageError("--pixel '" + text + "' is no pixel: ROW,COLUMN is expected, both counted from 1.");
    }
    return place;
}

PixelReading readPixel(velmora::Host& host, const std::string& path, const std::string& file, const PixelPlace& place,
                       const std::pair<vint, vint>& frames) {
    const volume::FileMetadata metadata(host, path, file);
    if (metadata.rows() < 1 || metadata.columns() < 1) {
        throw FileError(file + " holds no picture.");
    }
    if (!metadata.isColour()) {
        volume::requireKnownScaling(metadata, path);
    }
    const auto kind = metadata.isColour() ? volume::PixelKind::colour : volume::PixelKind::modality;
    const volume::PixelValues values(host, path, metadata, kind);
    volume::requireWhole(metadata, path, values.frames());
    const auto first = static_cast<std::size_t>(frames.first);
    const auto end = first + static_cast<std::size_t>(frames.second);
    requireInside(place, values, end, file);
    PixelReading reading{place, volume::nameOf(kind), "", first, {}};
    if (!metadata.isColour()) {
        reading.unit = metadata.slices(static_cast<vint>(values.frames()))[first].unit;
    }
    std::vector<double> line;
    for (std::size_t frame = first; frame < end; ++frame) {
        values.readRow(frame, place.row - 1, line);
        const auto start = line.begin() + static_cast<std::ptrdiff_t>((place.column - 1) * values.channels());
        reading.values.emplace_back(start, start + static_cast<std::ptrdiff_t>(values.channels()));
    }
    return reading;
}

std::string textOf(const PixelReading& reading) {
    std::string text;
    for (std::size_t index = 0; index < reading.values.size(); ++index) {
        text += "frame " + std::to_string(reading.firstFrame + index + 1) + ", row " +
                std::to_string(reading.place.row) + ", column " + std::to_string(reading.place.column) + ':';
        for (const double value : reading.values[index]) {
            text += ' ' + formats::shortestText(value);
        }
        text += (reading.unit.empty() ? "" : ' ' + formats::printable(reading.unit)) + '\n';
    }
    return text;
}

formats::Json jsonOf(const PixelReading& reading) {
    formats::Json frames = formats::Json::array();
    for (std::size_t index = 0; index < reading.values.size(); ++index) {
        const auto& values = reading.values[index];
        frames.push_back({{"frame", reading.firstFrame + index + 1},
                          {"value", values.size() == 1 ? formats::Json(values.front()) : formats::Json(values)}});
    }
    return {{"row", reading.place.row},
            {"column", reading.place.column},
            {"values", reading.kind},
            {"unit", reading.unit.empty() ? formats::Json() : formats::Json(reading.unit)},
            {"frames", frames}};
}

} // namespace radvex::cli

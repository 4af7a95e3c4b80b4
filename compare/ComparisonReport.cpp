#include "compare/ComparisonReport.h"

#include "formats/json/Text.h"

namespace radvex::compare {

using formats::Json;
using formats::shortestText;
using volume::PixelKind;

namespace {

constexpr std::size_t kLongestText = 72;

std::string lineOf(const AttributeDifference& difference) {
    const auto value = [](const std::string& text) { return formats::shortened(text, kLongestText); };
    const std::string path = formats::printable(difference.path) + ": ";
    switch (difference.presence) {
    case Presence::onlyFirst: return "- " + path + value(difference.first) + '\n';
    case Presence::onlySecond: return "+ " + path + value(difference.second) + '\n';
    default: return "! " + path + value(difference.first) + " | " + value(difference.second) + '\n';
    }
}

std::string valuesText(PixelKind kind) {
    return kind == PixelKind::colour ? "colours" : std::string(nameOf(kind)) + " values";
}

/// "frame 1, row 2, column 3: 10 | 15"
std::string placeText(const PixelComparison& pixels) {
    return "frame " + std::to_string(pixels.frame) + ", row " + std::to_string(pixels.row) + ", column " +
           std::to_string(pixels.column) + ": " + shortestText(pixels.first) + " | " + shortestText(pixels.second);
}

std::string pixelLine(const PixelComparison& pixels, double tolerance) {
    if (!pixels.reason.empty()) {
        return "! pixels: " + pixels.reason + '\n';
    }
    std::string text = "! pixels: " + std::to_string(pixels.different) + " of " + std::to_string(pixels.count) + ' ' +
                       valuesText(pixels.kind) + " differ";
    text += tolerance > 0 ? " by more than " + shortestText(tolerance) : "";
    text += ", the most by " + shortestText(pixels.largest) + " at " + placeText(pixels);
    return text + (pixels.note.empty() ? "" : " (" + pixels.note + ')') + '\n';
}

Json orNull(bool isThere, const std::string& text) { return isThere ? Json(text) : Json(); }

Json jsonOf(const AttributeDifference& difference) {
    const char* kind = difference.presence == Presence::onlyFirst    ? "onlyFirst"
                       : difference.presence == Presence::onlySecond ? "onlySecond"
                                                                     : "different";
    return {{"path", difference.path},
            {"difference", kind},
            {"first", orNull(difference.presence != Presence::onlySecond, difference.first)},
            {"second", orNull(difference.presence != Presence::onlyFirst, difference.second)}};
}

Json jsonOf(const PixelComparison& pixels) {
    Json json{{"equal", pixels.areEqual}, {"values", nameOf(pixels.kind)}};
    json["reason"] = orNull(!pixels.reason.empty(), pixels.reason);
    json["note"] = orNull(!pixels.note.empty(), pixels.note);
    if (pixels.areCompared) {
        json["compared"] = pixels.count;
        json["different"] = pixels.different;
        json["largest"] = pixels.largest == 0 ? Json()
                                              : Json({{"difference", pixels.largest},
                                                      {"frame", pixels.frame},
                                                      {"row", pixels.row},
                                                      {"column", pixels.column},
                                                      {"first", pixels.first},
                                                      {"second", pixels.second}});
    }
    return json;
}

Json pixelJson(const FileComparison& comparison) {
    switch (comparison.pixelBytes) {
    case PixelBytes::none: return nullptr;
    case PixelBytes::same: return {{"equal", true}, {"values", nameOf(PixelKind::stored)}};
    case PixelBytes::onlyFirst: return {{"equal", false}, {"reason", "only the first file has pixels"}};
    case PixelBytes::onlySecond: return {{"equal", false}, {"reason", "only the second file has pixels"}};
    default:
        return comparison.pixelProblem.empty() ? jsonOf(comparison.pixels)
                                               : Json({{"equal", nullptr}, {"reason", comparison.pixelProblem}});
    }
}

} // namespace

std::string reportText(const FileComparison& comparison, double tolerance) {
    std::string text;
    for (const AttributeDifference& difference : comparison.attributes) {
        text += lineOf(difference);
    }
    switch (comparison.pixelBytes) {
    case PixelBytes::onlyFirst: return text + "- pixels\n";
    case PixelBytes::onlySecond: return text + "+ pixels\n";
    default: return comparison.pixels.areEqual ? text : text + pixelLine(comparison.pixels, tolerance);
    }
}

Json reportJson(const FileComparison& comparison) {
    Json attributes = Json::array();
    for (const AttributeDifference& difference : comparison.attributes) {
        attributes.push_back(jsonOf(difference));
    }
    return {{"equal", comparison.areEqual()}, {"attributes", attributes}, {"pixels", pixelJson(comparison)}};
}

} // namespace radvex::compare

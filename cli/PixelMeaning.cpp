#include "PixelMeaning.h"

#include <algorithm>
#include <cstdlib>

namespace radvex::cli {

using velmora::NodeView;
using velmora::Store;

namespace {

std::optional<double> numberOf(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    return end == text.c_str() ? std::nullopt : std::optional<double>(number);
}

} // namespace

PixelMeaning readPixelMeaning(velmora::Host& host, const std::string& file) {
    PixelMeaning meaning;
    meaning.frames = std::max(1, host.call("GetFrameCount", {file}).get<vint>());
    std::string modality;
    const velmora::Value found = host.call(
        "ReadMetadata", {file,
                         Store::ofTexts({"PixelRepresentation", "BitsStored", "RescaleSlope", "RescaleIntercept",
                                         "RescaleType", "PhotometricInterpretation", "Modality"}),
                         false});
    for (const NodeView node : found.get<Store>()) {
        const bool isText = node.type() == VType_UTF8String;
        const std::string text = isText ? node.cell().utf8String : "";
        if (node.name() == "PixelRepresentation" && node.type() == VType_Integer) {
            meaning.isSigned = node.cell().integer != 0;
        } else if (node.name() == "BitsStored" && node.type() == VType_Integer) {
            meaning.bitsStored = node.cell().integer;
        } else if (node.name() == "RescaleSlope") {
            meaning.slope = numberOf(text);
        } else if (node.name() == "RescaleIntercept") {
            meaning.intercept = numberOf(text);
        } else if (node.name() == "RescaleType") {
            meaning.unit = text;
        } else if (node.name() == "PhotometricInterpretation") {
            meaning.photometricInterpretation = text;
        } else if (node.name() == "Modality") {
            modality = text;
        }
    }
    // Rescaled CT values without a Rescale Type are Hounsfield units (PS3.3 C.11.1.1.2).
    if (meaning.unit.empty() && modality == "CT" && meaning.slope) {
        meaning.unit = "HU";
    }
    return meaning;
}

Json describeMeaning(const PixelMeaning& meaning, bool isRendered) {
    const auto orNull = [](const auto& value) { return value ? Json(*value) : Json(); };
    const auto textOrNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    const bool isGrey = meaning.photometricInterpretation.starts_with("MONOCHROME");
    return {{"signed", meaning.isSigned},
            {"bitsStored", orNull(meaning.bitsStored)},
            {"slope", orNull(meaning.slope)},
            {"intercept", orNull(meaning.intercept)},
            {"unit", textOrNull(meaning.unit)},
            {"photometricInterpretation", textOrNull(meaning.photometricInterpretation)},
            {"polarity", !isGrey      ? Json()
                         : isRendered ? Json("MONOCHROME2")
                                      : Json(meaning.photometricInterpretation)}};
}

Statistics statisticsOf(const velmora::Image& image) {
    const auto count = static_cast<std::size_t>(image.info().length);
    switch (image.info().type) {
    case VImage_U8: return statisticsOf(image.data<std::uint8_t>().data(), count);
    case VImage_U16: return statisticsOf(image.data<std::uint16_t>().data(), count);
    case VImage_F32: return statisticsOf(image.data<float>().data(), count);
    case VImage_F64: return statisticsOf(image.data<double>().data(), count);
    default: return statisticsOf(image.data<std::int8_t>().data(), count);
    }
}

Statistics statisticsOf(const VelmoraNumericArray& array) {
    const auto count = static_cast<std::size_t>(array.length);
    const void* data = array.data.get();
    switch (array.type) {
    case VNumericArray_S8: return statisticsOf(static_cast<const std::int8_t*>(data), count);
    case VNumericArray_U8: return statisticsOf(static_cast<const std::uint8_t*>(data), count);
    case VNumericArray_S16: return statisticsOf(static_cast<const std::int16_t*>(data), count);
    case VNumericArray_U16: return statisticsOf(static_cast<const std::uint16_t*>(data), count);
    case VNumericArray_S32: return statisticsOf(static_cast<const std::int32_t*>(data), count);
    case VNumericArray_U32: return statisticsOf(static_cast<const std::uint32_t*>(data), count);
    case VNumericArray_F32: return statisticsOf(static_cast<const float*>(data), count);
    default: return statisticsOf(static_cast<const double*>(data), count);
    }
}

void addStatistics(Json& json, const Statistics& statistics) {
    json["minimum"] = statistics.minimum;
    json["maximum"] = statistics.maximum;
    json["mean"] = statistics.mean;
}

std::string textOf(const Statistics& statistics) {
    char text[128];
    std::snprintf(text, sizeof text, "minimum %.10g, maximum %.10g, mean %.10g", statistics.minimum, statistics.maximum,
                  statistics.mean);
    return text;
}

} // namespace radvex::cli

#include "volume/slices/PixelMeaning.h"

#include <algorithm>

#include "media/scan/FileStart.h"
#include "volume/samples/VolumeType.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using velmora::Store;

std::string unitOf(velmora::StoreView attributes) {
    const auto isScaledBy = [&](const char* keyword) {
        return decimalOf(firstValue(attributes.text(keyword))).value_or(0) != 0;
    };
    const std::string_view type = firstValue(attributes.text("RescaleType"));
    if (!type.empty() && type != "US") { // "US" is for unspecified
        return std::string(type);
    }
    if (isScaledBy("DoseGridScaling")) {
        return std::string(firstValue(attributes.text("DoseUnits")));
    }
    if (!isScaledBy("RescaleSlope")) {
        return ""; // stored values have none
    }
    const std::string_view unit = firstValue(attributes.text("Units"));
    return unit.empty() && attributes.text("Modality") == "CT" ? "HU" : std::string(unit);
}

PixelMeaning readPixelMeaning(velmora::Host& host, const std::string& file) {
    PixelMeaning meaning;
    meaning.frames = std::max(1, host.call("GetFrameCount", {file}).get<vint>());
    const velmora::Value found = host.call(
        "ReadMetadata", {file,
                         Store::ofTexts({"PixelRepresentation", "BitsStored", "RescaleSlope", "RescaleIntercept",
                                         "RescaleType", "PhotometricInterpretation", "Modality", "Units", "DoseUnits",
                                         "DoseGridScaling", "BitsAllocated"}),
                         false});
    const velmora::StoreView attributes = found.get<Store>().view();
    requireKnownByteOrder(file, attributes.integer("BitsAllocated").value_or(0));
    meaning.isSigned = attributes.integer("PixelRepresentation").value_or(0) != 0;
    meaning.bitsStored = attributes.integer("BitsStored");
    meaning.slope = decimalOf(firstValue(attributes.text("RescaleSlope")));
    meaning.intercept = decimalOf(firstValue(attributes.text("RescaleIntercept")));
    meaning.photometricInterpretation = attributes.text("PhotometricInterpretation");
    meaning.unit = unitOf(attributes);
    return meaning;
}

void requireKnownByteOrder(const std::string& file, vint bitsAllocated) {
    constexpr const char* kBigEndian = "1.2.840.10008.1.2.2";
    if (bitsAllocated == 32 && media::FileStart(file).transferSyntax() == kBigEndian) {
        throw formats::VolumeError(file + ": its pixels are big-endian numbers of 32 bits, which cannot be read right: "
                                          "the order of their bytes gets lost.");
    }
}

formats::Json describeMeaning(const PixelMeaning& meaning, bool isRendered) {
    const auto orNull = [](const auto& value) { return value ? formats::Json(*value) : formats::Json(); };
    const auto textOrNull = [](const std::string& text) {
        return text.empty() ? formats::Json() : formats::Json(text);
    };
    const bool isGrey = meaning.photometricInterpretation.starts_with("MONOCHROME");
    return {{"signed", meaning.isSigned},
            {"bitsStored", orNull(meaning.bitsStored)},
            {"slope", orNull(meaning.slope)},
            {"intercept", orNull(meaning.intercept)},
            {"unit", textOrNull(meaning.unit)},
            {"photometricInterpretation", textOrNull(meaning.photometricInterpretation)},
            {"polarity", !isGrey      ? formats::Json()
                         : isRendered ? formats::Json("MONOCHROME2")
                                      : formats::Json(meaning.photometricInterpretation)}};
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
    return withType(array.type, [&](auto sample) {
        return statisticsOf(static_cast<const decltype(sample)*>(array.data.get()), count);
    });
}

void addStatistics(formats::Json& json, const Statistics& statistics) {
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

} // namespace radvex::volume

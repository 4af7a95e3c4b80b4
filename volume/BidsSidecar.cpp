#include "volume/BidsSidecar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/json/Text.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

using formats::Json;
using velmora::Store;
using velmora::StoreView;

namespace {

/// What becomes of the values of an attribute.
enum class Form {
    text,     ///< one text, as it is
    texts,    ///< a text, or an array of them
    list,     ///< always an array
    number,   ///< any numbers
    positive, ///< numbers above 0, since others mean that it is unknown
    seconds,  ///< the same, from milliseconds
};

/// An attribute that becomes a member under another or the same name.
struct Member {
    const char* name = nullptr;
    Form form = Form::text;
    const char* keyword = nullptr;      ///< in the dataset
    const char* group = nullptr;        ///< the functional group of an enhanced file that says it
    const char* groupKeyword = nullptr; ///< in that group; null if it is the same
};

constexpr const char* kTiming = "MRTimingAndRelatedParametersSequence";
constexpr const char* kFieldOfView = "MRFOVGeometrySequence";
constexpr const char* kModifier = "MRModifierSequence";
constexpr const char* kImagingModifier = "MRImagingModifierSequence";
constexpr const char* kMeasures = "PixelMeasuresSequence";

constexpr Member kMembers[] = {
    {"Modality", Form::text, "Modality"},
    {"ImageType", Form::list, "ImageType"},
    {"Manufacturer", Form::text, "Manufacturer"},
    {"ManufacturersModelName", Form::text, "ManufacturerModelName"},
    {"SoftwareVersions", Form::text, "SoftwareVersions"},
    {"BodyPart", Form::text, "BodyPartExamined"},
    {"PatientPosition", Form::text, "PatientPosition"},
    {"ProtocolName", Form::text, "ProtocolName"},
    {"SeriesDescription", Form::text, "SeriesDescription"},
    {"SeriesNumber", Form::number, "SeriesNumber"},
    {"AcquisitionNumber", Form::number, "AcquisitionNumber"},
    {"ContrastBolusIngredient", Form::text, "ContrastBolusIngredient"},
    {"SliceThickness", Form::positive, "SliceThickness", kMeasures},
    {"SpacingBetweenSlices", Form::positive, "SpacingBetweenSlices", kMeasures},
    // MR
    {"MagneticFieldStrength", Form::positive, "MagneticFieldStrength"},
    {"ImagingFrequency", Form::positive, "ImagingFrequency", kImagingModifier, "TransmitterFrequency"},
    {"ReceiveCoilName", Form::text, "ReceiveCoilName", "MRReceiveCoilSequence"},
    {"MRAcquisitionType", Form::text, "MRAcquisitionType"},
    {"ScanningSequence", Form::texts, "ScanningSequence"},
    {"SequenceVariant", Form::texts, "SequenceVariant"},
    {"ScanOptions", Form::texts, "ScanOptions"},
    {"SequenceName", Form::text, "SequenceName"},
    {"PulseSequenceName", Form::text, "PulseSequenceName"},
    {"EchoTime", Form::seconds, "EchoTime", "MREchoSequence", "EffectiveEchoTime"},
    {"EchoNumber", Form::positive, "EchoNumbers"},
    {"RepetitionTime", Form::seconds, "RepetitionTime", kTiming},
    {"InversionTime", Form::seconds, "InversionTime", kModifier, "InversionTimes"},
    {"FlipAngle", Form::positive, "FlipAngle", kTiming},
    {"EchoTrainLength", Form::positive, "EchoTrainLength", kTiming},
    {"NumberOfAverages", Form::positive, "NumberOfAverages", "MRAveragesSequence"},
    {"PixelBandwidth", Form::positive, "PixelBandwidth", kImagingModifier},
    {"PercentPhaseFOV", Form::positive, "PercentPhaseFieldOfView", kFieldOfView},
    {"PercentSampling", Form::positive, "PercentSampling", kFieldOfView},
    {"PhaseEncodingSteps", Form::positive, "NumberOfPhaseEncodingSteps"},
    {"ParallelAcquisitionTechnique", Form::text, "ParallelAcquisitionTechnique", kModifier},
    {"ParallelReductionFactorInPlane", Form::positive, "ParallelReductionFactorInPlane", kModifier},
    {"ParallelReductionFactorOutOfPlane", Form::positive, "ParallelReductionFactorOutOfPlane", kModifier},
    {"PartialFourierDirection", Form::text, "PartialFourierDirection", kModifier},
    // CT
    {"XRayTubeCurrent", Form::positive, "XRayTubeCurrent", "CTExposureSequence", "XRayTubeCurrentInmA"},
    {"XRayExposure", Form::positive, "Exposure", "CTExposureSequence", "ExposureInmAs"},
    {"ExposureTime", Form::seconds, "ExposureTime", "CTExposureSequence", "ExposureTimeInms"},
    {"ConvolutionKernel", Form::texts, "ConvolutionKernel", "CTReconstructionSequence"},
    // PET
    {"ReconMethodName", Form::text, "ReconstructionMethod"},
    {"AttenuationCorrection", Form::text, "AttenuationCorrectionMethod"},
    {"ScatterCorrectionMethod", Form::text, "ScatterCorrectionMethod"},
    {"RandomsCorrectionMethod", Form::text, "RandomsCorrectionMethod"},
};

/// What else is read.
constexpr const char* kOthers[] = {"AcquisitionTime",
                                   "AcquisitionDateTime",
                                   "InPlanePhaseEncodingDirection",
                                   "Rows",
                                   "Columns",
                                   "AcquisitionMatrix",
                                   "PartialFourier",
                                   "Units",
                                   "DecayCorrection",
                                   "SeriesType",
                                   "ActualFrameDuration",
                                   "RadiopharmaceuticalInformationSequence",
                                   "SharedFunctionalGroupsSequence",
                                   "PerFrameFunctionalGroupsSequence"};

velmora::Value readAttributes(velmora::Host& host, const std::string& path) {
    std::vector<std::string> keywords(std::begin(kOthers), std::end(kOthers));
    for (const Member& member : kMembers) {
        keywords.emplace_back(member.keyword);
    }
    velmora::Value found = host.call("ReadMetadata", {path, Store::ofTexts(keywords), false});
    host.call("CloseReader", {path}); // a medium may have more series than files can be open
    return found;
}

/// A whole number without a point.
Json numberJson(double number) {
    constexpr double kExact = 9007199254740992; // 2^53
    const bool isWhole = std::abs(number) < kExact && number == std::floor(number);
    return isWhole ? Json(static_cast<std::int64_t>(number)) : Json(number);
}

/// In whole nanoseconds, so that 2.46 ms, which a double only approaches, becomes 0.00246.
double secondsOf(double milliseconds) { return std::round(milliseconds * 1e6) / 1e9; }

/// One value by itself, several as an array; null for none.
Json oneOrArray(Json values) { return values.size() == 1 ? Json(values.front()) : values.empty() ? Json() : values; }

Json numbersJson(std::span<const double> numbers, Form form) {
    Json values = Json::array();
    for (const double number : numbers) {
        const double value = form == Form::seconds ? secondsOf(number) : number;
        if (!std::isfinite(value) || (form != Form::number && value <= 0)) {
            return {};
        }
        values.push_back(numberJson(value));
    }
    return oneOrArray(std::move(values));
}

Json textsJson(StoreView attributes, const char* keyword, Form form) {
    Json values = Json::array();
    for (const std::string_view text : textsOf(attributes, keyword)) {
        values.push_back(formats::printable(text));
    }
    return form == Form::list && !values.empty() ? values : oneOrArray(std::move(values));
}

/// Null if the attribute is missing or unusable.
Json valueOf(StoreView attributes, const char* keyword, Form form) {
    switch (form) {
    case Form::text: {
        const std::string_view text = trimmed(attributes.text(keyword));
        return text.empty() ? Json() : Json(formats::printable(text));
    }
    case Form::texts:
    case Form::list: return textsJson(attributes, keyword, form);
    default: return numbersJson(realsOf(attributes, keyword), form);
    }
}

void addKnown(Json& json, const char* name, Json value) {
    if (!value.is_null()) {
        json[name] = std::move(value);
    }
}

/// A functional group: that of all frames, else that of the first one. Empty if there is none.
StoreView groupOf(StoreView file, const char* sequence) {
    const StoreView shared = firstItem(firstItem(file, "SharedFunctionalGroupsSequence"), sequence);
    return shared.size() > 0 ? shared : firstItem(firstItem(file, "PerFrameFunctionalGroupsSequence"), sequence);
}

Json memberOf(StoreView file, const Member& member) {
    Json value = valueOf(file, member.keyword, member.form);
    if (!value.is_null() || member.group == nullptr) {
        return value;
    }
    const char* keyword = member.groupKeyword == nullptr ? member.keyword : member.groupKeyword;
    return valueOf(groupOf(file, member.group), keyword, member.form);
}

/// The digits that a text begins with, at most so many.
std::string_view digitsOf(std::string_view text, std::size_t most) {
    const std::size_t end = text.find_first_not_of("0123456789");
    return text.substr(0, std::min(end, most));
}

/// A time of DICOM (PS3.5 section 6.2) as HH:MM:SS.FFFFFF. Null if it is less exact than a second.
Json clockTime(std::string_view text) {
    const std::string digits(digitsOf(text, 6));
    if (digits.size() < 6) {
        return {};
    }
    text.remove_prefix(6);
    std::string fraction(text.starts_with('.') ? digitsOf(text.substr(1), 6) : std::string_view{});
    fraction.resize(6, '0');
    const bool isTime = digits < "240000" && digits.substr(2, 2) < "60" && digits.substr(4) <= "60"; // a leap second
    return isTime ? Json(digits.substr(0, 2) + ':' + digits.substr(2, 2) + ':' + digits.substr(4) + '.' + fraction)
                  : Json();
}

void addTime(Json& json, StoreView file) {
    Json time = clockTime(trimmed(file.text("AcquisitionTime")));
    const std::string_view dateAndTime = trimmed(file.text("AcquisitionDateTime")); // of an enhanced file
    if (time.is_null() && digitsOf(dateAndTime, 8).size() == 8) {
        time = clockTime(dateAndTime.substr(8));
    }
    addKnown(json, "AcquisitionTime", std::move(time));
}

/// Steps of phase encoding: AcquisitionMatrix has those of rows and columns last, one of which is 0.
Json phaseSteps(StoreView file) {
    const auto matrix = realsOf(file, "AcquisitionMatrix");
    if (matrix.size() == 4 && (matrix[2] == 0) != (matrix[3] == 0)) {
        return numbersJson(std::array{matrix[2] + matrix[3]}, Form::positive);
    }
    return valueOf(groupOf(file, kFieldOfView), "MRAcquisitionPhaseEncodingStepsInPlane", Form::positive);
}

/// The axis of phase encoding. Along the rows, the column index grows, which is the first axis of the volume.
void addPhaseEncoding(Json& json, StoreView file) {
    constexpr const char* kKeyword = "InPlanePhaseEncodingDirection";
    std::string_view direction = trimmed(file.text(kKeyword));
    if (direction.empty()) {
        direction = trimmed(groupOf(file, kFieldOfView).text(kKeyword));
    }
    const bool isAlongRows = direction == "ROW";
    addKnown(json, "AcquisitionMatrixPE", phaseSteps(file));
    if (isAlongRows || direction == "COL" || direction == "COLUMN") { // COLUMN in enhanced files
        json["InPlanePhaseEncodingDirectionDICOM"] = isAlongRows ? "ROW" : "COL";
        json["PhaseEncodingAxis"] = isAlongRows ? "i" : "j";
        addKnown(json, "ReconMatrixPE", valueOf(file, isAlongRows ? "Columns" : "Rows", Form::positive));
    }
}

/// BIDS asks for the fraction of k-space. DICOM only says whether there is less than all.
void addPartialFourier(Json& json, StoreView file) {
    constexpr const char* kKeyword = "PartialFourier";
    const std::string_view own = trimmed(file.text(kKeyword));
    if ((own.empty() ? trimmed(groupOf(file, kModifier).text(kKeyword)) : own) == "NO") {
        json[kKeyword] = 1;
    }
}

void addTracer(Json& json, StoreView file) {
    const StoreView tracer = firstItem(file, "RadiopharmaceuticalInformationSequence");
    const auto meaning = [&](const char* codes) {
        return valueOf(firstItem(tracer, codes), "CodeMeaning", Form::text);
    };
    Json name = valueOf(tracer, "Radiopharmaceutical", Form::text);
    addKnown(json, "TracerName", name.is_null() ? meaning("RadiopharmaceuticalCodeSequence") : std::move(name));
    addKnown(json, "TracerRadionuclide", meaning("RadionuclideCodeSequence"));
    Json dose = valueOf(tracer, "RadionuclideTotalDose", Form::positive);
    if (!dose.is_null()) {
        json["InjectedRadioactivity"] = std::move(dose);
        json["InjectedRadioactivityUnits"] = "Bq";
    }
    addKnown(json, "InjectedVolume", valueOf(tracer, "RadiopharmaceuticalVolume", Form::positive)); // ml
}

void addPositronEmission(Json& json, StoreView file) {
    addTracer(json, file);
    Json units = valueOf(file, "Units", Form::text);
    addKnown(json, "Units", units == "BQML" ? Json("Bq/mL") : std::move(units));
    const Json decay = valueOf(file, "DecayCorrection", Form::text);
    if (decay == "NONE" || decay == "START" || decay == "ADMIN") {
        json["ImageDecayCorrected"] = decay != "NONE";
    }
    const auto types = textsOf(file, "SeriesType");
    const Json duration = valueOf(file, "ActualFrameDuration", Form::seconds);
    if (!types.empty() && types.front() == "STATIC" && duration.is_number()) {
        json["FrameDuration"] = Json::array({duration});
    }
}

} // namespace

Json bidsSidecar(velmora::Host& host, const std::string& path) {
    const velmora::Value found = readAttributes(host, path);
    const StoreView file = found.get<Store>().view();
    Json json = Json::object();
    for (const Member& member : kMembers) {
        addKnown(json, member.name, memberOf(file, member));
    }
    addTime(json, file);
    addPhaseEncoding(json, file);
    addPartialFourier(json, file);
    if (json.value("Modality", "") == "PT") { // nuclear medicine has these attributes too, in other units
        addPositronEmission(json, file);
    }
    json["ConversionSoftware"] = "radvex";
    json["ConversionSoftwareVersion"] = RADVEX_VERSION;
    return json;
}

} // namespace radvex::volume

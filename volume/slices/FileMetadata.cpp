#include "volume/slices/FileMetadata.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "media/StoredAttributes.h"
#include "media/scan/FileStart.h"
#include "volume/slices/AttributeValues.h"
#include "volume/slices/FramePositions.h"
#include "volume/slices/PixelElement.h"
#include "volume/slices/PixelMeaning.h"
#include "volume/slices/PromisedFrames.h"

namespace radvex::volume {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;

namespace {

/// Attributes that tell what the pixel values mean, and which slices belong together.
const std::vector<std::string> kKeywords{"SOPClassUID",
                                         "SOPInstanceUID",
                                         "SeriesNumber",
                                         "InstanceNumber",
                                         "FrameOfReferenceUID",
                                         "ImagePositionPatient",
                                         "ImageOrientationPatient",
                                         "PixelSpacing",
                                         "SliceThickness",
                                         "SpacingBetweenSlices",
                                         "NumberOfFrames",
                                         "Rows",
                                         "Columns",
                                         "SamplesPerPixel",
                                         "PhotometricInterpretation",
                                         "BitsAllocated",
                                         "BitsStored",
                                         "PixelRepresentation",
                                         "RescaleSlope",
                                         "RescaleIntercept",
                                         "RescaleType",
                                         "Units",
                                         "Modality",
                                         "ModalityLUTSequence",
                                         "DoseGridScaling",
                                         "DoseUnits"};

/// Those that are chosen. Made anew for each call: an object of the host must not outlive it.
template <typename Choose>
velmora::Value keywords(const Choose& isChosen) {
    static const std::vector<std::string> all = [] {
        auto names = kKeywords;
        names.insert(names.end(), kTraitKeywords.begin(), kTraitKeywords.end());
        names.insert(names.end(), kFrameKeywords.begin(), kFrameKeywords.end());
        return names;
    }();
    std::vector<std::string> chosen;
    std::ranges::copy_if(all, std::back_inserter(chosen), isChosen);
    return Store::ofTexts(chosen);
}

constexpr auto isAnyKeyword = [](const std::string&) { return true; };

SliceRecord wholeFile(StoreView file, const std::string& name) {
    SliceRecord slice;
    slice.file = name;
    slice.instanceNumber = leadingInteger(firstValue(file.text("InstanceNumber")));
    slice.sopInstanceUid = trimmed(file.text("SOPInstanceUID"));
    slice.frameOfReferenceUid = trimmed(file.text("FrameOfReferenceUID"));
    slice.position = positionOf(file.text("ImagePositionPatient"));
    slice.orientation = orientationOf(file.text("ImageOrientationPatient"));
    slice.pixelSpacing = pixelSpacingOf(file.text("PixelSpacing"));
    slice.sliceThickness = lengthOf(file.text("SliceThickness"));
    slice.spacingBetweenSlices = lengthOf(file.text("SpacingBetweenSlices"));
    slice.unit = unitOf(file);
    takeTraits(slice.traits, file);
    return slice;
}

/// X-ray images, whose modality table leads to values other than those that are displayed; the library does not apply
/// it.
bool hasNoModalityTransformation(std::string_view sopClass) {
    constexpr std::array<std::string_view, 3> kClasses{"1.2.840.10008.5.1.4.1.1.12.1", "1.2.840.10008.5.1.4.1.1.12.2",
                                                       "1.2.840.10008.5.1.4.1.1.12.3"};
    return std::find(kClasses.begin(), kClasses.end(), sopClass) != kClasses.end();
}

/// Sets slope and intercept. False if both are absent.
/// @throws VolumeError  one of them is absent or no number, or the slope is 0: DCMTK reads "2,5" as 2, and ignores a
/// slope
///                      that is alone or 0
bool takeRescale(ModalityRule& rule, StoreView attributes, const std::string& name) {
    const std::string_view slopeText = attributes.text("RescaleSlope");
    const std::string_view interceptText = attributes.text("RescaleIntercept");
    if (slopeText.empty() && interceptText.empty()) {
        return false;
    }
    const auto slope = slopeText.empty() ? std::optional(1.0) : decimalOf(firstValue(slopeText));
    const auto intercept = interceptText.empty() ? std::optional(0.0) : decimalOf(firstValue(interceptText));
    const bool isWhole = !slopeText.empty() && !interceptText.empty();
    if (!slope || !intercept || *slope == 0 || (!isWhole && (*slope != 1 || *intercept != 0))) {
        throw formats::VolumeError(name + ": RescaleSlope \"" + std::string(slopeText) + "\" and RescaleIntercept \"" +
                                   std::string(interceptText) +
                                   "\" are no usable pair of numbers, so that nobody knows the values.");
    }
    rule.slope = *slope;
    rule.intercept = *intercept;
    return true;
}

/// Bytes of uncompressed pixels. Both subsampled kinds of colour have two samples for a pixel (PS3.3 C.7.6.3.1.2).
double promisedBytes(double pixels, double samples, double bitsAllocated, const std::string& photometric, vint frames) {
    const bool isSubsampled = photometric.find("422") != std::string::npos;
    return pixels * (isSubsampled ? 2 : samples) * bitsAllocated / 8 * frames;
}

/// The last value of a table's descriptor is the number of bits of its entries.
vint tableBitsOf(StoreView items) {
    StoreView descriptor(nullptr);
    for (const NodeView item : items) {
        descriptor = descriptor.size() > 0 ? descriptor : innerStore(item).store("LUTDescriptor");
    }
    vint last = 0;
    for (const NodeView number : descriptor) {
        last = number.type() == VType_Integer ? number.cell().integer : 0;
    }
    return last >= 1 && last <= 16 ? last : 16;
}

/// Doses are scaled by an attribute of their own.
bool takeDoseScaling(ModalityRule& rule, StoreView file) {
    const auto scaling = decimalOf(firstValue(file.text("DoseGridScaling")));
    if (scaling && *scaling != 0) {
        rule.slope = *scaling;
    }
    return scaling.has_value();
}

bool hasRescaleByFrame(StoreView file) {
    for (const NodeView item : file.store("PerFrameFunctionalGroupsSequence")) {
        const StoreView rescale = firstItem(innerStore(item), "PixelValueTransformationSequence");
        if (!rescale.text("RescaleSlope").empty() || !rescale.text("RescaleIntercept").empty()) {
            return true;
        }
    }
    return false;
}

/// Sets the rule of the whole file. False if frames may have their own.
bool wholeFileRule(ModalityRule& rule, StoreView file, const std::string& name) {
    if (hasNoModalityTransformation(file.text("SOPClassUID"))) {
        return true;
    }
    if (const StoreView table = file.store("ModalityLUTSequence"); table.size() > 0) {
        rule.needsLibrary = true;
        rule.tableBits = tableBitsOf(table);
        return true;
    }
    if (hasRescaleByFrame(file)) { // counts, whatever the dataset says beside it
        return false;
    }
    return takeDoseScaling(rule, file) || takeRescale(rule, file, name) ||
           takeRescale(rule,
                       firstItem(firstItem(file, "SharedFunctionalGroupsSequence"), "PixelValueTransformationSequence"),
                       name);
}

/// Visits the functional groups of each frame, as far as there are frames.
template <typename Take>
void forEachFrame(StoreView file, std::size_t frames, Take take) {
    std::size_t frame = 0;
    for (const NodeView item : file.store("PerFrameFunctionalGroupsSequence")) {
        if (frame == frames) {
            return;
        }
        take(frame++, innerStore(item));
    }
}

StoreView attributesOf(const velmora::Value& found) { return found.get<Store>().view(); }

} // namespace

FileMetadata::PixelFacts FileMetadata::factsOf(StoreView file) {
    return {.samples = file.integer("SamplesPerPixel").value_or(1),
            .photometricInterpretation = std::string(file.text("PhotometricInterpretation")),
            .bitsAllocated = file.integer("BitsAllocated").value_or(0),
            .bitsStored = file.integer("BitsStored").value_or(0),
            .frames = std::string(firstValue(file.text("NumberOfFrames")))};
}

FileMetadata::PixelFacts FileMetadata::storedFacts(const std::string& path) {
    PixelFacts facts;
    const auto elements = media::storedAttributes(
        path, {"SamplesPerPixel", "PhotometricInterpretation", "BitsAllocated", "BitsStored", "NumberOfFrames"});
    for (const media::Element& element : elements) {
        const vint number = integerOf(element.text).value_or(0);
        if (element.keyword == "SamplesPerPixel") {
            facts.samples = number;
        } else if (element.keyword == "PhotometricInterpretation") {
            facts.photometricInterpretation = element.text;
        } else if (element.keyword == "BitsAllocated") {
            facts.bitsAllocated = number;
        } else if (element.keyword == "BitsStored") {
            facts.bitsStored = number;
        } else {
            facts.frames = firstValue(element.text);
        }
    }
    return facts;
}

FileMetadata::FileMetadata(velmora::Host& host, const std::string& path, const std::string& name)
    : FileMetadata(host.call("ReadMetadata", {path, keywords(isAnyKeyword), false}), name.empty() ? path : name) {}

FileMetadata FileMetadata::ofAttributes(velmora::Host& host, const std::string& path) {
    if (!media::FileStart(path).isCompressed()) {
        return {host, path};
    }
    const auto isUnchanged = [](const std::string& keyword) { return !media::isChangedByDecoding(keyword); };
    return {host.call("ReadMetadata", {path, keywords(isUnchanged), false}), storedFacts(path), path};
}

FileMetadata::FileMetadata(velmora::Value found, std::string name)
    : FileMetadata(std::move(found), std::nullopt, std::move(name)) {}

FileMetadata::FileMetadata(velmora::Value found, const std::optional<PixelFacts>& stored, std::string name)
    : mFound(std::move(found)), mName(std::move(name)) {
    const StoreView file = attributesOf(mFound);
    const PixelFacts facts = stored ? *stored : factsOf(file);
    mRows = file.integer("Rows").value_or(-1);
    mColumns = file.integer("Columns").value_or(-1);
    mBitsAllocated = facts.bitsAllocated;
    mIsColour = facts.samples > 1 || facts.photometricInterpretation.starts_with("PALETTE");
    mSeriesNumber = firstValue(file.text("SeriesNumber"));
    mPromisedFrames = std::max(1, integerOf(facts.frames).value_or(1));
    mPromisedBytes = promisedBytes(1.0 * std::max(0, mRows) * std::max(0, mColumns), std::max(0, facts.samples),
                                   std::max(0, facts.bitsAllocated), facts.photometricInterpretation, mPromisedFrames);
    mRule.bitsStored = facts.bitsStored > 0 ? facts.bitsStored : facts.bitsAllocated > 0 ? facts.bitsAllocated : 16;
    mRule.isSigned = file.integer("PixelRepresentation") == 1;
    mIsRescaledByFrame = hasRescaleByFrame(file);
    mIsRuleWhole = wholeFileRule(mRule, file, mName);
}

bool FileMetadata::promisesMorePixels(const std::string& path, std::size_t frames) const {
    return frames < attributesOf(mFound).store("PerFrameFunctionalGroupsSequence").size() || lacksPixels(path, frames);
}

bool FileMetadata::lacksPixels(const std::string& path, std::size_t frames) const {
    if (frames < static_cast<std::size_t>(mPromisedFrames) || frames < promisedCompressedFrames(path)) {
        return true;
    }
    constexpr std::array<std::string_view, 4> kUncompressed{"", "1.2.840.10008.1.2", "1.2.840.10008.1.2.1",
                                                            "1.2.840.10008.1.2.2"};
    constexpr double kLargest = 0xFFFFFFFE; // of a value
    if (std::ranges::find(kUncompressed, media::FileStart(path).transferSyntax()) == kUncompressed.end()) {
        return false;
    }
    return mPromisedBytes > kLargest || !holdsPixels(path, static_cast<std::uint64_t>(mPromisedBytes));
}

bool FileMetadata::isDose() const {
    return attributesOf(mFound).text("SOPClassUID") == "1.2.840.10008.5.1.4.1.1.481.2";
}

bool FileMetadata::hasScaling() const {
    const StoreView file = attributesOf(mFound);
    const auto isNumber = [](StoreView place, const char* keyword) {
        return decimalOf(firstValue(place.text(keyword))).value_or(0) != 0;
    };
    if (isDose()) {
        return isNumber(file, "DoseGridScaling");
    }
    const auto isRescaled = [&](StoreView place) {
        return isNumber(place, "RescaleSlope") && !place.text("RescaleIntercept").empty();
    };
    const StoreView shared = firstItem(file, "SharedFunctionalGroupsSequence");
    return needsLibrary() || mIsRescaledByFrame || isNumber(file, "DoseGridScaling") || isRescaled(file) ||
           isRescaled(firstItem(shared, "PixelValueTransformationSequence"));
}

bool FileMetadata::isMosaic() const {
    return attributesOf(mFound).text("ImageType").find("MOSAIC") != std::string_view::npos;
}

std::vector<SliceRecord> FileMetadata::slices(vint frames) const {
    const StoreView file = attributesOf(mFound);
    SliceRecord whole = wholeFile(file, mName);
    whole.rows = mRows;
    whole.columns = mColumns;
    whole.isColour = mIsColour;
    whole.isRescaled =
        mIsRescaledByFrame || mRule.needsLibrary || !mRule.isIdentity() || !file.text("RescaleSlope").empty();
    return framesOf(file, whole, mPromisedFrames, frames);
}

std::vector<ModalityRule> FileMetadata::rules(vint frames) const {
    std::vector<ModalityRule> rules(static_cast<std::size_t>(frames), mRule);
    if (mIsRuleWhole) {
        return rules;
    }
    std::size_t count = 0;
    forEachFrame(attributesOf(mFound), rules.size(), [&](std::size_t index, StoreView group) {
        count += takeRescale(rules[index], firstItem(group, "PixelValueTransformationSequence"), mName) ? 1U : 0U;
    });
    if (count != 0 && count != rules.size()) {
        throw formats::VolumeError(mName + ": Some frames have a rescale and others have none.");
    }
    return rules;
}

} // namespace radvex::volume

#include "volume/FileMetadata.h"

#include <algorithm>
#include <array>

#include "volume/AttributeValues.h"

namespace radvex::volume {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;

namespace {

/// Attributes that tell where slices lie. For a file of one frame, the library reads them without decompressing pixels.
const std::vector<std::string> kOfPositions{"SOPClassUID",
                                            "SeriesNumber",
                                            "InstanceNumber",
                                            "ImagePositionPatient",
                                            "ImageOrientationPatient",
                                            "PixelSpacing",
                                            "SliceThickness",
                                            "SpacingBetweenSlices",
                                            "NumberOfFrames",
                                            "Rows",
                                            "Columns",
                                            "SharedFunctionalGroupsSequence",
                                            "PerFrameFunctionalGroupsSequence"};

/// Attributes that tell what the pixel values mean.
const std::vector<std::string> kOfValues{"SamplesPerPixel",  "PhotometricInterpretation", "BitsAllocated",
                                         "BitsStored",       "PixelRepresentation",       "RescaleSlope",
                                         "RescaleIntercept", "ModalityLUTSequence"};

const velmora::Value& keywordsOf(FileMetadata::Extent extent) {
    static const velmora::Value positions = Store::ofTexts(kOfPositions);
    static const velmora::Value all = [] {
        auto names = kOfPositions;
        names.insert(names.end(), kOfValues.begin(), kOfValues.end());
        return Store::ofTexts(names);
    }();
    return extent == FileMetadata::Extent::positions ? positions : all;
}

/// Sets what a functional group says; the rest stays.
void takeGroup(SliceRecord& slice, StoreView group) {
    const auto take = [](auto& target, auto value) {
        if (value) {
            target = value;
        }
    };
    take(slice.position, positionOf(firstItem(group, "PlanePositionSequence").text("ImagePositionPatient")));
    take(slice.orientation,
         orientationOf(firstItem(group, "PlaneOrientationSequence").text("ImageOrientationPatient")));
    const StoreView measures = firstItem(group, "PixelMeasuresSequence");
    take(slice.pixelSpacing, pixelSpacingOf(measures.text("PixelSpacing")));
    take(slice.sliceThickness, lengthOf(measures.text("SliceThickness")));
    take(slice.spacingBetweenSlices, lengthOf(measures.text("SpacingBetweenSlices")));
}

SliceRecord wholeFile(StoreView file, const std::string& name) {
    SliceRecord slice;
    slice.file = name;
    slice.instanceNumber = integerOf(firstValue(file.text("InstanceNumber")));
    slice.position = positionOf(file.text("ImagePositionPatient"));
    slice.orientation = orientationOf(file.text("ImageOrientationPatient"));
    slice.pixelSpacing = pixelSpacingOf(file.text("PixelSpacing"));
    slice.sliceThickness = lengthOf(file.text("SliceThickness"));
    slice.spacingBetweenSlices = lengthOf(file.text("SpacingBetweenSlices"));
    return slice;
}

/// X-ray images, whose modality table leads to values other than those that are displayed; the library does not apply
/// it.
bool hasNoModalityTransformation(std::string_view sopClass) {
    constexpr std::array<std::string_view, 3> kClasses{"1.2.840.10008.5.1.4.1.1.12.1", "1.2.840.10008.5.1.4.1.1.12.2",
                                                       "1.2.840.10008.5.1.4.1.1.12.3"};
    return std::find(kClasses.begin(), kClasses.end(), sopClass) != kClasses.end();
}

/// Sets slope and intercept, which are only valid together. False if one is absent.
bool takeRescale(ModalityRule& rule, StoreView attributes) {
    const std::string_view slopeText = attributes.text("RescaleSlope");
    const std::string_view interceptText = attributes.text("RescaleIntercept");
    if (slopeText.empty() || interceptText.empty()) {
        return false;
    }
    const auto slope = decimalOf(firstValue(slopeText));
    const auto intercept = decimalOf(firstValue(interceptText));
    rule.needsLibrary = !slope || !intercept; // only the library may know how to read such numbers
    if (!rule.needsLibrary && *slope != 0) {  // the library ignores a transformation whose slope is 0
        rule.slope = *slope;
        rule.intercept = *intercept;
    }
    return true;
}

ModalityRule storedValues(StoreView file) {
    ModalityRule rule;
    const vint allocated = file.integer("BitsAllocated").value_or(0);
    const vint stored = file.integer("BitsStored").value_or(0);
    rule.bitsStored = stored > 0 ? stored : allocated > 0 ? allocated : 16;
    rule.isSigned = file.integer("PixelRepresentation") == 1;
    return rule;
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

/// Sets the rule of the whole file. False if frames may have their own.
bool wholeFileRule(ModalityRule& rule, StoreView file, StoreView shared) {
    if (hasNoModalityTransformation(file.text("SOPClassUID"))) {
        return true;
    }
    if (const StoreView table = file.store("ModalityLUTSequence"); table.size() > 0) {
        rule.needsLibrary = true;
        rule.tableBits = tableBitsOf(table);
        return true;
    }
    return takeRescale(rule, file) || takeRescale(rule, firstItem(shared, "PixelValueTransformationSequence"));
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

FileMetadata::FileMetadata(velmora::Host& host, const std::string& path, std::string name, Extent extent)
    : mFound(host.call("ReadMetadata", {path, keywordsOf(extent), false})), mName(std::move(name)) {
    const StoreView file = attributesOf(mFound);
    mRows = file.integer("Rows").value_or(-1);
    mColumns = file.integer("Columns").value_or(-1);
    mIsColour = file.integer("SamplesPerPixel").value_or(1) > 1 ||
                file.text("PhotometricInterpretation").starts_with("PALETTE");
    mSeriesNumber = firstValue(file.text("SeriesNumber"));
    mPromisedFrames = std::max(1, integerOf(firstValue(file.text("NumberOfFrames"))).value_or(1));
    mRule = storedValues(file);
    mIsRuleWhole = wholeFileRule(mRule, file, firstItem(file, "SharedFunctionalGroupsSequence"));
}

std::vector<SliceRecord> FileMetadata::slices(vint frames) const {
    const StoreView file = attributesOf(mFound);
    SliceRecord slice = wholeFile(file, mName);
    if (mPromisedFrames > 1) {
        slice.position.reset();
    }
    slice.frames = mPromisedFrames;
    takeGroup(slice, firstItem(file, "SharedFunctionalGroupsSequence"));
    std::vector<SliceRecord> slices(static_cast<std::size_t>(frames), slice);
    for (std::size_t index = 0; index < slices.size(); ++index) {
        slices[index].frame = static_cast<vint>(index) + 1;
    }
    forEachFrame(file, slices.size(), [&](std::size_t index, StoreView group) { takeGroup(slices[index], group); });
    return slices;
}

std::vector<ModalityRule> FileMetadata::rules(vint frames) const {
    std::vector<ModalityRule> rules(static_cast<std::size_t>(frames), mRule);
    if (!mIsRuleWhole) {
        forEachFrame(attributesOf(mFound), rules.size(), [&](std::size_t index, StoreView group) {
            ModalityRule own = mRule;
            if (takeRescale(own, firstItem(group, "PixelValueTransformationSequence")) && !own.needsLibrary) {
                rules[index] = own;
            }
        });
    }
    return rules;
}

} // namespace radvex::volume

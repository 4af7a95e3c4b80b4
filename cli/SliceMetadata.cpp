#include "SliceMetadata.h"

#include <algorithm>
#include <array>

namespace radvex::cli {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;

namespace {

/// Attributes that tell where slices lie. Of a file of one frame they are read without decompressing its pixels.
const std::vector<std::string> kOfPlaces{"SOPClassUID",
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

/// Attributes that tell what their numbers mean.
const std::vector<std::string> kOfValues{"SamplesPerPixel",  "PhotometricInterpretation", "BitsAllocated",
                                         "BitsStored",       "PixelRepresentation",       "RescaleSlope",
                                         "RescaleIntercept", "ModalityLUTSequence"};

const velmora::Value& keywordsOf(FileMetadata::Extent extent) {
    static const velmora::Value places = Store::ofTexts(kOfPlaces);
    static const velmora::Value all = [] {
        auto names = kOfPlaces;
        names.insert(names.end(), kOfValues.begin(), kOfValues.end());
        return Store::ofTexts(names);
    }();
    return extent == FileMetadata::Extent::places ? places : all;
}

/// Attributes of one level, by keyword. An absent one is empty text, -1 or an empty store.
class Attributes {
  public:
    explicit Attributes(StoreView store) : mStore(store) {}

    std::string_view text(std::string_view keyword) const {
        const VelmoraDataStoreNode::Cell* cell = find(keyword, VType_UTF8String);
        return cell == nullptr || cell->utf8String == nullptr ? std::string_view{} : cell->utf8String;
    }
    vint integer(std::string_view keyword) const {
        const VelmoraDataStoreNode::Cell* cell = find(keyword, VType_Integer);
        return cell == nullptr ? -1 : cell->integer;
    }
    /// Items of a sequence.
    StoreView items(std::string_view keyword) const {
        const VelmoraDataStoreNode::Cell* cell = find(keyword, VType_DataStore);
        return StoreView(cell == nullptr ? nullptr : cell->dataStore);
    }
    /// The first item of a sequence.
    Attributes item(std::string_view keyword) const {
        for (const NodeView node : items(keyword)) {
            return of(node);
        }
        return Attributes(StoreView(nullptr));
    }
    static Attributes of(NodeView node) {
        return Attributes(StoreView(node.type() == VType_DataStore ? node.cell().dataStore : nullptr));
    }

  private:
    const VelmoraDataStoreNode::Cell* find(std::string_view keyword, vint type) const {
        for (const NodeView node : mStore) {
            if (node.name() == keyword) {
                return node.type() == type ? &node.cell() : nullptr;
            }
        }
        return nullptr;
    }

    StoreView mStore;
};

/// The first value of an attribute that may have several.
std::string_view firstOf(std::string_view text) { return text.substr(0, text.find('\\')); }

/// Takes what a functional group says; what it does not say stays.
void takeGroup(SliceRecord& slice, const Attributes& group) {
    const auto take = [](auto& target, auto value) {
        if (value) {
            target = value;
        }
    };
    take(slice.position, positionOf(group.item("PlanePositionSequence").text("ImagePositionPatient")));
    take(slice.orientation, orientationOf(group.item("PlaneOrientationSequence").text("ImageOrientationPatient")));
    const Attributes measures = group.item("PixelMeasuresSequence");
    take(slice.pixelSpacing, pixelSpacingOf(measures.text("PixelSpacing")));
    take(slice.sliceThickness, lengthOf(measures.text("SliceThickness")));
    take(slice.spacingBetweenSlices, lengthOf(measures.text("SpacingBetweenSlices")));
}

SliceRecord wholeFile(const Attributes& file, const std::string& name) {
    SliceRecord slice;
    slice.file = name;
    slice.instanceNumber = integerOf(firstOf(file.text("InstanceNumber")));
    slice.position = positionOf(file.text("ImagePositionPatient"));
    slice.orientation = orientationOf(file.text("ImageOrientationPatient"));
    slice.pixelSpacing = pixelSpacingOf(file.text("PixelSpacing"));
    slice.sliceThickness = lengthOf(file.text("SliceThickness"));
    slice.spacingBetweenSlices = lengthOf(file.text("SpacingBetweenSlices"));
    return slice;
}

/// X-ray images whose modality table leads away from what is shown; the library does not apply it.
bool hasNoModalityTransformation(std::string_view sopClass) {
    constexpr std::array<std::string_view, 3> kClasses{"1.2.840.10008.5.1.4.1.1.12.1", "1.2.840.10008.5.1.4.1.1.12.2",
                                                       "1.2.840.10008.5.1.4.1.1.12.3"};
    return std::find(kClasses.begin(), kClasses.end(), sopClass) != kClasses.end();
}

/// Takes slope and intercept, which count together only. False when one is absent.
bool takeRescale(ModalityRule& rule, const Attributes& attributes) {
    const std::string_view slopeText = attributes.text("RescaleSlope");
    const std::string_view interceptText = attributes.text("RescaleIntercept");
    if (slopeText.empty() || interceptText.empty()) {
        return false;
    }
    const auto slope = decimalOf(firstOf(slopeText));
    const auto intercept = decimalOf(firstOf(interceptText));
    rule.isLibrarys = !slope || !intercept; // numbers that only the library may know how to read
    if (!rule.isLibrarys && *slope != 0) {  // the library ignores a transformation whose slope is 0
        rule.slope = *slope;
        rule.intercept = *intercept;
    }
    return true;
}

ModalityRule storedValues(const Attributes& file) {
    ModalityRule rule;
    const vint allocated = file.integer("BitsAllocated");
    const vint stored = file.integer("BitsStored");
    rule.bitsStored = stored > 0 ? stored : allocated > 0 ? allocated : 16;
    rule.isSigned = file.integer("PixelRepresentation") == 1;
    return rule;
}

/// The descriptor of a table ends with the bits of its entries; its parts come as words or, when they are signed, as
/// numbers.
vint tableBitsOf(StoreView items) {
    for (const NodeView item : items) {
        for (const NodeView node : StoreView(item.type() == VType_DataStore ? item.cell().dataStore : nullptr)) {
            if (node.name() == "LUTDescriptor" && node.type() == VType_DataStore) {
                vint last = 0;
                for (const NodeView number : StoreView(node.cell().dataStore)) {
                    last = number.type() == VType_Integer ? number.cell().integer : 0;
                }
                return last >= 1 && last <= 16 ? last : 16;
            }
        }
    }
    return 16;
}

/// The rule that holds for the whole file. False when frames may have their own.
bool wholeFileRule(ModalityRule& rule, const Attributes& file, const Attributes& shared) {
    if (hasNoModalityTransformation(file.text("SOPClassUID"))) {
        return true;
    }
    if (const StoreView table = file.items("ModalityLUTSequence"); table.size() > 0) {
        rule.isLibrarys = true;
        rule.tableBits = tableBitsOf(table);
        return true;
    }
    return takeRescale(rule, file) || takeRescale(rule, shared.item("PixelValueTransformationSequence"));
}

/// Walks the items that speak for one frame each, as far as there are frames.
template <typename Take>
void forEachFrame(const Attributes& file, std::size_t frames, Take take) {
    std::size_t frame = 0;
    for (const NodeView item : file.items("PerFrameFunctionalGroupsSequence")) {
        if (frame == frames) {
            return;
        }
        take(frame++, Attributes::of(item));
    }
}

Attributes attributesOf(const velmora::Value& found) { return Attributes(found.get<Store>().view()); }

} // namespace

FileMetadata::FileMetadata(velmora::Host& host, const std::string& path, std::string name, Extent extent)
    : mFound(host.call("ReadMetadata", {path, keywordsOf(extent), false})), mName(std::move(name)) {
    const Attributes file = attributesOf(mFound);
    mRows = file.integer("Rows");
    mColumns = file.integer("Columns");
    mIsColour = file.integer("SamplesPerPixel") > 1 || file.text("PhotometricInterpretation").starts_with("PALETTE");
    mSeriesNumber = firstOf(file.text("SeriesNumber"));
    mPromisedFrames = std::max(1, integerOf(firstOf(file.text("NumberOfFrames"))).value_or(1));
    mRule = storedValues(file);
    mIsRuleWhole = wholeFileRule(mRule, file, file.item("SharedFunctionalGroupsSequence"));
}

std::vector<SliceRecord> FileMetadata::slices(vint frames) const {
    const Attributes file = attributesOf(mFound);
    SliceRecord slice = wholeFile(file, mName);
    if (mPromisedFrames > 1) {
        slice.position.reset();
    }
    slice.frames = mPromisedFrames;
    takeGroup(slice, file.item("SharedFunctionalGroupsSequence"));
    std::vector<SliceRecord> slices(static_cast<std::size_t>(frames), slice);
    for (std::size_t index = 0; index < slices.size(); ++index) {
        slices[index].frame = static_cast<vint>(index) + 1;
    }
    forEachFrame(file, slices.size(),
                 [&](std::size_t index, const Attributes& group) { takeGroup(slices[index], group); });
    return slices;
}

std::vector<ModalityRule> FileMetadata::rules(vint frames) const {
    std::vector<ModalityRule> rules(static_cast<std::size_t>(frames), mRule);
    if (!mIsRuleWhole) {
        forEachFrame(attributesOf(mFound), rules.size(), [&](std::size_t index, const Attributes& group) {
            ModalityRule own = mRule;
            if (takeRescale(own, group.item("PixelValueTransformationSequence")) && !own.isLibrarys) {
                rules[index] = own;
            }
        });
    }
    return rules;
}

} // namespace radvex::cli

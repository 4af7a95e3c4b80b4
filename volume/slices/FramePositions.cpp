#include "volume/slices/FramePositions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>

#include "volume/slices/AttributeValues.h"

namespace radvex::volume {

using velmora::NodeView;
using velmora::StoreView;

namespace {

constexpr std::string_view kDose = "1.2.840.10008.5.1.4.1.1.481.2";
constexpr std::string_view kNuclearMedicine = "1.2.840.10008.5.1.4.1.1.20";

/// Sets what a functional group says; the rest stays.
void takeGroup(SliceRecord& slice, StoreView group) {
    // What is there and unusable counts as absent: no other value stands in for it.
    const auto take = [](auto& target, std::string_view text, auto parse) {
        if (!text.empty()) {
            target = parse(text);
        }
    };
    take(slice.position, firstItem(group, "PlanePositionSequence").text("ImagePositionPatient"), positionOf);
    take(slice.orientation, firstItem(group, "PlaneOrientationSequence").text("ImageOrientationPatient"),
         orientationOf);
    const StoreView measures = firstItem(group, "PixelMeasuresSequence");
    take(slice.pixelSpacing, measures.text("PixelSpacing"), pixelSpacingOf);
    take(slice.sliceThickness, measures.text("SliceThickness"), lengthOf);
    take(slice.spacingBetweenSlices, measures.text("SpacingBetweenSlices"), lengthOf);
    const std::string_view unit = firstItem(group, "PixelValueTransformationSequence").text("RescaleType");
    if (!unit.empty() && unit != "US") {
        slice.unit = unit;
    }
    takeGroupTraits(slice.traits, group);
}

/// Moves the slices by these distances along their normal from where the first one lies.
void placeAlongNormal(std::vector<SliceRecord>& slices, const SliceRecord& first, const std::vector<double>& offsets) {
    if (!first.hasPosition() || offsets.size() < slices.size()) {
        return;
    }
    const formats::Vector3 normal = first.orientation->normal();
    for (std::size_t index = 0; index < slices.size(); ++index) {
        slices[index].position = *first.position + offsets[index] * normal;
        slices[index].orientation = first.orientation;
    }
}

/// Offsets of a dose start with 0, or are the heights of axial planes themselves.
void placeDose(std::vector<SliceRecord>& slices, const SliceRecord& whole, StoreView file) {
    auto offsets = realsOf(file, "GridFrameOffsetVector");
    if (offsets.empty() || !whole.hasPosition()) {
        return;
    }
    const double height = (*whole.position)[2];
    const bool isAxial = std::abs(std::abs(whole.orientation->normal()[2]) - 1) < 1e-3;
    if (offsets.front() != 0 && isAxial && std::abs(offsets.front() - height) < 1e-3) {
        const double direction = whole.orientation->normal()[2];
        std::ranges::transform(offsets, offsets.begin(),
                               [&](double plane) { return (plane - height) * (direction < 0 ? -1 : 1); });
    } else if (offsets.front() != 0) {
        return; // neither of the two meanings that the standard gives
    }
    placeAlongNormal(slices, whole, offsets);
}

/// Whole numbers, one for each frame; empty if there are fewer.
std::vector<vint> vectorOf(StoreView file, std::string_view keyword, std::size_t frames) {
    std::vector<vint> values;
    for (const NodeView node : file.store(keyword)) {
        values.push_back(node.type() == VType_Integer ? node.cell().integer : 0);
    }
    return values.size() < frames ? std::vector<vint>{} : values;
}

void placeReconstruction(std::vector<SliceRecord>& slices, const SliceRecord& whole, StoreView file) {
    const StoreView detector = firstItem(file, "DetectorInformationSequence");
    SliceRecord first = whole;
    first.position = positionOf(detector.text("ImagePositionPatient"));
    first.orientation = orientationOf(detector.text("ImageOrientationPatient"));
    const auto step = decimalOf(firstValue(file.text("SpacingBetweenSlices"))); // its sign is the direction
    if (!step || *step == 0 || file.text("ImageType").find("RECON") == std::string_view::npos) {
        return;
    }
    const auto numbers = vectorOf(file, "SliceVector", slices.size());
    if (numbers.empty() && file.store("SliceVector").size() > 0) {
        return; // it does not say where all frames lie
    }
    std::vector<double> offsets;
    for (std::size_t index = 0; index < slices.size(); ++index) {
        offsets.push_back(*step * (numbers.empty() ? static_cast<double>(index) : numbers[index] - 1.0));
    }
    placeAlongNormal(slices, first, offsets);
    const auto set = [&](Trait trait, std::initializer_list<const char*> keywords) {
        for (const char* const keyword : keywords) {
            const auto values = vectorOf(file, keyword, slices.size());
            for (std::size_t index = 0; index < values.size() && index < slices.size(); ++index) {
                slices[index].traits.set(trait, std::to_string(values[index]));
            }
        }
    };
    set(Trait::energyWindow, {"EnergyWindowVector"});
    set(Trait::temporalIndex, {"PhaseVector", "TimeSliceVector", "TimeSlotVector"});
}

} // namespace

const std::vector<std::string> kFrameKeywords{"SharedFunctionalGroupsSequence",
                                              "PerFrameFunctionalGroupsSequence",
                                              "GridFrameOffsetVector",
                                              "DetectorInformationSequence",
                                              "SliceVector",
                                              "EnergyWindowVector",
                                              "PhaseVector",
                                              "TimeSliceVector",
                                              "TimeSlotVector"};

std::vector<SliceRecord> framesOf(StoreView file, const SliceRecord& whole, vint promised, vint frames) {
    SliceRecord slice = whole;
    if (promised > 1) {
        slice.position.reset();
    }
    slice.frames = promised;
    takeGroup(slice, firstItem(file, "SharedFunctionalGroupsSequence"));
    std::vector<SliceRecord> slices(static_cast<std::size_t>(frames), slice);
    for (std::size_t index = 0; index < slices.size(); ++index) {
        slices[index].frame = static_cast<vint>(index) + 1;
    }
    const std::string_view sopClass = file.text("SOPClassUID");
    if (sopClass == kDose && promised > 1) {
        placeDose(slices, whole, file);
    } else if (sopClass == kNuclearMedicine) {
        placeReconstruction(slices, whole, file);
    }
    std::size_t frame = 0;
    for (const NodeView item : file.store("PerFrameFunctionalGroupsSequence")) {
        if (frame == slices.size()) {
            break;
        }
        takeGroup(slices[frame++], innerStore(item));
    }
    return slices;
}

} // namespace radvex::volume

#include "volume/geometry/SliceComparison.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <optional>

#include "formats/json/Text.h"
#include "formats/volumes/VolumeFile.h"

namespace radvex::volume {

namespace {

/// By how much a cosine, or a spacing in relation to itself, may differ: 1e-3, or less if this would move the far edge
/// of the picture by a tenth of a pixel or of the distance between slices.
double toleranceOf(const SliceRecord& slice) {
    const PixelSpacing pixel = slice.pixelSpacing.value_or(PixelSpacing{});
    const double extent = std::max({slice.rows * pixel.betweenRows, slice.columns * pixel.betweenColumns, 1e-9});
    double finest = std::min(pixel.betweenRows, pixel.betweenColumns);
    for (const auto& distance : {slice.spacingBetweenSlices, slice.sliceThickness}) {
        finest = std::min(finest, distance.value_or(finest));
    }
    return std::min(1e-3, 0.1 * finest / extent);
}

bool isSameVector(const formats::Vector3& a, const formats::Vector3& b, double tolerance) {
    return std::ranges::equal(a, b, [&](double one, double other) { return std::abs(one - other) <= tolerance; });
}

bool isSameLength(double a, double b, double tolerance) { return std::abs(a - b) <= tolerance * std::max(a, b); }

bool hasSameSize(const SliceRecord& a, const SliceRecord& b) { return a.rows == b.rows && a.columns == b.columns; }

bool hasSameColour(const SliceRecord& a, const SliceRecord& b) { return a.isColour == b.isColour; }

bool isPositionedAlike(const SliceRecord& a, const SliceRecord& b) { return a.hasPosition() == b.hasPosition(); }

bool hasSameFrameOfReference(const SliceRecord& a, const SliceRecord& b) {
    return a.frameOfReferenceUid.empty() || b.frameOfReferenceUid.empty() ||
           a.frameOfReferenceUid == b.frameOfReferenceUid;
}

bool hasSameOrientation(const SliceRecord& a, const SliceRecord& b) {
    return !a.hasPosition() || !b.hasPosition() ||
           (isSameVector(a.orientation->alongColumns, b.orientation->alongColumns, toleranceOf(a)) &&
            isSameVector(a.orientation->alongRows, b.orientation->alongRows, toleranceOf(a)));
}

bool hasSamePixelSpacing(const SliceRecord& a, const SliceRecord& b) {
    const auto& one = a.pixelSpacing;
    const auto& other = b.pixelSpacing;
    return one.has_value() == other.has_value() &&
           (!one || (isSameLength(one->betweenRows, other->betweenRows, toleranceOf(a)) &&
                     isSameLength(one->betweenColumns, other->betweenColumns, toleranceOf(a))));
}

std::string sizeOf(const SliceRecord& slice) {
    return std::to_string(slice.columns) + " x " + std::to_string(slice.rows);
}

std::string pixelSpacingText(const SliceRecord& slice) {
    return slice.pixelSpacing ? shortNumber(slice.pixelSpacing->betweenRows) + " x " +
                                    shortNumber(slice.pixelSpacing->betweenColumns) + " mm"
                              : "none";
}

/// A question whose answer has to be the same for all slices of a volume.
struct Comparison {
    FindingKind kind;
    bool (*isSame)(const SliceRecord& a, const SliceRecord& b);
    std::string (*sentence)(std::size_t count, const SliceRecord& usual); ///< about the slices that differ
};

std::string differ(std::size_t count, const std::string& what) {
    return formats::counted(count, "slice differs in ", "slices differ in ") + what;
}

const Comparison kComparisons[] = {
    {FindingKind::differentSize, hasSameSize,
     [](std::size_t count, const SliceRecord& usual) {
         return differ(count, "size from most, which are " + sizeOf(usual));
     }},
    {FindingKind::differentColour, hasSameColour,
     [](std::size_t count, const SliceRecord& usual) {
         return formats::counted(count, "slice is ", "slices are ") +
                (usual.isColour ? "grey, and most are in colour" : "in colour, and most are grey");
     }},
    {FindingKind::noPosition, isPositionedAlike,
     [](std::size_t count, const SliceRecord& usual) {
         return formats::counted(count, "slice has ", "slices have ") +
                (usual.hasPosition() ? "no usable ImagePositionPatient and ImageOrientationPatient"
                                     : "a position, and most have none");
     }},
    {FindingKind::differentFrameOfReference, hasSameFrameOfReference,
     [](std::size_t count, const SliceRecord& /*usual*/) {
         return differ(count, "FrameOfReferenceUID from most, so that their positions cannot be compared");
     }},
    {FindingKind::differentOrientation, hasSameOrientation,
     [](std::size_t count, const SliceRecord& /*usual*/) {
         return formats::counted(count, "slice lies", "slices lie") + " in another direction than most";
     }},
    {FindingKind::differentPixelSpacing, hasSamePixelSpacing,
     [](std::size_t count, const SliceRecord& usual) {
         return differ(count, "PixelSpacing from most, which have " + pixelSpacingText(usual));
     }},
};

bool fits(const SliceRecord& a, const SliceRecord& b) {
    return std::ranges::all_of(kComparisons, [&](const Comparison& question) { return question.isSame(a, b); });
}

} // namespace

std::vector<Indices> stacksOf(const std::vector<SliceRecord>& slices, const Indices& among) {
    constexpr std::size_t kMostStacks = 4000; // each slice is compared with all of them
    std::vector<Indices> stacks;
    std::vector<SliceRecord> usual; // of each stack; its frame of reference is the first that is known
    for (const std::size_t index : among) {
        const auto known =
            std::ranges::find_if(usual, [&](const SliceRecord& slice) { return fits(slice, slices[index]); });
        if (known == usual.end()) {
            if (stacks.size() == kMostStacks) {
                throw formats::VolumeError("The series holds over " + std::to_string(kMostStacks) +
                                           " kinds of slices, each with its own size or direction.");
            }
            stacks.push_back({index});
            usual.push_back(slices[index]);
        } else {
            stacks[static_cast<std::size_t>(known - usual.begin())].push_back(index);
            if (known->frameOfReferenceUid.empty()) {
                known->frameOfReferenceUid = slices[index].frameOfReferenceUid;
            }
        }
    }
    std::ranges::stable_sort(stacks, std::greater(), &Indices::size);
    return stacks;
}

std::vector<Finding> differencesOf(const std::vector<SliceRecord>& slices, const std::vector<Indices>& stacks) {
    std::vector<Finding> findings;
    if (stacks.empty()) {
        return findings;
    }
    const auto knownFrame = std::ranges::find_if(
        stacks.front(), [&](std::size_t index) { return !slices[index].frameOfReferenceUid.empty(); });
    SliceRecord usual = slices[stacks.front().front()];
    usual.frameOfReferenceUid = knownFrame == stacks.front().end() ? "" : slices[*knownFrame].frameOfReferenceUid;
    for (const Comparison& question : kComparisons) {
        Indices others;
        for (const Indices& stack : stacks) {
            const bool differs =
                std::ranges::any_of(stack, [&](std::size_t index) { return !question.isSame(usual, slices[index]); });
            if (&stack != &stacks.front() && differs) {
                others.insert(others.end(), stack.begin(), stack.end());
            }
        }
        if (!others.empty()) {
            findings.push_back(
                findingAbout(question.kind, true, question.sentence(others.size(), usual), namesAt(slices, others)));
        }
    }
    return findings;
}

std::vector<std::string> namesAt(const std::vector<SliceRecord>& slices, const Indices& indices) {
    std::vector<std::string> names;
    std::ranges::transform(indices, std::back_inserter(names), [&](auto index) { return slices[index].name(); });
    return names;
}

Finding findingAbout(FindingKind kind, bool isError, const std::string& sentence, std::vector<std::string> files) {
    const std::string names = files.empty() ? "" : ": " + namesOf(files);
    return {kind, isError, sentence + names + ".", std::move(files)};
}

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

} // namespace radvex::volume

#include "volume/geometry/SliceComparison.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iterator>
#include <optional>

#include "formats/json/Text.h"

namespace radvex::volume {

namespace {

/// By how much a cosine, or a spacing in relation to itself, may differ: 1e-3, or less if this would be a tenth of a
/// pixel at the far edge of the picture.
double toleranceOf(const SliceRecord& slice) {
    return std::min(1e-3, 0.1 / std::max({slice.rows, slice.columns, vint{1}}));
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
    std::vector<Indices> stacks;
    for (const std::size_t index : among) {
        const auto known = std::ranges::find_if(
            stacks, [&](const Indices& stack) { return fits(slices[stack.front()], slices[index]); });
        if (known == stacks.end()) {
            stacks.push_back({index});
        } else {
            known->push_back(index);
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
    const SliceRecord& usual = slices[stacks.front().front()];
    for (const Comparison& question : kComparisons) {
        Indices others;
        for (const Indices& stack : stacks) {
            if (!question.isSame(usual, slices[stack.front()])) {
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

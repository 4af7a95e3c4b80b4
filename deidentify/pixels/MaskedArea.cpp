#include "deidentify/pixels/MaskedArea.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"

namespace radvex::deidentify {

namespace {

[[noreturn]] void fail(const std::string& why) { throw std::runtime_error(why); }

/// What lies before, between and behind spans.
std::vector<Span> gapsOf(const std::vector<Span>& spans, std::uint32_t columns) {
    std::vector<Span> gaps;
    std::uint32_t begin = 0;
    for (const Span& span : spans) {
        if (span.begin > begin) {
            gaps.push_back({begin, span.begin});
        }
        begin = span.end;
    }
    if (begin < columns) {
        gaps.push_back({begin, columns});
    }
    return gaps;
}

/// In their order, with those that overlap or touch as one.
std::vector<Span> merged(std::vector<Span> spans) {
    std::sort(spans.begin(), spans.end(), [](const Span& one, const Span& other) { return one.begin < other.begin; });
    std::vector<Span> result;
    for (const Span& span : spans) {
        if (!result.empty() && span.begin <= result.back().end) {
            result.back().end = std::max(result.back().end, span.end);
        } else {
            result.push_back(span);
        }
    }
    return result;
}

} // namespace

MaskedArea::MaskedArea(const MaskRule& rule, DcmItem& dataset, std::uint32_t rows, std::uint32_t columns)
    : mRows(rows), mColumns(columns), mIsOutsideRegions(rule.isOutsideRegions) {
    std::size_t number = 0;
    for (const MaskRectangle& rectangle : rule.rectangles) {
        addRectangle(rectangle, ++number);
    }
    if (mIsOutsideRegions) {
        addRegions(dataset);
    }
}

void MaskedArea::addRectangle(const MaskRectangle& rectangle, std::size_t number) {
    const std::int64_t left = rectangle.x < 0 ? rectangle.x + mColumns : rectangle.x;
    const std::int64_t top = rectangle.y < 0 ? rectangle.y + mRows : rectangle.y;
    const auto inside = [](std::int64_t value, std::uint32_t size) {
        return static_cast<std::uint32_t>(std::clamp(value, std::int64_t{0}, std::int64_t{size}));
    };
    const Box box{inside(left, mColumns), inside(top, mRows), inside(left + rectangle.width, mColumns),
                  inside(top + rectangle.height, mRows)};
    if (box.left >= box.right || box.top >= box.bottom) {
        fail("rectangle " + std::to_string(number) + " lies outside of its " + std::to_string(mColumns) +
             " columns and " + std::to_string(mRows) + " rows");
    }
    mMasked.push_back(box);
}

void MaskedArea::addRegions(DcmItem& dataset) {
    constexpr std::size_t kMostRegions = 1000; // each row is compared with each
    DcmSequenceOfItems* regions = nullptr;
    if (dataset.findAndGetSequence(DCM_SequenceOfUltrasoundRegions, regions, OFFalse).bad() || regions == nullptr ||
        regions->card() == 0) {
        fail("it has no regions");
    }
    if (regions->card() > kMostRegions) {
        fail("it has too many regions");
    }
    for (DcmObject* object = regions->nextInContainer(nullptr); object != nullptr;
         object = regions->nextInContainer(object)) {
        if (auto* region = dynamic_cast<DcmItem*>(object)) {
            addRegion(*region);
        }
    }
    const auto isFull = [&](std::uint32_t row) {
        const std::vector<Span> spans = spansOf(mRegions, row);
        return spans.size() == 1 && spans.front().begin == 0 && spans.front().end == mColumns;
    };
    std::uint32_t row = 0;
    while (row < mRows && isFull(row)) {
        ++row;
    }
    if (row == mRows) {
        fail("its regions leave nothing outside of them to blank");
    }
}

void MaskedArea::addRegion(DcmItem& region) {
    const auto at = [&](const DcmTagKey& key) {
        Uint32 value = 0;
        if (region.findAndGetUint32(key, value, 0, OFFalse).bad()) {
            fail("one of its regions has no place");
        }
        return value;
    };
    const Uint32 left = at(DCM_RegionLocationMinX0);
    const Uint32 top = at(DCM_RegionLocationMinY0);
    const Uint32 right = at(DCM_RegionLocationMaxX1);
    const Uint32 bottom = at(DCM_RegionLocationMaxY1);
    if (left > right || top > bottom || left >= mColumns || top >= mRows) {
        fail("one of its regions makes no sense");
    }
    // The last column and row belong to the region (PS3.3 C.8.5.5.1.3).
    mRegions.push_back({left, top, std::min(right, mColumns - 1) + 1, std::min(bottom, mRows - 1) + 1});
}

std::vector<Span> MaskedArea::spansOf(const std::vector<Box>& boxes, std::uint32_t row) {
    std::vector<Span> spans;
    for (const Box& box : boxes) {
        if (row >= box.top && row < box.bottom) {
            spans.push_back({box.left, box.right});
        }
    }
    return merged(std::move(spans));
}

std::vector<Span> MaskedArea::spansOfRow(std::uint32_t row) const {
    std::vector<Span> spans = spansOf(mMasked, row);
    if (mIsOutsideRegions) {
        const std::vector<Span> outside = gapsOf(spansOf(mRegions, row), mColumns);
        spans.insert(spans.end(), outside.begin(), outside.end());
        spans = merged(std::move(spans));
    }
    return spans;
}

} // namespace radvex::deidentify

#pragma once

#include <cstdint>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "deidentify/pixels/MaskRules.h"

namespace radvex::deidentify {

/// Columns of a row, from `begin` up to but without `end`.
struct Span {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

/// The pixels of an image that a rule blanks.
class MaskedArea {
  public:
    /// @throws std::runtime_error  a part of a sentence: outside of the regions of an image without regions, or with
    /// regions that make no sense; or a rectangle, or all that is outside the regions, is nothing of the image: a rule
    /// that was made for images of another size would otherwise leave the text in view, and nobody would be told
    MaskedArea(const MaskRule& rule, DcmItem& dataset, std::uint32_t rows, std::uint32_t columns);

    /// In their order; no two touch.
    std::vector<Span> spansOfRow(std::uint32_t row) const;

    std::uint32_t rows() const { return mRows; }
    std::uint32_t columns() const { return mColumns; }

  private:
    /// Inside the image; without the right and bottom edge.
    struct Box {
        std::uint32_t left, top, right, bottom;
    };

    void addRectangle(const MaskRectangle& rectangle, std::size_t number);
    void addRegions(DcmItem& dataset);
    void addRegion(DcmItem& region);
    static std::vector<Span> spansOf(const std::vector<Box>& boxes, std::uint32_t row);

    std::uint32_t mRows;
    std::uint32_t mColumns;
    bool mIsOutsideRegions;
    std::vector<Box> mMasked{};
    std::vector<Box> mRegions{};
};

} // namespace radvex::deidentify

#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "guard/ElementHeader.h"

namespace radvex {

/// What DCMTK does to keep the elements of one item sorted: each new one is compared with those of the list, from the
/// largest tag down.
class ElementOrder {
  public:
    /// Adds an element. @return at most how many elements DCMTK compares it with
    std::uint64_t add(TagNumber tag) {
        if (isLargest(tag)) {
            mSmallest = mListed == 0 ? tag : mSmallest;
            mLargest = tag;
            ++mListed;
            return 1;
        }
        const std::uint64_t compared = mListed;
        // What repeats the smallest tag does not enter the list: zeros that pad the end of a file read as such.
        if (tag != mSmallest && tag != mLargest) {
            mSmallest = std::min(mSmallest, tag);
            ++mListed;
            ++mOutOfOrder;
        }
        return tag == mLargest ? 1 : compared;
    }

    /// True when the element goes to the end of the list.
    bool isLargest(TagNumber tag) const { return mListed == 0 || tag > mLargest; }
    TagNumber largest() const { return mLargest; }
    std::uint64_t outOfOrder() const { return mOutOfOrder; }

  private:
    TagNumber mLargest = 0;
    TagNumber mSmallest = 0;
    std::uint64_t mListed = 0;
    std::uint64_t mOutOfOrder = 0;
};

/// The names of private blocks in one item that DCMTK has taken note of, which decide the VR of private elements.
class PrivateCreators {
  public:
    /// Tells of an element that reserves a block, with its text if it has one.
    /// @param isLast  whether it is the last of the item's list now
    void add(TagNumber tag, std::optional<std::string> name, bool isLast) {
        const auto [place, isNew] = mBlocks.try_emplace(tag, Block{std::move(name), isLast});
        // DCMTK takes note of whatever its list points at after an insertion: the last element, or the one repeated.
        place->second.isKnown = place->second.isKnown || !isNew;
    }

    /// The name for a private element; nullptr when its block is not known.
    const char* of(TagNumber tag) const {
        if (mBlocks.empty()) {
            return nullptr;
        }
        const auto block = mBlocks.find((tag & 0xFFFF0000) | (tag & 0xFFFF) >> 8);
        const bool isUsable = block != mBlocks.end() && block->second.isKnown && block->second.name;
        return isUsable ? block->second.name->c_str() : nullptr;
    }

  private:
    struct Block {
        std::optional<std::string> name{};
        bool isKnown = false;
    };

    std::map<TagNumber, Block> mBlocks{};
};

} // namespace radvex

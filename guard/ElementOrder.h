#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "guard/ElementHeader.h"

namespace radvex {

/// Counts what it costs DCMTK to keep the elements of one item sorted: it compares each new element with those that it
/// has, from the largest tag down.
class ElementOrder {
  public:
    /// Adds an element. @return an upper bound for the number of elements with which DCMTK compares it
    std::uint64_t add(TagNumber tag) {
        if (isLargest(tag)) {
            mSmallest = mListed == 0 ? tag : mSmallest;
            mLargest = tag;
            ++mListed;
            return 1;
        }
        const std::uint64_t compared = mListed;
        // DCMTK drops an element whose tag it has already. Zeros that pad a file look like many such elements.
        if (tag != mSmallest && tag != mLargest) {
            mSmallest = std::min(mSmallest, tag);
            ++mListed;
            ++mOutOfOrder;
        }
        return tag == mLargest ? 1 : compared;
    }

    /// True for a tag that would become the last of the list.
    bool isLargest(TagNumber tag) const { return mListed == 0 || tag > mLargest; }
    TagNumber largest() const { return mLargest; }
    std::uint64_t outOfOrder() const { return mOutOfOrder; }

  private:
    TagNumber mLargest = 0;
    TagNumber mSmallest = 0;
    std::uint64_t mListed = 0;
    std::uint64_t mOutOfOrder = 0;
};

/// The private creators of one item. DCMTK uses their names to look up private elements, but it does not know all of
/// them.
class PrivateCreators {
  public:
    /// Adds an element that reserves a block, with its text if it has one.
    /// @param isLast  the element is now the last one in the item's list
    void add(TagNumber tag, std::optional<std::string> name, bool isLast) {
        const auto [block, isNew] = mBlocks.try_emplace(tag, Block{std::move(name), isLast});
        // After an insertion DCMTK reads the creator at which its list points: the last element, or a repeated one.
        block->second.isKnown = block->second.isKnown || !isNew;
    }

    /// The creator of a private element; null when DCMTK does not know it.
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

#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "fuzz/Harness.h"

namespace radvex::fuzz {

/// The bytes of an input one after another, for what its choices leave open; zeros once they are used up.
class Supply {
  public:
    explicit Supply(Bytes bytes) : mLeft(bytes) {}

    bool isEmpty() const { return mLeft.empty(); }
    Bytes left() const { return mLeft; }

    unsigned byte() {
        if (mLeft.empty()) {
            return 0;
        }
        const unsigned first = mLeft.front();
        mLeft = mLeft.subspan(1);
        return first;
    }

    /// One of the elements of a list.
    template <typename List>
    const auto& of(const List& list) {
        return list[byte() % std::size(list)];
    }

    /// A length, then so many bytes. Texts of the host have no null in them.
    std::string text() {
        const std::size_t wanted = byte(); // before what is left is counted
        const std::size_t length = std::min(wanted, mLeft.size());
        std::string text(mLeft.begin(), mLeft.begin() + static_cast<std::ptrdiff_t>(length));
        mLeft = mLeft.subspan(length);
        std::erase(text, '\0');
        return text;
    }

  private:
    Bytes mLeft;
};

} // namespace radvex::fuzz

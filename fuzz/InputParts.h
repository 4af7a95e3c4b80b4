#pragma once

#include <algorithm>
#include <vector>

#include "fuzz/Targets.h"

namespace radvex::fuzz {

/// What stands between the separators of an input: at least one part, and the last of `most` is all of the rest.
inline std::vector<Bytes> partsOf(Bytes input, std::size_t most) {
    constexpr std::size_t kLength = sizeof(kNextFile) - 1;
    std::vector<Bytes> parts;
    auto start = input.begin();
    while (parts.size() + 1 < most) {
        const auto end = std::search(start, input.end(), kNextFile, kNextFile + kLength);
        parts.emplace_back(start, end);
        if (end == input.end()) {
            return parts;
        }
        start = end + kLength;
    }
    parts.emplace_back(start, input.end());
    return parts;
}

} // namespace radvex::fuzz

#include "dicom/pixels/WordSet.h"

#include <cstring>

namespace radvex {

std::vector<std::uint16_t> WordSet::words() const {
    std::vector<std::uint16_t> words;
    constexpr std::size_t kStep = sizeof(std::uint64_t);
    for (std::size_t start = 0; start < kWords; start += kStep) {
        std::uint64_t step = 0;
        std::memcpy(&step, &mOccurs[start], kStep);
        for (std::size_t word = start; step != 0 && word < start + kStep; ++word) {
            if (mOccurs[word] != 0) {
                words.push_back(static_cast<std::uint16_t>(word));
            }
        }
    }
    return words;
}

} // namespace radvex

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace radvex {

/// Which of all values that a sample of up to 16 bits can have do occur.
class WordSet {
  public:
    static constexpr std::size_t kWords = 65536;

    WordSet() : mOccurs(kWords) {}

    template <typename Sample>
    void add(const Sample* samples, std::size_t count) {
        static_assert(sizeof(Sample) <= 2);
        std::uint8_t* occurs = mOccurs.data();
        for (std::size_t index = 0; index < count; ++index) {
            occurs[samples[index]] = 1;
        }
    }

    /// Those that occur, in ascending order.
    std::vector<std::uint16_t> words() const;

  private:
    std::vector<std::uint8_t> mOccurs; // bytes: a bit would have to be read before it is set
};

} // namespace radvex

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "fuzz/Targets.h"

namespace radvex::fuzz {

/// The first bytes of an input: what to call, and with which arguments. Zeros stand for bytes that are not there, and
/// choose the ordinary.
class Choices {
  public:
    explicit Choices(Bytes input) { std::copy_n(input.begin(), std::min(input.size(), kChoiceBytes), mBytes.begin()); }

    unsigned byte(std::size_t index) const { return mBytes[index]; }
    unsigned word(std::size_t index) const { return byte(index) + 256U * byte(index + 1); }
    bool bit(std::size_t index, unsigned number) const { return (byte(index) >> number & 1U) != 0; }
    /// One of the elements of a list.
    template <typename List>
    const auto& of(std::size_t index, const List& list) const {
        return list[byte(index) % std::size(list)];
    }

    static Bytes rest(Bytes input) { return input.subspan(std::min(input.size(), kChoiceBytes)); }

  private:
    std::array<unsigned char, kChoiceBytes> mBytes{};
};

/// Windows and methods of scaling, as arguments.
inline velmora::Tensor scalingOf(const Choices& choices, std::size_t index) {
    static constexpr std::array<std::array<double, 2>, 8> kScalings{
        {{0, 0}, {-1, 0}, {-2, 0}, {-3, 0}, {400, 40}, {1, -1000}, {65536, 32768}, {1e300, -1e300}}};
    const auto& scaling = choices.of(index, kScalings);
    return {std::vector<vint>{2}, std::vector<double>{scaling[0], scaling[1]}};
}

} // namespace radvex::fuzz

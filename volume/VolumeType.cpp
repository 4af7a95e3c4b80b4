#include "volume/VolumeType.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace radvex::volume {

namespace {

constexpr double kSingleSteps = 16777216; // 2^24: whole numbers up to here have a float of their own

bool isWhole(double value) { return std::trunc(value) == value; }

template <typename T>
constexpr ValueRange limitsOf() {
    return {static_cast<double>(std::numeric_limits<T>::min()), static_cast<double>(std::numeric_limits<T>::max())};
}

/// The integer types of volumes, in the order in which they are tried.
constexpr std::pair<vint, ValueRange> kIntegers[] = {
    {VNumericArray_U8, limitsOf<std::uint8_t>()},   {VNumericArray_S8, limitsOf<std::int8_t>()},
    {VNumericArray_U16, limitsOf<std::uint16_t>()}, {VNumericArray_S16, limitsOf<std::int16_t>()},
    {VNumericArray_U32, limitsOf<std::uint32_t>()}, {VNumericArray_S32, limitsOf<std::int32_t>()}};

double magnitude(const ValueRange& range) { return std::max(std::abs(range.lowest), std::abs(range.highest)); }

/// The modality values that the attributes allow.
ValueRange modalityRange(const ModalityRule& rule) {
    if (rule.tableBits > 0) {
        return {0, std::ldexp(1.0, std::min(static_cast<int>(rule.tableBits), 16)) - 1};
    }
    const int bits = std::clamp(static_cast<int>(rule.bitsStored), 1, 32);
    const ValueRange stored = rule.isSigned ? ValueRange{-std::ldexp(1.0, bits - 1), std::ldexp(1.0, bits - 1) - 1}
                                            : ValueRange{0, std::ldexp(1.0, bits) - 1};
    return rescaled(stored, rule);
}

} // namespace

ValueRange rangeOf(vint integerType) {
    const auto* const found = std::ranges::find(kIntegers, integerType, &std::pair<vint, ValueRange>::first);
    return found == std::end(kIntegers) ? std::rbegin(kIntegers)->second : found->second;
}

ValueRange rescaled(const ValueRange& stored, const ModalityRule& rule) {
    const double ends[] = {stored.lowest * rule.slope + rule.intercept, stored.highest * rule.slope + rule.intercept};
    return {std::min(ends[0], ends[1]), std::max(ends[0], ends[1])};
}

void VolumeType::add(const ModalityRule& rule) {
    const ValueRange range = modalityRange(rule);
    extend(range.lowest, range.highest);
    if (rule.tableBits == 0 && !(isWhole(rule.slope) && isWhole(rule.intercept))) {
        mIsWhole = false;
        const double step = std::abs(rule.slope);
        mFitsSingle = mFitsSingle && magnitude(range) <= std::max(step, 1e-30) * kSingleSteps &&
                      magnitude(range) <= static_cast<double>(std::numeric_limits<float>::max());
    } else {
        mFitsSingle = mFitsSingle && magnitude(range) <= kSingleSteps;
    }
}

void VolumeType::addRange(double lowest, double highest) {
    extend(lowest, highest);
    mFitsSingle = mFitsSingle && magnitude({lowest, highest}) <= kSingleSteps;
}

void VolumeType::add(const VolumeType& other) {
    if (!other.mIsEmpty) {
        extend(other.mLowest, other.mHighest);
        mIsWhole = mIsWhole && other.mIsWhole;
        mFitsSingle = mFitsSingle && other.mFitsSingle;
    }
}

void VolumeType::extend(double lowest, double highest) {
    mLowest = mIsEmpty ? lowest : std::min(mLowest, lowest);
    mHighest = mIsEmpty ? highest : std::max(mHighest, highest);
    mIsEmpty = false;
}

vint VolumeType::type() const {
    if (!mIsWhole) {
        return mFitsSingle ? VNumericArray_F32 : VNumericArray_F64;
    }
    for (const auto& [type, range] : kIntegers) {
        if (mLowest >= range.lowest && mHighest <= range.highest) {
            return type;
        }
    }
    return VNumericArray_F64;
}

} // namespace radvex::volume

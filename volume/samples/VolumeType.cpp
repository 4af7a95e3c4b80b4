#include "volume/samples/VolumeType.h"

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

/// The integer types of volumes, from the narrowest on.
struct IntegerType {
    vint type = 0;
    int bits = 0;
    bool isSigned = false;
    ValueRange range{};
};
constexpr IntegerType kIntegers[] = {
    {VNumericArray_U8, 8, false, limitsOf<std::uint8_t>()},    {VNumericArray_S8, 8, true, limitsOf<std::int8_t>()},
    {VNumericArray_U16, 16, false, limitsOf<std::uint16_t>()}, {VNumericArray_S16, 16, true, limitsOf<std::int16_t>()},
    {VNumericArray_U32, 32, false, limitsOf<std::uint32_t>()}, {VNumericArray_S32, 32, true, limitsOf<std::int32_t>()}};

double magnitude(const ValueRange& range) { return std::max(std::abs(range.lowest), std::abs(range.highest)); }

bool holds(const ValueRange& outer, const ValueRange& inner) {
    return outer.lowest <= inner.lowest && inner.highest <= outer.highest;
}

int storedBits(const ModalityRule& rule) {
    const vint bits = rule.tableBits > 0 ? rule.tableBits : rule.bitsStored;
    return bits <= 8 ? 8 : bits <= 16 ? 16 : 32;
}

} // namespace

ValueRange rangeOf(vint integerType) {
    const auto* const found = std::ranges::find(kIntegers, integerType, &IntegerType::type);
    return found == std::end(kIntegers) ? std::rbegin(kIntegers)->range : found->range;
}

ValueRange rescaled(const ValueRange& stored, const ModalityRule& rule) {
    const double ends[] = {stored.lowest * rule.slope + rule.intercept, stored.highest * rule.slope + rule.intercept};
    return {std::min(ends[0], ends[1]), std::max(ends[0], ends[1])};
}

void VolumeType::add(const ModalityRule& rule, const ValueRange& found) {
    const ValueRange range = rule.needsLibrary ? found : rescaled(found, rule);
    extend(range);
    mBits = std::max(mBits, storedBits(rule));
    mIsSigned = mIsSigned || (rule.isSigned && rule.tableBits == 0);
    if (rule.tableBits == 0 && !(isWhole(rule.slope) && isWhole(rule.intercept))) {
        mIsWhole = false;
        const double step = std::abs(rule.slope);
        mFitsSingle = mFitsSingle && magnitude(range) <= std::max(step, 1e-30) * kSingleSteps &&
                      magnitude(range) <= static_cast<double>(std::numeric_limits<float>::max());
    } else {
        mFitsSingle = mFitsSingle && magnitude(range) <= kSingleSteps;
    }
}

void VolumeType::addFractions() { mIsWhole = mFitsSingle = false; }

void VolumeType::add(const VolumeType& other) {
    if (!other.mIsEmpty) {
        extend(other.mRange);
        mBits = std::max(mBits, other.mBits);
        mIsSigned = mIsSigned || other.mIsSigned;
        mIsWhole = mIsWhole && other.mIsWhole;
        mFitsSingle = mFitsSingle && other.mFitsSingle;
    }
}

void VolumeType::extend(const ValueRange& range) {
    mRange.lowest = mIsEmpty ? range.lowest : std::min(mRange.lowest, range.lowest);
    mRange.highest = mIsEmpty ? range.highest : std::max(mRange.highest, range.highest);
    mIsEmpty = false;
}

vint VolumeType::type() const {
    if (!mIsWhole) {
        return mFitsSingle ? VNumericArray_F32 : VNumericArray_F64;
    }
    for (int bits = mBits; bits <= 32; bits *= 2) {
        for (const bool isSigned : {mIsSigned, !mIsSigned}) {
            const auto* const candidate = std::ranges::find_if(kIntegers, [&](const IntegerType& integer) {
                return integer.bits == bits && integer.isSigned == isSigned;
            });
            if (holds(candidate->range, mRange)) {
                return candidate->type;
            }
        }
    }
    return VNumericArray_F64;
}

} // namespace radvex::volume

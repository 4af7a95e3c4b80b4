#include "VolumeBuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace radvex::cli {

namespace {

/// Calls `function` with a value of the C++ type of an element type that volumes have.
template <typename Function>
void withType(vint type, Function function) {
    switch (type) {
    case VNumericArray_S8: return function(std::int8_t{});
    case VNumericArray_U8: return function(std::uint8_t{});
    case VNumericArray_S16: return function(std::int16_t{});
    case VNumericArray_U16: return function(std::uint16_t{});
    case VNumericArray_S32: return function(std::int32_t{});
    case VNumericArray_U32: return function(std::uint32_t{});
    case VNumericArray_F32: return function(float{});
    case VNumericArray_F64: return function(double{});
    default: throw VolumeError("The library gave samples of a type that no volume has.");
    }
}

bool isReal(vint type) { return type == VNumericArray_F32 || type == VNumericArray_F64; }

bool holds(const ValueRange& outer, const ValueRange& inner) {
    return outer.lowest <= inner.lowest && inner.highest <= outer.highest;
}

ValueRange rescaled(const ValueRange& range, const ModalityRule& rule) {
    const double ends[] = {range.lowest * rule.slope + rule.intercept, range.highest * rule.slope + rule.intercept};
    return {std::min(ends[0], ends[1]), std::max(ends[0], ends[1])};
}

template <typename T>
ValueRange foundRange(const T* samples, std::size_t count) {
    T lowest = samples[0];
    T highest = samples[0];
    for (std::size_t index = 1; index < count; ++index) {
        lowest = std::min(lowest, samples[index]);
        highest = std::max(highest, samples[index]);
    }
    return {static_cast<double>(lowest), static_cast<double>(highest)};
}

/// Whether slope and intercept are so small that rescaling stays inside 32-bit integers, which is the fast road.
template <typename From>
bool fitsIntegers(const ModalityRule& rule) {
    constexpr double kLimit = std::numeric_limits<std::int32_t>::max();
    if (sizeof(From) > 2 || std::trunc(rule.slope) != rule.slope || std::trunc(rule.intercept) != rule.intercept) {
        return false;
    }
    return std::abs(rule.slope) * 65536 + std::abs(rule.intercept) < kLimit;
}

/// Every result has to fit `To`.
template <typename From, typename To>
void rescale(const From* from, To* to, std::size_t count, const ModalityRule& rule) {
    if (rule.isIdentity()) {
        std::transform(from, from + count, to, [](From value) { return static_cast<To>(value); });
    } else if (fitsIntegers<From>(rule)) {
        const auto slope = static_cast<std::int32_t>(rule.slope);
        const auto intercept = static_cast<std::int32_t>(rule.intercept);
        std::transform(from, from + count, to, [=](From value) {
            return static_cast<To>(static_cast<std::int32_t>(value) * slope + intercept);
        });
    } else {
        std::transform(from, from + count, to, [&rule](From value) {
            return static_cast<To>(static_cast<double>(value) * rule.slope + rule.intercept);
        });
    }
}

/// Turns elements into a type that is at least as wide, in the memory where they lie.
template <typename From, typename To>
void widenInPlace(std::byte* samples, std::size_t count) {
    if constexpr (sizeof(To) >= sizeof(From)) {
        for (std::size_t index = count; index-- > 0;) { // from the end: a wide element covers only narrow ones done
            From value;
            std::memcpy(&value, samples + index * sizeof(From), sizeof value);
            const To turned = static_cast<To>(+value);
            std::memcpy(samples + index * sizeof(To), &turned, sizeof turned);
        }
    }
}

/// Asks for pages of 2 MiB: a volume is hundreds of MiB, and fetching it in pages of 4 KiB costs as much as filling it.
void useLargePages(std::byte* memory, std::size_t bytes) {
    constexpr std::uintptr_t kPage = std::uintptr_t{2} << 20;
    const auto first = (reinterpret_cast<std::uintptr_t>(memory) + kPage - 1) / kPage * kPage;
    const auto end = (reinterpret_cast<std::uintptr_t>(memory) + bytes) / kPage * kPage;
    if (first < end) {
        const int ignored = madvise(memory + (first - reinterpret_cast<std::uintptr_t>(memory)), end - first,
                                    MADV_HUGEPAGE); // a wish that may be refused
        (void)ignored;
    }
}

} // namespace

VolumeBuffer::VolumeBuffer(std::size_t sliceSamples, std::size_t expectedSlices)
    : mSliceSamples(sliceSamples), mCapacity(std::max<std::size_t>(expectedSlices, 1)) {}

std::size_t VolumeBuffer::sliceBytes() const { return mSliceSamples * velmora::numericArrayElementSize(mType); }

SliceBytes VolumeBuffer::slice(std::size_t index) const {
    return {mSamples.get() + index * sliceBytes(), sliceBytes()};
}

void VolumeBuffer::resize(std::size_t slices, std::size_t elementSize) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(slices, mSliceSamples, &bytes) || __builtin_mul_overflow(bytes, elementSize, &bytes)) {
        throw VolumeError("The volume is larger than any memory.");
    }
    mCapacity = slices;
    if (bytes <= mAllocated) {
        return;
    }
    // Large blocks grow by moving pages, not bytes, and pages cost nothing before they are written.
    auto* grown = static_cast<std::byte*>(std::realloc(mSamples.get(), bytes));
    if (grown == nullptr) {
        throw VolumeError("There is no memory for a volume of " + std::to_string(bytes) + " bytes.");
    }
    (void)mSamples.release();
    mSamples.reset(grown);
    mAllocated = bytes;
    useLargePages(grown, bytes);
}

void VolumeBuffer::turnInto(vint type) {
    resize(mCapacity, velmora::numericArrayElementSize(type));
    withType(mType, [&](auto from) {
        withType(type,
                 [&](auto to) { widenInPlace<decltype(from), decltype(to)>(mSamples.get(), mSlices * mSliceSamples); });
    });
    mType = type;
}

void VolumeBuffer::add(const VelmoraNumericArray& array, std::span<const ModalityRule> rules) {
    if (static_cast<std::size_t>(array.length) != rules.size() * mSliceSamples || mSliceSamples == 0) {
        throw VolumeError("The library gave another number of samples than the attributes promise.");
    }
    for (const ModalityRule& rule : rules) {
        mWanted.add(rule);
    }
    const std::size_t needed = mSlices + rules.size();
    if (needed > mCapacity || mSamples == nullptr) {
        resize(std::max(needed, mCapacity), velmora::numericArrayElementSize(mType));
    }
    for (std::size_t index = 0; index < rules.size(); ++index) {
        addSlice(array, index * mSliceSamples, rules[index]);
    }
}

void VolumeBuffer::addSlice(const VelmoraNumericArray& array, std::size_t first, const ModalityRule& rule) {
    const ModalityRule applied = rule.isLibrarys ? ModalityRule{} : rule;
    withType(array.type, [&](auto from) {
        using From = decltype(from);
        const From* samples = static_cast<const From*>(array.data.get()) + first;
        vint wanted = mWanted.type();
        if (!isReal(wanted) && !holds(rangeOf(wanted), rescaled(rangeOf(array.type), applied))) {
            // The library's type promises too little: look at the values, since attributes may lie.
            const ValueRange found = rescaled(foundRange(samples, mSliceSamples), applied);
            mWanted.addRange(found.lowest, found.highest);
            wanted = mWanted.type();
        }
        if (wanted != mType) {
            turnInto(wanted);
        }
        withType(mType, [&](auto to) {
            using To = decltype(to);
            rescale(samples, reinterpret_cast<To*>(mSamples.get() + mSlices * sliceBytes()), mSliceSamples, applied);
        });
    });
    ++mSlices;
}

} // namespace radvex::cli

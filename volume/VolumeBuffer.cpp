#include "volume/VolumeBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "host/Objects.h"

namespace radvex::volume {

namespace {

bool isReal(vint type) { return type == VNumericArray_F32 || type == VNumericArray_F64; }

bool holds(const ValueRange& outer, const ValueRange& inner) {
    return outer.lowest <= inner.lowest && inner.highest <= outer.highest;
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

/// Whether slope and intercept are small enough to rescale in 32-bit integers, which is fast.
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

template <typename From, typename To>
void widen(const std::byte* from, std::byte* to, std::size_t count) {
    if constexpr (sizeof(To) >= sizeof(From)) { // a smaller type never holds the values of a larger one
        const From* first = reinterpret_cast<const From*>(from);
        std::transform(first, first + count, reinterpret_cast<To*>(to),
                       [](From value) { return static_cast<To>(value); });
    }
}

/// The part of the rule that the library does not apply.
ModalityRule rest(const ModalityRule& rule) { return rule.needsLibrary ? ModalityRule{} : rule; }

/// The type according to the attributes. If values of the array's type may not fit it, the range of the actual values
/// is added, since the attributes may be wrong.
VolumeType wantedType(const VelmoraNumericArray& array, std::size_t sliceSamples, std::span<const ModalityRule> rules) {
    VolumeType wanted;
    for (const ModalityRule& rule : rules) {
        wanted.add(rule);
    }
    withType(array.type, [&](auto from) {
        const auto* samples = static_cast<const decltype(from)*>(array.data.get());
        for (std::size_t index = 0; index < rules.size(); ++index) {
            const ModalityRule rule = rest(rules[index]);
            const vint type = wanted.type();
            if (!isReal(type) && !holds(rangeOf(type), rescaled(rangeOf(array.type), rule))) {
                const ValueRange found = rescaled(foundRange(samples + index * sliceSamples, sliceSamples), rule);
                wanted.addRange(found.lowest, found.highest);
            }
        }
    });
    return wanted;
}

} // namespace

std::size_t storedBytes(std::size_t slices, std::size_t sliceSamples, vint type) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(slices, sliceSamples, &bytes) ||
        __builtin_mul_overflow(bytes, velmora::numericArrayElementSize(type), &bytes)) {
        throw formats::VolumeError("The volume is larger than any memory.");
    }
    return bytes;
}

StoredSlices storeSlices(const Allocate& allocate, std::size_t sliceSamples, const VelmoraNumericArray& array,
                         std::span<const ModalityRule> rules) {
    if (sliceSamples == 0 || static_cast<std::size_t>(array.length) != rules.size() * sliceSamples) {
        throw formats::VolumeError("The number of samples from the library does not match the attributes.");
    }
    StoredSlices slices{wantedType(array, sliceSamples, rules), rules.size(), nullptr};
    const vint type = slices.wanted.type();
    slices.samples = allocate(storedBytes(rules.size(), sliceSamples, type));
    withType(array.type, [&](auto from) {
        const auto* samples = static_cast<const decltype(from)*>(array.data.get());
        withType(type, [&](auto to) {
            auto* stored = reinterpret_cast<decltype(to)*>(slices.samples);
            for (std::size_t index = 0; index < rules.size(); ++index) {
                const std::size_t first = index * sliceSamples;
                rescale(samples + first, stored + first, sliceSamples, rest(rules[index]));
            }
        });
    });
    return slices;
}

void VolumeBuffer::add(const StoredSlices& slices) {
    mWanted.add(slices.wanted);
    mFiles.push_back(slices);
}

const std::byte* VolumeBuffer::inType(const StoredSlices& slices) const {
    const vint stored = slices.wanted.type();
    if (stored == type()) {
        return slices.samples;
    }
    std::byte* widened = mMemory.allocate(storedBytes(slices.count, mSliceSamples, type()));
    withType(stored, [&](auto from) {
        withType(type(), [&](auto to) {
            widen<decltype(from), decltype(to)>(slices.samples, widened, slices.count * mSliceSamples);
        });
    });
    return widened;
}

std::vector<formats::SliceBytes> VolumeBuffer::slices() const {
    const std::size_t size = mSliceSamples * velmora::numericArrayElementSize(type());
    std::vector<formats::SliceBytes> all;
    for (const StoredSlices& file : mFiles) {
        const std::byte* samples = inType(file);
        for (std::size_t index = 0; index < file.count; ++index) {
            all.emplace_back(samples + index * size, size);
        }
    }
    return all;
}

} // namespace radvex::volume

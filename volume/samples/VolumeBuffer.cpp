#include "volume/samples/VolumeBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "host/Objects.h"

namespace radvex::volume {

namespace {

bool isReal(vint type) { return type == VNumericArray_F32 || type == VNumericArray_F64; }

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

/// Pictures have 8 or 16 bits.
template <typename From, typename To>
void widenLevels(const std::byte* from, std::byte* to, std::size_t count) {
    if constexpr (std::is_same_v<From, std::uint8_t> && std::is_same_v<To, std::uint16_t>) {
        std::transform(reinterpret_cast<const From*>(from), reinterpret_cast<const From*>(from) + count,
                       reinterpret_cast<To*>(to), [](From value) { return static_cast<To>(value * 257U); });
    }
}

/// The part of the rule that the library does not apply.
ModalityRule rest(const ModalityRule& rule) { return rule.needsLibrary ? ModalityRule{} : rule; }

/// The type for the values that there are.
VolumeType wantedType(const VelmoraNumericArray& array, std::size_t sliceSamples, std::span<const ModalityRule> rules) {
    VolumeType wanted;
    withType(array.type, [&](auto from) {
        const auto* samples = static_cast<const decltype(from)*>(array.data.get());
        for (std::size_t index = 0; index < rules.size(); ++index) {
            wanted.add(rules[index], foundRange(samples + index * sliceSamples, sliceSamples));
        }
    });
    if (isReal(array.type)) {
        wanted.addFractions();
    }
    return wanted;
}

/// One picture of the library.
struct PictureArray {
    const VelmoraNumericArray* array;
    vint channels;
    bool isInterleaved;
};

PictureArray pictureOf(velmora::NodeView node, vint rows, vint columns) {
    if (node.type() != VType_NumericArray || node.cell().numericArray == nullptr) {
        throw formats::VolumeError("The library returned something else than pictures.");
    }
    const VelmoraNumericArray* array = node.cell().numericArray;
    const std::vector<vint>& size = array->dimensions;
    if (size == std::vector<vint>{rows, columns}) {
        return {array, 1, true};
    }
    if (size == std::vector<vint>{rows, columns, 3}) {
        return {array, 3, true};
    }
    if (size == std::vector<vint>{3, rows, columns}) {
        return {array, 3, false};
    }
    throw formats::VolumeError("The size of a picture from the library does not match the attributes.");
}

/// Palettes mostly state 16 bits and repeat 8 in them.
bool hasEightBits(const PictureArray& picture) {
    const auto* levels = static_cast<const std::uint16_t*>(picture.array->data.get());
    return picture.array->type == VNumericArray_U8 ||
           (picture.array->type == VNumericArray_U16 && picture.channels > 1 &&
            std::all_of(levels, levels + picture.array->length, [](unsigned level) { return level % 257 == 0; }));
}

/// A grey level over the whole range of its type, in another type. The library gives levels of more than 16 bits as
/// reals from 0 to 1.
template <typename From, typename To>
To toLevel(From value) {
    if constexpr (std::is_floating_point_v<From>) {
        return static_cast<To>(std::clamp(value, From{0}, From{1}) * std::numeric_limits<To>::max() + From{0.5});
    } else if constexpr (sizeof(To) > sizeof(From)) {
        return static_cast<To>(value * 257U); // 255 becomes 65535
    } else if constexpr (sizeof(To) < sizeof(From)) {
        return static_cast<To>(value / 257U);
    } else {
        return static_cast<To>(value);
    }
}

template <typename From, typename To>
void copyPicture(const PictureArray& picture, std::size_t pixels, To* to) {
    const auto* from = static_cast<const From*>(picture.array->data.get());
    const auto channels = static_cast<std::size_t>(picture.channels);
    if (picture.isInterleaved) {
        std::transform(from, from + pixels * channels, to, toLevel<From, To>);
        return;
    }
    for (std::size_t channel = 0; channel < channels; ++channel) {
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            to[pixel * channels + channel] = toLevel<From, To>(from[channel * pixels + pixel]);
        }
    }
}

template <typename To>
void copyPicture(const PictureArray& picture, std::size_t pixels, std::byte* to) {
    auto* const levels = reinterpret_cast<To*>(to);
    switch (picture.array->type) {
    case VNumericArray_U8: return copyPicture<std::uint8_t>(picture, pixels, levels);
    case VNumericArray_U16: return copyPicture<std::uint16_t>(picture, pixels, levels);
    case VNumericArray_F32: return copyPicture<float>(picture, pixels, levels);
    default: throw formats::VolumeError("The library returned pictures of a type that volumes do not have.");
    }
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
    StoredSlices slices{wantedType(array, sliceSamples, rules), sliceSamples, rules.size(), false, nullptr};
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

StoredSlices storePictures(const Allocate& allocate, vint rows, vint columns, velmora::StoreView pictures) {
    std::vector<PictureArray> all;
    bool isDeep = false;
    for (const velmora::NodeView node : pictures) {
        all.push_back(pictureOf(node, rows, columns));
        isDeep = isDeep || !hasEightBits(all.back());
        if (all.back().channels != all.front().channels) {
            throw formats::VolumeError("The pictures of a file differ in colour.");
        }
    }
    if (all.empty()) {
        throw formats::VolumeError("The library returned no picture.");
    }
    const auto pixels = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    StoredSlices slices{{}, pixels * static_cast<std::size_t>(all.front().channels), all.size(), true, nullptr};
    const vint type = isDeep ? VNumericArray_U16 : VNumericArray_U8;
    slices.wanted.add(ModalityRule{.bitsStored = isDeep ? 16 : 8}, rangeOf(type));
    const std::size_t sliceBytes = storedBytes(1, slices.sliceSamples, type);
    slices.samples = allocate(storedBytes(slices.count, slices.sliceSamples, type));
    for (std::size_t index = 0; index < all.size(); ++index) {
        std::byte* const to = slices.samples + index * sliceBytes;
        isDeep ? copyPicture<std::uint16_t>(all[index], pixels, to) : copyPicture<std::uint8_t>(all[index], pixels, to);
    }
    return slices;
}

void convertSlices(const StoredSlices& slices, vint type, std::byte* target) {
    const std::size_t count = slices.count * slices.sliceSamples;
    withType(slices.wanted.type(), [&](auto from) {
        withType(type, [&](auto to) {
            using From = decltype(from);
            using To = decltype(to);
            if (slices.isPicture) {
                widenLevels<From, To>(slices.samples, target, count);
            } else {
                widen<From, To>(slices.samples, target, count);
            }
        });
    });
}

void VolumeBuffer::add(const StoredSlices& slices) {
    for (std::size_t index = 0; index < slices.count; ++index) {
        mSlices.push_back({mFiles.size(), index});
    }
    mFiles.push_back(slices);
}

VolumeType VolumeBuffer::typeOf(std::span<const std::size_t> slices) const {
    VolumeType wanted;
    for (const std::size_t slice : slices) {
        wanted.add(mFiles[mSlices[slice].file].wanted);
    }
    return wanted;
}

std::vector<formats::SliceBytes> VolumeBuffer::bytesOf(std::span<const std::size_t> slices, vint type) {
    std::vector<formats::SliceBytes> all;
    all.reserve(slices.size());
    for (const std::size_t slice : slices) {
        const auto [file, index] = mSlices[slice];
        const std::size_t size = storedBytes(1, mFiles[file].sliceSamples, type);
        all.emplace_back(inType(file, type) + index * size, size);
    }
    return all;
}

formats::SliceBytes VolumeBuffer::storedBytesOf(std::size_t slice) const {
    const auto [file, index] = mSlices[slice];
    const std::size_t size = storedBytes(1, mFiles[file].sliceSamples, mFiles[file].wanted.type());
    return {mFiles[file].samples + index * size, size};
}

bool VolumeBuffer::isSame(std::size_t one, std::size_t other) const {
    return mFiles[mSlices[one].file].wanted.type() == mFiles[mSlices[other].file].wanted.type() &&
           std::ranges::equal(storedBytesOf(one), storedBytesOf(other));
}

const std::byte* VolumeBuffer::inType(std::size_t file, vint type) {
    const StoredSlices& slices = mFiles[file];
    const vint stored = slices.wanted.type();
    if (stored == type) {
        return slices.samples;
    }
    const auto [known, isNew] = mWidened.try_emplace({file, type}, nullptr);
    if (isNew) {
        std::byte* widened = mMemory.allocate(storedBytes(slices.count, slices.sliceSamples, type));
        convertSlices(slices, type, widened);
        known->second = widened;
    }
    return known->second;
}

} // namespace radvex::volume

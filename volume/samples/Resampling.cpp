#include "volume/samples/Resampling.h"

#include <algorithm>
#include <cmath>

#include "volume/samples/VolumeBuffer.h"

namespace radvex::volume {

namespace {

/// The slice in front of a height, and the weight of the next one.
struct Between {
    std::size_t before;
    double weight;
};

Between betweenAt(const std::vector<double>& heights, double height) {
    const auto next = std::upper_bound(heights.begin(), heights.end() - 1, height);
    const auto before = static_cast<std::size_t>(std::max<std::ptrdiff_t>(next - heights.begin() - 1, 0));
    const double distance = heights[before + 1] - heights[before];
    return {before, distance > 0 ? std::clamp((height - heights[before]) / distance, 0.0, 1.0) : 0.0};
}

template <typename From, typename To>
void interpolate(const formats::SliceBytes& before, const formats::SliceBytes& after, double weight, To* to) {
    const auto* first = reinterpret_cast<const From*>(before.data());
    const auto* second = reinterpret_cast<const From*>(after.data());
    for (std::size_t index = 0; index < before.size() / sizeof(From); ++index) {
        const auto from = static_cast<double>(first[index]);
        to[index] = static_cast<To>(weight == 0 ? from : from + weight * (static_cast<double>(second[index]) - from));
    }
}

} // namespace

ResampledVolume resampleVolume(const formats::VolumeHeader& header, const std::vector<formats::SliceBytes>& slices,
                               const std::vector<double>& heights, vint count) {
    if (header.channels > 1) {
        throw formats::VolumeError(
            "Colour is not interpolated; without --resample the volume can be written by force.");
    }
    const double step = (heights.back() - heights.front()) / (count - 1);
    ResampledVolume result;
    result.header = header;
    result.header.isResampled = true;
    result.header.slices = count;
    result.header.type =
        header.type == VNumericArray_F64 || header.type == VNumericArray_S32 || header.type == VNumericArray_U32
            ? VNumericArray_F64
            : VNumericArray_F32; // holds 16 bits exactly
    const std::size_t samples = static_cast<std::size_t>(header.rows) * static_cast<std::size_t>(header.columns);
    const std::size_t sliceBytes = storedBytes(1, samples, result.header.type);
    const auto block = std::make_shared<std::vector<std::byte>>(
        storedBytes(static_cast<std::size_t>(count), samples, result.header.type));
    for (std::size_t index = 0; index < static_cast<std::size_t>(count); ++index) {
        const auto [before, weight] = betweenAt(heights, heights.front() + static_cast<double>(index) * step);
        std::byte* const to = block->data() + index * sliceBytes;
        withType(header.type, [&, before = before, weight = weight](auto from) {
            using From = decltype(from);
            if (result.header.type == VNumericArray_F64) {
                interpolate<From>(slices[before], slices[before + 1], weight, reinterpret_cast<double*>(to));
            } else {
                interpolate<From>(slices[before], slices[before + 1], weight, reinterpret_cast<float*>(to));
            }
        });
        result.slices.emplace_back(to, sliceBytes);
    }
    result.owner = block;
    return result;
}

} // namespace radvex::volume

#include "dicom/readers/SeriesVolume.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <optional>
#include <utility>

#include "dicom/pixels/ImageRendering.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using Places = std::vector<std::size_t>;

[[noreturn]] void throwNoSlice() { ErrorManager::throwException("ImageReadError"); }

/// Where each slice starts, in bytes; nothing when one does not fit.
template <typename Slices, typename Advance>
std::optional<Places> placesWith(const Slices& slices, std::size_t volumeBytes, Advance advance) {
    Places places;
    std::size_t place = 0;
    for (const auto& slice : slices) {
        if (place > volumeBytes || slice.bytes > volumeBytes - place) {
            return std::nullopt;
        }
        places.push_back(place);
        place += advance(slice);
    }
    return places;
}

template <typename Slices>
Places placesOf(const Slices& slices, std::size_t volumeBytes) {
    if (auto own = placesWith(slices, volumeBytes, [](const auto& slice) { return slice.ownBytes; })) {
        return *own;
    }
    if (auto cut =
            placesWith(slices, volumeBytes, [](const auto& slice) { return std::min(slice.ownBytes, slice.bytes); })) {
        return *cut;
    }
    throwNoSlice();
}

/// Renders one slice. DCMTK writes elements, so that a place between two of them needs a detour.
void renderSlice(Picture& image, std::byte* place, std::size_t sliceBytes, int bits, unsigned long frame) {
    const std::size_t elementBytes = static_cast<std::size_t>(bits) / CHAR_BIT;
    if (reinterpret_cast<std::uintptr_t>(place) % elementBytes == 0) {
        if (!image.render(place, sliceBytes, bits, frame, false)) {
            throwNoSlice();
        }
        return;
    }
    const std::size_t bytes = image.frameBytes(bits);
    std::vector<std::uint16_t> slice(bytes / sizeof(std::uint16_t));
    if (bytes > sliceBytes || !image.render(slice.data(), bytes, bits, frame, false)) {
        throwNoSlice();
    }
    std::memcpy(place, slice.data(), bytes);
}

} // namespace

void SeriesVolume::begin(const Picture& first) {
    const bool isOfBytes = first.image().getDepth() == 8;
    const bool isGrey = first.image().isMonochrome() != 0;
    const auto slices = static_cast<vint>(mCount);
    const auto width = static_cast<vint>(first.width());
    const auto height = static_cast<vint>(first.height());
    const vint channels = isGrey ? 1 : 3;
    const auto samples = static_cast<std::size_t>(checkedProduct({slices, height, width, channels}));
    mBits = isOfBytes ? 8 : 16;
    mVolumeBytes = samples * (isOfBytes ? 1 : 2);
    mSliceBytes = mVolumeBytes / mCount;
    mVolume.emplace(slices, width, height, channels, isOfBytes ? VImage_U8 : VImage_U16,
                    isGrey ? VColorSpace_Grey : VColorSpace_RGB, true);
}

bool SeriesVolume::add(const std::shared_ptr<Picture>& image) {
    if (mFailure != nullptr) {
        return false;
    }
    try {
        if (mSlices.empty()) {
            begin(*image);
        }
        mSlices.push_back({image, image->frameBytes(0), image->frameBytes(mBits)});
        Slice& slice = mSlices.back();
        const Slice& first = mSlices.front();
        const bool isAlike =
            mDone + 1 == mSlices.size() && slice.bytes == mSliceBytes && slice.ownBytes == first.ownBytes;
        if (!isAlike) {
            return false;
        }
        if (mDone == 0 && slice.ownBytes < slice.bytes) { // the slices will end before the volume
            std::memset(mVolume->rawData(), 0, mVolumeBytes);
        }
        render(*image, mDone * std::min(slice.ownBytes, slice.bytes));
        slice.image.reset();
        ++mDone;
        return true;
    } catch (...) {
        mFailure = std::current_exception();
        return false;
    }
}

void SeriesVolume::render(Picture& image, std::size_t place) {
    setOverlayVisibility(image.image(), false);
    setScalingWindow(image.image(), mOptions);
    renderSlice(image, static_cast<std::byte*>(mVolume->rawData()) + place, mSliceBytes, mBits,
                static_cast<unsigned long>(mOptions.outputFrame));
}

/// Puts the slices that are done where they belong, and zeros where none will be.
void SeriesVolume::arrange(const Places& places) {
    auto* start = static_cast<std::byte*>(mVolume->rawData());
    const std::size_t advance = mDone == 0 ? 0 : std::min(mSlices.front().ownBytes, mSlices.front().bytes);
    const std::vector<std::byte> done(start, start + (mDone == 0 ? 0 : (mDone - 1) * advance + mSliceBytes));
    std::memset(start, 0, mVolumeBytes);
    for (std::size_t slice = 0; slice < mDone; ++slice) {
        std::memcpy(start + places[slice], done.data() + slice * advance, mSliceBytes);
    }
}

Volume SeriesVolume::finish() {
    if (mCount == 0) {
        ErrorManager::throwException("NoImagesError");
    }
    if (mFailure != nullptr) {
        std::rethrow_exception(mFailure);
    }
    if (mDone < mSlices.size()) {
        const Places places = placesOf(mSlices, mVolumeBytes);
        arrange(places);
        for (std::size_t slice = mDone; slice < mSlices.size(); ++slice) {
            render(*mSlices[slice].image, places[slice]);
        }
    }
    return std::move(*mVolume);
}

void setWindowForSeries(const OpenImages& images, ImageReadOptions& options) {
    std::vector<double> lows;
    std::vector<double> highs;
    for (const auto& image : images) {
        double low = 0;
        double high = 0;
        (void)std::as_const(*image).image().getMinMaxValues(low, high, 0); // colour, and what cannot tell, counts as 0
        lows.push_back(low);
        highs.push_back(high);
    }
    const double lowest = *std::min_element(lows.begin(), lows.end());
    const double highest = *std::max_element(highs.begin(), highs.end());
    options.windowWidth = highest - lowest;
    options.windowCenter = (highest + lowest) * 0.5;
}

Volume consolidateImages(const OpenImages& images, const ImageReadOptions& options) {
    SeriesVolume volume(images.size(), options);
    for (const auto& image : images) {
        (void)volume.add(image);
    }
    return volume.finish();
}

} // namespace radvex

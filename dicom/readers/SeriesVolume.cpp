#include "dicom/readers/SeriesVolume.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <optional>

#include "dicom/pixels/ImageRendering.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::Passing::Manual;

[[noreturn]] void throwNoSlice() { ErrorManager::throwException("ImageReadError"); }

/// Bytes of a slice at a depth in bits; 0 for the image's own.
std::size_t bytesAt(const DicomImage& image, int bits) { return image.getOutputDataSize(bits); }

using Places = std::vector<std::size_t>;

/// Where each slice starts, in bytes; nothing when one does not fit.
template <typename Advance>
std::optional<Places> placesWith(const OpenImages& images, int bits, std::size_t volumeBytes, Advance advance) {
    Places places;
    std::size_t place = 0;
    for (const auto& image : images) {
        const std::size_t needed = bytesAt(*image, bits);
        if (place > volumeBytes || needed > volumeBytes - place) {
            return std::nullopt;
        }
        places.push_back(place);
        place += advance(*image);
    }
    return places;
}

Places placesOf(const OpenImages& images, int bits, std::size_t volumeBytes) {
    if (auto own = placesWith(images, bits, volumeBytes, [](const DicomImage& image) { return bytesAt(image, 0); })) {
        return *own;
    }
    if (auto cut = placesWith(images, bits, volumeBytes, [bits](const DicomImage& image) {
            return std::min(bytesAt(image, 0), bytesAt(image, bits));
        })) {
        return *cut;
    }
    throwNoSlice();
}

/// Slices that do not lie side by side leave gaps, and so does a grey one among slices of colour.
bool leavesGaps(const OpenImages& images, int bits, const Places& places, std::size_t sliceBytes) {
    for (std::size_t slice = 0; slice < places.size(); ++slice) {
        if (places[slice] != slice * sliceBytes || bytesAt(*images[slice], bits) != sliceBytes) {
            return true;
        }
    }
    return false;
}

/// Renders one slice. DCMTK writes elements, so that a place between two of them needs a detour.
template <typename T>
void renderSlice(DicomImage& image, std::byte* place, std::size_t sliceBytes, unsigned long frame) {
    constexpr int kBits = sizeof(T) * CHAR_BIT;
    if (reinterpret_cast<std::uintptr_t>(place) % alignof(T) == 0) {
        if (image.getOutputData(place, sliceBytes, kBits, frame, 0) == 0) {
            throwNoSlice();
        }
        return;
    }
    std::vector<T> slice(bytesAt(image, kBits) / sizeof(T));
    if (bytesAt(image, kBits) > sliceBytes ||
        image.getOutputData(slice.data(), slice.size() * sizeof(T), kBits, frame, 0) == 0) {
        throwNoSlice();
    }
    std::memcpy(place, slice.data(), slice.size() * sizeof(T));
}

template <typename T>
Volume consolidate(const OpenImages& images, const ImageReadOptions& options) {
    const DicomImage& first = *images.front();
    const vint slices = static_cast<vint>(images.size());
    const bool isGrey = first.isMonochrome() != 0;
    const vint channels = isGrey ? 1 : 3;
    const auto width = static_cast<vint>(first.getWidth());
    const auto height = static_cast<vint>(first.getHeight());
    const auto samples = static_cast<std::size_t>(checkedProduct({slices, height, width, channels}));
    const std::size_t volumeBytes = samples * sizeof(T);
    const std::size_t sliceBytes = volumeBytes / images.size();
    constexpr int kBits = sizeof(T) * CHAR_BIT;
    const Places places = placesOf(images, kBits, volumeBytes);

    GTU::Image<T, Manual> volume(slices, width, height, channels, isGrey ? VColorSpace_Grey : VColorSpace_RGB, true);
    auto* start = reinterpret_cast<std::byte*>(volume.getData());
    if (leavesGaps(images, kBits, places, sliceBytes)) {
        std::memset(start, 0, volumeBytes);
    }
    for (std::size_t slice = 0; slice < images.size(); ++slice) {
        DicomImage& image = *images[slice];
        setOverlayVisibility(image, false);
        setScalingWindow(image, options);
        renderSlice<T>(image, start + places[slice], sliceBytes, static_cast<unsigned long>(options.outputFrame));
    }
    return Volume(std::move(volume));
}

} // namespace

void setWindowForSeries(const OpenImages& images, ImageReadOptions& options) {
    std::vector<double> lows;
    std::vector<double> highs;
    for (const auto& image : images) {
        double low = 0;
        double high = 0;
        (void)image->getMinMaxValues(low, high, 0); // colour, and what cannot tell, counts as 0
        lows.push_back(low);
        highs.push_back(high);
    }
    const double lowest = *std::min_element(lows.begin(), lows.end());
    const double highest = *std::max_element(highs.begin(), highs.end());
    options.windowWidth = highest - lowest;
    options.windowCenter = (highest + lowest) * 0.5;
}

Volume consolidateImages(const OpenImages& images, const ImageReadOptions& options) {
    if (images.empty()) {
        ErrorManager::throwException("NoImagesError");
    }
    return images.front()->getDepth() == 8 ? consolidate<unsigned char>(images, options)
                                           : consolidate<unsigned short>(images, options);
}

} // namespace radvex

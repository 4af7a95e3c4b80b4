#include "deidentify/pixels/BlankValue.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdeftag.h"

namespace radvex::deidentify {

namespace {

/// One of the three tables of a palette (PS3.3 C.7.6.3.1.5).
struct Palette {
    std::uint32_t entries = 0;
    std::uint32_t first = 0; ///< the stored value of the first entry
    bool isOfBytes = false;
    std::span<const Uint8> values{};

    unsigned at(std::uint32_t index) const {
        const std::size_t at = isOfBytes ? index : std::size_t{2} * index;
        return isOfBytes ? values[at] : values[at] + 256U * values[at + 1];
    }
};

[[noreturn]] void failOfPalette() {
    throw std::runtime_error("its palette cannot be read, and the rule has no \"fill\"");
}

Palette paletteOf(DcmItem& dataset, const DcmTagKey& descriptor, const DcmTagKey& data) {
    DcmElement* described = nullptr;
    DcmElement* element = nullptr;
    std::array<Uint16, 3> numbers{};
    bool isRead = dataset.findAndGetElement(descriptor, described, OFFalse, OFFalse).good() &&
                  dataset.findAndGetElement(data, element, OFFalse, OFFalse).good();
    for (unsigned index = 0; isRead && index < numbers.size(); ++index) {
        Sint16 number = 0; // the first stored value may be SS
        isRead = described->getUint16(numbers[index], index).good();
        if (!isRead && described->getSint16(number, index).good()) {
            numbers[index] = static_cast<Uint16>(number);
            isRead = true;
        }
    }
    if (!isRead) {
        failOfPalette();
    }
    Palette palette;
    palette.entries = numbers[0] == 0 ? 65536U : numbers[0];
    palette.first = numbers[1];
    palette.values = rawBytes(*element);
    palette.isOfBytes = numbers[2] == 8 && palette.values.size() < 2 * std::size_t{palette.entries};
    if (palette.values.size() < palette.entries * (palette.isOfBytes ? std::size_t{1} : std::size_t{2})) {
        failOfPalette();
    }
    return palette;
}

/// The stored value that is shown darkest.
std::uint64_t darkestOf(DcmItem& dataset, const PixelLayout& layout) {
    const Palette red =
        paletteOf(dataset, DCM_RedPaletteColorLookupTableDescriptor, DCM_RedPaletteColorLookupTableData);
    const Palette green =
        paletteOf(dataset, DCM_GreenPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableData);
    const Palette blue =
        paletteOf(dataset, DCM_BluePaletteColorLookupTableDescriptor, DCM_BluePaletteColorLookupTableData);
    if (green.entries != red.entries || blue.entries != red.entries) {
        failOfPalette();
    }
    std::optional<std::uint64_t> darkest;
    double least = std::numeric_limits<double>::max();
    for (std::uint32_t index = 0; index < red.entries; ++index) {
        const std::uint64_t stored = std::uint64_t{red.first} + index;
        const double brightness = 0.299 * red.at(index) + 0.587 * green.at(index) + 0.114 * blue.at(index);
        if (brightness < least && stored <= layout.storedMask() >> layout.lowBit) {
            least = brightness;
            darkest = stored;
        }
    }
    if (!darkest || layout.isSigned) {
        failOfPalette();
    }
    return *darkest;
}

std::uint64_t floatBits(double value, unsigned bits) {
    return bits == 32 ? std::bit_cast<std::uint32_t>(static_cast<float>(value)) : std::bit_cast<std::uint64_t>(value);
}

std::uint64_t storedFill(double fill, const PixelLayout& layout) {
    if (layout.isFloat) {
        // A number beyond the range of a float has no float to become.
        if (layout.bitsAllocated == 32 && std::abs(fill) > std::numeric_limits<float>::max()) {
            throw std::runtime_error("the \"fill\" of the rule is beyond the range of its pixels");
        }
        return floatBits(fill, layout.bitsAllocated);
    }
    const double count = std::ldexp(1.0, static_cast<int>(layout.bitsStored));
    const double least = layout.isSigned ? -count / 2 : 0.0;
    if (fill != std::floor(fill) || fill < least || fill >= least + count) {
        throw std::runtime_error("the \"fill\" of the rule is no value of its pixels, which have " +
                                 std::to_string(layout.bitsStored) + (layout.isSigned ? " bits with a sign" : " bits"));
    }
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(fill));
}

std::uint64_t blackOf(DcmItem& dataset, const PixelLayout& layout) {
    const std::uint64_t all = layout.storedMask() >> layout.lowBit;
    const std::uint64_t sign = std::uint64_t{1} << (layout.bitsStored - 1);
    if (layout.isFloat) {
        return 0;
    }
    if (layout.colourModel == "MONOCHROME1") {
        return layout.isSigned ? all ^ sign : all;
    }
    if (layout.colourModel == "MONOCHROME2") {
        return layout.isSigned ? sign : 0;
    }
    if (layout.colourModel == "PALETTE COLOR") {
        return darkestOf(dataset, layout);
    }
    return layout.colourModel == "YBR_PARTIAL_422" ? 16 : 0; // black is 16 of 219 (PS3.3 C.7.6.3.1.2)
}

} // namespace

std::vector<std::uint64_t> blankPixel(DcmItem& dataset, const PixelLayout& layout, std::optional<double> fill) {
    const std::uint64_t value = fill ? storedFill(*fill, layout) : blackOf(dataset, layout);
    std::vector<std::uint64_t> pixel(layout.samples, value);
    if (layout.colourModel.starts_with("YBR")) {
        pixel[1] = pixel[2] = std::uint64_t{1} << (layout.bitsStored - 1);
    }
    return pixel;
}

} // namespace radvex::deidentify

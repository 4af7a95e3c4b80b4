#include "formats/pictures/Npy.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <sstream>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"
#include "formats/pictures/NpyHeader.h"
#include "formats/pictures/Picture.h"

namespace radvex::formats {

namespace {

constexpr std::array<const char*, 4> kAxisNames{"frames", "rows", "columns", "channels"};

std::size_t indexOf(Axis axis) { return static_cast<std::size_t>(axis); }

vint imageType(const std::string& name, const NpyHeader& header) {
    static constexpr std::array<std::pair<const char*, vint>, 5> kTypes{
        {{"b1", VImage_Bit}, {"u1", VImage_U8}, {"u2", VImage_U16}, {"f4", VImage_F32}, {"f8", VImage_F64}}};
    for (const auto& [known, type] : kTypes) {
        if (header.type == known) {
            return type;
        }
    }
    throw FileError(name + " holds elements of type " + printable(header.type) +
                    "; bool, u1, u2, f4 and f8 can be written. NumPy's astype('f4') keeps signed values.");
}

std::vector<Axis> usualAxes(const std::string& name, const std::vector<std::uint64_t>& shape, bool isNeverColour) {
    using enum Axis;
    switch (shape.size()) {
    case 2: return {rows, columns};
    case 3:
        return shape.back() == 3 && !isNeverColour ? std::vector{rows, columns, channels}
                                                   : std::vector{frames, rows, columns};
    case 4: return {frames, rows, columns, channels};
    default: throw FileError(name + " has " + std::to_string(shape.size()) + " dimensions; a picture has 2 to 4.");
    }
}

/// By axis: how many indices it has, and how many elements lie between two of them. An axis that the array lacks has
/// one index.
struct Layout {
    std::array<std::uint64_t, 4> extents{1, 1, 1, 1};
    std::array<std::uint64_t, 4> strides{0, 0, 0, 0};

    std::uint64_t extent(Axis axis) const { return extents[indexOf(axis)]; }
    std::uint64_t stride(Axis axis) const { return strides[indexOf(axis)]; }
};

Layout layoutOf(const NpyHeader& header, const std::vector<Axis>& axes) {
    Layout layout;
    std::uint64_t stride = 1; // readNpyHeader checked the product against the file
    for (std::size_t step = 0; step < axes.size(); ++step) {
        const std::size_t index = header.isFortranOrder ? step : axes.size() - 1 - step;
        layout.extents[indexOf(axes[index])] = header.shape[index];
        layout.strides[indexOf(axes[index])] = stride;
        stride *= header.shape[index];
    }
    return layout;
}

/// Copies elements of `size` bytes into the order of an image and into the byte order of the machine.
template <std::size_t size>
void copyElements(const std::byte* source, std::byte* target, const Layout& layout, bool isSwapped) {
    const auto copyOne = [&](std::uint64_t index) {
        std::memcpy(target, source + index * size, size);
        if (isSwapped) {
            std::reverse(target, target + size);
        }
        target += size;
    };
    using enum Axis;
    for (std::uint64_t frame = 0; frame < layout.extent(frames); ++frame) {
        for (std::uint64_t row = 0; row < layout.extent(rows); ++row) {
            for (std::uint64_t column = 0; column < layout.extent(columns); ++column) {
                for (std::uint64_t channel = 0; channel < layout.extent(channels); ++channel) {
                    copyOne(frame * layout.stride(frames) + row * layout.stride(rows) +
                            column * layout.stride(columns) + channel * layout.stride(channels));
                }
            }
        }
    }
}

void copyInto(const velmora::Image& image, const std::byte* source, const NpyHeader& header, const Layout& layout) {
    std::byte* target = image.bytes().data();
    const bool isSwapped = header.isBigEndian != (std::endian::native == std::endian::big);
    switch (header.itemSize) {
    case 1: copyElements<1>(source, target, layout, false); break;
    case 2: copyElements<2>(source, target, layout, isSwapped); break;
    case 4: copyElements<4>(source, target, layout, isSwapped); break;
    default: copyElements<8>(source, target, layout, isSwapped);
    }
    if (image.info().type == VImage_Bit) { // any byte but 0 is true
        std::ranges::replace_if(
            image.bytes(), [](std::byte byte) { return byte != std::byte{0}; }, std::byte{1});
    }
}

} // namespace

std::vector<Axis> parseAxes(const std::string& text) {
    const std::string refusal =
        "--axes " + shortened(text) +
        ": frames, rows, columns and channels can be named, each once, rows and columns always.";
    std::vector<Axis> axes;
    const auto isNamed = [&](Axis axis) { return std::ranges::find(axes, axis) != axes.end(); };
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        const auto* const name = std::find(kAxisNames.begin(), kAxisNames.end(), word);
        const auto axis = static_cast<Axis>(name - kAxisNames.begin());
        if (name == kAxisNames.end() || isNamed(axis)) {
            throw UsageError(refusal);
        }
        axes.push_back(axis);
    }
    if (!text.empty() && (!isNamed(Axis::rows) || !isNamed(Axis::columns))) {
        throw UsageError(refusal);
    }
    return axes;
}

velmora::Image readNpy(const std::string& name, std::span<const std::byte> bytes, const AxesRule& axes) {
    const NpyHeader header = readNpyHeader(name, bytes);
    const vint type = imageType(name, header);
    const auto used = axes.given.empty() ? usualAxes(name, header.shape, axes.isNeverColour) : axes.given;
    if (used.size() != header.shape.size()) {
        throw FileError(name + " has " + std::to_string(header.shape.size()) + " dimensions, and --axes names " +
                        std::to_string(used.size()) + ".");
    }
    const Layout layout = layoutOf(header, used);
    const bool hasFrames = std::find(used.begin(), used.end(), Axis::frames) != used.end();
    velmora::Image image = newPicture(name,
                                      {.slices = hasFrames ? layout.extent(Axis::frames) : 0,
                                       .rows = layout.extent(Axis::rows),
                                       .columns = layout.extent(Axis::columns),
                                       .channels = layout.extent(Axis::channels)},
                                      type);
    copyInto(image, bytes.data() + header.dataOffset, header, layout);
    return image;
}

void writeNpy(const files::Output& output, vint type, const std::vector<vint>& shape,
              const std::vector<std::span<const std::byte>>& parts) {
    files::writeOutputFile(output, [&](std::FILE* file) {
        const std::string start = npyHeader(type, shape);
        return std::fwrite(start.data(), 1, start.size(), file) == start.size() &&
               std::ranges::all_of(
                   parts, [&](auto part) { return std::fwrite(part.data(), 1, part.size(), file) == part.size(); });
    });
}

} // namespace radvex::formats

#include "formats/pictures/NewPicture.h"

#include <limits>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/TypeNames.h"

namespace radvex::formats {

namespace {

void require(bool isFine, const std::string& name, const std::string& sentence) {
    if (!isFine) {
        throw FileError(name + " " + sentence);
    }
}

} // namespace

velmora::Image newPicture(const std::string& name, const PictureSize& size, vint type) {
    constexpr std::uint64_t kLargest = 65535; // the attributes of rows and columns have 16 bits
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<vint>::max());
    const std::uint64_t slices = size.slices == 0 ? 1 : size.slices;
    require(size.rows > 0 && size.columns > 0, name, "holds no pixels.");
    require(size.rows <= kLargest && size.columns <= kLargest, name,
            "has " + std::to_string(size.rows) + " rows and " + std::to_string(size.columns) +
                " columns; a DICOM image has at most 65535 of each.");
    require(size.channels == 1 || size.channels == 3, name,
            "has " + std::to_string(size.channels) + " channels; a picture has 1 (grey) or 3 (RGB).");
    const std::uint64_t inSlice = size.rows * size.columns * size.channels; // below 2^34
    require(slices <= kMost / inSlice, name,
            "holds more than " + std::to_string(kMost) + " values, the most that one image can have.");
    return {static_cast<vint>(size.slices),
            static_cast<vint>(size.rows),
            static_cast<vint>(size.columns),
            static_cast<vint>(size.channels),
            type,
            size.channels == 1 ? VColorSpace_Grey : VColorSpace_RGB,
            true};
}

std::string describePicture(const velmora::Image& image) {
    const VelmoraImage& info = image.info();
    const std::string frames = info.rank == 3 ? std::to_string(info.slices) + " frames of " : "";
    return frames + std::to_string(info.rows) + " x " + std::to_string(info.columns) + " " +
           typeName(kImageTypeNames, info.type) + (info.channels == 1 ? " grey" : " RGB");
}

} // namespace radvex::formats

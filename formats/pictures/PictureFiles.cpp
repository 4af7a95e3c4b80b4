#include "formats/pictures/PictureFiles.h"

#include <algorithm>

#include "files/Errors.h"
#include "files/InputFile.h"
#include "formats/pictures/NpyHeader.h"
#include "formats/pictures/Picture.h"
#include "formats/pictures/Png.h"

namespace radvex::formats {

using velmora::Image;

namespace {

bool isAlike(const VelmoraImage& one, const VelmoraImage& other) {
    return one.rows == other.rows && one.columns == other.columns && one.channels == other.channels &&
           one.type == other.type;
}

PictureSize sizeOf(const VelmoraImage& info) {
    return {.slices = info.rank == 3 ? static_cast<std::uint64_t>(info.slices) : 0,
            .rows = static_cast<std::uint64_t>(info.rows),
            .columns = static_cast<std::uint64_t>(info.columns),
            .channels = static_cast<std::uint64_t>(info.channels)};
}

Image joinFrames(const std::string& name, std::vector<Image> parts) {
    PictureSize size = sizeOf(parts.front().info());
    size.slices = 0;
    for (const Image& part : parts) {
        size.slices += static_cast<std::uint64_t>(part.info().slices);
    }
    Image whole = newPicture(name, size, parts.front().info().type);
    auto target = whole.bytes().begin();
    for (Image& part : parts) {
        target = std::copy(part.bytes().begin(), part.bytes().end(), target);
        part = Image(); // frees each part early, so that not all frames are in memory twice
    }
    return whole;
}

template <typename T>
Image maskOf(const std::string& name, const Image& image) {
    Image mask = newPicture(name, sizeOf(image.info()), VImage_Bit);
    std::ranges::transform(image.data<T>(), mask.data<std::int8_t>().begin(),
                           [](T value) { return static_cast<std::int8_t>(value != 0 ? 1 : 0); });
    return mask;
}

} // namespace

Image readPictureFile(const std::string& file, const AxesRule& axes) {
    const auto bytes = files::readInputFile(file);
    const std::string name = file == "-" ? "The standard input" : file;
    if (isPng(bytes)) {
        return readPng(name, bytes);
    }
    if (isNpy(bytes)) {
        return readNpy(name, bytes, axes);
    }
    throw FileError(name + " is neither a PNG nor a .npy file.");
}

Image readPictureFiles(const std::vector<std::string>& files, const AxesRule& axes) {
    std::vector<Image> parts;
    for (const std::string& file : files) {
        parts.push_back(readPictureFile(file, axes));
        if (!isAlike(parts.front().info(), parts.back().info())) {
            throw FileError(file + " is " + describePicture(parts.back()) + ", and " + files.front() + " is " +
                            describePicture(parts.front()) + ": all frames of a file have the same size and type.");
        }
    }
    return parts.size() == 1 ? std::move(parts.front()) : joinFrames(files.front(), std::move(parts));
}

Image readMaskFile(const std::string& file) {
    Image image = readPictureFile(file, {.isNeverColour = true});
    const vint type = image.info().type;
    if (image.info().channels != 1 || type == VImage_F32 || type == VImage_F64) {
        throw FileError(file + " is " + describePicture(image) + "; an overlay is grey of 1, 8 or 16 bits.");
    }
    if (type == VImage_Bit) {
        return image;
    }
    return type == VImage_U8 ? maskOf<std::uint8_t>(file, image) : maskOf<std::uint16_t>(file, image);
}

} // namespace radvex::formats

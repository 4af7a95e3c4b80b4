#include "cli/arguments/OutputNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "files/Errors.h"

namespace radvex::cli {

namespace {

struct Format {
    std::string_view ending;
    std::string_view name; ///< with its article, as in "would not be a JPEG"
};

constexpr std::array<Format, 12> kPictures{{{".jpg", "a JPEG"},
                                            {".jpeg", "a JPEG"},
                                            {".jp2", "a JPEG 2000"},
                                            {".j2k", "a JPEG 2000"},
                                            {".tif", "a TIFF"},
                                            {".tiff", "a TIFF"},
                                            {".bmp", "a BMP"},
                                            {".gif", "a GIF"},
                                            {".webp", "a WebP"},
                                            {".pgm", "a PGM"},
                                            {".ppm", "a PPM"},
                                            {".pdf", "a PDF"}}};
constexpr std::array<Format, 11> kValues{{{".txt", "a text"},
                                          {".csv", "a table"},
                                          {".tsv", "a table"},
                                          {".json", "JSON"},
                                          {".npz", "an archive of arrays"},
                                          {".mat", "a MATLAB file"},
                                          {".h5", "an HDF5 file"},
                                          {".raw", "raw values"},
                                          {".bin", "raw values"},
                                          {".nrrd", "a volume"},
                                          {".nii", "a volume"}}};

std::string endingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return ending;
}

template <typename Formats>
const Format* find(const Formats& formats, const std::string& ending) {
    const auto found = std::ranges::find(formats, std::string_view(ending), &Format::ending);
    return found == formats.end() ? nullptr : &*found;
}

std::string withEnding(const std::string& path, const std::string& ending) {
    return std::filesystem::path(path).replace_extension(ending).string();
}

[[noreturn]] void refuse(const std::string& path, const Format& format, const std::string& rule,
                         const std::string& ending) {
    throw UsageError(path + " would not be " + std::string(format.name) + ": " + rule + "; name it " +
                     withEnding(path, ending) + '.');
}

} // namespace

void requirePictureName(const std::string& path) {
    const std::string ending = endingOf(path);
    for (const Format* format : {find(kPictures, ending), find(kValues, ending)}) {
        if (format != nullptr) {
            refuse(path, *format, "pictures are written as PNG", ".png");
        }
    }
    if (ending == ".npy") {
        throw UsageError(path + " would not be an array: pictures are written as PNG; radvex data --rendered writes "
                                ".npy.");
    }
}

void requireArrayName(const std::string& path) {
    const std::string ending = endingOf(path);
    for (const Format* format : {find(kPictures, ending), find(kValues, ending)}) {
        if (format != nullptr) {
            refuse(path, *format, "values are written as .npy", ".npy");
        }
    }
    if (ending == ".png") {
        throw UsageError(path + " would not be a PNG: values are written as .npy; radvex image writes pictures.");
    }
}

void requireFolderName(const std::string& path) {
    const std::string ending = endingOf(path);
    std::error_code error;
    if ((find(kPictures, ending) != nullptr || ending == ".png") && !std::filesystem::is_directory(path, error)) {
        throw UsageError(path + " would be a folder, because a series has several pictures; give a name without " +
                         ending + '.');
    }
}

} // namespace radvex::cli

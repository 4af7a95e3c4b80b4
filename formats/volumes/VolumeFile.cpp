#include "formats/volumes/VolumeFile.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "files/OutputFile.h"
#include "formats/pictures/NpyHeader.h"
#include "formats/volumes/Nifti.h"
#include "formats/volumes/Nrrd.h"

namespace radvex::formats {

namespace {

bool writeAll(std::FILE* file, const std::vector<SliceBytes>& parts) {
    return std::ranges::all_of(
        parts, [&](SliceBytes part) { return std::fwrite(part.data(), 1, part.size(), file) == part.size(); });
}

/// Compresses parts behind what the file holds already, at zlib's fastest level: volumes are large, and mostly noise.
bool compressAll(std::FILE* file, const std::vector<SliceBytes>& parts) {
    constexpr unsigned kBuffer = 1U << 18;
    constexpr std::size_t kLargestPiece = std::size_t{1} << 30;               // zlib takes 32-bit sizes
    const int descriptor = std::fflush(file) == 0 ? ::dup(fileno(file)) : -1; // zlib closes its descriptor
    std::unique_ptr<gzFile_s, int (*)(gzFile)> stream(descriptor < 0 ? nullptr : gzdopen(descriptor, "wb1"), gzclose);
    if (stream == nullptr) {
        if (descriptor >= 0) {
            (void)::close(descriptor);
        }
        return false;
    }
    (void)gzbuffer(stream.get(), kBuffer);
    for (SliceBytes part : parts) {
        while (!part.empty()) {
            const auto piece = part.first(std::min(part.size(), kLargestPiece));
            const auto size = static_cast<unsigned>(piece.size());
            if (gzwrite(stream.get(), piece.data(), size) != static_cast<int>(size)) {
                return false;
            }
            part = part.subspan(piece.size());
        }
    }
    return gzclose(stream.release()) == Z_OK;
}

} // namespace

std::vector<vint> VolumeHeader::shape() const {
    std::vector<vint> shape{slices, rows, columns};
    if (volumes > 1) {
        shape.insert(shape.begin(), volumes);
    }
    if (channels > 1) {
        shape.push_back(channels);
    }
    return shape;
}

std::string volumeExtension(const std::string& path) {
    for (const char* extension : {".nrrd", ".nii", ".nii.gz", ".npy"}) {
        if (path.ends_with(extension)) {
            return extension;
        }
    }
    return "";
}

std::string volumeHead(const std::string& path, const VolumeHeader& header) {
    const std::string extension = volumeExtension(path);
    if (extension == ".npy") {
        return npyHeader(header.type, header.shape());
    }
    return path == "-" || extension == ".nrrd" ? nrrdHeader(header, false) : niftiHeader(header);
}

bool isVolumePath(const std::string& path) { return path == "-" || !volumeExtension(path).empty(); }

void writeVolume(const files::Output& output, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
                 bool compress) {
    const std::string& path = output.path;
    const std::string extension = volumeExtension(path);
    const bool isNrrd = path == "-" || extension == ".nrrd";
    const std::string text = isNrrd && compress ? nrrdHeader(header, true) : volumeHead(path, header);
    std::vector<SliceBytes> parts{std::as_bytes(std::span(text))};
    if (isNrrd && compress) { // the header stays readable
        return files::writeOutputFile(
            output, [&](std::FILE* file) { return writeAll(file, parts) && compressAll(file, slices); });
    }
    parts.insert(parts.end(), slices.begin(), slices.end());
    const bool isWholeCompressed = extension == ".nii.gz";
    files::writeOutputFile(
        output, [&](std::FILE* file) { return isWholeCompressed ? compressAll(file, parts) : writeAll(file, parts); });
}

} // namespace radvex::formats

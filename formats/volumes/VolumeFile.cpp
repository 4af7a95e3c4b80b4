#include "formats/volumes/VolumeFile.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "files/OutputFile.h"
#include "formats/pictures/Npy.h"
#include "formats/volumes/Nifti.h"
#include "formats/volumes/Nrrd.h"

namespace radvex::formats {

namespace {

/// Compresses bytes into an open file, at zlib's fastest level: volumes are large, and mostly noise.
class GzipWriter {
  public:
    /// @param file  borrowed: it stays open; the compressed bytes follow what was written to it before
    explicit GzipWriter(std::FILE* file);

    /// False if the file or zlib refused.
    bool write(std::span<const std::byte> bytes);
    /// Ends the stream; nothing may be written to the file after this.
    bool finish();

  private:
    struct Close {
        void operator()(gzFile stream) const { (void)gzclose(stream); }
    };
    std::unique_ptr<gzFile_s, Close> mStream{};
};

GzipWriter::GzipWriter(std::FILE* file) {
    constexpr unsigned kBuffer = 1U << 18;
    if (std::fflush(file) != 0) {
        return;
    }
    const int descriptor = ::dup(fileno(file)); // zlib closes its descriptor
    mStream.reset(descriptor < 0 ? nullptr : gzdopen(descriptor, "wb1"));
    if (mStream == nullptr && descriptor >= 0) {
        (void)::close(descriptor);
    } else if (mStream != nullptr) {
        (void)gzbuffer(mStream.get(), kBuffer);
    }
}

bool GzipWriter::write(std::span<const std::byte> bytes) {
    constexpr std::size_t kLargestPart = std::size_t{1} << 30; // zlib takes 32-bit sizes
    while (mStream != nullptr && !bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kLargestPart));
        if (gzwrite(mStream.get(), part.data(), static_cast<unsigned>(part.size())) != static_cast<int>(part.size())) {
            return false;
        }
        bytes = bytes.subspan(part.size());
    }
    return mStream != nullptr;
}

bool GzipWriter::finish() { return mStream != nullptr && gzclose(mStream.release()) == Z_OK; }

bool writeAll(std::FILE* file, const std::vector<SliceBytes>& parts) {
    return std::all_of(parts.begin(), parts.end(),
                       [&](SliceBytes part) { return std::fwrite(part.data(), 1, part.size(), file) == part.size(); });
}

bool compressAll(std::FILE* file, const std::vector<SliceBytes>& parts) {
    GzipWriter gzip(file);
    return std::all_of(parts.begin(), parts.end(), [&](SliceBytes part) { return gzip.write(part); }) && gzip.finish();
}

} // namespace

std::string volumeExtension(const std::string& path) {
    for (const char* extension : {".nrrd", ".nii", ".nii.gz", ".npy"}) {
        if (path.ends_with(extension)) {
            return extension;
        }
    }
    return "";
}

bool isVolumePath(const std::string& path) { return path == "-" || !volumeExtension(path).empty(); }

void writeVolume(const std::string& path, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
                 bool compress) {
    const std::string extension = volumeExtension(path);
    if (extension == ".npy") {
        std::vector<vint> shape{header.slices, header.rows, header.columns};
        if (header.channels > 1) {
            shape.push_back(header.channels);
        }
        return writeNpy(path, header.type, shape, slices);
    }
    const bool isNrrd = path == "-" || extension == ".nrrd";
    const std::string text = isNrrd ? nrrdHeader(header, compress) : niftiHeader(header);
    std::vector<SliceBytes> parts{std::as_bytes(std::span(text))};
    if (isNrrd && compress) { // the header stays readable
        return files::writeOutputFile(
            path, [&](std::FILE* file) { return writeAll(file, parts) && compressAll(file, slices); });
    }
    parts.insert(parts.end(), slices.begin(), slices.end());
    const bool isWholeCompressed = extension == ".nii.gz";
    files::writeOutputFile(
        path, [&](std::FILE* file) { return isWholeCompressed ? compressAll(file, parts) : writeAll(file, parts); });
}

} // namespace radvex::formats

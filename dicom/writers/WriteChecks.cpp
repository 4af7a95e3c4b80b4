#include "dicom/writers/WriteChecks.h"

#include <cstring>
#include <filesystem>
#include <vector>

#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcostrma.h"
#include "dcmtk/dcmdata/dcwcache.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "guard/FileStream.h"
#include "guard/GuardedLoad.h"

namespace radvex {

namespace {

/// Counts the bytes that are written to it.
class Counter : public DcmConsumer {
  public:
    OFBool good() const override { return OFTrue; }
    OFCondition status() const override { return EC_Normal; }
    OFBool isFlushed() const override { return OFTrue; }
    offile_off_t avail() const override { return 1 << 20; }
    offile_off_t write(const void* /*bytes*/, offile_off_t length) override {
        count += length;
        return length;
    }
    void flush() override {}

    offile_off_t count = 0;
};

/// Compares the bytes that are written to it with those of a stream.
class Comparison : public Counter {
  public:
    explicit Comparison(DcmInputStream& stream) : mStream(stream) {}

    offile_off_t write(const void* bytes, offile_off_t length) override {
        isEqual = isEqual && (length == 0 || isNext(static_cast<const char*>(bytes), static_cast<std::size_t>(length)));
        return Counter::write(bytes, length);
    }

    bool isEqual = true;

  private:
    bool isNext(const char* bytes, std::size_t length) {
        constexpr int kMaxEmptyReads = 16; // a filter may need several reads before it returns bytes
        mBuffer.resize(length);
        std::size_t held = 0;
        for (int emptyReads = 0; held < length && mStream.good() && emptyReads < kMaxEmptyReads;) {
            (void)mStream.avail(); // makes the filter work
            const auto read = mStream.read(mBuffer.data() + held, static_cast<offile_off_t>(length - held));
            held += static_cast<std::size_t>(read);
            emptyReads = read > 0 ? 0 : emptyReads + 1;
        }
        return held == length && std::memcmp(mBuffer.data(), bytes, length) == 0;
    }

    DcmInputStream& mStream;
    std::vector<char> mBuffer{};
};

class StreamTo : public DcmOutputStream {
  public:
    explicit StreamTo(DcmConsumer& consumer) : DcmOutputStream(&consumer) {}
};

/// Writes a part of a file to a consumer in the same way as it was saved.
template <typename Part, typename Write>
bool writeTo(DcmConsumer& consumer, Part& part, Write write) {
    StreamTo stream(consumer);
    DcmWriteCache cache;
    part.transferInit();
    const OFCondition written = write(stream, cache);
    part.transferEnd();
    return written.good();
}

bool countFile(Counter& counter, DcmFileFormat& file, E_TransferSyntax syntax, E_FileWriteMode mode) {
    return writeTo(counter, file, [&](DcmOutputStream& stream, DcmWriteCache& cache) {
        return file.write(stream, syntax, EET_UndefinedLength, &cache, EGL_recalcGL, EPD_noChange, 0, 0, 0, mode);
    });
}

bool countMetaInfo(Counter& counter, DcmMetaInfo& metaInfo) {
    return writeTo(counter, metaInfo, [&](DcmOutputStream& stream, DcmWriteCache& cache) {
        return metaInfo.write(stream, EXS_LittleEndianExplicit, EET_UndefinedLength, &cache);
    });
}

bool isPlainFile(const std::string& path) {
    std::error_code unknown;
    return std::filesystem::is_regular_file(path, unknown);
}

bool holdsDeflated(DcmFileFormat& file, const std::string& path, E_StreamCompression compression) {
    Counter header;
    if (!countMetaInfo(header, *file.getMetaInfo())) {
        return false;
    }
    OpenFile saved(path);
    FileStream stream(saved, static_cast<std::uint64_t>(header.count));
    if (stream.status().bad() || stream.installCompressionFilter(compression).bad()) {
        return false;
    }
    Comparison comparison(stream);
    DcmDataset& dataset = *file.getDataset();
    const bool isWritten = writeTo(comparison, dataset, [&](DcmOutputStream& out, DcmWriteCache& cache) {
        return dataset.write(out, EXS_LittleEndianExplicit, EET_UndefinedLength, &cache, EGL_recalcGL, EPD_noChange);
    });
    return isWritten && comparison.isEqual;
}

} // namespace

bool isSavedWhole(DcmFileFormat& file, const std::string& path, E_TransferSyntax syntax, E_FileWriteMode mode) {
    if (!isPlainFile(path)) {
        return true;
    }
    const E_StreamCompression compression = DcmXfer(syntax).getStreamCompression();
    if (compression != ESC_none) {
        return holdsDeflated(file, path, compression);
    }
    std::error_code error;
    const auto length = std::filesystem::file_size(path, error);
    Counter counter;
    return !error && countFile(counter, file, syntax, mode) && length == static_cast<std::uintmax_t>(counter.count);
}

bool canBeLoaded(const std::string& path) {
    DcmFileFormat file;
    return !isPlainFile(path) || !loadGuarded(file, path);
}

} // namespace radvex

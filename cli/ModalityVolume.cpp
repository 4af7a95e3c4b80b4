// Volumes of modality values, file by file.

#include <malloc.h>

#include "PictureOptions.h"
#include "SliceMetadata.h"
#include "VolumeBuffer.h"
#include "VolumeSeries.h"

namespace radvex::cli {

using velmora::NumericArray;

namespace {

constexpr vint kStoredValues = 0x40; // the flag by which the modality transformation is left out

/// The pixels of each file would go back to the system, to be fetched anew page by page for the next one.
void keepMemoryBetweenFiles() {
#ifdef __GLIBC__
    constexpr int kLargestBlock = 32 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargestBlock);
    mallopt(M_TRIM_THRESHOLD, 2 * kLargestBlock);
#endif
}

/// Gives back the library's copy of a file, whatever happened to it.
class OpenFile {
  public:
    OpenFile(velmora::Host& host, const std::string& path) : mHost(host), mPath(path) {}
    ~OpenFile() {
        try {
            mHost.call("CloseReader", {mPath});
        } catch (const std::exception&) { // a file that was never opened
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

  private:
    velmora::Host& mHost;
    const std::string& mPath;
};

class ModalityReader {
  public:
    ModalityReader(const SeriesReading& reading, const SeriesFiles& series) : mReading(reading), mSeries(series) {}

    SeriesVolume read() {
        for (const std::string& path : mSeries.files) {
            try {
                const OpenFile closing(mReading.host, path);
                addFile(path);
            } catch (const velmora::LibraryError& error) {
                mUnreadable.push_back(mReading.medium.userPath(path));
                mReason = mReason.empty() ? mReading.medium.userText(error.what()) : mReason;
            }
            mReading.step();
        }
        return finish();
    }

  private:
    void addFile(const std::string& path) {
        const FileMetadata file(mReading.host, path, mReading.medium.userPath(path));
        if (mResult.seriesNumber.empty()) {
            mResult.seriesNumber = file.seriesNumber();
        }
        if (file.rows() < 1 || file.columns() < 1) {
            mPictureless.push_back(file.name());
            return;
        }
        if (!isOfOneSize(file)) {
            return;
        }
        if (file.isColour()) {
            throw VolumeError(file.name() +
                              " is in colour, which has no modality values; --rendered gives its picture.");
        }
        // Stored values are rescaled here: the library's integers would cut fractions off, and DCMTK takes longer.
        const vint flags = kImageFlags | (file.needsLibrary() ? 0 : kStoredValues);
        const velmora::Value values = mReading.host.call("ReadIntermediatePixelData", {path, flags, 0});
        if (!values.is<NumericArray>()) {
            throw VolumeError(file.name() + ": DCMTK's intermediate values have no array type.");
        }
        addSlices(file, *values.get<NumericArray>().handle());
    }

    bool isOfOneSize(const FileMetadata& file) {
        VolumeHeader& header = mResult.header;
        if (mFirst.empty()) {
            mFirst = file.name();
            header.rows = file.rows();
            header.columns = file.columns();
        } else if (header.rows != file.rows() || header.columns != file.columns()) {
            mOfOtherSize.push_back(file.name());
        }
        return mOfOtherSize.empty();
    }

    void addSlices(const FileMetadata& file, const VelmoraNumericArray& array) {
        const vint frames = array.dimensions.size() > 2 ? array.dimensions.front() : 1;
        if (!mBuffer) {
            const auto samples =
                static_cast<std::size_t>(file.rows()) * static_cast<std::size_t>(file.columns()); // both are 16-bit
            // Further files are taken for single slices: those that hold more make room for them.
            const std::size_t expected = mSeries.files.size() - 1 + static_cast<std::size_t>(frames);
            mBuffer = std::make_shared<VolumeBuffer>(samples, expected);
        }
        mBuffer->add(array, file.rules(frames));
        const auto slices = file.slices(frames);
        mResult.slices.insert(mResult.slices.end(), slices.begin(), slices.end());
    }

    SeriesVolume finish() {
        if (!mOfOtherSize.empty()) {
            throw VolumeError("The slices differ in size: " + mFirst + " is " + std::to_string(mResult.header.columns) +
                              " x " + std::to_string(mResult.header.rows) + ", and not so " + namesOf(mOfOtherSize) +
                              ".");
        }
        if (!mBuffer && mUnreadable.empty()) {
            throw NoPicturesError("The series holds no pictures.");
        }
        if (!mBuffer) {
            throw VolumeError("No file of the series can be read: " + mReason);
        }
        addFinding(mUnreadable, "cannot be read", mReason);
        addFinding(mPictureless, mPictureless.size() == 1 ? "holds no picture" : "hold no picture", "");
        mResult.header.type = mBuffer->type();
        mResult.header.slices = static_cast<vint>(mBuffer->sliceCount());
        for (std::size_t index = 0; index < mBuffer->sliceCount(); ++index) {
            mResult.bytes.push_back(mBuffer->slice(index));
        }
        mResult.owner = mBuffer;
        return std::move(mResult);
    }

    void addFinding(std::vector<std::string>& files, const std::string& what, const std::string& reason) {
        if (!files.empty()) {
            const std::string sentence = std::to_string(files.size()) + (files.size() == 1 ? " file " : " files ") +
                                         what + ": " + namesOf(files) + "." + (reason.empty() ? "" : " " + reason);
            mResult.findings.push_back({FindingKind::unreadable, true, sentence, std::move(files)});
        }
    }

    const SeriesReading& mReading;
    const SeriesFiles& mSeries;
    SeriesVolume mResult{};
    std::shared_ptr<VolumeBuffer> mBuffer{};
    std::string mFirst{};
    std::vector<std::string> mOfOtherSize{};
    std::vector<std::string> mUnreadable{};
    std::vector<std::string> mPictureless{};
    std::string mReason{};
};

} // namespace

SeriesVolume readModalityVolume(const SeriesReading& reading, const SeriesFiles& series) {
    keepMemoryBetweenFiles();
    return ModalityReader(reading, series).read();
}

} // namespace radvex::cli

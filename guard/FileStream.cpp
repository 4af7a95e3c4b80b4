#include "guard/FileStream.h"

#include <algorithm>
#include <cstring>

#include "dcmtk/dcmdata/dcerror.h"

namespace radvex {

namespace {

/// The code of DCMTK's own condition for files that cannot be read.
constexpr unsigned short kFileError = 18;

OFCondition fileError(const std::string& reason) {
    return makeOFCondition(OFM_dcmdata, kFileError, OF_error, reason.c_str());
}

/// The bytes from an offset on of a file in which a value was left.
class ValueProducer final : public DcmProducer {
  public:
    ValueProducer(std::shared_ptr<SourceFile> file, std::uint64_t offset)
        : mFile(std::move(file)), mWasOpen(mFile->isOpen()), mPosition(offset) {
        (void)mFile->isUnchanged();
    }
    ValueProducer(const ValueProducer&) = delete;
    ValueProducer& operator=(const ValueProducer&) = delete;
    ~ValueProducer() override {
        if (!mWasOpen) {
            mFile->close();
        }
    }

    OFBool good() const override { return !mFile->hasFailed(); }
    OFCondition status() const override {
        if (good()) {
            return EC_Normal;
        }
        return fileError(mFile->failure());
    }
    OFBool eos() override { return !good() || mPosition >= mFile->size(); }
    offile_off_t avail() override { return eos() ? 0 : static_cast<offile_off_t>(mFile->size() - mPosition); }
    offile_off_t read(void* into, offile_off_t count) override {
        const auto wanted = static_cast<std::size_t>(std::max<offile_off_t>(count, 0));
        const std::size_t got = mFile->readUnchanged(into, wanted, mPosition);
        mPosition += got;
        return static_cast<offile_off_t>(got);
    }
    offile_off_t skip(offile_off_t count) override {
        const offile_off_t passed = std::clamp<offile_off_t>(count, 0, avail());
        mPosition += static_cast<std::uint64_t>(passed);
        return passed;
    }
    void putback(offile_off_t count) override { mPosition -= static_cast<std::uint64_t>(count); }

  private:
    std::shared_ptr<SourceFile> mFile;
    bool mWasOpen;
    std::uint64_t mPosition;
};

class ValueStream : public DcmInputStream {
  public:
    ValueStream(std::shared_ptr<SourceFile> file, std::uint64_t offset)
        : DcmInputStream(&mProducer), mProducer(std::move(file), offset) {}

    DcmInputStreamFactory* newFactory() const override { return nullptr; }

  private:
    ValueProducer mProducer;
};

/// What DCMTK keeps in place of a value that was left in its file.
class ValueStreamFactory : public DcmInputStreamFactory {
  public:
    ValueStreamFactory(std::shared_ptr<SourceFile> file, std::uint64_t offset)
        : mFile(std::move(file)), mOffset(offset) {}

    DcmInputStream* create() const override { return new ValueStream(mFile, mOffset); }
    DcmInputStreamFactory* clone() const override { return new ValueStreamFactory(*this); }
    DcmInputStreamFactoryType ident() const override { return DFT_DcmInputFileStreamFactory; }

  private:
    std::shared_ptr<SourceFile> mFile;
    std::uint64_t mOffset;
};

} // namespace

FileProducer::FileProducer(OpenFile& file, std::uint64_t offset)
    : mFile(file), mSize(file.size()), mPosition(offset), mChunk(file.buffers().window.size()) {}

OFBool FileProducer::good() const { return mFile.isOpen() && !mFile.hasFailed() && !mHasPutBackTooMuch; }

OFCondition FileProducer::status() const {
    if (good()) {
        return EC_Normal;
    }
    if (!mFile.isOpen()) {
        const std::string reason = mFile.reasonNotOpen();
        return fileError(reason.empty() ? "the file cannot be opened" : reason);
    }
    if (mFile.hasFailed()) {
        return fileError(mFile.failure());
    }
    return EC_PutbackFailed;
}

OFBool FileProducer::eos() { return mPosition >= mSize || !good(); }

offile_off_t FileProducer::avail() { return eos() ? 0 : static_cast<offile_off_t>(mSize - mPosition); }

offile_off_t FileProducer::read(void* into, offile_off_t count) {
    const std::uint64_t inWindow = mPosition - mWindowStart; // enormous before the window
    const auto wanted = static_cast<std::uint64_t>(count);
    if (count > 0 && inWindow < mWindowLength && wanted <= mWindowLength - inWindow && good()) {
        std::memcpy(into, &mFile.buffers().window[static_cast<std::size_t>(inWindow)],
                    static_cast<std::size_t>(wanted));
        mPosition += wanted;
        return count;
    }
    return count > 0 ? readOn(static_cast<std::uint8_t*>(into), wanted) : 0;
}

offile_off_t FileProducer::readOn(std::uint8_t* into, std::uint64_t count) {
    std::uint64_t wanted = std::min(count, static_cast<std::uint64_t>(avail()));
    std::uint64_t done = 0;
    while (wanted > 0 && good()) {
        const std::uint64_t inWindow = mPosition - mWindowStart;
        std::size_t got = 0;
        if (inWindow < mWindowLength) {
            got = static_cast<std::size_t>(std::min(wanted, mWindowLength - inWindow));
            std::memcpy(into + done, &mFile.buffers().window[static_cast<std::size_t>(inWindow)], got);
        } else if (wanted >= mFile.buffers().window.size()) {
            got = mFile.read(into + done, static_cast<std::size_t>(wanted), mPosition);
        } else {
            mWindowStart = mPosition;
            mWindowLength = mFile.read(mFile.buffers().window.data(), std::max<std::size_t>(mChunk, wanted), mPosition);
            mChunk = std::min(2 * mChunk, mFile.buffers().window.size());
            continue;
        }
        mPosition += got;
        wanted -= got;
        done += got;
    }
    return static_cast<offile_off_t>(done);
}

offile_off_t FileProducer::skip(offile_off_t count) {
    const offile_off_t passed = std::clamp<offile_off_t>(count, 0, avail());
    mPosition += static_cast<std::uint64_t>(passed);
    if (mPosition - mWindowStart > mWindowLength + kLongSkip) {
        mChunk = kChunkAfterLongSkip;
    }
    return passed;
}

void FileProducer::putback(offile_off_t count) {
    if (count < 0 || static_cast<std::uint64_t>(count) > mPosition) {
        mHasPutBackTooMuch = true;
    } else {
        mPosition -= static_cast<std::uint64_t>(count);
    }
}

FileStream::FileStream(OpenFile& file, std::uint64_t offset)
    : DcmInputStream(&mProducer), mFile(file), mStart(offset), mProducer(file, offset) {}

DcmInputStreamFactory* FileStream::newFactory() const {
    if (currentProducer() != &mProducer) {
        return nullptr; // behind a filter the offset in the file is not known
    }
    mFile.source()->setHoldsValues(true);
    return new ValueStreamFactory(mFile.source(), mStart + static_cast<std::uint64_t>(tell()));
}

} // namespace radvex

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

/// Opens the file again for a value that was left in it.
class FileStreamFactory : public DcmInputStreamFactory {
  public:
    FileStreamFactory(std::string path, std::uint64_t offset, std::shared_ptr<LaterReads> later)
        : mPath(std::move(path)), mOffset(offset), mLater(std::move(later)) {}

    DcmInputStream* create() const override { return new FileStream(mPath, mOffset, mLater); }
    DcmInputStreamFactory* clone() const override { return new FileStreamFactory(*this); }
    DcmInputStreamFactoryType ident() const override { return DFT_DcmInputFileStreamFactory; }

  private:
    std::string mPath;
    std::uint64_t mOffset;
    std::shared_ptr<LaterReads> mLater;
};

} // namespace

FileProducer::FileProducer(OpenFile& file, std::uint64_t offset) : mFile(file), mSize(file.size()), mPosition(offset) {}

OFBool FileProducer::good() const { return mFile.isOpen() && !mFile.hasFailed() && !mHasPutBackTooMuch; }

OFCondition FileProducer::status() const {
    if (good()) {
        return EC_Normal;
    }
    if (!mFile.isOpen()) {
        const std::string reason = mFile.reasonNotOpen();
        return fileError(reason.empty() ? "the file cannot be opened" : reason);
    }
    return mFile.hasFailed() ? fileError(mFile.failure()) : EC_PutbackFailed;
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
    mHasFallenShort = mHasFallenShort || wanted < count;
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
            mWindowLength = mFile.read(mFile.buffers().window.data(), mFile.buffers().window.size(), mPosition);
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
    return passed;
}

void FileProducer::putback(offile_off_t count) {
    if (count < 0 || static_cast<std::uint64_t>(count) > mPosition) {
        mHasPutBackTooMuch = true;
    } else {
        mPosition -= static_cast<std::uint64_t>(count);
    }
}

FileStream::FileStream(OpenFile& file, std::shared_ptr<LaterReads> later)
    : DcmInputStream(&mProducer), mFile(file), mStart(0), mLater(std::move(later)), mProducer(file, 0) {}

FileStream::FileStream(const std::string& path, std::uint64_t offset, std::shared_ptr<LaterReads> later)
    : DcmInputStream(&mProducer),
      mOwnFile(std::make_unique<OpenFile>(path)),
      mFile(*mOwnFile),
      mStart(offset),
      mLater(std::move(later)),
      mProducer(mFile, offset) {}

FileStream::~FileStream() {
    if (mOwnFile == nullptr || mLater == nullptr) {
        return;
    }
    if (!mProducer.good()) {
        mLater->failure = mProducer.status().text();
    } else if (mProducer.hasFallenShort() || mStart >= mFile.size()) {
        mLater->failure = "the file became shorter after it was opened";
    }
}

DcmInputStreamFactory* FileStream::newFactory() const {
    // Behind a filter the place in the file is not known.
    return currentProducer() == &mProducer
               ? new FileStreamFactory(mFile.path(), mStart + static_cast<std::uint64_t>(tell()), mLater)
               : nullptr;
}

} // namespace radvex

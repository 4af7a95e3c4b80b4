#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dcmtk/config/osconfig.h"
#include "guard/OpenFile.h"

#include "dcmtk/dcmdata/dcistrma.h"

namespace radvex {

/// What became of the reads of values that were left in their file: DCMTK keeps the room that it made for a value whose
/// read failed, and gives it out as the value to the next one who asks.
struct LaterReads {
    std::string failure{}; ///< of the last one that failed; empty when none did
};

/// What DCMTK reads a file's bytes from. Unlike DCMTK's own it turns bad when a read fails, in place of standing still.
class FileProducer final : public DcmProducer {
  public:
    /// The file has to outlive this; its window is used.
    FileProducer(OpenFile& file, std::uint64_t offset);

    OFBool good() const override;
    OFCondition status() const override;
    OFBool eos() override;
    offile_off_t avail() override;
    offile_off_t read(void* into, offile_off_t count) override;
    offile_off_t skip(offile_off_t count) override;
    void putback(offile_off_t count) override;

    /// True when more was asked for than the file holds.
    bool hasFallenShort() const { return mHasFallenShort; }

  private:
    offile_off_t readOn(std::uint8_t* into, std::uint64_t count);

    OpenFile& mFile;
    const std::uint64_t mSize;
    std::uint64_t mPosition;
    std::uint64_t mWindowStart = 0;
    std::size_t mWindowLength = 0;
    bool mHasPutBackTooMuch = false;
    bool mHasFallenShort = false;
};

/// An open file as a stream for DCMTK.
///
/// Values that are too long to be loaded with their element come from the file of the same path later on.
class FileStream : public DcmInputStream {
  public:
    /// The file has to outlive this. @param later  hears of the values that could not be read later on; or null
    explicit FileStream(OpenFile& file, std::shared_ptr<LaterReads> later = nullptr);
    /// Opens the file for a value that was left in it.
    FileStream(const std::string& path, std::uint64_t offset, std::shared_ptr<LaterReads> later = nullptr);
    ~FileStream() override;
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    DcmInputStreamFactory* newFactory() const override;

  private:
    std::unique_ptr<OpenFile> mOwnFile{};
    OpenFile& mFile;
    std::uint64_t mStart;
    std::shared_ptr<LaterReads> mLater;
    FileProducer mProducer;
};

} // namespace radvex

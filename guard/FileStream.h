#pragma once

#include <cstdint>

#include "dcmtk/config/osconfig.h"
#include "guard/OpenFile.h"

#include "dcmtk/dcmdata/dcistrma.h"

namespace radvex {

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

  private:
    offile_off_t readOn(std::uint8_t* into, std::uint64_t count);

    OpenFile& mFile;
    const std::uint64_t mSize;
    std::uint64_t mPosition;
    std::uint64_t mWindowStart = 0;
    std::size_t mWindowLength = 0;
    std::size_t mChunk;
    bool mHasPutBackTooMuch = false;
};

/// An open file as a stream for DCMTK. Values that are too long to be loaded with their element stay in the file
/// (SourceFile), which lives on for them, and are read when they are first asked for.
class FileStream : public DcmInputStream {
  public:
    /// The file has to outlive this.
    explicit FileStream(OpenFile& file, std::uint64_t offset = 0);

    DcmInputStreamFactory* newFactory() const override;

  private:
    OpenFile& mFile;
    std::uint64_t mStart;
    FileProducer mProducer;
};

} // namespace radvex

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace radvex {

/// Room for the reading of one file at a time.
struct FileBuffers {
    /// Holds the headers of an ordinary image up to its pixels.
    std::array<std::uint8_t, std::size_t{16} * 1024> head;
    std::array<std::uint8_t, std::size_t{8} * 1024> window;
};

/// A plain file, read at any place. Its beginning is read once and kept, so that who looks through the headers first
/// and who parses them then share one read; a small file is never read again.
///
/// A read that fails, or a file that ends before the length it had when it was opened, is remembered: whoever reads on
/// has to ask, since DCMTK takes a failed read for a pause and would try for ever.
class OpenFile {
  public:
    /// Something that is not a plain file, or cannot be opened, is a file without bytes. "-" is the file of that name.
    explicit OpenFile(const std::string& path);
    /// The same in the buffers of the caller, which have to outlive this.
    OpenFile(const std::string& path, FileBuffers& buffers);
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    /// Why there is no open file, in the system's words; empty when there is one, and for what is no plain file but a
    /// pipe.
    std::string reasonNotOpen() const;
    /// Bytes in the file when it was opened.
    std::uint64_t size() const { return mSize; }
    const std::string& path() const { return mPath; }

    /// Reads `count` bytes from an offset. @return their number: fewer at the end of the file, or when reading failed
    std::size_t read(void* into, std::size_t count, std::uint64_t offset);

    /// Room for who reads the file in small pieces.
    FileBuffers& buffers() { return mBuffers; }

    bool hasFailed() const { return mError != 0; }
    /// Why reading failed, in the system's words; empty when it did not.
    std::string failure() const;

  private:
    void open();
    std::size_t readDirectly(std::uint8_t* into, std::size_t count, std::uint64_t offset);

    std::unique_ptr<FileBuffers> mOwnBuffers{};
    FileBuffers& mBuffers;
    std::string mPath;
    int mDescriptor = -1;
    int mOpenError = 0;
    int mError = 0;
    std::uint64_t mSize = 0;
    std::size_t mHeadLength = 0;
};

} // namespace radvex

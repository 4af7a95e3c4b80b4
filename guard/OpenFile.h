#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace radvex {

/// A plain file, read at any place. Its beginning is read once and kept, so that who looks through the headers first
/// and who parses them then share one read; a small file is never read again.
///
/// A read that fails, or a file that ends before the length it had when it was opened, is remembered: whoever reads on
/// has to ask, since DCMTK takes a failed read for a pause and would try for ever.
class OpenFile {
  public:
    /// Something that is not a plain file, or cannot be opened, is a file without bytes. "-" is the file of that name.
    explicit OpenFile(const std::string& path);
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    /// Bytes in the file when it was opened.
    std::uint64_t size() const { return mSize; }
    const std::string& path() const { return mPath; }

    /// Reads `count` bytes from an offset. @return their number: fewer at the end of the file, or when reading failed
    std::size_t read(void* into, std::size_t count, std::uint64_t offset);

    bool hasFailed() const { return mError != 0; }
    /// Why reading failed, in the system's words; empty when it did not.
    std::string failure() const;

  private:
    std::size_t readDirectly(std::uint8_t* into, std::size_t count, std::uint64_t offset);

    /// Holds the headers of an ordinary image up to its pixels.
    static constexpr std::size_t kHead = std::size_t{16} * 1024;

    std::string mPath;
    int mDescriptor = -1;
    int mError = 0;
    std::uint64_t mSize = 0;
    std::size_t mHeadLength = 0;
    std::array<std::uint8_t, kHead> mHead;
};

} // namespace radvex

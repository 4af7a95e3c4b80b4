#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace radvex::media {

/// A plain file of which small pieces are read in ascending order. Nothing is read past the size that it had when it
/// was opened, and never more than one window of it is in memory.
class ScannedBytes {
  public:
    /// Does not wait for a pipe or device; neither is read.
    explicit ScannedBytes(const std::string& path);
    ~ScannedBytes();
    ScannedBytes(const ScannedBytes&) = delete;
    ScannedBytes& operator=(const ScannedBytes&) = delete;

    /// False if it is no plain file, cannot be opened, or a read failed.
    bool isGood() const { return mFile >= 0; }
    std::uint64_t size() const { return mSize; }

    /// The bytes from an offset; valid until the next call. Null if the file does not hold all of them.
    /// @param count  at most 4096
    const std::uint8_t* at(std::uint64_t offset, std::size_t count);

  private:
    bool fill(std::uint64_t offset);
    void close();

    int mFile = -1;
    std::uint64_t mSize = 0;
    std::uint64_t mStart = 0; ///< offset of the window
    std::vector<std::uint8_t> mWindow{};
};

} // namespace radvex::media

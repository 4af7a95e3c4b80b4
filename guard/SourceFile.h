#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace radvex {

/// A plain file that is read now, and later on for the values that were left in it.
///
/// While it is open, deleting the file or putting another one in its place changes nothing. A closed one is opened
/// again by its path and has to be the same file. A read that fails is remembered until it is forgotten: whoever reads
/// on has to ask, since DCMTK takes a failed read for a pause and would try for ever.
class SourceFile {
  public:
    /// Something that is not a plain file, or cannot be opened, is a file without bytes. "-" is the file of that name.
    explicit SourceFile(const std::string& path);
    ~SourceFile() { close(); }
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    void close();
    /// Why there is no open file, in the system's words; empty when there is one, and for what is no plain file but a
    /// pipe.
    std::string reasonNotOpen() const;
    /// Bytes in the file when it was opened.
    std::uint64_t size() const { return mSize; }
    const std::string& path() const { return mPath; }
    /// True when the path leads to this file, by whatever name or link.
    bool isAt(const std::string& path) const;

    /// Reads `count` bytes from an offset. @return their number: fewer at the end of the file, or when reading failed
    std::size_t read(void* into, std::size_t count, std::uint64_t offset);
    /// The same, but nothing of a file that was changed since it was opened, as its size and its times tell.
    std::size_t readUnchanged(void* into, std::size_t count, std::uint64_t offset);
    /// Opens the file again if it was closed. To be moved, deleted or linked does not count as a change.
    /// @return false, and failure() says why, when it is not as it was
    bool isUnchanged();
    /// Two changes within one tick of the system's clock leave the same time of modification: after this call, which
    /// takes some milliseconds for a file that was written just now, any change is seen by isUnchanged().
    void waitForNextTick() const;

    bool hasFailed() const { return mError != 0; }
    /// Why reading failed, in a few words; empty when it did not.
    std::string failure() const;
    void forgetFailure() { mError = 0; }

    /// Whether values were left in the file, to be read when they are first asked for.
    bool holdsValues() const { return mHoldsValues; }
    void setHoldsValues(bool holds) { mHoldsValues = holds; }

  private:
    void open();

    std::string mPath;
    int mDescriptor = -1;
    int mOpenError = 0;
    int mError = 0;
    std::uint64_t mSize = 0;
    dev_t mDevice = 0;
    ino_t mInode = 0;
    nlink_t mLinks = 0;
    timespec mModified{};
    timespec mChanged{}; ///< of the file or of what is said of it
    bool mHoldsValues = false;
};

} // namespace radvex

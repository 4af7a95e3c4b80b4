#pragma once

#include <cstddef>

namespace radvex::workers {

/// Memory that this process shares with those forked from it later. Address space is reserved for as much as the
/// machine can hold; a page costs nothing before it is written.
class SharedMemory {
  public:
    /// @param isShared  false: only this process writes, which allows the system to use larger pages
    /// @throws Error  the system gives no memory
    explicit SharedMemory(bool isShared);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// Takes a block, aligned for every type; two processes never get the same one. Blocks are freed only all at once.
    /// @throws Error  not enough is left
    std::byte* allocate(std::size_t bytes);
    /// Returns the pages of a block that is no longer used to the system; its addresses stay taken.
    void releasePages(std::byte* block, std::size_t bytes);
    /// Frees all blocks; the next ones reuse their pages. No process may use a block after this.
    void clear();

    /// The offset by which a process tells another one about an address.
    std::size_t offsetOf(const std::byte* address) const { return static_cast<std::size_t>(address - mMemory); }
    /// The address of these bytes. @throws Error  they do not lie inside the memory that was taken
    std::byte* at(std::size_t offset, std::size_t bytes) const;

  private:
    bool mIsShared;
    std::size_t mCapacity = 0;
    std::byte* mMemory = nullptr;
};

/// Makes this process, and those forked from it, keep freed memory. By default, large blocks go back to the system
/// after each file, and the next file has to fetch them again page by page.
void keepMemoryBetweenFiles();

} // namespace radvex::workers

#pragma once

#include <cstddef>

namespace radvex::workers {

/// Memory that this process and those forked later fill and read together. Room for all that the machine could hold is
/// only promised at first; a page costs nothing before it is written.
class SharedMemory {
  public:
    /// @param isShared  false: nobody else writes, which leaves the system larger pages to give
    /// @throws Error  there is none
    explicit SharedMemory(bool isShared);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// Takes a block, aligned for every type; two processes never get the same. Nobody gives one back alone.
    /// @throws Error  that much is not left
    std::byte* allocate(std::size_t bytes);
    /// Gives back the pages of a block that nobody uses any more; its place stays taken.
    void empty(std::byte* block, std::size_t bytes);
    /// Gives back the places of all blocks, with what pages they have. No process may use one any more.
    void clear();

    /// How a process names a place to another.
    std::size_t offsetOf(const std::byte* place) const { return static_cast<std::size_t>(place - mMemory); }
    /// @throws Error  no block is that long from there
    std::byte* at(std::size_t offset, std::size_t bytes) const;

  private:
    bool mIsShared;
    std::size_t mCapacity = 0;
    std::byte* mMemory = nullptr;
};

/// The pixels of each file would go back to the system, to be fetched anew page by page for the next one: this process
/// and those that it starts keep what they have taken.
void keepMemoryBetweenFiles();

} // namespace radvex::workers

#pragma once

#include <cstdint>
#include <vector>

namespace radvex {

/// The records of a DICOMDIR, which lie flat in the file and refer to each other by offset. DCMTK makes a tree of them
/// by recursion along the references to lower levels.
class DirectoryLevels {
  public:
    /// A record by its offset in the file, with the offsets that it refers to; 0 refers to none.
    void add(std::uint32_t offset, std::uint32_t lower, std::uint32_t next);

    /// True when the tree that begins at a record has more levels. Its own level is the first, and a reference to
    /// nothing counts as one to a record. It ends, as DCMTK does, where a record is met again.
    bool exceed(std::size_t levels, std::uint32_t firstRecord);

  private:
    struct Record {
        std::uint32_t offset;
        std::uint32_t lower;
        std::uint32_t next;
        bool isVisited;
    };

    Record* find(std::uint32_t offset);

    std::vector<Record> mRecords{};
};

} // namespace radvex

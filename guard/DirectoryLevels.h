#pragma once

#include <cstdint>
#include <vector>

namespace radvex {

/// The records of a DICOMDIR. In the file they are a flat list and refer to each other by offset; DCMTK builds a tree
/// of them, with a recursion for each reference to a lower level.
class DirectoryLevels {
  public:
    /// Adds a record: its own offset in the file, and the offsets to which it refers. 0 is no reference.
    void add(std::uint32_t offset, std::uint32_t lower, std::uint32_t next);

    /// True when the tree from `firstRecord` on has more than `levels` levels. The first record is on level 1. A
    /// reference to an offset without a record counts as a level. Like DCMTK's, the walk ends at a record that it has
    /// met before.
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

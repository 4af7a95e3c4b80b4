#include "guard/DirectoryLevels.h"

#include <algorithm>

namespace radvex {

void DirectoryLevels::add(std::uint32_t offset, std::uint32_t lower, std::uint32_t next) {
    if (lower != 0 || next != 0) { // a record without references needs no memory; there may be millions of them
        mRecords.push_back({offset, lower, next, false});
    }
}

DirectoryLevels::Record* DirectoryLevels::find(std::uint32_t offset) {
    const auto isBefore = [](std::uint32_t wanted, const Record& record) { return wanted < record.offset; };
    const auto after = std::upper_bound(mRecords.begin(), mRecords.end(), offset, isBefore);
    return offset == 0 || after == mRecords.begin() || (after - 1)->offset != offset ? nullptr : &*(after - 1);
}

bool DirectoryLevels::exceed(std::size_t levels, std::uint32_t firstRecord) {
    // Beyond 4 GiB several records have the same offset of 32 bits. DCMTK then takes the last one, and so does find.
    std::stable_sort(mRecords.begin(), mRecords.end(),
                     [](const Record& a, const Record& b) { return a.offset < b.offset; });
    std::vector<std::uint32_t> siblings{firstRecord}; // for each open level the next record
    while (!siblings.empty()) {
        const std::uint32_t offset = siblings.back();
        if (offset != 0 && siblings.size() > levels) {
            return true;
        }
        Record* record = find(offset);
        if (record == nullptr) {
            siblings.pop_back();
            continue;
        }
        if (record->isVisited) { // DCMTK stops building the tree
            return false;
        }
        record->isVisited = true;
        siblings.back() = record->next;
        siblings.push_back(record->lower);
    }
    return false;
}

} // namespace radvex

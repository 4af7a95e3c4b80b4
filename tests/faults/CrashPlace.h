#pragma once

#include <array>
#include <string>

namespace radvex::test {

/// Where a process died, kept in memory that outlives it. Addresses are good in the process that it was forked from.
struct CrashPlace {
    std::array<void*, 32> frames;
    int count;
};

/// From here on a fatal signal of this process is noted there, innermost frame first, and then kills as before. Works
/// where the stack is used up.
void catchCrashes(CrashPlace& place);

/// Functions from the innermost outwards, without those of the C and C++ libraries: "DcmItem::read < DcmDataset::read".
/// Functions without a name appear as module and offset, but for DCMTK's, which are left out.
std::string describe(const CrashPlace& place);

} // namespace radvex::test

#pragma once

#include <array>
#include <string>

namespace radvex::test {

/// The calls in which a process died, kept in memory that outlives it. Addresses are good in the process that it was
/// forked from.
struct CrashStack {
    std::array<void*, 32> frames;
    int count;
};

/// From here on a fatal signal of this process is noted there, innermost frame first, and then kills as before. Works
/// where the stack is used up.
void catchCrashes(CrashStack& stack);

/// Functions from the innermost outwards, without those of the C and C++ libraries: "DcmItem::read < DcmDataset::read".
/// Functions without a name appear as module and offset, but for DCMTK's, which are left out.
std::string describe(const CrashStack& stack);

} // namespace radvex::test

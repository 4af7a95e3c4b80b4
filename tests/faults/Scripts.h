#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/Host.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::faults {

/// What the calls of a script gave.
struct Outcome {
    std::vector<int> codes{};             ///< of each call; 0 for success
    std::vector<std::uint64_t> digests{}; ///< of each result; 0 where there is none

    bool operator==(const Outcome&) const = default;
};

/// Exported calls that are made one after the other, whether earlier ones fail or not.
struct Script {
    std::string name;
    /// The library is loaded and initialized by the script itself.
    bool loads = false;
    std::function<Outcome(velmora::Host&)> run;
    /// By contract the result leaves out what cannot be read of a directory.
    bool leavesOut = false;
    /// Later calls read what earlier ones write.
    bool writes = false;
    /// A refusal of memory is never told as pixels that cannot be opened.
    bool tellsMemoryApart = false;
};

/// The files that the scripts work on.
class ScriptFiles {
  public:
    ScriptFiles();

    std::string path(const std::string& name) const { return mFolder.file(name); }

  private:
    test::TemporaryFolder mFolder{};
};

/// All scripts. Readers and the files they opened are closed at the end of each.
std::vector<Script> scriptsFor(const ScriptFiles& files);

} // namespace radvex::faults

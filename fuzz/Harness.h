#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "cli/Session.h"
#include "host/Host.h"

namespace radvex::fuzz {

using Bytes = std::span<const unsigned char>;

/// The library in a host, and a folder for the files of one input. One in a process; it lives to the end.
///
/// The host may read and write in that folder and nowhere else: inputs name files too.
class Harness {
  public:
    static Harness& instance();

    velmora::Host& host() { return mSession.host(); }
    cli::Session& session() { return mSession; }

    /// Writes a file of these bytes into the folder and gives its path. It is gone when the input is finished.
    std::string write(const std::string& name, Bytes bytes);
    /// Path of a file that an input may come to write into the folder. It is gone when the input is finished.
    std::string claim(const std::string& name);
    /// Path in the folder.
    std::string path(const std::string& name) const { return mFolder + "/" + name; }

    /// Calls a function of the library. Null when it refuses; an error is as good an answer as a result.
    velmora::Value call(const std::string& name, const std::vector<velmora::Value>& arguments = {});

    /// The same for a function that reads a file which the library wrote.
    /// @throws std::runtime_error  it cannot be opened
    velmora::Value callOnOwn(const std::string& name, const std::vector<velmora::Value>& arguments);

    /// Ends an input: no reader stays open, no file stays.
    /// @throws std::runtime_error  something of the host's is still alive, or the library broke a rule of ownership
    void finish();

  private:
    Harness();
    static void checkNothingIsLeft(TTEnvironment environment, long aliveBefore);

    std::string mFolder{};
    std::vector<std::string> mFiles{};
    cli::Session mSession{};
    long mAliveAtStart = 0;
};

} // namespace radvex::fuzz

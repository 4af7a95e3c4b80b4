#pragma once

#include <memory>
#include <string>

#include "files/Errors.h"
#include "host/Host.h"

namespace radvex::cli {

/// Writes one line to standard error: "radvex: message".
void printError(const std::string& message);

/// One run of the command. Loads the library at its first use.
class Session {
  public:
    /// Path of the library; empty: it is searched for beside the command.
    std::string libraryPath{};

    velmora::Host& host();

    /// Runs `body`. An error of the library is printed and makes the status 1, so that a command can go on with its
    /// next file. `what` is put in front of the message when it is not empty.
    template <typename Body>
    void attempt(const std::string& what, Body body) {
        try {
            body();
        } catch (const velmora::LibraryError& error) {
            reportRefusal(what, error.what());
        }
    }

    void reportRefusal(const std::string& what, const std::string& message);
    /// Makes the status 1 without a message.
    void refuse() { mStatus = kRefused; }
    /// Makes the status 3 unless it is 1: everything was done but for files that were named.
    void refusePart() { mStatus = mStatus == kDone ? kPartly : mStatus; }
    int status() const { return mStatus; }

  private:
    static std::string findLibrary();

    std::unique_ptr<velmora::Host> mHost{};
    int mStatus = kDone;
};

} // namespace radvex::cli

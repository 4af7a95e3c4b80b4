#pragma once

#include <memory>
#include <string>

#include "files/Errors.h"
#include "host/Host.h"

namespace radvex::cli {

/// Writes one line to standard error: "radvex: message".
void printError(const std::string& message);

/// One run of the command: loads the library when it is first needed.
class Session {
  public:
    /// Path of the library; by default it is looked for beside the command.
    std::string libraryPath{};

    velmora::Host& host();

    /// Runs `body`; an error of the library is printed, and makes the run end with status 1. For commands that take
    /// several files: the others go on. `what` stands in front of the message when it is not empty.
    template <typename Body>
    void attempt(const std::string& what, Body body) {
        try {
            body();
        } catch (const velmora::LibraryError& error) {
            reportRefusal(what, error.what());
        }
    }

    void reportRefusal(const std::string& what, const std::string& message);
    int status() const { return mStatus; }

  private:
    static std::string findLibrary();

    std::unique_ptr<velmora::Host> mHost{};
    int mStatus = kDone;
};

} // namespace radvex::cli

#pragma once

#include <memory>
#include <string>

#include "files/Errors.h"
#include "host/Host.h"
#include "media/scan/FileDiagnosis.h"

namespace radvex::cli {

/// Writes one line to standard error: "radvex: message".
void printError(const std::string& message);

/// One run of the command. Loads the library at its first use.
class Session {
  public:
    /// Path of the library; empty: it is searched for beside the command.
    std::string libraryPath{};

    velmora::Host& host();
    /// The path of the library. @throws HostError  it is not beside the command
    std::string library() const { return libraryPath.empty() ? findLibrary() : libraryPath; }

    /// Runs `body`. An error of the library is printed and makes the status 1, so that a command can go on with its
    /// next work. `what` is put in front of the message when it is not empty.
    template <typename Body>
    void attempt(const std::string& what, Body body) {
        try {
            body();
        } catch (const velmora::LibraryError& error) {
            reportRefusal(what, error.what());
        }
    }

    /// The same for what is done with one file. When the library fails for it, the file is looked at, and what is
    /// found is said in place of the library's message.
    template <typename Body>
    void attemptFile(const std::string& file, Body body) {
        try {
            body();
        } catch (const velmora::LibraryError& error) {
            reportRefusal("", media::explain(error, file, file));
        }
    }

    /// Prints a message and makes the status 1. `what` is put in front of it when it is not empty, and when the message
    /// does not begin with it anyway.
    void reportRefusal(const std::string& what, const std::string& message);
    /// The same for one of several files, without a change of the status: see endFiles.
    static void reportFile(const std::string& what, const std::string& message);
    /// Sets the status after several files: 1 if none was done, 3 if some were and others, which were named, not.
    void endFiles(std::size_t doneCount, std::size_t failedCount);
    /// Makes the status 1 without a message.
    void refuse() { mStatus = kRefused; }
    /// Makes the status 3, unless it is 1 already: files that were named are not in the result.
    void leaveOut() { mStatus = mStatus == kDone ? kPartly : mStatus; }
    int status() const { return mStatus; }

  private:
    static std::string findLibrary();

    std::unique_ptr<velmora::Host> mHost{};
    int mStatus = kDone;
};

} // namespace radvex::cli

#pragma once

#include <optional>
#include <string>

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"
#include "media/PartialFile.h"

namespace radvex::cli {

/// A file that is read as it is, or, if it ends too early and --partial is given, as far as it goes.
class ReadableFile {
  public:
    /// @throws FileError  no copy with what is there can be made
    ReadableFile(const std::string& file, bool isPartial);

    /// What the library reads: the file, or a repaired copy.
    const std::string& path() const { return mPath; }
    /// "X is cut off at byte N of M: what follows is partial."; empty for a whole file.
    const std::string& notice() const { return mNotice; }

    /// Calls `body` with the path. An error of the library names the file and not its copy.
    template <typename Body>
    auto read(Body body) const {
        try {
            return body(mPath);
        } catch (const velmora::LibraryError& error) {
            throw velmora::LibraryError(error.code(), error.name(), inWordsOfTheFile(error.what()));
        }
    }

  private:
    std::string inWordsOfTheFile(std::string message) const;

    std::string mFile;
    std::string mPath;
    std::string mNotice{};
    std::optional<media::PartialFile> mCopy{};
};

/// --partial of a command.
struct PartialOption {
    bool isGiven = false;

    void addTo(const CommandLine& command);
    /// Says that what follows of a file is partial, which makes the status 3. Nothing is said of a whole file.
    static void tell(Session& session, const std::string& notice);
    /// What tell says of a file. @return empty without --partial, and for a whole file
    std::string noticeOf(const std::string& file) const;
};

} // namespace radvex::cli

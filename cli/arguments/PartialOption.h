#pragma once

#include <functional>
#include <optional>
#include <string>

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"
#include "files/StagingFolder.h"
#include "media/scan/PartialFile.h"

namespace radvex::cli {

/// A file that is read as it is, or, if it ends too early and --partial is given, as far as it goes.
class ReadableFile {
  public:
    explicit ReadableFile(const std::string& file) : mFile(file), mPath(file) {}
    /// Makes a repaired copy if the file is cut off. @throws FileError
    ReadableFile(const std::string& file, const std::string& copy);

    /// What is wrong with the file, for PartialOption::tell; empty for a whole file.
    const std::string& notice() const { return mNotice; }

    /// Calls `body` with the path that the library reads: of the file, or of its copy. An error of the library names
    /// the file and not its copy.
    template <typename Body>
    auto read(Body body) const {
        try {
            return body(mPath);
        } catch (const velmora::LibraryError& error) {
            throw velmora::LibraryError(error.code(), error.name(), inWordsOfTheFile(error.what()));
        } catch (const FileError& error) {
            throw FileError(inWordsOfTheFile(error.what()));
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
    /// Calls `body` with what the library reads of a single file, and says if that is only a part of it. What is wrong
    /// with the file is said in the user's words.
    void read(Session& session, const std::string& file,
              const std::function<void(const std::string& path)>& body) const;
    /// "X is cut off at byte N of M: what follows is partial." Empty without --partial, and for a whole file.
    std::string noticeOf(const std::string& file) const;
};

/// Opens the files of a command. To be made before other processes are: the copies then go with this process, even if
/// the one that reads a copy crashes.
class FileOpener {
  public:
    /// @throws FileError  there is no place for copies
    explicit FileOpener(const PartialOption& option);

    ReadableFile open(const std::string& file);

  private:
    std::optional<files::StagingFolder> mFolder{};
    std::size_t mCount = 0;
};

} // namespace radvex::cli

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"

namespace radvex::cli {

/// One or more files of a command. Not a list option of CLI11, which would split a file name like "[a,b]". A word
/// "@LIST" stands for the files that LIST names, one a line; with -0 the standard input names more, with a zero
/// character behind each, as `find -print0` prints them.
class FileArguments {
  public:
    /// Adds the files and -0.
    void addTo(const CommandLine& command, const std::string& name = "FILE",
               const std::string& description = "DICOM file; more may follow");

    /// The files in the order in which they were given; those of the standard input come last.
    /// @throws UsageError  a word looks like an unknown option, or no file is given
    /// @throws FileError   a list cannot be read, or names no file
    std::vector<std::string> all() const;

  private:
    void append(std::vector<std::string>& files, const std::string& word) const;

    std::optional<CommandLine> mCommand{};
    std::string mName{};
    std::string mFirst{};
    bool mFromInput = false;
};

/// How a command reads several independent files: in processes of their own. When a file ends the process that reads
/// it, the file is named and the others go on. A single file is read in this process.
class FileJobs {
  public:
    /// Adds --jobs.
    void addTo(const CommandLine& command);

    /// Number of processes; without --jobs the number of cores. 0: all files are read in this process.
    std::size_t count() const;

    /// Returns the text for a file. Runs in another process when there are several files.
    using Read = std::function<std::string(const std::string& file)>;
    /// Prints that text. Runs in this process, in the order of the files.
    using Print = std::function<void(const std::string& file, const std::string& text)>;

    /// Prints what is wrong with a file that cannot be read, or how the process that read it ended. The session's
    /// status becomes 1 if no file was read, 3 if some were.
    /// @param namesFile  whether to put the file in front of the library's message
    void forEach(Session& session, const std::vector<std::string>& files, bool namesFile, const Read& read,
                 const Print& print) const;

  private:
    std::optional<std::size_t> mGiven{};
};

/// How two paths lie to each other, links followed.
enum class Nesting { Apart, Same, FirstInSecond, SecondInFirst };
Nesting nestingOf(const std::string& first, const std::string& second);

/// At least four digits, so that numbered files sort in the order of their numbers: "0007".
std::string fileNumber(std::size_t number);

} // namespace radvex::cli

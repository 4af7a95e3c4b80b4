#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Session.h"
#include "Workers.h"

namespace radvex::cli {

/// What is said of a file when the process that had it ended.
std::string endOfReader(const WorkResult& result);

/// How a command reads several files that have nothing to do with each other: in processes of their own, so that a file
/// that takes its reader down is named and the others go on. A single file is read in this process.
class FileJobs {
  public:
    /// Adds --jobs.
    void addTo(const CommandLine& command);

    /// Processes at a time, one by core when nothing else was asked for. 0: all files in this process.
    std::size_t count() const;

    /// What is read of a place as a whole, by another process, which it may take down. With no processes, by this one.
    /// @throws FileError  a sentence: the library's, or how the process ended
    std::string readAlone(Session& session, const std::string& place, const std::function<std::string()>& read) const;

    /// What is said of a file; runs in another process when there are several.
    using Read = std::function<std::string(const std::string& file)>;
    /// Prints it; runs in this process, file after file in their order.
    using Print = std::function<void(const std::string& file, const std::string& text)>;

    /// An error of the library is printed, and so is the end of a process; both make the session's status 1.
    /// @param namesFile  whether the file is put in front of the library's message
    void forEach(Session& session, const std::vector<std::string>& files, bool namesFile, const Read& read,
                 const Print& print) const;

  private:
    std::optional<std::size_t> mGiven{};
};

} // namespace radvex::cli

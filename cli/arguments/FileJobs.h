#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Session.h"
#include "cli/arguments/CommandLine.h"

namespace radvex::cli {

/// How a command reads several files that have nothing to do with each other: in processes of their own, so that a file
/// that takes its reader down is named and the others go on. A single file is read in this process.
class FileJobs {
  public:
    /// Adds --jobs.
    void addTo(const CommandLine& command);

    /// Processes at a time, one by core when nothing else was asked for. 0: all files in this process.
    std::size_t count() const;

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

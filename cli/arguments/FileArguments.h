#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"

namespace radvex::cli {

/// One or more files of a command. Not a list option: CLI11 takes a word like "[a,b]" apart there, and that is a file
/// name too.
class FileArguments {
  public:
    void addTo(const CommandLine& command, const std::string& name = "FILE",
               const std::string& description = "DICOM file; more may follow");

    /// The files in order. @throws UsageError  for a word that looks like an unknown option
    std::vector<std::string> all() const;

  private:
    std::optional<CommandLine> mCommand{};
    std::string mFirst{};
};

} // namespace radvex::cli

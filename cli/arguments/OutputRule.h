#pragma once

#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"
#include "files/OutputFile.h"

namespace radvex::cli {

/// The one rule of all commands for what they write: nothing that they read is ever replaced, and nothing else without
/// --force.
class OutputRule {
  public:
    /// Adds --force. @param more  what else it allows, as a further sentence of the help text
    void addTo(const CommandLine& command, const std::string& more = "");

    bool isForced() const { return mIsForced; }
    files::Output to(const std::string& path) const {
        return {path, mIsForced ? files::Existing::MayBeReplaced : files::Existing::Stays};
    }

    /// To be called before anything is read or written. Empty paths and "-" are ignored.
    /// @param inputs  files that the command reads; a folder or a DICOMDIR stands for all DICOM files in it
    /// @throws FileError  an output is an input, whatever link leads to it, or may not be written
    void check(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs) const;

    /// The same for a folder to write into. @throws FileError  it is no folder, or has files already
    void checkFolder(const std::string& folder) const;

  private:
    bool mIsForced = false;
};

} // namespace radvex::cli

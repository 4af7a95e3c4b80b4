#pragma once

#include <memory>
#include <string>

#include "cli/arguments/CommandLine.h"
#include "cli/arguments/FileJobs.h"
#include "media/Medium.h"
#include "media/MediumTree.h"

namespace radvex::cli {

/// --patient, --study and --series of a command.
struct SelectionOptions : media::Selection {
    void addTo(const CommandLine& command);
    /// @throws UsageError  a pattern that cannot be used
    void check() const;
};

/// Opens a medium or a plain folder; says on standard error what of the folder is left out.
std::unique_ptr<media::Medium> openMedium(const std::string& place, const FileJobs& jobs);

/// @throws UsageError  the pattern of an option cannot be used
void checkPattern(const char* option, const std::string& pattern);

} // namespace radvex::cli

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"
#include "cli/arguments/Files.h"
#include "media/Medium.h"
#include "media/MediumTree.h"
#include "media/Rendering.h"

namespace radvex::cli {

/// --patient, --study and --series of a command.
struct SelectionOptions : media::Selection {
    void addTo(const CommandLine& command);
    /// @throws UsageError  a pattern cannot be used
    void check() const;
    /// Whether any of the options was given.
    bool isGiven() const;
};

/// Says on standard error what is left out of a listing or an index. What is no DICOM file is not worth a word with
/// --quiet.
void tellLeftOut(const media::LeftOut& leftOut);

/// Opens a medium or a plain folder. Files of the folder that are left out are named on standard error.
std::unique_ptr<media::Medium> openMedium(const std::string& path, const FileJobs& jobs);

/// The same for a list of what the medium holds: files that are left out of it make the status 3.
std::unique_ptr<media::Medium> openListedMedium(Session& session, const std::string& path, const FileJobs& jobs);

/// Says on standard error what volume::doubtsAbout finds about the first file of a series that gives rise to doubts.
/// @param files  one of each series, read in a process of their own if there may be any
void warnAboutWindow(velmora::Host& host, const std::vector<std::string>& files, const media::Rendering& rendering,
                     const FileJobs& jobs);

/// @throws UsageError  the pattern of an option cannot be used
void checkPattern(const char* option, const std::string& pattern);

} // namespace radvex::cli

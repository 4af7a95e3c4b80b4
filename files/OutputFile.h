#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

namespace radvex::files {

/// What becomes of a file that has the name of a new one.
enum class Existing { Stays, MayBeReplaced };

/// A file to write. "-" is the standard output.
struct Output {
    // Not explicit: a path alone is the output that replaces nothing.
    Output(std::string newPath, Existing rule = Existing::Stays) : path(std::move(newPath)), existing(rule) {}
    Output(const char* newPath) : path(newPath) {}

    std::string path;
    Existing existing = Existing::Stays;
};

/// @throws FileError  the path exists, and may not be replaced or is no regular file
void requireWritable(const Output& output);

/// Writes a file in a staging folder beside it and renames it once it is complete, so that a failure leaves an existing
/// file as it was.
/// @param write  receives the open file; returns false when it failed
/// @throws FileError
void writeOutputFile(const Output& output, const std::function<bool(std::FILE*)>& write);

/// The same with a text. @throws FileError
void writeOutputText(const Output& output, const std::string& text);

/// The same for a writer that needs a path. If it throws, nothing is left behind, and a full disk is told instead. For
/// "-" the complete file is copied to the standard output.
/// @param write  receives the path of the file to make, which does not exist yet
/// @throws FileError
void writeOutputPath(const Output& output, const std::function<void(const std::string& temporary)>& write);

/// Makes the file in the folder for temporary files, where `look` may read it, and removes it. Refuses what
/// writeOutputPath would refuse; nothing is made or changed where the output would be.
/// @throws FileError
void rehearseOutputPath(const Output& output, const std::function<void(const std::string& temporary)>& write,
                        const std::function<void(const std::string& temporary)>& look);

/// Whether files can be made in a folder. @return 0, or the system's reason why not
int whyNotWritable(const std::string& folder);

/// Whether a file that a writer gave up could have become longer: DCMTK does not tell why a write failed.
/// @return 0, or the system's reason why not
int whyNotLonger(const std::string& file);

} // namespace radvex::files

#pragma once

#include <string>

namespace radvex::files {

/// From now on, a signal that ends this process (of the terminal, SIGTERM, or a pipe that nobody reads) first removes
/// the folders noted below, with everything in them, and then ends the process as it would have. Signals that are
/// ignored stay ignored. For a program's main function: a library must not change the signals of its process.
void removeFoldersOnEndSignals();

/// Notes a folder that no end of this process may leave behind. Forked processes leave it alone.
/// @return what forgetFolder takes; -1 if too many folders are noted or the path is too long
int noteFolder(const std::string& path);
void forgetFolder(int note);

} // namespace radvex::files

#pragma once

#include <string>

namespace radvex::cli {

// A file is written in the one format that a command has, whatever its name. So a name that promises another format is
// refused, before anything is read.

/// @param path  of a picture, which will be PNG; "-" and names without a known ending pass
/// @throws UsageError  the name ends like another format of pictures: "out.jpg"
void requirePictureName(const std::string& path);

/// @param path  of values, which will be .npy; "-" and names without a known ending pass
/// @throws UsageError  the name ends like another format: "out.txt"
void requireArrayName(const std::string& path);

/// @param path  of a folder for pictures; one that is there may have any name
/// @throws UsageError  the name ends like that of a picture
void requireFolderName(const std::string& path);

} // namespace radvex::cli

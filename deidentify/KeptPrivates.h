#pragma once

#include <set>
#include <string>

#include "deidentify/Anonymization.h"

namespace radvex::deidentify {

/// Reads the private attributes that may stay: a JSON object of private creators and lists of tags,
/// {"SIEMENS MR HEADER": ["0019,xx0C", "0019,xx0D"]}. The block that a file reserves stands for "xx".
/// @throws FileError  it cannot be read  @throws JsonError  a sentence that names the file
std::set<KeptPrivate> readKeptPrivates(const std::string& path);

} // namespace radvex::deidentify

#pragma once

#include <functional>
#include <string>

#include "deidentify/identifiers/IdentifierFinder.h"
#include "deidentify/rewriting/TextCleaner.h"

namespace radvex::deidentify {

/// A path without identifiers: those in its parts get what `newText` says. A part that could be a File ID of a medium
/// (PS3.10, 8.2: eight capital letters, digits and underscores at most) stays one.
/// @param path      relative, with '/' between the parts, in UTF-8 or Latin-1
/// @param shortWord eight characters that stand for a word in names, always the same ones for the same word
std::string pathWithoutIdentifiers(const std::string& path, const IdentifierFinder& finder,
                                   const TextCleaner::NewText& newText,
                                   const std::function<std::string(const std::string& word)>& shortWord);

} // namespace radvex::deidentify

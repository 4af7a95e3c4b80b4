#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/CodedSets.h"

namespace radvex::text {

/// What becomes of bytes that are in no character set.
enum class NoCharacter { Refuse, Replace, ReplaceOrGuess };

/// Text that changes its character set by escape sequences (PS3.5, 6.1.2.5), as UTF-8. Every set of the standard is
/// read, whether the file names it or not: DCMTK's conversion knows no Japanese set of two bytes when it uses ICU, and
/// refuses escapes that the file does not announce.
/// @param bytes        of a type that has a character set
/// @param sets         the first of them hold before the first escape
/// @param delimiters   characters behind which those hold again
/// @param noCharacter  Refuse: the result is nothing then; Replace: each becomes U+FFFD, escapes of no known set go;
///                     ReplaceOrGuess: but bytes before the first escape for which there is no set are taken for
///                     Latin 1
/// @throws std::bad_alloc
std::optional<std::string> utf8FromEscapes(std::string_view bytes, const DeclaredSets& sets,
                                           std::string_view delimiters, NoCharacter noCharacter,
                                           Converters& converters);

} // namespace radvex::text

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "formats/json/Attributes.h"

namespace radvex::media {

/// A text that a new file gets beside its attributes, at their top: a default value, a label of an overlay.
struct AddedText {
    std::string vr{};
    std::string text{};
};

/// Puts texts that are not ASCII into the character sets that the attributes name, each into that of its item or of the
/// items around it. When one of them does not fit, or no attribute names a set, all become or stay UTF-8, and
/// SpecificCharacterSet says so. Bytes stay as they are; those in a file that becomes UTF-8 become UTF-8 too.
/// @param added  as UTF-8; they become what the file gets
/// @throws FileError  some bytes are in no character set, in a file that has to become UTF-8
void encodeTexts(formats::Attributes& attributes, std::vector<AddedText>& added, formats::Dictionary& dictionary);

/// Bytes in a character set as UTF-8, with U+FFFD for each byte that is in none.
/// @param vr            two letters
/// @param characterSet  value of SpecificCharacterSet; empty for the default
std::string withReplacements(const std::string& bytes, const std::string& vr, const std::string& characterSet);

// Entries of radvexDatasets.so, with the result in the last argument.

/// UTF-8 in a character set, or what is in one as UTF-8; nothing when that cannot be.
using ConvertTextEntry = void (*)(const std::string& text, const std::string& vr, const std::string& characterSet,
                                  std::optional<std::string>& converted);

inline constexpr const char* kEncodeTextEntry = "radvexEncodeText";
inline constexpr const char* kDecodeTextEntry = "radvexDecodeText";
inline constexpr const char* kReplaceTextEntry = "radvexReplaceText";

} // namespace radvex::media

#pragma once

#include <optional>
#include <string>

namespace radvex::media {

/// UTF-8 as bytes in a character set; nothing when it does not fit.
/// @param vr            two letters
/// @param characterSet  value of SpecificCharacterSet; empty for the default
std::optional<std::string> encodedText(const std::string& text, const std::string& vr, const std::string& characterSet);
/// The way back; nothing when the bytes are in no character set.
std::optional<std::string> decodedText(const std::string& bytes, const std::string& vr,
                                       const std::string& characterSet);

/// The same, with U+FFFD for each byte that is in no character set.
std::string replacedText(const std::string& bytes, const std::string& vr, const std::string& characterSet);

} // namespace radvex::media

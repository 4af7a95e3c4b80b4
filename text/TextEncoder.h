#pragma once

#include <optional>
#include <string>

#include "text/TextDecoder.h"

namespace radvex::text {

/// Puts texts into the character set of a file, with the escape sequences that change it where it has several.
class TextEncoder {
  public:
    /// @param decoder  reads back what is made: only what comes back the same counts
    explicit TextEncoder(TextDecoder& decoder) : mDecoder(decoder) {}

    /// The text in the character set; nothing when it does not fit. A text that changes its set is in the first one
    /// again before each delimiter, control character and the end (PS3.5, 6.1.2.5.3).
    /// @param text          UTF-8
    /// @param characterSet  value of SpecificCharacterSet where the element stands; empty for the default
    /// @throws std::bad_alloc
    std::optional<std::string> encoded(const std::string& text, DcmEVR vr, const std::string& characterSet);

  private:
    std::optional<std::string> encodedWhole(const std::string& text, const char* encoding);

    TextDecoder& mDecoder;
    Converters mConverters{};
};

} // namespace radvex::text

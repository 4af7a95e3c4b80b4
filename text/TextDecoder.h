#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcspchrs.h"
#include "dcmtk/dcmdata/dcvr.h"
#include "text/CodedSets.h"
#include "text/Converters.h"

namespace radvex::text {

/// Whether the character set of the dataset matters for the type (PS3.5, 6.1.2.3).
bool hasCharacterSet(DcmEVR vr);

/// Whether the bytes are the same text in every character set: ASCII, and no escape sequence.
bool hasOneReading(std::string_view text);
bool isUtf8(std::string_view text);
std::string latin1AsUtf8(std::string_view bytes);

/// Characters behind which a text of the type is in the first of its character sets again (PS3.5, 6.1.2.5.3); control
/// characters are others.
std::string_view delimitersOf(DcmEVR vr);

/// Turns texts into UTF-8. Character sets that were needed stay prepared. What DCMTK converts, it converts; its
/// refusals are what we read ourselves.
class TextDecoder {
  public:
    /// Text of the type as UTF-8, whatever bytes it holds: what the character set does not explain is taken for UTF-8,
    /// or else for Latin 1.
    /// @param characterSet  value of SpecificCharacterSet where the element stands; empty for the default
    /// @throws std::bad_alloc  as all of these
    std::string utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet);

    /// The same without a guess: each byte that the character set does not explain becomes U+FFFD.
    std::string withReplacements(const std::string& bytes, DcmEVR vr, const std::string& characterSet);

    /// The same; nothing where there is such a byte.
    std::optional<std::string> known(const std::string& bytes, DcmEVR vr, const std::string& characterSet);

    /// Text of a type with a character set, as the conversion of a whole dataset makes it: what is ASCII stays as it
    /// is, with escapes that its set does not know; what is in no character set is nothing.
    std::optional<std::string> converted(const std::string& bytes, DcmEVR vr, const std::string& characterSet);
    /// Whether every value of the character set is known.
    bool isKnown(const std::string& characterSet);

  private:
    /// One value of SpecificCharacterSet.
    struct Reading {
        std::unique_ptr<DcmSpecificCharacterSet> dcmtk{}; ///< null where DCMTK refuses it
        DeclaredSets sets{};
    };

    Reading& readingOf(const std::string& characterSet);
    std::string wholeWithReplacements(const char* encoding, std::string_view bytes);
    static std::optional<std::string> byDcmtk(Reading& reading, const std::string& bytes, DcmEVR vr);
    std::optional<std::string> bySets(const Reading& reading, const std::string& bytes, DcmEVR vr);

    std::map<std::string, Reading> mReadings{};
    Converters mConverters{};
};

} // namespace radvex::text

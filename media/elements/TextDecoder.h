#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcspchrs.h"
#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::media {

/// Whether the character set of the dataset matters for the type (PS3.5, 6.1.2.3).
bool hasCharacterSet(DcmEVR vr);

/// Whether the bytes are the same text in every character set: ASCII, and no escape sequence.
bool hasOneReading(std::string_view text);
bool isUtf8(std::string_view text);
std::string latin1AsUtf8(std::string_view bytes);

/// Turns texts into UTF-8. Character sets that were needed stay prepared.
class TextDecoder {
  public:
    /// Text of the type as UTF-8, whatever bytes it holds: what the character set does not explain is taken for UTF-8,
    /// or else for Latin 1.
    /// @param characterSet  value of SpecificCharacterSet where the element stands; empty for the default
    std::string utf8(const std::string& bytes, DcmEVR vr, const std::string& characterSet);

    /// The same; nothing where it would be taken for Latin 1.
    std::optional<std::string> known(const std::string& bytes, DcmEVR vr, const std::string& characterSet);

  private:
    DcmSpecificCharacterSet* converterOf(const std::string& characterSet);

    std::map<std::string, std::unique_ptr<DcmSpecificCharacterSet>> mConverters{};
};

} // namespace radvex::media

#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/ofstd/ofchrenc.h"
#include "dcmtk/ofstd/ofcond.h"

namespace radvex::text {

/// @throws std::bad_alloc  a conversion failed for lack of memory, of which only ICU's name of the error tells
void requireMemory(const OFCondition& conversion);

/// ICU's conversions between UTF-8 and other encodings. What was needed once stays open.
class Converters {
  public:
    /// Nothing when the bytes are not all characters of the encoding, or when ICU does not know it.
    /// @throws std::bad_alloc
    std::optional<std::string> toUtf8(const char* encoding, std::string_view bytes);
    std::optional<std::string> fromUtf8(const char* encoding, std::string_view text);

  private:
    using Opened = std::map<std::string, std::unique_ptr<OFCharacterEncoding>, std::less<>>;

    static OFCharacterEncoding* converter(Opened& opened, const char* name, const char* from, const char* to);
    static std::optional<std::string> converted(OFCharacterEncoding* converter, std::string_view text);

    Opened mDecoders{};
    Opened mEncoders{};
};

} // namespace radvex::text

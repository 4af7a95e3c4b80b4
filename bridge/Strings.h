#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// Encoding of text on the link.
enum class Encoding { Native = 1, Byte = 2, UTF8 = 3, UTF16 = 4, UCS2 = 5, UTF32 = 6 };

/// The link functions for text of encoding `E`, with the names that error texts use. Lengths count units.
/// `Put` for `UTF8` puts text that is not UTF-8 as bytes: a path may be any bytes, and an error about it has to arrive.
template <Encoding E>
struct String;

#define GTU_STRING(Name, UnitType)                                                                                     \
    template <>                                                                                                        \
    struct String<Encoding::Name> {                                                                                    \
        using Unit = UnitType;                                                                                         \
        static const std::function<int(TTLink, const Unit**, int*)> Get;                                               \
        static const std::function<int(TTLink, const Unit*, int)> Put;                                                 \
        static const std::function<void(TTLink, const Unit*, int)> Release;                                            \
        static const std::string GetFName;                                                                             \
        static const std::string PutFName;                                                                             \
    };

GTU_STRING(Native, char)
GTU_STRING(Byte, unsigned char)
GTU_STRING(UTF8, unsigned char)
GTU_STRING(UTF16, std::uint16_t)
GTU_STRING(UCS2, std::uint16_t)
GTU_STRING(UTF32, std::uint32_t)

#undef GTU_STRING

} // namespace GTU::TT

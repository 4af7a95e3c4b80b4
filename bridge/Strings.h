#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// How text stands on the link.
enum class Encoding { Native = 1, Byte = 2, UTF8 = 3, UTF16 = 4, UCS2 = 5, UTF32 = 6 };

template <Encoding E>
struct EncodingUnit;
template <>
struct EncodingUnit<Encoding::Native> {
    using Type = char;
};
template <>
struct EncodingUnit<Encoding::Byte> {
    using Type = unsigned char;
};
template <>
struct EncodingUnit<Encoding::UTF8> {
    using Type = unsigned char;
};
template <>
struct EncodingUnit<Encoding::UTF16> {
    using Type = std::uint16_t;
};
template <>
struct EncodingUnit<Encoding::UCS2> {
    using Type = std::uint16_t;
};
template <>
struct EncodingUnit<Encoding::UTF32> {
    using Type = std::uint32_t;
};

/// The link functions for text of encoding `E`, with the names that error texts use. Lengths count units.
/// Put with `UTF8` falls back to bytes for text that is no UTF-8 (a path may be any bytes), so that an error about such
/// a path still arrives.
template <Encoding E>
struct String {
    using Unit = typename EncodingUnit<E>::Type;
    static const std::function<int(TTLink, const Unit**, int*)> Get;
    static const std::function<int(TTLink, const Unit*, int)> Put;
    static const std::function<void(TTLink, const Unit*, int)> Release;
    static const std::string GetFName;
    static const std::string PutFName;
};

#define GTU_STRING_DECLARE(E)                                                                                          \
    template <>                                                                                                        \
    const std::function<int(TTLink, const String<E>::Unit**, int*)> String<E>::Get;                                    \
    template <>                                                                                                        \
    const std::function<int(TTLink, const String<E>::Unit*, int)> String<E>::Put;                                      \
    template <>                                                                                                        \
    const std::function<void(TTLink, const String<E>::Unit*, int)> String<E>::Release;                                 \
    template <>                                                                                                        \
    const std::string String<E>::GetFName;                                                                             \
    template <>                                                                                                        \
    const std::string String<E>::PutFName;

GTU_STRING_DECLARE(Encoding::Native)
GTU_STRING_DECLARE(Encoding::Byte)
GTU_STRING_DECLARE(Encoding::UTF8)
GTU_STRING_DECLARE(Encoding::UTF16)
GTU_STRING_DECLARE(Encoding::UCS2)
GTU_STRING_DECLARE(Encoding::UTF32)

#undef GTU_STRING_DECLARE

} // namespace GTU::TT

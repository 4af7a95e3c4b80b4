#pragma once

#include <functional>
#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// The link functions that put a number, a list or an array of numbers of type `T`, with the names that error texts
/// use. Of these the library itself puts only `long long` numbers; the others let the stream be extended by type.
template <typename T>
struct PutScalar {
    static const std::function<int(TTLink, T)> ScalarF;
    static const std::string ScalarFName;
};

template <typename T>
struct PutList {
    static const std::function<int(TTLink, const T*, int)> ListF;
    static const std::string ListFName;
};

template <typename T>
struct PutArray {
    static const std::function<int(TTLink, const T*, const int*, const char* const*, int)> ArrayF;
    static const std::string ArrayFName;
};

#define GTU_PUT_DECLARE(Type)                                                                                          \
    template <>                                                                                                        \
    const std::function<int(TTLink, Type)> PutScalar<Type>::ScalarF;                                                   \
    template <>                                                                                                        \
    const std::string PutScalar<Type>::ScalarFName;                                                                    \
    template <>                                                                                                        \
    const std::function<int(TTLink, const Type*, int)> PutList<Type>::ListF;                                           \
    template <>                                                                                                        \
    const std::string PutList<Type>::ListFName;                                                                        \
    template <>                                                                                                        \
    const std::function<int(TTLink, const Type*, const int*, const char* const*, int)> PutArray<Type>::ArrayF;         \
    template <>                                                                                                        \
    const std::string PutArray<Type>::ArrayFName;

GTU_PUT_DECLARE(unsigned char)
GTU_PUT_DECLARE(short)
GTU_PUT_DECLARE(int)
GTU_PUT_DECLARE(long long)
GTU_PUT_DECLARE(float)
GTU_PUT_DECLARE(double)

#undef GTU_PUT_DECLARE

} // namespace GTU::TT

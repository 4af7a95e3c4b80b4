#pragma once

#include <functional>
#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// The link functions that put a number, a list or an array of numbers of type `T`, with the names that error texts
/// use. The library itself puts only `long long` numbers; the others let the stream be extended by type.
template <typename T>
struct PutScalar;
template <typename T>
struct PutList;
template <typename T>
struct PutArray;

#define GTU_PUT(Type, Name)                                                                                            \
    template <>                                                                                                        \
    struct PutScalar<Type> {                                                                                           \
        static inline const std::function<int(TTLink, Type)> ScalarF = TTPut##Name;                                    \
        static inline const std::string ScalarFName = "TTPut" #Name;                                                   \
    };                                                                                                                 \
    template <>                                                                                                        \
    struct PutList<Type> {                                                                                             \
        static inline const std::function<int(TTLink, const Type*, int)> ListF = TTPut##Name##List;                    \
        static inline const std::string ListFName = "TTPut" #Name "List";                                              \
    };                                                                                                                 \
    template <>                                                                                                        \
    struct PutArray<Type> {                                                                                            \
        static inline const std::function<int(TTLink, const Type*, const int*, const char* const*, int)> ArrayF =      \
            TTPut##Name##Array;                                                                                        \
        static inline const std::string ArrayFName = "TTPut" #Name "Array";                                            \
    };

GTU_PUT(unsigned char, Integer8)
GTU_PUT(short, Integer16)
GTU_PUT(int, Integer32)
GTU_PUT(long long, Integer64)
GTU_PUT(float, Real32)
GTU_PUT(double, Real64)

#undef GTU_PUT

} // namespace GTU::TT

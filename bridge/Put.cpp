#include "bridge/Put.h"

namespace GTU::TT {

#define GTU_PUT_DEFINE(Type, Name)                                                                                     \
    template <>                                                                                                        \
    const std::function<int(TTLink, Type)> PutScalar<Type>::ScalarF = TTPut##Name;                                     \
    template <>                                                                                                        \
    const std::string PutScalar<Type>::ScalarFName = "TTPut" #Name;                                                    \
    template <>                                                                                                        \
    const std::function<int(TTLink, const Type*, int)> PutList<Type>::ListF = TTPut##Name##List;                       \
    template <>                                                                                                        \
    const std::string PutList<Type>::ListFName = "TTPut" #Name "List";                                                 \
    template <>                                                                                                        \
    const std::function<int(TTLink, const Type*, const int*, const char* const*, int)> PutArray<Type>::ArrayF =        \
        TTPut##Name##Array;                                                                                            \
    template <>                                                                                                        \
    const std::string PutArray<Type>::ArrayFName = "TTPut" #Name "Array";

GTU_PUT_DEFINE(unsigned char, Integer8)
GTU_PUT_DEFINE(short, Integer16)
GTU_PUT_DEFINE(int, Integer32)
GTU_PUT_DEFINE(long long, Integer64)
GTU_PUT_DEFINE(float, Real32)
GTU_PUT_DEFINE(double, Real64)

} // namespace GTU::TT

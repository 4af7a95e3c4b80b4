#pragma once

#include "velmora/VelmoraLibrary.h"

namespace GTU {

/// Kind of an argument, a result or a data store node. The numbers are the host's.
enum class VArgumentType : vint {
    VArgument = VType_Undef, ///< any kind
    Boolean = VType_Boolean,
    Integer = VType_Integer,
    Real = VType_Real,
    Complex = VType_Complex,
    Tensor = VType_Tensor,
    SparseArray = VType_SparseArray,
    NumericArray = VType_NumericArray,
    Image = VType_Image,
    UTF8String = VType_UTF8String,
    DataStore = VType_DataStore
};

/// For each kind: the type of the value in a cell, the pointer to that value, and how a value is added to a data store.
template <VArgumentType T>
struct VArgumentTraits;

#define GTU_ARGUMENT_TRAITS(Kind, Type, Added, pointer, addOperation)                                                  \
    template <>                                                                                                        \
    struct VArgumentTraits<VArgumentType::Kind> {                                                                      \
        using CType = Type;                                                                                            \
        static CType*& cell(::VArgument& argument) { return argument.pointer; }                                        \
        static void add(const VelmoraDataStoreFunctions& api, ::DataStore store, const char* name, Added value) {      \
            api.addOperation(store, name, value);                                                                      \
        }                                                                                                              \
    };

GTU_ARGUMENT_TRAITS(Boolean, vbool, vbool, boolean, DataStore_addNamedBoolean)
GTU_ARGUMENT_TRAITS(Integer, vint, vint, integer, DataStore_addNamedInteger)
GTU_ARGUMENT_TRAITS(Real, vreal, vreal, real, DataStore_addNamedReal)
GTU_ARGUMENT_TRAITS(Complex, vcomplex, vcomplex, complex, DataStore_addNamedComplex)
GTU_ARGUMENT_TRAITS(Tensor, VTensor, VTensor, tensor, DataStore_addNamedVTensor)
GTU_ARGUMENT_TRAITS(SparseArray, VSparseArray, VSparseArray, sparseArray, DataStore_addNamedVSparseArray)
GTU_ARGUMENT_TRAITS(NumericArray, VNumericArray, VNumericArray, numericArray, DataStore_addNamedVNumericArray)
GTU_ARGUMENT_TRAITS(Image, VImage, VImage, image, DataStore_addNamedVImage)
GTU_ARGUMENT_TRAITS(UTF8String, char*, const char*, utf8String, DataStore_addNamedString)
GTU_ARGUMENT_TRAITS(DataStore, ::DataStore, ::DataStore, dataStore, DataStore_addNamedDataStore)

#undef GTU_ARGUMENT_TRAITS

} // namespace GTU

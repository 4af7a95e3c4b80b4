#pragma once

#include <cstdint>

#include "formats/volumes/VolumeFile.h"
#include "velmora/VelmoraLibrary.h"

namespace radvex::volume {

/// How the stored values of a slice become modality values.
struct ModalityRule {
    vint bitsStored = 16;
    bool isSigned = false;
    double slope = 1; ///< never 0
    double intercept = 0;
    /// The library has to apply the modality transformation: a table, or attributes that only it may understand.
    /// Otherwise stored values are read and rescaled here.
    bool needsLibrary = false;
    vint tableBits = 0; ///< of the entries of a modality table, 0 without one

    bool isIdentity() const { return slope == 1 && intercept == 0; }
};

/// Finds the smallest element type that holds the values of all slices, from the ranges that their attributes allow.
///
/// Whole slopes and intercepts give the first of u8, s8, u16, s16, u32, s32 that holds the range, otherwise f64.
/// Fractions give f32, or f64 if the 24 bits of f32 cannot tell neighbouring stored values apart.
class VolumeType {
  public:
    void add(const ModalityRule& rule);
    /// A range of values that were found in the pixels.
    void addRange(double lowest, double highest);
    /// Everything that was added to the other.
    void add(const VolumeType& other);

    /// VNumericArray_...; u8 when nothing was added.
    vint type() const;

  private:
    void extend(double lowest, double highest);

    double mLowest = 0;
    double mHighest = 0;
    bool mIsEmpty = true;
    bool mIsWhole = true;
    bool mFitsSingle = true; ///< f32 keeps neighbours apart
};

/// Lowest and highest value of an integer type of numeric arrays.
struct ValueRange {
    double lowest;
    double highest;
};
/// That of s32 for every other type.
ValueRange rangeOf(vint integerType);

/// Range of stored values after slope and intercept.
ValueRange rescaled(const ValueRange& stored, const ModalityRule& rule);

/// Calls `function` with a value of the C++ type of an element type that volumes can have.
/// @throws VolumeError  another type
template <typename Function>
auto withType(vint type, Function function) {
    switch (type) {
    case VNumericArray_S8: return function(std::int8_t{});
    case VNumericArray_U8: return function(std::uint8_t{});
    case VNumericArray_S16: return function(std::int16_t{});
    case VNumericArray_U16: return function(std::uint16_t{});
    case VNumericArray_S32: return function(std::int32_t{});
    case VNumericArray_U32: return function(std::uint32_t{});
    case VNumericArray_F32: return function(float{});
    case VNumericArray_F64: return function(double{});
    default: throw formats::VolumeError("The library returned samples of a type that volumes do not have.");
    }
}

} // namespace radvex::volume

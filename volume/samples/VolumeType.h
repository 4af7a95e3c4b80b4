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

    bool hasSameRescale(const ModalityRule& other) const {
        return slope == other.slope && intercept == other.intercept && needsLibrary == other.needsLibrary;
    }
    bool isIdentity() const { return slope == 1 && intercept == 0; }
};

/// Lowest and highest value.
struct ValueRange {
    double lowest = 0;
    double highest = 0;
};

/// Limits of an integer type of numeric arrays; those of s32 for every other type.
ValueRange rangeOf(vint integerType);

/// Range of stored values after slope and intercept.
ValueRange rescaled(const ValueRange& stored, const ModalityRule& rule);

/// Finds the element type that holds the values of all slices.
///
/// Whole slopes and intercepts give the type in which the values are stored (8, 16 or 32 bits, by BitsStored; signed or
/// not) or, if it does not hold the values that there are, the next larger integer that does; otherwise f64. Fractions
/// give f32, or f64 if the 24 bits of f32 cannot tell neighbouring stored values apart.
class VolumeType {
  public:
    /// @param found  of the values in the pixels, before slope and intercept; after them if the library applies these
    void add(const ModalityRule& rule, const ValueRange& found);
    /// Values that are no whole numbers, whatever the rule says.
    void addFractions();
    /// Everything that was added to the other.
    void add(const VolumeType& other);

    /// VNumericArray_...; u8 when nothing was added.
    vint type() const;

  private:
    void extend(const ValueRange& range);

    ValueRange mRange{};
    int mBits = 8; ///< of the widest type in which values are stored
    bool mIsEmpty = true;
    bool mIsSigned = false;
    bool mIsWhole = true;
    bool mFitsSingle = true; ///< f32 keeps neighbours apart
};

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

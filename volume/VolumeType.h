#pragma once

#include <optional>

#include "velmora/VelmoraLibrary.h"

namespace radvex::volume {

/// How the stored values of a slice become modality values.
struct ModalityRule {
    vint bitsStored = 16;
    bool isSigned = false;
    double slope = 1; ///< never 0
    double intercept = 0;
    /// The library applies the modality transformation: a table, or attributes that only it can make sense of.
    /// Otherwise stored values are read and rescaled here.
    bool isLibrarys = false;
    vint tableBits = 0; ///< of the entries of a modality table, 0 without one

    bool isIdentity() const { return slope == 1 && intercept == 0; }
    bool operator==(const ModalityRule&) const = default;
};

/// Finds the smallest element type that holds the values of all slices, from what their attributes promise.
///
/// Whole slopes and intercepts give the first of u8, s8, u16, s16, u32, s32 that holds the range, f64 beyond these.
/// Fractions give f32, or f64 when values of neighbouring stored numbers would no longer differ in 24 bits.
class VolumeType {
  public:
    void add(const ModalityRule& rule);
    /// Values that were found and not promised.
    void addRange(double lowest, double highest);
    /// All that the other knows of.
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
ValueRange rangeOf(vint integerType);

/// Range of the stored values, and of the modality values, as promised.
ValueRange storedRange(const ModalityRule& rule);
ValueRange modalityRange(const ModalityRule& rule);

} // namespace radvex::volume

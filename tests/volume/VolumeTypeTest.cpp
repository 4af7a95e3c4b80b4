#include "volume/samples/VolumeType.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace radvex::volume;

namespace {

/// Slices whose pixels have all values that their attributes allow.
ValueRange allOf(const ModalityRule& rule) {
    const int bits = std::clamp(static_cast<int>(rule.bitsStored), 1, 32);
    return rule.isSigned ? ValueRange{-std::ldexp(1.0, bits - 1), std::ldexp(1.0, bits - 1) - 1}
                         : ValueRange{0, std::ldexp(1.0, bits) - 1};
}

vint typeOf(const std::vector<ModalityRule>& rules) {
    VolumeType type;
    for (const ModalityRule& rule : rules) {
        type.add(rule, allOf(rule));
    }
    return type.type();
}

ModalityRule typeRule(vint bits, bool isSigned, double slope = 1, double intercept = 0) {
    return {.bitsStored = bits, .isSigned = isSigned, .slope = slope, .intercept = intercept};
}

vint typeFor(const ModalityRule& rule, const ValueRange& found) {
    VolumeType type;
    type.add(rule, found);
    return type.type();
}

} // namespace

TEST(VolumeType, WholeValuesTakeTheTypeInWhichTheyAreStored) {
    EXPECT_EQ(typeOf({typeRule(8, false)}), VNumericArray_U8);
    EXPECT_EQ(typeOf({typeRule(8, true)}), VNumericArray_S8);
    EXPECT_EQ(typeOf({typeRule(12, false)}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(16, false)}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(16, true)}), VNumericArray_S16);
    EXPECT_EQ(typeOf({typeRule(32, false)}), VNumericArray_U32);
    EXPECT_EQ(typeOf({typeRule(32, true)}), VNumericArray_S32);
    EXPECT_EQ(typeFor(typeRule(16, false), {0, 3}), VNumericArray_U16) << "not smaller than stored";
    EXPECT_EQ(typeFor(typeRule(16, true), {0, 60}), VNumericArray_S16);
}

TEST(VolumeType, ValuesThatThereAreWidenIt) {
    EXPECT_EQ(typeOf({typeRule(12, false, 1, -1024)}), VNumericArray_S16);
    EXPECT_EQ(typeFor(typeRule(16, true, 1, -1024), {-2000, 3071}), VNumericArray_S16) << "an ordinary CT";
    EXPECT_EQ(typeFor(typeRule(16, false, 1, -1024), {0, 4095}), VNumericArray_S16);
    EXPECT_EQ(typeFor(typeRule(16, false, 1, -1024), {1024, 65535}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(16, true, 1, -1024)}), VNumericArray_S32) << "-33792";
    EXPECT_EQ(typeOf({typeRule(16, false, 1, -1024)}), VNumericArray_S32) << "64511";
    EXPECT_EQ(typeOf({typeRule(8, false, 2, 0)}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(8, false, -1, 0)}), VNumericArray_S16) << "-255";
    EXPECT_EQ(typeOf({typeRule(8, false, -1, 255)}), VNumericArray_U8);
    EXPECT_EQ(typeOf({typeRule(32, true, 1, -1)}), VNumericArray_F64) << "no 32-bit integer holds it";
}

TEST(VolumeType, SlicesOfDifferentKindsShareOneType) {
    EXPECT_EQ(typeOf({typeRule(8, false), typeRule(8, true)}), VNumericArray_S16);
    EXPECT_EQ(typeOf({typeRule(16, false), typeRule(16, true)}), VNumericArray_S32);
    EXPECT_EQ(typeOf({typeRule(32, false), typeRule(8, true)}), VNumericArray_F64);
    EXPECT_EQ(typeOf({typeRule(8, false), typeRule(16, false)}), VNumericArray_U16);
}

TEST(VolumeType, FractionsAreRealAndExactEnough) {
    EXPECT_EQ(typeOf({typeRule(16, false, 0.1, 0)}), VNumericArray_F32);
    EXPECT_EQ(typeOf({typeRule(24, false, 0.5, 0)}), VNumericArray_F32);
    EXPECT_EQ(typeOf({typeRule(25, false, 0.5, 0)}), VNumericArray_F64);
    EXPECT_EQ(typeOf({typeRule(16, true, 1, -1024.5)}), VNumericArray_F32);
    EXPECT_EQ(typeOf({typeRule(16, false, 1e-6, 1000)}), VNumericArray_F64) << "neighbours would be one number";
    EXPECT_EQ(typeOf({typeRule(16, false, 0.5, 0), typeRule(32, false)}), VNumericArray_F64);
    EXPECT_EQ(typeOf({typeRule(16, false, 0.5, 0), typeRule(12, true)}), VNumericArray_F32);
}

TEST(VolumeType, SmallSlopesKeepTheirDigits) {
    EXPECT_EQ(typeFor(typeRule(16, false, 1e-8, 0), {0, 65535}), VNumericArray_F32) << "6.5535e-4 in steps of 1e-8";
    EXPECT_EQ(typeFor(typeRule(32, false, 1e-8, 0), {0, 4e9}), VNumericArray_F64);
    EXPECT_EQ(typeFor(typeRule(32, false, 1e-8, 0), {0, 1e7}), VNumericArray_F32) << "the values that there are";
}

TEST(VolumeType, ATableCountsByItsEntries) {
    EXPECT_EQ(typeFor({.bitsStored = 12, .needsLibrary = true, .tableBits = 8}, {0, 255}), VNumericArray_U8);
    EXPECT_EQ(typeFor({.bitsStored = 8, .isSigned = true, .needsLibrary = true, .tableBits = 16}, {0, 9}),
              VNumericArray_U16);
}

TEST(VolumeType, BitsThatNoFileHasAreCut) {
    EXPECT_EQ(typeOf({typeRule(0, false)}), VNumericArray_U8);
    EXPECT_EQ(typeOf({typeRule(40, false)}), VNumericArray_U32);
}

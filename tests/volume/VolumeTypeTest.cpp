#include "volume/VolumeType.h"

#include <gtest/gtest.h>

using namespace radvex::volume;

namespace {

vint typeOf(const std::vector<ModalityRule>& rules) {
    VolumeType type;
    for (const ModalityRule& rule : rules) {
        type.add(rule);
    }
    return type.type();
}

ModalityRule typeRule(vint bits, bool isSigned, double slope = 1, double intercept = 0) {
    return {.bitsStored = bits, .isSigned = isSigned, .slope = slope, .intercept = intercept};
}

} // namespace

TEST(VolumeType, WholeValuesTakeTheSmallestInteger) {
    EXPECT_EQ(typeOf({typeRule(8, false)}), VNumericArray_U8);
    EXPECT_EQ(typeOf({typeRule(8, true)}), VNumericArray_S8);
    EXPECT_EQ(typeOf({typeRule(12, false)}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(16, false)}), VNumericArray_U16);
    EXPECT_EQ(typeOf({typeRule(16, true)}), VNumericArray_S16);
    EXPECT_EQ(typeOf({typeRule(32, false)}), VNumericArray_U32);
    EXPECT_EQ(typeOf({typeRule(32, true)}), VNumericArray_S32);
}

TEST(VolumeType, RescaleWidensTheRange) {
    EXPECT_EQ(typeOf({typeRule(12, false, 1, -1024)}), VNumericArray_S16);
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

TEST(VolumeType, ATableCountsByItsEntries) {
    EXPECT_EQ(typeOf({{.bitsStored = 12, .needsLibrary = true, .tableBits = 8}}), VNumericArray_U8);
    EXPECT_EQ(typeOf({{.bitsStored = 8, .isSigned = true, .needsLibrary = true, .tableBits = 16}}), VNumericArray_U16);
}

TEST(VolumeType, BitsThatNoFileHasAreCut) {
    EXPECT_EQ(typeOf({typeRule(0, false)}), VNumericArray_U8);
    EXPECT_EQ(typeOf({typeRule(40, false)}), VNumericArray_U32);
}

#include "volume/slices/SliceRecord.h"

#include <gtest/gtest.h>

using namespace radvex::formats;
using namespace radvex::volume;

TEST(SliceRecord, DecimalsAreReadAsDicomWritesThem) {
    EXPECT_EQ(decimalOf("1.5"), 1.5);
    EXPECT_EQ(decimalOf(" -0.25 "), -0.25);
    EXPECT_EQ(decimalOf("+3"), 3.0);
    EXPECT_EQ(decimalOf("1e-7"), 1e-7);
    EXPECT_EQ(decimalOf("1.E+2"), 100.0);
    EXPECT_EQ(decimalOf("-123.45678901234"), -123.45678901234);
    EXPECT_EQ(decimalOf(std::string_view("12\0", 3)), 12.0);
}

TEST(SliceRecord, WhatIsNoNumberIsAbsent) {
    for (const char* text : {"", " ", "nan", "inf", "-inf", "1,5", "1.5mm", "0x10", "+-1", "+", "1 2", "1e999"}) {
        EXPECT_EQ(decimalOf(text), std::nullopt) << text;
    }
    for (const char* text : {"", "1.5", "99999999999", "x"}) {
        EXPECT_EQ(integerOf(text), std::nullopt) << text;
    }
    EXPECT_EQ(integerOf(" -3 "), -3);
}

TEST(SliceRecord, LengthsAreAboveZero) {
    EXPECT_EQ(lengthOf("0.5"), 0.5);
    EXPECT_EQ(lengthOf("0"), std::nullopt);
    EXPECT_EQ(lengthOf("-2"), std::nullopt);
}

TEST(SliceRecord, PositionsHaveThreeParts) {
    EXPECT_EQ(positionOf("1\\-2\\3.5"), (Vector3{1, -2, 3.5}));
    for (const char* text : {"1\\2", "1\\2\\3\\4", "1\\2\\", "1\\nan\\3", ""}) {
        EXPECT_EQ(positionOf(text), std::nullopt) << text;
    }
}

TEST(SliceRecord, OrientationsAreUnitVectorsAtARightAngle) {
    const auto orientation = orientationOf("1\\0\\0\\0\\0\\-1");
    ASSERT_TRUE(orientation);
    EXPECT_EQ(orientation->alongColumns, (Vector3{1, 0, 0}));
    EXPECT_EQ(orientation->alongRows, (Vector3{0, 0, -1}));
    EXPECT_EQ(orientation->normal(), (Vector3{0, 1, 0}));
    const auto rounded = orientationOf("0.87\\0.5\\0\\-0.5\\0.87\\0"); // two decimals of 30 degrees
    ASSERT_TRUE(rounded);
    EXPECT_NEAR(length(rounded->alongColumns), 1, 1e-15);
    for (const char* text :
         {"0\\0\\0\\0\\0\\0", "2\\0\\0\\0\\1\\0", "1\\0\\0\\1\\0\\0", "1\\0\\0\\0\\1", "nan\\0\\0\\0\\1\\0"}) {
        EXPECT_FALSE(orientationOf(text)) << text;
    }
}

TEST(SliceRecord, PixelSpacingNamesTheRowsFirst) {
    const auto spacing = pixelSpacingOf("0.7\\0.6");
    ASSERT_TRUE(spacing);
    EXPECT_EQ(spacing->betweenRows, 0.7);
    EXPECT_EQ(spacing->betweenColumns, 0.6);
    EXPECT_FALSE(pixelSpacingOf("0.7"));
    EXPECT_FALSE(pixelSpacingOf("0.7\\0"));
}

TEST(SliceRecord, ItsNameSaysTheFrameWhereThereAreSeveral) {
    SliceRecord slice;
    slice.file = "a.dcm";
    EXPECT_EQ(slice.name(), "a.dcm");
    slice.frames = 4;
    slice.frame = 3;
    EXPECT_EQ(slice.name(), "a.dcm frame 3");
}

TEST(SliceRecord, LengthsAndPositionsThatNothingHasAreAbsent) {
    EXPECT_EQ(lengthOf("0.000001"), 1e-6);
    EXPECT_EQ(lengthOf("0.0000009"), std::nullopt);
    EXPECT_EQ(lengthOf("1000000"), 1e6);
    EXPECT_EQ(lengthOf("1000001"), std::nullopt);
    EXPECT_TRUE(positionOf("10000000\\0\\-10000000").has_value());
    EXPECT_FALSE(positionOf("10000001\\0\\0").has_value());
    EXPECT_FALSE(positionOf("1e308\\0\\0").has_value());
}

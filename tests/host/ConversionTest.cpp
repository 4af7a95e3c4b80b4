// Conversion of numeric arrays: clipped to the target's range, unsigned integers scaled when they become real.

#include <cmath>
#include <cstdint>
#include <limits>

#include "tests/host/HandleTest.h"

namespace {

template <typename T>
constexpr vint typeCode() {
    if constexpr (std::is_same_v<T, float>) {
        return VNumericArray_F32;
    } else if constexpr (std::is_same_v<T, double>) {
        return VNumericArray_F64;
    } else {
        constexpr vint signedCode = sizeof(T) == 1   ? VNumericArray_S8
                                    : sizeof(T) == 2 ? VNumericArray_S16
                                    : sizeof(T) == 4 ? VNumericArray_S32
                                                     : VNumericArray_S64;
        return signedCode + (std::is_unsigned_v<T> ? 1 : 0);
    }
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

class Conversion : public radvex::test::HandleTest {
  protected:
    template <typename To, typename From>
    std::vector<To> convert(const std::vector<From>& values) {
        const VNumericArray array = makeArray(typeCode<From>(), {static_cast<vint>(values.size())});
        std::copy(values.begin(), values.end(), static_cast<From*>(arrays().VNumericArray_getData(array)));
        VNumericArray converted = nullptr;
        EXPECT_EQ(arrays().VNumericArray_convertType(&converted, array, typeCode<To>(), VConversion_ClipAndScale, 0),
                  0);
        arrays().VNumericArray_free(array);
        EXPECT_EQ(arrays().VNumericArray_getType(converted), typeCode<To>());
        const auto* data = static_cast<const To*>(arrays().VNumericArray_getData(converted));
        std::vector<To> result(data, data + arrays().VNumericArray_getFlattenedLength(converted));
        arrays().VNumericArray_free(converted);
        return result;
    }

    template <typename To, typename From>
    void expectConverted(const std::vector<From>& values, const std::vector<To>& expected) {
        EXPECT_EQ((convert<To, From>(values)), expected);
    }
};

TEST_F(Conversion, ClipsSignedIntegersAtZeroAndAtTheTop) {
    expectConverted<std::uint8_t, std::int8_t>({-128, -1, 0, 127}, {0, 0, 0, 127});
    expectConverted<std::uint8_t, std::int16_t>({-300, 255, 256, 300}, {0, 255, 255, 255});
    expectConverted<std::uint16_t, std::int8_t>({-128, -1, 127}, {0, 0, 127});
    expectConverted<std::uint16_t, std::int32_t>({-1, 65535, 65536}, {0, 65535, 65535});
    expectConverted<std::uint32_t, std::int16_t>({-32768, 32767}, {0, 32767});
    expectConverted<std::uint64_t, std::int64_t>({INT64_MIN, -1, INT64_MAX}, {0, 0, 9223372036854775807U});
}

TEST_F(Conversion, ClipsSignedIntegersToNarrowerOnes) {
    expectConverted<std::int8_t, std::int16_t>({-129, -128, 127, 128}, {-128, -128, 127, 127});
    expectConverted<std::int16_t, std::int32_t>({-40000, -32768, 32767, 40000}, {-32768, -32768, 32767, 32767});
    expectConverted<std::int32_t, std::int64_t>({INT64_MIN, -2147483648LL, 2147483647LL, 2147483648LL},
                                                {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX});
    expectConverted<std::int64_t, std::int8_t>({-128, 127}, {-128, 127});
}

TEST_F(Conversion, ClipsUnsignedIntegersAtTheTop) {
    expectConverted<std::int8_t, std::uint8_t>({0, 127, 128, 255}, {0, 127, 127, 127});
    expectConverted<std::int8_t, std::uint64_t>({127, 128, UINT64_MAX}, {127, 127, 127});
    expectConverted<std::int16_t, std::uint16_t>({32767, 32768, 65535}, {32767, 32767, 32767});
    expectConverted<std::int32_t, std::uint32_t>({2147483647U, 2147483648U}, {INT32_MAX, INT32_MAX});
    expectConverted<std::int64_t, std::uint64_t>({9223372036854775807U, 9223372036854775808U, UINT64_MAX},
                                                 {INT64_MAX, INT64_MAX, INT64_MAX});
    expectConverted<std::uint8_t, std::uint16_t>({255, 256}, {255, 255});
    expectConverted<std::uint32_t, std::uint64_t>({4294967295U, 4294967296U}, {4294967295U, 4294967295U});
}

TEST_F(Conversion, ClipsRealsToIntegers) {
    const std::vector<double> values{-kInfinity, -1e300, -0.5, 0.0, 100.0, 255.5, 256.0, 1e300, kInfinity};
    expectConverted<std::uint8_t, double>(values, {0, 0, 0, 0, 100, 255, 255, 255, 255});
    expectConverted<std::int8_t, double>(values, {-128, -128, 0, 0, 100, 127, 127, 127, 127});
    expectConverted<std::int16_t, float>({-32769.0F, -32768.0F, 32767.0F, 32768.0F}, {-32768, -32768, 32767, 32767});
    expectConverted<std::uint16_t, float>({-1.0F, 65535.0F, 65536.0F}, {0, 65535, 65535});
}

TEST_F(Conversion, KeepsTheLastRealsBelowTheEdgesAndClipsTheEdges) {
    // 2^31 - 128 and 2^63 - 2^39 are the last floats below 2^31 and 2^63; 2^63 - 1024 and 2^64 - 2048 the last doubles.
    expectConverted<std::int32_t, float>({2147483520.0F, 2147483648.0F, -2147483648.0F},
                                         {2147483520, INT32_MAX, INT32_MIN});
    expectConverted<std::uint32_t, double>({4294967295.0, 4294967296.0}, {4294967295U, 4294967295U});
    expectConverted<std::int64_t, double>(
        {9223372036854774784.0, 9223372036854775808.0, -9223372036854775808.0, -9223372036854777856.0},
        {9223372036854774784LL, INT64_MAX, INT64_MIN, INT64_MIN});
    expectConverted<std::int64_t, float>({9223371487098961920.0F, 9223372036854775808.0F},
                                         {9223371487098961920LL, INT64_MAX});
    expectConverted<std::uint64_t, double>({18446744073709549568.0, 18446744073709551616.0, -1.0},
                                           {18446744073709549568U, UINT64_MAX, 0});
    expectConverted<std::uint64_t, float>({18446744073709551616.0F, std::numeric_limits<float>::infinity()},
                                          {UINT64_MAX, UINT64_MAX});
}

TEST_F(Conversion, NaNBecomesZeroInIntegersAndStaysInReals) {
    expectConverted<std::uint8_t, double>({kNaN}, {0});
    expectConverted<std::int16_t, float>({std::nanf("")}, {0});
    expectConverted<std::int64_t, double>({kNaN}, {0});
    expectConverted<std::uint64_t, double>({kNaN}, {0});
    EXPECT_TRUE(std::isnan(convert<float>(std::vector{kNaN})[0]));
    EXPECT_TRUE(std::isnan(convert<double>(std::vector{std::nanf("")})[0]));
}

TEST_F(Conversion, DividesUnsignedIntegersByTheMaximumOfTheirType) {
    // Each maximum is a multiple of 5.
    expectConverted<float, std::uint8_t>({0, 51, 102, 255}, {0.0F, 0.2F, 0.4F, 1.0F});
    expectConverted<double, std::uint8_t>({0, 51, 102, 255}, {0.0, 0.2, 0.4, 1.0});
    expectConverted<float, std::uint16_t>({0, 13107, 65535}, {0.0F, 0.2F, 1.0F});
    expectConverted<double, std::uint16_t>({0, 13107, 65535}, {0.0, 0.2, 1.0});
    expectConverted<float, std::uint32_t>({0, 858993459U, 4294967295U}, {0.0F, 0.2F, 1.0F});
    expectConverted<double, std::uint32_t>({0, 858993459U, 4294967295U}, {0.0, 0.2, 1.0});
    expectConverted<float, std::uint64_t>({0, 9223372036854775808U, UINT64_MAX}, {0.0F, 0.5F, 1.0F});
    expectConverted<double, std::uint64_t>({0, 9223372036854775808U, UINT64_MAX}, {0.0, 0.5, 1.0});
}

TEST_F(Conversion, DoesNotScaleSignedIntegers) {
    expectConverted<float, std::int8_t>({-128, 0, 127}, {-128.0F, 0.0F, 127.0F});
    expectConverted<double, std::int16_t>({-32768, 32767}, {-32768.0, 32767.0});
    expectConverted<float, std::int32_t>({16777217, -5}, {16777216.0F, -5.0F}); // 2^24 + 1
    expectConverted<double, std::int64_t>({INT64_MIN, INT64_MAX, 9007199254740993LL},
                                          {-9223372036854775808.0, 9223372036854775808.0, 9007199254740992.0});
}

TEST_F(Conversion, ClipsFiniteRealsToFloat) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    expectConverted<float, double>({1e300, -1e300, 0.1, 3.0}, {kLargest, -kLargest, 0.1F, 3.0F});
    expectConverted<float, double>({kInfinity, -kInfinity},
                                   {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()});
    expectConverted<double, float>({0.5F, kLargest}, {0.5, std::ldexp(1.0 - std::ldexp(1.0, -24), 128)});
}

TEST_F(Conversion, ToItsOwnTypeIsACopy) {
    expectConverted<std::uint8_t, std::uint8_t>({0, 128, 255}, {0, 128, 255});
    expectConverted<std::int64_t, std::int64_t>({INT64_MIN, INT64_MAX}, {INT64_MIN, INT64_MAX});
    expectConverted<std::uint64_t, std::uint64_t>({UINT64_MAX}, {UINT64_MAX});
    expectConverted<double, double>({-1e300, 0.1}, {-1e300, 0.1});
}

TEST_F(Conversion, OfEveryPairOfTypesKeepsTheDimensionsAndTheSource) {
    for (vint from = VNumericArray_S8; from <= VNumericArray_F64; ++from) {
        const VNumericArray array = makeArray(from, {2, 3, 5});
        for (vint to = VNumericArray_S8; to <= VNumericArray_F64; ++to) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            VNumericArray converted = nullptr;
            ASSERT_EQ(arrays().VNumericArray_convertType(&converted, array, to, VConversion_ClipAndScale, 0), 0);
            EXPECT_NE(converted, array);
            EXPECT_EQ(arrays().VNumericArray_getType(converted), to);
            const vint* dimensions = arrays().VNumericArray_getDimensions(converted);
            EXPECT_EQ(std::vector(dimensions, dimensions + 3), (std::vector<vint>{2, 3, 5}));
            arrays().VNumericArray_free(converted);
        }
        EXPECT_EQ(arrays().VNumericArray_getType(array), from);
        arrays().VNumericArray_free(array);
    }
}

TEST_F(Conversion, AnotherMethodOrAnUnknownTypeIsAnErrorAndGivesNothing) {
    const VNumericArray array = makeArray();
    VNumericArray converted = nullptr;
    EXPECT_NE(arrays().VNumericArray_convertType(&converted, array, VNumericArray_U16, 0, 0), 0);
    EXPECT_NE(arrays().VNumericArray_convertType(&converted, array, 0, VConversion_ClipAndScale, 0), 0);
    EXPECT_NE(arrays().VNumericArray_convertType(&converted, array, 11, VConversion_ClipAndScale, 0), 0);
    EXPECT_EQ(converted, nullptr);
    arrays().VNumericArray_free(array);
}

} // namespace

#include <climits>
#include <cstring>

#include "tests/host/HandleTest.h"

using radvex::test::disguised;

namespace {

using NumericArrays = radvex::test::HandleTest;

/// Bytes of an element, by type code 1 to 10.
constexpr std::size_t kEntrySizes[] = {0, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8};

TEST_F(NumericArrays, OfEachTypeIsZeroFilledAndWritableToItsEnd) {
    for (vint type = VNumericArray_S8; type <= VNumericArray_F64; ++type) {
        SCOPED_TRACE(type);
        const VNumericArray array = makeArray(type, {2, 3, 5});
        EXPECT_EQ(arrays().VNumericArray_getType(array), type);
        EXPECT_EQ(arrays().VNumericArray_getRank(array), 3);
        EXPECT_EQ(arrays().VNumericArray_getFlattenedLength(array), 30);
        const vint* dimensions = arrays().VNumericArray_getDimensions(array);
        EXPECT_EQ(std::vector(dimensions, dimensions + 3), (std::vector<vint>{2, 3, 5}));
        const std::size_t bytes = 30 * kEntrySizes[type];
        EXPECT_EQ(velmora::numericArrayElementSize(type), kEntrySizes[type]);
        auto* data = static_cast<char*>(arrays().VNumericArray_getData(array));
        EXPECT_EQ(std::string(data, bytes), std::string(bytes, '\0'));
        std::memset(data, 0x5A, bytes); // the sanitizer tells when this is too far
        VNumericArray copy = nullptr;
        ASSERT_EQ(arrays().VNumericArray_clone(array, &copy), 0);
        arrays().VNumericArray_free(array);
        const auto* copied = static_cast<const char*>(arrays().VNumericArray_getData(copy));
        EXPECT_EQ(std::string(copied, bytes), std::string(bytes, '\x5A'));
        EXPECT_EQ(arrays().VNumericArray_getType(copy), type);
        EXPECT_EQ(arrays().VNumericArray_getDimensions(copy)[1], 3);
        arrays().VNumericArray_free(copy);
    }
}

TEST_F(NumericArrays, ImpossibleRequestsAreErrorsAndGiveNothing) {
    VNumericArray array = nullptr;
    const vint dimensions[] = {2, 3};
    const vint negative[] = {-1, 3};
    const vint huge[] = {65536, 32768}; // 2^31
    for (const vint type : {-1, 0, 11, INT_MAX}) {
        EXPECT_EQ(arrays().VNumericArray_new(type, 2, dimensions, &array), VELMORA_TYPE_ERROR);
    }
    EXPECT_EQ(arrays().VNumericArray_new(VNumericArray_U8, 0, dimensions, &array), VELMORA_RANK_ERROR);
    EXPECT_EQ(arrays().VNumericArray_new(VNumericArray_U8, INT_MIN, dimensions, &array), VELMORA_RANK_ERROR);
    EXPECT_EQ(arrays().VNumericArray_new(VNumericArray_U8, 1, nullptr, &array), VELMORA_RANK_ERROR);
    EXPECT_NE(arrays().VNumericArray_new(VNumericArray_U8, 2, negative, &array), 0);
    EXPECT_NE(arrays().VNumericArray_new(VNumericArray_U8, 2, huge, &array), 0);
    EXPECT_EQ(array, nullptr);
}

TEST_F(NumericArrays, MayBeEmpty) {
    const VNumericArray array = makeArray(VNumericArray_U16, {0, 4});
    EXPECT_EQ(arrays().VNumericArray_getFlattenedLength(array), 0);
    EXPECT_NE(arrays().VNumericArray_getData(array), nullptr);
    VNumericArray converted = nullptr;
    ASSERT_EQ(arrays().VNumericArray_convertType(&converted, array, VNumericArray_F64, VConversion_ClipAndScale, 0), 0);
    EXPECT_EQ(arrays().VNumericArray_getDimensions(converted)[1], 4);
    arrays().VNumericArray_free(converted);
    arrays().VNumericArray_free(array);
}

TEST_F(NumericArrays, DeadAndForeignHandlesGetEmptyAnswers) {
    const VNumericArray dead = makeArray();
    arrays().VNumericArray_free(dead);
    const VTensor tensor = makeTensor();
    for (const VNumericArray array : {VNumericArray{nullptr}, dead, disguised<VNumericArray>(tensor)}) {
        EXPECT_EQ(arrays().VNumericArray_getType(array), 0);
        EXPECT_EQ(arrays().VNumericArray_getRank(array), 0);
        EXPECT_EQ(arrays().VNumericArray_getDimensions(array), nullptr);
        EXPECT_EQ(arrays().VNumericArray_getFlattenedLength(array), 0);
        EXPECT_EQ(arrays().VNumericArray_getData(array), nullptr);
        EXPECT_EQ(arrays().VNumericArray_shareCount(array), 0);
        VNumericArray copy = nullptr;
        EXPECT_NE(arrays().VNumericArray_clone(array, &copy), 0);
        EXPECT_NE(arrays().VNumericArray_convertType(&copy, array, VNumericArray_U8, VConversion_ClipAndScale, 0), 0);
        EXPECT_EQ(copy, nullptr);
    }
    table().VTensor_free(tensor);
}

TEST_F(NumericArrays, FreeingTwiceOrUnderAnotherKindIsAViolation) {
    const VNumericArray array = makeArray();
    table().VTensor_free(disguised<VTensor>(array));
    EXPECT_EQ(arrays().VNumericArray_getRank(array), 2) << "it is still there";
    arrays().VNumericArray_free(array);
    arrays().VNumericArray_free(array);
    expectViolations(
        {"The library freed a tensor that does not exist.", "The library freed a numeric array that does not exist."});
}

TEST_F(NumericArrays, FreeingOrDisowningTheHostsIsAViolationAndLeavesIt) {
    {
        const velmora::NumericArray hosts(VNumericArray_S16, {3});
        arrays().VNumericArray_free(hosts.handle());
        arrays().VNumericArray_disown(hosts.handle());
        EXPECT_EQ(hosts.bytes().size(), 6U);
        hosts.handle()->shares = 1;
        EXPECT_EQ(arrays().VNumericArray_shareCount(hosts.handle()), 1);
        arrays().VNumericArray_disown(hosts.handle());
        EXPECT_EQ(arrays().VNumericArray_shareCount(hosts.handle()), 0);
    }
    expectViolations({"The library freed a numeric array that it does not own.",
                      "The library dropped a share of a numeric array that it does not share."});
}

} // namespace

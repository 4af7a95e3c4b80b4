// Single numbers and lists of them.

#include <cmath>
#include <limits>

#include "tests/tether/Numbers.h"

using namespace tether::test;

namespace {

template <typename Number>
class EveryNumber : public LoopbackTest {};
TYPED_TEST_SUITE(EveryNumber, NumberTypes);

using Range = LoopbackTest;
using List = LoopbackTest;

template <typename Number>
std::vector<typename Number::Type> extremes() {
    using Limits = std::numeric_limits<typename Number::Type>;
    return {Limits::lowest(), Limits::max(), typename Number::Type{0}, typename Number::Type{1}, Limits::min()};
}

TYPED_TEST(EveryNumber, ComesBackAtItsExtremes) {
    for (const auto expected : extremes<TypeParam>()) {
        EXPECT_NE(TypeParam::put(this->link, expected), 0);
        EXPECT_EQ(readNumber<TypeParam>(this->link), expected);
    }
}

TYPED_TEST(EveryNumber, ComesBackInAList) {
    const auto expected = extremes<TypeParam>();
    EXPECT_NE(TypeParam::putList(this->link, expected.data(), static_cast<int>(expected.size())), 0);
    const typename TypeParam::Type* data = nullptr;
    int length = -1;
    ASSERT_NE(TypeParam::getList(this->link, &data, &length), 0);
    EXPECT_EQ(std::vector(data, data + length), expected);
    TypeParam::releaseList(this->link, data, length);
}

TYPED_TEST(EveryNumber, AnEmptyListHasNoElements) {
    EXPECT_NE(TypeParam::putList(this->link, nullptr, 0), 0);
    EXPECT_NE(TypeParam::putList(this->link, nullptr, 0), 0);
    expectFunction(this->link, "List", 0);
    const typename TypeParam::Type* data = nullptr;
    int length = -1;
    ASSERT_NE(TypeParam::getList(this->link, &data, &length), 0);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(length, 0);
    TypeParam::releaseList(this->link, data, length);
}

TYPED_TEST(EveryNumber, NullAndNegativeArgumentsAreRefusedAndPutNothing) {
    const typename TypeParam::Type element{1};
    const typename TypeParam::Type* data = nullptr;
    int length = 0;
    expectFailure(TypeParam::putList(this->link, nullptr, 2), this->link, TTE_NULL);
    EXPECT_EQ(TypeParam::putList(this->link, &element, -1), 0);
    TTClearError(this->link);
    expectNothingLeft(this->link);
    EXPECT_NE(TypeParam::putList(this->link, &element, 1), 0);
    expectFailure(TypeParam::get(this->link, nullptr), this->link, TTE_NULL);
    expectFailure(TypeParam::getList(this->link, nullptr, &length), this->link, TTE_NULL);
    expectFailure(TypeParam::getList(this->link, &data, nullptr), this->link, TTE_NULL);
    expectFunction(this->link, "List", 1);
    EXPECT_EQ(readNumber<TypeParam>(this->link), element);
}

TYPED_TEST(EveryNumber, IsNotReadFromAnotherTypeOrFromNothing) {
    typename TypeParam::Type value{7};
    const typename TypeParam::Type* data = nullptr;
    int length = 0;
    expectFailure(TypeParam::get(this->link, &value), this->link, TTE_EMPTY);
    expectFailure(TypeParam::getList(this->link, &data, &length), this->link, TTE_EMPTY);
    EXPECT_NE(TTPutString(this->link, "7"), 0);
    expectFailure(TypeParam::get(this->link, &value), this->link, TTE_TYPE);
    expectFailure(TypeParam::getList(this->link, &data, &length), this->link, TTE_TYPE);
    expectString(this->link, "7");
    EXPECT_EQ(value, typename TypeParam::Type{7});
}

/// Puts the integer and expects that `Number` refuses it and that it stays on the link.
template <typename Number>
void expectOutOfRange(TTLink link, long long integer) {
    EXPECT_NE(TTPutInteger64(link, integer), 0);
    typename Number::Type value{5};
    expectFailure(Number::get(link, &value), link, TTE_RANGE);
    EXPECT_EQ(value, typename Number::Type{5});
    EXPECT_EQ(readNumber<Integer64>(link), integer);
}

TEST_F(Range, AnIntegerThatDoesNotFitIsRefusedAndStays) {
    expectOutOfRange<Integer8>(link, 256);
    expectOutOfRange<Integer8>(link, -1);
    expectOutOfRange<Integer16>(link, 40000);
    expectOutOfRange<Integer16>(link, 32768);
    expectOutOfRange<Integer16>(link, -32769);
    expectOutOfRange<Integer32>(link, 2147483648LL);
    expectOutOfRange<Integer32>(link, -2147483649LL);
}

TEST_F(Range, AnIntegerOfAnotherTypeThatFitsIsRead) {
    EXPECT_NE(TTPutInteger64(link, 255), 0);
    EXPECT_EQ(readNumber<Integer8>(link), 255);
    EXPECT_NE(TTPutInteger8(link, 200), 0);
    EXPECT_EQ(readNumber<Integer64>(link), 200); // unsigned: not -56
}

TEST_F(Range, AFiniteRealBeyondTheNarrowTypeIsRefusedAndStays) {
    for (const double real : {1e300, -1e300, 3.5e38}) { // the largest float is 3.4028...e38
        EXPECT_NE(TTPutReal64(link, real), 0);
        float narrow = 0.0F;
        expectFailure(TTGetReal32(link, &narrow), link, TTE_RANGE);
        EXPECT_EQ(readNumber<Real64>(link), real);
    }
}

TEST_F(Range, ANarrowRealIsRounded) {
    EXPECT_NE(TTPutReal64(link, 1.0 + std::ldexp(1.0, -30)), 0); // a float has 23 bits behind the point
    EXPECT_NE(TTPutReal64(link, std::ldexp(1.0, -1000)), 0);
    EXPECT_NE(TTPutInteger32(link, 16777217), 0); // 2^24 + 1
    for (const float expected : {1.0F, 0.0F, 16777216.0F}) {
        EXPECT_EQ(readNumber<Real32>(link), expected);
    }
}

TEST_F(Range, InfinityAndNaNComeThroughBothTypes) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double real : {kInfinity, -kInfinity}) {
        EXPECT_NE(TTPutReal64(link, real), 0);
        EXPECT_NE(TTPutReal32(link, static_cast<float>(real)), 0);
        EXPECT_EQ(readNumber<Real32>(link), static_cast<float>(real));
        EXPECT_EQ(readNumber<Real64>(link), real);
    }
    EXPECT_NE(TTPutReal64(link, std::nan("")), 0);
    EXPECT_TRUE(std::isnan(readNumber<Real32>(link)));
}

TEST_F(Range, AnIntegerIsReadAsARealAndARealNotAsAnInteger) {
    putInteger(link, -3);
    EXPECT_EQ(readNumber<Real64>(link), -3.0);
    EXPECT_NE(TTPutInteger64(link, std::numeric_limits<long long>::max()), 0);
    EXPECT_EQ(readNumber<Real32>(link), 9223372036854775808.0F); // 2^63, the nearest float
    EXPECT_NE(TTPutReal64(link, 2.0), 0);
    int integer = 0;
    expectFailure(TTGetInteger32(link, &integer), link, TTE_TYPE);
    EXPECT_EQ(readNumber<Real64>(link), 2.0);
}

TEST_F(List, TheFirstElementThatDoesNotFitRefusesAllAndLeavesAll) {
    const int elements[] = {1, 256, 3};
    EXPECT_NE(TTPutInteger32List(link, elements, 3), 0);
    const unsigned char* bytes = nullptr;
    int length = 0;
    expectFailure(TTGetInteger8List(link, &bytes, &length), link, TTE_RANGE);
    const float* reals = nullptr;
    ASSERT_NE(TTGetReal32List(link, &reals, &length), 0);
    EXPECT_EQ(std::vector(reals, reals + length), (std::vector<float>{1.0F, 256.0F, 3.0F}));
    TTReleaseReal32List(link, reals, length);
}

TEST_F(List, WithASymbolInItIsOfAnotherTypeAndStays) {
    EXPECT_NE(TTPutFunction(link, "List", 2), 0);
    putInteger(link, 1);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    const int* data = nullptr;
    int length = 0;
    expectFailure(TTGetInteger32List(link, &data, &length), link, TTE_TYPE);
    expectFunction(link, "List", 2);
    expectInteger(link, 1);
    expectSymbol(link, "x");
}

TEST_F(List, OfAnotherHeadIsNoListAndStays) {
    EXPECT_NE(TTPutFunction(link, "Times", 2), 0);
    putInteger(link, 1);
    putInteger(link, 2);
    const int* data = nullptr;
    int length = 0;
    expectFailure(TTGetInteger32List(link, &data, &length), link, TTE_HEAD);
    expectFunction(link, "Times", 2);
}

TEST_F(List, OfListsIsNoListOfNumbersAndStays) {
    for (const char* const lists : {"((1) (2))", "(1 (2))", "(())"}) {
        SCOPED_TRACE(lists);
        putLists(link, lists);
        const int* data = nullptr;
        int length = 0;
        expectFailure(TTGetInteger32List(link, &data, &length), link, TTE_SHAPE);
        EXPECT_NE(TTNewPacket(link), 0);
    }
}

TEST_F(List, MayBePutPieceByPieceAndReadAtOnce) {
    EXPECT_NE(TTPutFunction(link, "List", 3), 0);
    const int* data = nullptr;
    int length = 0;
    for (const int element : {5, 6, 7}) {
        expectFailure(TTGetInteger32List(link, &data, &length), link, TTE_EMPTY);
        putInteger(link, element);
    }
    ASSERT_NE(TTGetInteger32List(link, &data, &length), 0);
    EXPECT_EQ(std::vector(data, data + length), (std::vector<int>{5, 6, 7}));
    TTReleaseInteger32List(link, data, length);
}

} // namespace

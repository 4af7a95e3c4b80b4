// Arrays of numbers: shape, order, heads, and what is no array.

#include <climits>
#include <numeric>

#include "tests/tether/Numbers.h"

using namespace tether::test;

namespace {

template <typename Number>
class EveryArray : public LoopbackTest {};
TYPED_TEST_SUITE(EveryArray, NumberTypes);

using Array = LoopbackTest;
using Ints = std::vector<int>;
using Texts = std::vector<std::string>;

TYPED_TEST(EveryArray, ComesBackWithItsShapeAndOrder) {
    using Type = typename TypeParam::Type;
    std::vector<Type> elements;
    for (int slice = 0; slice < 2; ++slice) {
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 4; ++column) {
                elements.push_back(static_cast<Type>(100 * slice + 10 * row + column));
            }
        }
    }
    const Ints dimensions{2, 3, 4};
    EXPECT_NE(TypeParam::putArray(this->link, elements.data(), dimensions.data(), nullptr, 3), 0);
    const auto read = readArray<TypeParam>(this->link);
    EXPECT_EQ(read.elements, elements);
    EXPECT_EQ(read.dimensions, dimensions);
    EXPECT_EQ(read.heads, (Texts{"List", "List", "List"}));
    expectNothingLeft(this->link);
}

TYPED_TEST(EveryArray, LiesOnTheLinkAsNestedListsSlowestFirst) {
    using Type = typename TypeParam::Type;
    const Type elements[] = {Type{1}, Type{2}, Type{3}, Type{4}, Type{5}, Type{6}};
    const int dimensions[] = {2, 3};
    EXPECT_NE(TypeParam::putArray(this->link, elements, dimensions, nullptr, 2), 0);
    expectFunction(this->link, "List", 2);
    for (int row = 0; row < 2; ++row) {
        expectFunction(this->link, "List", 3);
        for (int column = 0; column < 3; ++column) {
            double value = 0.0;
            EXPECT_NE(TTGetReal64(this->link, &value), 0);
            EXPECT_EQ(value, 3 * row + column + 1);
        }
    }
}

TYPED_TEST(EveryArray, ImpossibleDimensionsPutNothing) {
    using Type = typename TypeParam::Type;
    const Type element{1};
    const int dimensions[] = {2, -1, 3};
    expectFailure(TypeParam::putArray(this->link, &element, dimensions, nullptr, 0), this->link, TTE_SHAPE);
    expectFailure(TypeParam::putArray(this->link, &element, dimensions, nullptr, -2), this->link, TTE_SHAPE);
    expectFailure(TypeParam::putArray(this->link, &element, dimensions, nullptr, 3), this->link, TTE_SHAPE);
    expectFailure(TypeParam::putArray(this->link, &element, nullptr, nullptr, 1), this->link, TTE_NULL);
    expectFailure(TypeParam::putArray(this->link, nullptr, dimensions, nullptr, 1), this->link, TTE_NULL);
    expectNothingLeft(this->link);
}

TYPED_TEST(EveryArray, NullTargetsConsumeNothing) {
    using Type = typename TypeParam::Type;
    const Type elements[] = {Type{1}, Type{2}};
    const int length = 2;
    EXPECT_NE(TypeParam::putArray(this->link, elements, &length, nullptr, 1), 0);
    const Type* data = nullptr;
    const int* dimensions = nullptr;
    const char* const* heads = nullptr;
    int depth = 0;
    expectFailure(TypeParam::getArray(this->link, nullptr, &dimensions, &heads, &depth), this->link, TTE_NULL);
    expectFailure(TypeParam::getArray(this->link, &data, nullptr, &heads, &depth), this->link, TTE_NULL);
    expectFailure(TypeParam::getArray(this->link, &data, &dimensions, nullptr, &depth), this->link, TTE_NULL);
    expectFailure(TypeParam::getArray(this->link, &data, &dimensions, &heads, nullptr), this->link, TTE_NULL);
    EXPECT_EQ(readArray<TypeParam>(this->link).elements, std::vector<Type>(elements, elements + 2));
}

TEST_F(Array, WithAZeroDimensionKeepsWhatComesBeforeIt) {
    const int dimensions[] = {3, 0};
    EXPECT_NE(TTPutInteger32Array(link, nullptr, dimensions, nullptr, 2), 0);
    const auto read = readArray<Integer32>(link);
    EXPECT_EQ(read.dimensions, (Ints{3, 0}));
    EXPECT_EQ(read.elements, Ints{});
    EXPECT_EQ(read.heads, (Texts{"List", "List"}));
    expectNothingLeft(link);
}

TEST_F(Array, BehindAZeroDimensionNothingIsWritten) {
    const int dimensions[] = {2, 0, INT_MAX};
    EXPECT_NE(TTPutInteger32Array(link, nullptr, dimensions, nullptr, 3), 0);
    expectFunction(link, "List", 2);
    expectFunction(link, "List", 0);
    expectFunction(link, "List", 0);
    expectNothingLeft(link);
    const int nothing[] = {0, INT_MAX, INT_MAX};
    EXPECT_NE(TTPutInteger32Array(link, nullptr, nothing, nullptr, 3), 0);
    expectFunction(link, "List", 0);
    expectNothingLeft(link);
}

TEST_F(Array, BeyondAllMemoryIsRefusedAndPutsNothing) {
    const int element = 1;
    for (const Ints& dimensions : {Ints{INT_MAX, INT_MAX, INT_MAX}, Ints{65536, 65536, 65536, 65536},
                                   Ints{INT_MAX, INT_MAX, INT_MAX, 0}, Ints{INT_MAX, INT_MAX, 0}}) {
        const auto depth = static_cast<int>(dimensions.size());
        expectFailure(TTPutInteger32Array(link, &element, dimensions.data(), nullptr, depth), link, TTE_RANGE);
        expectNothingLeft(link);
    }
}

TEST_F(Array, TakesAHeadForEachLevelAndListForNull) {
    const int elements[] = {1, 2, 3, 4, 5, 6};
    const int dimensions[] = {1, 3, 2};
    const char* const heads[] = {"Cube", nullptr, "Row"};
    EXPECT_NE(TTPutInteger32Array(link, elements, dimensions, heads, 3), 0);
    const auto read = readArray<Integer32>(link);
    EXPECT_EQ(read.heads, (Texts{"Cube", "List", "Row"}));
    EXPECT_EQ(read.dimensions, (Ints{1, 3, 2}));
    EXPECT_EQ(read.elements, (Ints{1, 2, 3, 4, 5, 6}));
}

TEST_F(Array, AMalformedHeadIsRefusedAndPutsNothing) {
    const int elements[] = {1, 2};
    const int dimensions[] = {1, 2};
    const char* const heads[] = {"List", "\xFF"};
    expectFailure(TTPutInteger32Array(link, elements, dimensions, heads, 2), link, TTE_ENCODING);
    expectNothingLeft(link);
}

TEST_F(Array, WithDifferentHeadsOnOneLevelIsNone) {
    EXPECT_NE(TTPutFunction(link, "List", 2), 0);
    for (const char* const head : {"Row", "Line"}) {
        EXPECT_NE(TTPutFunction(link, head, 1), 0);
        putInteger(link, 1);
    }
    EXPECT_FALSE(readArray<Integer32>(link).isRead);
    expectFailure(0, link, TTE_SHAPE);
    expectFunction(link, "List", 2);
    expectFunction(link, "Row", 1);
}

TEST_F(Array, RaggedListsAreNoneAndStay) {
    for (const std::string lists :
         {"((1 2) (3))", "((1) (2 3))", "((1 2) 3)", "(1 (2 3))", "(((1)) (2))", "((1) ((2)))", "(() (1))", "((1) ())",
          "(() 1)", "(1 ())", "((()) ())", "((1 2 3) (4 5 6) (7 8))"}) {
        SCOPED_TRACE(lists);
        putLists(link, lists);
        EXPECT_FALSE(readArray<Integer64>(link).isRead);
        EXPECT_EQ(TTError(link), TTE_SHAPE);
        TTClearError(link);
        EXPECT_FALSE(readArray<Real32>(link).isRead);
        EXPECT_EQ(TTError(link), TTE_SHAPE);
        TTClearError(link);
        const char* head = nullptr;
        int count = 0;
        EXPECT_NE(TTGetFunction(link, &head, &count), 0) << "the outermost list is still there";
        TTReleaseSymbol(link, head);
        EXPECT_NE(TTNewPacket(link), 0);
    }
}

TEST_F(Array, RectangularListsAreOneHoweverTheyWerePut) {
    const std::pair<const char*, Ints> cases[] = {{"(1 2 3)", {3}},
                                                  {"((1 2 3) (4 5 6))", {2, 3}},
                                                  {"(((1 2)))", {1, 1, 2}},
                                                  {"()", {0}},
                                                  {"(() ())", {2, 0}},
                                                  {"((()))", {1, 1, 0}},
                                                  {"(((1) (2)) ((3) (4)) ((5) (6)))", {3, 2, 1}}};
    for (const auto& [lists, dimensions] : cases) {
        SCOPED_TRACE(lists);
        putLists(link, lists);
        const auto read = readArray<Integer16>(link);
        EXPECT_TRUE(read.isRead);
        EXPECT_EQ(read.dimensions, dimensions);
        const int count = std::accumulate(dimensions.begin(), dimensions.end(), 1, std::multiplies<>());
        ASSERT_EQ(read.elements.size(), static_cast<std::size_t>(count));
        for (std::size_t index = 0; index < read.elements.size(); ++index) {
            EXPECT_EQ(read.elements[index], static_cast<short>(index + 1));
        }
        expectNothingLeft(link);
    }
}

TEST_F(Array, IsNotReadFromSomethingElse) {
    putInteger(link, 5);
    EXPECT_FALSE(readArray<Integer32>(link).isRead);
    expectFailure(0, link, TTE_TYPE);
    expectInteger(link, 5);
    EXPECT_FALSE(readArray<Integer32>(link).isRead);
    expectFailure(0, link, TTE_EMPTY);
}

TEST_F(Array, AnElementThatDoesNotFitRefusesAllAndLeavesAll) {
    const int elements[] = {1, 2, 3, -1};
    const int dimensions[] = {2, 2};
    EXPECT_NE(TTPutInteger32Array(link, elements, dimensions, nullptr, 2), 0);
    EXPECT_FALSE(readArray<Integer8>(link).isRead);
    expectFailure(0, link, TTE_RANGE);
    EXPECT_EQ(readArray<Integer16>(link).elements, (std::vector<short>{1, 2, 3, -1}));
}

TEST_F(Array, ThatClaimsMoreThanIsThereStays) {
    EXPECT_NE(TTPutFunction(link, "List", 100000), 0);
    EXPECT_NE(TTPutFunction(link, "List", 100000), 0);
    for (int index = 0; index < 10; ++index) {
        putInteger(link, index);
    }
    EXPECT_FALSE(readArray<Real64>(link).isRead);
    expectFailure(0, link, TTE_EMPTY);
    expectFunction(link, "List", 100000);
    expectFunction(link, "List", 100000);
    expectInteger(link, 0);
}

TEST_F(Array, OfManyElementsComesBackWhole) {
    Ints elements(60000);
    std::iota(elements.begin(), elements.end(), -7);
    const Ints dimensions{20, 30, 100};
    EXPECT_NE(TTPutInteger32Array(link, elements.data(), dimensions.data(), nullptr, 3), 0);
    EXPECT_EQ(readArray<Integer32>(link).elements, elements);
}

} // namespace

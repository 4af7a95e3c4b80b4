#include "tests/bridge/BridgeTest.h"

#include <limits>

using GTU::VArrayDimensions;
using Dims = std::vector<vint>;

namespace radvex::test {

class ArrayDimensions : public BridgeTest {
  protected:
    static VArrayDimensions fromRange(const Dims& dims) { return VArrayDimensions(dims.begin(), dims.end()); }
    static Thrown refused(const Dims& dims) {
        return thrownBy([&] { fromRange(dims); });
    }

    static constexpr const char* kInvalid = "Invalid input vector with array dimensions";
    static constexpr vint kMost = std::numeric_limits<vint>::max();
};

TEST_F(ArrayDimensions, GiveLengthAndStrides) {
    const VArrayDimensions dims = fromRange({2, 3, 5});
    EXPECT_EQ(dims.getFlattenedLength(), 30);
    EXPECT_EQ(dims.getDimensions(), (Dims{2, 3, 5}));
    EXPECT_EQ(dims.getOffsets(), (Dims{15, 5, 1}));
    EXPECT_EQ(dims.getRank(), 3U);
}

TEST_F(ArrayDimensions, OfOneEntryHaveStrideOne) {
    EXPECT_EQ(fromRange({7}).getOffsets(), Dims{1});
    EXPECT_EQ(fromRange({7}).getFlattenedLength(), 7);
}

TEST_F(ArrayDimensions, AcceptAZeroAtTheEnd) {
    const VArrayDimensions dims = fromRange({3, 0});
    EXPECT_EQ(dims.getFlattenedLength(), 0);
    EXPECT_EQ(dims.getOffsets(), (Dims{0, 1}));
    EXPECT_EQ(fromRange({0}).getFlattenedLength(), 0);
}

TEST_F(ArrayDimensions, RefuseAZeroBeforeTheEnd) {
    EXPECT_THAT(refused({0, 3}), isError(3, "DimensionsError", kInvalid));
}

TEST_F(ArrayDimensions, RefuseNegativeEntriesAnywhere) {
    for (const Dims& dims : {Dims{3, -1}, Dims{-1, 3}, Dims{2, -3, 5}, Dims{-1}}) {
        EXPECT_THAT(refused(dims), isError(3, "DimensionsError", kInvalid));
    }
}

TEST_F(ArrayDimensions, RefuseAnEmptyRangeWithoutDebugText) {
    EXPECT_THAT(refused({}), isError(3, "DimensionsError", ""));
}

TEST_F(ArrayDimensions, AcceptAProductThatJustFits) {
    EXPECT_EQ(fromRange({kMost}).getFlattenedLength(), kMost);
    EXPECT_EQ(fromRange({1, kMost, 1}).getFlattenedLength(), kMost);
    EXPECT_EQ(fromRange({32768, 65535}).getFlattenedLength(), 2147450880);
}

TEST_F(ArrayDimensions, RefuseAProductBeyondTheHostsInteger) {
    EXPECT_EQ(refused({32768, 65536}).name, "DimensionsError");
    EXPECT_EQ(refused({65536, 65536}).name, "DimensionsError") << "0 in 32 bits";
    EXPECT_EQ(refused({kMost, kMost, kMost}).name, "DimensionsError") << "beyond 64 bits too";
    EXPECT_EQ(refused({65536, 65536, 65536, 65536}).name, "DimensionsError") << "0 in 64 bits";
}

TEST_F(ArrayDimensions, AcceptAnEmptyArrayWhateverItsOtherDimensions) {
    const VArrayDimensions dims = fromRange({65536, 65536, 0});
    EXPECT_EQ(dims.getFlattenedLength(), 0);
    EXPECT_EQ(dims.getOffsets(), (Dims{0, 0, 1}));
}

TEST_F(ArrayDimensions, OfAListAreNotChecked) {
    EXPECT_EQ((VArrayDimensions{0, 3}.getFlattenedLength()), 0);
    EXPECT_EQ((VArrayDimensions{2, -3}.getFlattenedLength()), -6);
    EXPECT_EQ((VArrayDimensions{2, 3, 5}.getOffsets()), (Dims{15, 5, 1}));
}

TEST_F(ArrayDimensions, OfAListMustExistAndFitTheHostsInteger) {
    EXPECT_EQ(thrownBy([] { VArrayDimensions({}); }).name, "DimensionsError");
    EXPECT_EQ(thrownBy([] { (void)VArrayDimensions{65536, 65536}; }).name, "DimensionsError");
    EXPECT_EQ(thrownBy([] { VArrayDimensions::checkContainerSize({}); }).name, "DimensionsError");
    EXPECT_EQ(thrownBy([] { VArrayDimensions::checkContainerSize({0}); }).name, "");
}

TEST_F(ArrayDimensions, IndexIsTheSumOfCoordinatesTimesStrides) {
    const VArrayDimensions dims = fromRange({2, 3, 5});
    EXPECT_EQ(dims.getIndex({1, 2, 4}), 29);
    EXPECT_EQ(dims.getIndex({1, 2}), 25);
    EXPECT_EQ(dims.getIndex({}), 0);
    EXPECT_EQ(dims.getIndex({5, -1, 0}), 70) << "no checks";
}

TEST_F(ArrayDimensions, CheckedIndexGivesBackWhatIsInside) {
    const VArrayDimensions dims = fromRange({2, 3});
    EXPECT_EQ(dims.getIndexChecked(0), 0);
    EXPECT_EQ(dims.getIndexChecked(5), 5);
}

TEST_F(ArrayDimensions, CheckedIndexRefusesWhatIsOutsideAndTellsIt) {
    const VArrayDimensions dims = fromRange({2, 3});
    for (const vint index : {-1, 6, 100}) {
        EXPECT_THAT(thrownBy([&] { (void)dims.getIndexChecked(index); }), isError(-26, "VArrayElementIndexError"));
        EXPECT_EQ(deliveredParameters(), std::vector<std::string>{std::to_string(index)});
    }
}

TEST_F(ArrayDimensions, CheckedIndexOfAnEmptyArrayRefusesZero) {
    EXPECT_EQ(thrownBy([] { (void)fromRange({0}).getIndexChecked(0); }).id, -26);
}

TEST_F(ArrayDimensions, CheckedCoordinatesGiveTheIndex) {
    const VArrayDimensions dims = fromRange({2, 3, 5});
    EXPECT_EQ(dims.getIndexChecked({1, 2, 4}), 29);
    EXPECT_EQ(dims.getIndexChecked(Dims{1}), 15);
    EXPECT_EQ(dims.getIndexChecked(Dims{}), 0);
}

TEST_F(ArrayDimensions, CheckedCoordinatesRefuseOneOutsideItsDimensionAndTellIt) {
    const VArrayDimensions dims = fromRange({2, 3, 5});
    const std::vector<std::pair<Dims, std::string>> cases = {
        {{2, 0, 0}, "2"}, {{0, 3, 0}, "3"}, {{0, 0, 5}, "5"}, {{0, -7, 9}, "-7"}};
    for (const auto& [coordinates, told] : cases) {
        EXPECT_EQ(thrownBy([&, &at = coordinates] { (void)dims.getIndexChecked(at); }).name, "VArrayElementIndexError");
        EXPECT_EQ(deliveredParameters(), std::vector<std::string>{told});
    }
}

TEST_F(ArrayDimensions, CheckedCoordinatesRefuseMoreThanThereAreDimensionsAndTellTheirNumber) {
    const VArrayDimensions dims = fromRange({2, 3});
    EXPECT_THAT(thrownBy([&] { (void)dims.getIndexChecked({9, 9, 9, 9}); }), isError(-27, "VArrayDimensionIndexError"));
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{"4"});
}

TEST_F(ArrayDimensions, IndexErrorTellsTheIndex) {
    EXPECT_EQ(thrownBy([] { VArrayDimensions::indexError(-3); }).id, -26);
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{"-3"});
}

} // namespace radvex::test

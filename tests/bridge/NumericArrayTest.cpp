#include "tests/bridge/BridgeTest.h"

#include "bridge/containers/NumericArray.h"

using GTU::NumericArray;
using GTU::VArrayDimensions;
using GTU::Passing::Manual;
using velmora::ledger;
using velmora::ObjectKind;
using velmora::Operation;

namespace radvex::test {

class NumericArrays : public BridgeTest {
  protected:
    static long alive() { return ledger().counts(ObjectKind::numericArray).alive(); }

    template <typename T>
    static void expectRange(vint code, T least, T most) {
        const T values[] = {least, T{1}, most};
        const NumericArray<T, Manual> array(std::begin(values), std::end(values));
        EXPECT_EQ(array.type(), code);
        EXPECT_EQ(typeOf(array.getInternal()), code);
        EXPECT_EQ(array.dimensions().getDimensions(), std::vector<vint>{3});
        EXPECT_EQ(std::vector<T>(array.begin(), array.end()), (std::vector<T>{least, T{1}, most}));
        EXPECT_TRUE(array.isOwnedByLibrary());
    }

    static vint typeOf(VNumericArray array) {
        return GTU::LibraryData::NumericArrayAPI()->VNumericArray_getType(array);
    }
};

TEST_F(NumericArrays, FromARangeHaveTheCodeOfTheirElements) {
    expectRange<signed char>(1, -128, 127);
    expectRange<unsigned char>(2, 0, 255);
    expectRange<short>(3, -32768, 32767);
    expectRange<unsigned short>(4, 0, 65535);
    expectRange<int>(5, -2147483647 - 1, 2147483647);
    expectRange<unsigned int>(6, 0, 4294967295U);
}

TEST_F(NumericArrays, FromAnEmptyRangeAreEmpty) {
    const unsigned char none[] = {0};
    const NumericArray<unsigned char, Manual> array(none, none);
    EXPECT_EQ(array.getSize(), 0);
    EXPECT_EQ(array.getRank(), 1);
    EXPECT_EQ(array.getFlattenedLength(), 0);
}

TEST_F(NumericArrays, OfDimensionsAreZeroFilled) {
    const NumericArray<short, Manual> array(VArrayDimensions{2, 3, 5});
    EXPECT_EQ(array.getRank(), 3);
    EXPECT_EQ(std::vector<vint>(array.getDimensions(), array.getDimensions() + 3), (std::vector<vint>{2, 3, 5}));
    EXPECT_EQ(array.getFlattenedLength(), 30);
    EXPECT_EQ(array.getSize(), 30);
    EXPECT_EQ(std::vector<short>(array.begin(), array.end()), std::vector<short>(30, 0));
}

TEST_F(NumericArrays, AreFilledInPlace) {
    const NumericArray<int, Manual> array(VArrayDimensions{2, 3});
    array.at(array.dimensions().getIndexChecked({1, 2})) = 12;
    EXPECT_EQ(static_cast<int*>(array.rawData())[5], 12);
    EXPECT_EQ(array.getData(), array.rawData());
    EXPECT_EQ(thrownBy([&] { (void)array.at(6); }).name, "VArrayElementIndexError");
}

TEST_F(NumericArrays, AreFreedOrHandedOver) {
    auto frame = frameOf({});
    {
        const NumericArray<unsigned short, Manual> freed(VArrayDimensions{2});
        NumericArray<unsigned short, Manual> handedOver(VArrayDimensions{3});
        handedOver.at(2) = 40000;
        handedOver.passAsResult(frame.res());
    }
    EXPECT_EQ(alive(), 1);
    const velmora::Value result = frame.takeResult(VType_NumericArray);
    EXPECT_EQ(result.get<velmora::NumericArray>().data<unsigned short>()[2], 40000);
}

TEST_F(NumericArrays, MovedAreFreedOnce) {
    {
        NumericArray<int, Manual> source(VArrayDimensions{2, 3});
        const NumericArray<int, Manual> moved(std::move(source));
        EXPECT_EQ(moved.dimensions().getDimensions(), (std::vector<vint>{2, 3}));
        EXPECT_EQ(moved.getFlattenedLength(), 6);
    }
    EXPECT_EQ(ledger().counts(ObjectKind::numericArray).freed, 1);
}

TEST_F(NumericArrays, ThatTheHostRefusesToMakeAreErrors) {
    const int values[] = {1, 2};
    ledger().refuse(Operation::VNumericArray_new, 1);
    const Thrown thrown = thrownBy([&] { NumericArray<int, Manual> array(std::begin(values), std::end(values)); });
    EXPECT_EQ(thrown.id, -9);
    EXPECT_EQ(thrown.name, "NumericArrayNewError");
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{});
    EXPECT_EQ(thrownBy([] { NumericArray<int, Manual> array(VArrayDimensions{2, -1}); }).name, "NumericArrayNewError");
}

TEST_F(NumericArrays, OfAnotherLengthThanTheRangeAreFreedAndTold) {
    const int values[] = {1, 2};
    alterTable().numericArrays.VNumericArray_getFlattenedLength = [](VNumericArray) -> vint { return 1; };
    EXPECT_EQ(thrownBy([&] { NumericArray<int, Manual> array(std::begin(values), std::end(values)); }).name,
              "NumericArrayNewError");
    EXPECT_EQ(deliveredParameters(),
              std::vector<std::string>{"Length of data range does not match specified dimensions"});
    EXPECT_EQ(ledger().counts(ObjectKind::numericArray).made, 1);
    EXPECT_EQ(alive(), 0);
}

} // namespace radvex::test

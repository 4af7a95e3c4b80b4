// The host's own values: ownership, deep copies, moves, and the accounting behind them.

#include <climits>

#include "tests/host/HandleTest.h"

namespace {

using namespace velmora;

using Values = radvex::test::HandleTest;

TEST_F(Values, GoWithTheirScope) {
    {
        const Tensor tensor({2, 3}, std::vector<double>(6, 0.5));
        const NumericArray array(VNumericArray_U16, {2, 3});
        const Image image(2, 3, 5, 1, VImage_U8, VColorSpace_Grey, true);
        const Store store = Store::of({1, 0.5, "text"});
        EXPECT_EQ(ledger().alive(), 4);
    }
    EXPECT_EQ(ledger().alive(), 0);
    EXPECT_EQ(ledger().counts(ObjectKind::tensor).made, 1);
}

TEST_F(Values, ACopyIsDeep) {
    const Tensor tensor({2}, std::vector<vint>{1, 2});
    const Tensor copy = tensor;
    tensor.data<vint>()[0] = 9;
    EXPECT_NE(copy.handle(), tensor.handle());
    EXPECT_EQ(copy.data<vint>()[0], 1);
    EXPECT_EQ(copy.dimensions(), std::vector<vint>{2});
    EXPECT_EQ(ledger().counts(ObjectKind::tensor).alive(), 2);
}

TEST_F(Values, AMoveLeavesNullAndMakesNothing) {
    NumericArray array(VNumericArray_F32, {2, 3});
    const VNumericArray handle = array.handle();
    const NumericArray moved = std::move(array);
    EXPECT_EQ(array.handle(), nullptr);
    EXPECT_EQ(moved.handle(), handle);
    const NumericArray copyOfNothing = array;
    EXPECT_EQ(copyOfNothing.handle(), nullptr);
    EXPECT_EQ(ledger().counts(ObjectKind::numericArray).made, 1);
}

TEST_F(Values, AssignmentFreesWhatWasThere) {
    Image first(0, 3, 5, 1, VImage_U8, VColorSpace_Grey, true);
    const Image second(0, 7, 2, 1, VImage_U16, VColorSpace_Grey, true);
    first = second;
    EXPECT_EQ(ledger().counts(ObjectKind::image).alive(), 2);
    EXPECT_EQ(first.info().rows, 7);
    const Image& self = first;
    first = self;
    EXPECT_EQ(first.info().rows, 7);
    first = Image();
    EXPECT_EQ(ledger().counts(ObjectKind::image).alive(), 1);
}

TEST_F(Values, ImpossibleSizesThrowAndLeaveNothing) {
    EXPECT_THROW(Tensor(VTensor_Real, {2, -1}), std::invalid_argument);
    EXPECT_THROW(Tensor(VTensor_Real, {}), std::invalid_argument);
    EXPECT_THROW(Tensor(VType_Boolean, {2}), std::invalid_argument);
    EXPECT_THROW(NumericArray(VNumericArray_U8, {INT_MAX, INT_MAX}), std::invalid_argument);
    EXPECT_THROW(NumericArray(0, {1}), std::invalid_argument);
    EXPECT_THROW(Image(0, -3, 5, 1, VImage_U8, VColorSpace_Grey, true), std::invalid_argument);
    EXPECT_THROW(Image(-2, 3, 5, 1, VImage_U8, VColorSpace_Grey, true), std::invalid_argument);
    EXPECT_THROW(Image(0, 3, 5, 1, 9, VColorSpace_Grey, true), std::invalid_argument);
    EXPECT_EQ(ledger().alive(), 0);
}

TEST_F(Values, ElementsHaveToFillTheDimensions) {
    EXPECT_THROW(Tensor({2, 3}, std::vector<vint>(5)), std::invalid_argument);
    EXPECT_THROW(Tensor({2, 3}, std::vector<double>(7)), std::invalid_argument);
    EXPECT_EQ(ledger().alive(), 0);
    EXPECT_EQ(Tensor({0, 3}, std::vector<vint>()).data<vint>().size(), 0U);
}

TEST_F(Values, AVectorsOneDimensionIsNotTakenForAType) {
    const Tensor two({2}, std::vector<vint>{7, 8}); // 2 is also the code of integer tensors
    EXPECT_EQ(two.dimensions(), std::vector<vint>{2});
    EXPECT_EQ(two.data<vint>()[1], 8);
    const Tensor zeros(VTensor_Integer, {7, 8});
    EXPECT_EQ(zeros.dimensions(), (std::vector<vint>{7, 8}));
}

TEST_F(Values, BytesCountTheElementSize) {
    EXPECT_EQ(NumericArray(VNumericArray_U16, {2, 3}).bytes().size(), 12U);
    EXPECT_EQ(NumericArray(VNumericArray_F64, {5}).bytes().size(), 40U);
    EXPECT_EQ(Image(2, 3, 5, 3, VImage_F32, VColorSpace_RGB, true).bytes().size(), 360U);
    EXPECT_EQ(Image(0, 3, 5, 1, VImage_Bit, VColorSpace_Grey, true).bytes().size(), 15U);
}

TEST_F(Values, KnowTheirKinds) {
    const std::pair<Value, vint> kinds[] = {
        {Value(Null()), VType_Undef},
        {Value(true), VType_Boolean},
        {Value(vint{5}), VType_Integer},
        {Value(0.5), VType_Real},
        {Value(std::complex<double>(1.0, 2.0)), VType_Complex},
        {Value("text"), VType_UTF8String},
        {Value(Tensor({1}, std::vector<vint>{1})), VType_Tensor},
        {Value(NumericArray(VNumericArray_U8, {1})), VType_NumericArray},
        {Value(Image(0, 1, 1, 1, VImage_U8, VColorSpace_Grey, true)), VType_Image},
        {Value(Store::empty()), VType_DataStore},
    };
    for (const auto& [value, kind] : kinds) {
        EXPECT_EQ(value.type(), kind);
    }
}

TEST_F(Values, InAStoreComeBackAsCopies) {
    Store store = Store::empty();
    store.add("flag", true);
    store.add("complex", std::complex<double>(1.5, -2.5));
    store.add("text", "within");
    store.add("array", NumericArray(VNumericArray_S16, {2, 3}));
    store.add("nothing", Null());
    store.add("inner", Store::of({vint{1}, Store::ofTexts({"a", "b", "c"})}));
    EXPECT_EQ(store.size(), 6U);
    EXPECT_EQ(ledger().alive(), 4) << "three stores and an array";

    std::vector<Value> values;
    std::string names;
    for (const NodeView node : store) {
        names += std::string(node.name()) + ' ';
        values.push_back(node.value());
    }
    EXPECT_EQ(names, "flag complex text array nothing inner ");
    EXPECT_TRUE(values[0].get<bool>());
    EXPECT_EQ(values[1].get<std::complex<double>>(), std::complex<double>(1.5, -2.5));
    EXPECT_EQ(values[2].get<std::string>(), "within");
    EXPECT_EQ(values[3].get<NumericArray>().dimensions(), (std::vector<vint>{2, 3}));
    EXPECT_TRUE(values[4].is<Null>());
    store = Store::empty(); // what was read lives on
    const Store& inner = values[5].get<Store>();
    ASSERT_EQ(inner.size(), 2U);
    EXPECT_EQ((*inner.begin()).value().get<vint>(), 1);
    EXPECT_EQ((*++inner.begin()).value().get<Store>().size(), 3U);
}

TEST_F(Values, AStoreCopiesDeeplyAndMoves) {
    Store store = Store::of({Tensor({1}, std::vector<double>{0.5}), Store::ofTexts({"a"})});
    const Store copy = store;
    EXPECT_EQ(ledger().alive(), 6);
    const Store moved = std::move(store);
    EXPECT_EQ(ledger().alive(), 6);
    EXPECT_EQ(store.size(), 0U) << "a moved-from store has no nodes";
    EXPECT_EQ(copy.size(), 2U);
    EXPECT_EQ((*copy.begin()).value().get<Tensor>().data<double>()[0], 0.5);
}

TEST_F(Values, AValueCopiesWhatItHolds) {
    const Value value(Tensor({2}, std::vector<vint>{3, 4}));
    Value copy = value;
    EXPECT_EQ(ledger().alive(), 2);
    copy = 5;
    EXPECT_EQ(ledger().alive(), 1);
    EXPECT_EQ(value.get<Tensor>().data<vint>()[1], 4);
}

} // namespace

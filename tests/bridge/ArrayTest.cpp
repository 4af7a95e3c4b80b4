#include "tests/bridge/BridgeTest.h"

#include <type_traits>

#include "bridge/containers/NumericArray.h"
#include "bridge/containers/Tensor.h"

using GTU::NumericArray;
using GTU::Tensor;
using GTU::VArrayDimensions;

namespace radvex::test {

class NumericArrays : public BridgeTest {
  protected:
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

TEST_F(NumericArrays, MovedAreFreedOnce) {
    {
        NumericArray<int, Manual> source(VArrayDimensions{2, 3});
        const NumericArray<int, Manual> moved(std::move(source));
        EXPECT_EQ(moved.dimensions().getDimensions(), (std::vector<vint>{2, 3}));
        EXPECT_EQ(moved.getFlattenedLength(), 6);
    }
    EXPECT_EQ(ledger().counts(ObjectKind::numericArray).freed, 1);
}

TEST_F(NumericArrays, OfANegativeDimensionAreErrors) {
    EXPECT_EQ(thrownBy([] { NumericArray<int, Manual> array(VArrayDimensions{2, -1}); }).name, "NumericArrayNewError");
}

class Tensors : public BridgeTest {
  protected:
    static velmora::Tensor realTensor() { return {{2, 3}, std::vector<double>{0, 1, 2, 10, 11, 12}}; }
    static long alive() { return ledger().counts(ObjectKind::tensor).alive(); }
};

TEST_F(Tensors, OfTheHostShowItsElementsInPlace) {
    const velmora::Tensor tensor = realTensor();
    const Tensor<double, Automatic> wrapped(tensor.handle());
    EXPECT_EQ(wrapped.dimensions().getDimensions(), (std::vector<vint>{2, 3}));
    EXPECT_EQ(wrapped.getRank(), 2);
    EXPECT_EQ(wrapped.getDimensions()[1], 3);
    EXPECT_EQ(wrapped.getFlattenedLength(), 6);
    EXPECT_EQ(wrapped.type(), 3);
    EXPECT_EQ(wrapped.getInternal(), tensor.handle());
    EXPECT_EQ(static_cast<void*>(wrapped.getData()), wrapped.rawData());
    EXPECT_EQ(wrapped.at(wrapped.dimensions().getIndex({1, 2})), 12.0);
    wrapped.at(0) = 0.5;
    EXPECT_EQ(tensor.data<double>()[0], 0.5);
}

TEST_F(Tensors, OfTheHostAreNotFreed) {
    const velmora::Tensor tensor = realTensor();
    {
        const Tensor<double, Automatic> wrapped(tensor.handle());
        EXPECT_FALSE(wrapped.isOwnedByLibrary());
    }
    EXPECT_EQ(alive(), 1);
}

TEST_F(Tensors, SharedOnesDropTheirShareOnce) {
    const velmora::Tensor tensor = realTensor();
    tensor.handle()->shares = 1;
    {
        Tensor<double, Shared> wrapped(tensor.handle());
        EXPECT_TRUE(wrapped.isOwnedByLibrary());
        EXPECT_EQ(wrapped.shareCount(), 1);
        const Tensor<double, Shared> moved(std::move(wrapped));
        EXPECT_EQ(moved.dimensions().getFlattenedLength(), 6);
    }
    EXPECT_EQ(ledger().counts(ObjectKind::tensor).disowned, 1);
    EXPECT_EQ(tensor.handle()->shares, 0);
    EXPECT_EQ(alive(), 1) << "the host keeps it";
}

TEST_F(Tensors, OfANullHandleAreRefused) {
    EXPECT_EQ(thrownBy([] { Tensor<double, Automatic> tensor(nullptr); }).name, "CreateFromNullError");
    EXPECT_EQ(thrownBy([] { Tensor<double, Shared> tensor(nullptr); }).id, -25);
}

TEST_F(Tensors, OfAnotherElementTypeAreRefused) {
    const velmora::Tensor tensor(std::vector<vint>{2}, std::vector<vint>{1, 2});
    EXPECT_THAT(thrownBy([&] { Tensor<double, Automatic> wrapped(tensor.handle()); }), isError(-17, "TensorTypeError"));
}

TEST_F(Tensors, SharedOnesOfAnotherElementTypeDropTheirShare) {
    const velmora::Tensor tensor(std::vector<vint>{2}, std::vector<vint>{1, 2});
    tensor.handle()->shares = 1;
    EXPECT_EQ(thrownBy([&] { Tensor<double, Shared> wrapped(tensor.handle()); }).id, -17);
    EXPECT_EQ(tensor.handle()->shares, 0);
}

TEST_F(Tensors, WithoutDimensionsAreRefused) {
    const velmora::Tensor tensor = realTensor();
    alterTable().main.VTensor_getRank = [](VTensor) -> vint { return 0; };
    EXPECT_EQ(thrownBy([&] { Tensor<double, Automatic> wrapped(tensor.handle()); }).name, "DimensionsError");
}

TEST_F(Tensors, FromARangeWidenEachElement) {
    const unsigned char bytes[] = {0, 128, 255};
    const Tensor<vint, Manual> fromBytes(std::begin(bytes), std::end(bytes));
    EXPECT_EQ(fromBytes.dimensions().getDimensions(), std::vector<vint>{3});
    EXPECT_EQ(std::vector<vint>(fromBytes.begin(), fromBytes.end()), (std::vector<vint>{0, 128, 255}));
    EXPECT_EQ(fromBytes.type(), 2);
    EXPECT_TRUE(fromBytes.isOwnedByLibrary());

    const std::vector<unsigned short> words = {0, 40000, 65535};
    const Tensor<vint, Manual> fromWords(words.begin(), words.end());
    EXPECT_EQ(std::vector<vint>(fromWords.begin(), fromWords.end()), (std::vector<vint>{0, 40000, 65535}));
}

TEST_F(Tensors, RawDataIsThatOfTheirOwnType) {
    const velmora::Tensor integers(VTensor_Integer, {2});
    const velmora::Tensor reals(VTensor_Real, {2});
    const velmora::Tensor complexes(VTensor_Complex, {2});
    for (const velmora::Tensor* tensor : {&integers, &reals, &complexes}) {
        EXPECT_EQ(GTU::tensorRawData(tensor->handle()), tensor->handle()->data.get());
    }
}

TEST_F(Tensors, RawDataOfAnUnknownTypeIsRefused) {
    const velmora::Tensor tensor = realTensor();
    alterTable().main.VTensor_getType = [](VTensor) -> vint { return VType_Boolean; };
    EXPECT_EQ(thrownBy([&] { (void)GTU::tensorRawData(tensor.handle()); }).name, "TensorTypeError");
}

/// How the tests below reach numeric arrays and tensors, which are made of ranges alike.
struct NumericArrayKind {
    using Element = int;
    using Container = NumericArray<int, Manual>;
    using Value = velmora::NumericArray;
    static constexpr ObjectKind kKind = ObjectKind::numericArray;
    static constexpr Operation kMake = Operation::VNumericArray_new;
    static constexpr vint kType = VType_NumericArray;
    static constexpr int kErrorId = -9;
    static constexpr const char* kErrorName = "NumericArrayNewError";
    template <typename Table>
    static void answerLengthTwo(Table& table) {
        table.numericArrays.VNumericArray_getFlattenedLength = [](VNumericArray) -> vint { return 2; };
    }
};

struct TensorKind {
    using Element = unsigned char;
    using Container = Tensor<vint, Manual>;
    using Value = velmora::Tensor;
    static constexpr ObjectKind kKind = ObjectKind::tensor;
    static constexpr Operation kMake = Operation::VTensor_new;
    static constexpr vint kType = VType_Tensor;
    static constexpr int kErrorId = -15;
    static constexpr const char* kErrorName = "TensorNewError";
    template <typename Table>
    static void answerLengthTwo(Table& table) {
        table.main.VTensor_getFlattenedLength = [](VTensor) -> vint { return 2; };
    }
};

template <typename Kind>
class MadeOfRanges : public BridgeTest {
  protected:
    using Container = typename Kind::Container;

    static constexpr typename Kind::Element kElements[] = {1, 2, 200};
    static long alive() { return ledger().counts(Kind::kKind).alive(); }
    static Thrown thrownByMaking() {
        return thrownBy([] { Container container(std::begin(kElements), std::end(kElements)); });
    }
};

struct NamesOfKinds {
    template <typename Kind>
    static std::string GetName(int) {
        return std::is_same_v<Kind, TensorKind> ? "Tensors" : "NumericArrays";
    }
};

using Kinds = ::testing::Types<NumericArrayKind, TensorKind>;
TYPED_TEST_SUITE(MadeOfRanges, Kinds, NamesOfKinds);

TYPED_TEST(MadeOfRanges, AreEmptyWhenTheRangeIs) {
    const typename TypeParam::Container container(std::begin(this->kElements), std::begin(this->kElements));
    EXPECT_EQ(container.getSize(), 0);
    EXPECT_EQ(container.getRank(), 1);
    EXPECT_EQ(container.getFlattenedLength(), 0);
}

TYPED_TEST(MadeOfRanges, AreFreedOrHandedOver) {
    auto frame = this->frameOf({});
    {
        const typename TypeParam::Container freed(std::begin(this->kElements), std::end(this->kElements));
        typename TypeParam::Container handedOver(std::begin(this->kElements), std::end(this->kElements));
        handedOver.passAsResult(frame.res());
    }
    EXPECT_EQ(this->alive(), 1);
    const velmora::Value result = frame.takeResult(TypeParam::kType);
    EXPECT_EQ(result.get<typename TypeParam::Value>().template data<vint>()[2], 200);
}

TYPED_TEST(MadeOfRanges, AreErrorsWhenTheHostRefusesToMakeThem) {
    ledger().refuse(TypeParam::kMake, 1);
    EXPECT_THAT(this->thrownByMaking(), isError(TypeParam::kErrorId, TypeParam::kErrorName));
    EXPECT_EQ(this->deliveredParameters(), std::vector<std::string>{});
}

TYPED_TEST(MadeOfRanges, AreFreedAndToldWhenTheHostSaysAnotherLength) {
    TypeParam::answerLengthTwo(this->alterTable());
    EXPECT_EQ(this->thrownByMaking().name, TypeParam::kErrorName);
    EXPECT_EQ(this->deliveredParameters(),
              std::vector<std::string>{"Length of data range does not match specified dimensions"});
    EXPECT_EQ(ledger().counts(TypeParam::kKind).made, 1);
    EXPECT_EQ(this->alive(), 0);
}

} // namespace radvex::test

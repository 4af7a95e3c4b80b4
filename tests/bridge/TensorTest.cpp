#include "tests/bridge/BridgeTest.h"

using GTU::Tensor;
using GTU::Passing::Automatic;
using GTU::Passing::Manual;
using GTU::Passing::Shared;
using velmora::ledger;
using velmora::ObjectKind;
using velmora::Operation;

namespace radvex::test {

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
    const Thrown thrown = thrownBy([&] { Tensor<double, Automatic> wrapped(tensor.handle()); });
    EXPECT_EQ(thrown.id, -17);
    EXPECT_EQ(thrown.name, "TensorTypeError");
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

TEST_F(Tensors, FromAnEmptyRangeAreEmpty) {
    const std::vector<unsigned short> none;
    const Tensor<vint, Manual> tensor(none.begin(), none.end());
    EXPECT_EQ(tensor.getSize(), 0);
    EXPECT_EQ(tensor.getRank(), 1);
}

TEST_F(Tensors, FromARangeAreFreedOrHandedOver) {
    const unsigned char bytes[] = {1, 2, 3};
    auto frame = frameOf({});
    {
        const Tensor<vint, Manual> freed(std::begin(bytes), std::end(bytes));
        Tensor<vint, Manual> handedOver(std::begin(bytes), std::end(bytes));
        handedOver.passAsResult(frame.res());
    }
    EXPECT_EQ(alive(), 1);
    const velmora::Value result = frame.takeResult(VType_Tensor);
    EXPECT_EQ(result.get<velmora::Tensor>().data<vint>()[2], 3);
}

TEST_F(Tensors, ThatTheHostRefusesToMakeAreErrors) {
    const unsigned char bytes[] = {1, 2, 3};
    ledger().refuse(Operation::VTensor_new, 1);
    const Thrown thrown = thrownBy([&] { Tensor<vint, Manual> tensor(std::begin(bytes), std::end(bytes)); });
    EXPECT_EQ(thrown.id, -15);
    EXPECT_EQ(thrown.name, "TensorNewError");
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{});
}

TEST_F(Tensors, OfAnotherLengthThanTheRangeAreFreedAndTold) {
    const unsigned char bytes[] = {1, 2, 3};
    alterTable().main.VTensor_getFlattenedLength = [](VTensor) -> vint { return 2; };
    EXPECT_EQ(thrownBy([&] { Tensor<vint, Manual> tensor(std::begin(bytes), std::end(bytes)); }).name,
              "TensorNewError");
    EXPECT_EQ(deliveredParameters(),
              std::vector<std::string>{"Length of data range does not match specified dimensions"});
    EXPECT_EQ(alive(), 0);
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

} // namespace radvex::test

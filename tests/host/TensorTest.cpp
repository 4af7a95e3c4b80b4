#include <climits>

#include "tests/host/HandleTest.h"

using radvex::test::disguised;

namespace {

using Tensors = radvex::test::HandleTest;

TEST_F(Tensors, OfEachTypeIsZeroFilledAndHasDataOfThatTypeOnly) {
    for (const vint type : {VTensor_Integer, VTensor_Real, VTensor_Complex}) {
        SCOPED_TRACE(type);
        const VTensor tensor = makeTensor(type, {2, 3, 5});
        EXPECT_EQ(table().VTensor_getType(tensor), type);
        EXPECT_EQ(table().VTensor_getRank(tensor), 3);
        EXPECT_EQ(table().VTensor_getFlattenedLength(tensor), 30);
        const vint* dimensions = table().VTensor_getDimensions(tensor);
        EXPECT_EQ(std::vector(dimensions, dimensions + 3), (std::vector<vint>{2, 3, 5}));
        const vint* integers = table().VTensor_getIntegerData(tensor);
        const vreal* reals = table().VTensor_getRealData(tensor);
        const vcomplex* complexes = table().VTensor_getComplexData(tensor);
        EXPECT_EQ(integers != nullptr, type == VTensor_Integer);
        EXPECT_EQ(reals != nullptr, type == VTensor_Real);
        EXPECT_EQ(complexes != nullptr, type == VTensor_Complex);
        for (int index = 0; index < 30; ++index) {
            EXPECT_EQ(integers == nullptr ? 0 : integers[index], 0);
            EXPECT_EQ(reals == nullptr ? 0.0 : reals[index], 0.0);
            EXPECT_EQ(complexes == nullptr ? 0.0 : complexes[index].re + complexes[index].im, 0.0);
        }
        table().VTensor_free(tensor);
    }
}

TEST_F(Tensors, ImpossibleRequestsAreErrorsAndGiveNothing) {
    VTensor tensor = nullptr;
    const vint dimensions[] = {2, 3};
    const vint negative[] = {2, -3};
    const vint huge[] = {INT_MAX, 2};
    EXPECT_EQ(table().VTensor_new(VType_Boolean, 2, dimensions, &tensor), VELMORA_TYPE_ERROR);
    EXPECT_EQ(table().VTensor_new(VTensor_Real, 0, dimensions, &tensor), VELMORA_RANK_ERROR);
    EXPECT_EQ(table().VTensor_new(VTensor_Real, -1, dimensions, &tensor), VELMORA_RANK_ERROR);
    EXPECT_EQ(table().VTensor_new(VTensor_Real, 2, nullptr, &tensor), VELMORA_RANK_ERROR);
    EXPECT_NE(table().VTensor_new(VTensor_Real, 2, negative, &tensor), 0);
    EXPECT_NE(table().VTensor_new(VTensor_Real, 2, huge, &tensor), 0);
    EXPECT_EQ(tensor, nullptr);
}

TEST_F(Tensors, MayBeEmpty) {
    const VTensor tensor = makeTensor(VTensor_Real, {3, 0, 2});
    EXPECT_EQ(table().VTensor_getFlattenedLength(tensor), 0);
    EXPECT_EQ(table().VTensor_getRank(tensor), 3);
    EXPECT_NE(table().VTensor_getRealData(tensor), nullptr);
    VTensor copy = nullptr;
    EXPECT_EQ(table().VTensor_clone(tensor, &copy), 0);
    EXPECT_EQ(table().VTensor_getDimensions(copy)[2], 2);
    table().VTensor_free(copy);
    table().VTensor_free(tensor);
}

TEST_F(Tensors, ACloneHasTheSameElementsAndMemoryOfItsOwn) {
    const VTensor tensor = makeTensor(VTensor_Complex, {2, 3});
    vcomplex* elements = table().VTensor_getComplexData(tensor);
    for (int row = 0; row < 2; ++row) {
        for (int column = 0; column < 3; ++column) {
            elements[3 * row + column] = {10.0 * row + column, -1.0 * column};
        }
    }
    VTensor copy = nullptr;
    ASSERT_EQ(table().VTensor_clone(tensor, &copy), 0);
    elements[5] = {0.0, 0.0};
    table().VTensor_free(tensor);
    EXPECT_EQ(table().VTensor_getRank(copy), 2);
    EXPECT_EQ(table().VTensor_getComplexData(copy)[5].re, 12.0);
    EXPECT_EQ(table().VTensor_getComplexData(copy)[5].im, -2.0);
    table().VTensor_free(copy);
}

TEST_F(Tensors, DeadAndForeignHandlesGetEmptyAnswers) {
    const VTensor dead = makeTensor();
    table().VTensor_free(dead);
    const VImage image = makeImage();
    for (const VTensor tensor : {VTensor{nullptr}, dead, disguised<VTensor>(image)}) {
        EXPECT_EQ(table().VTensor_getType(tensor), 0);
        EXPECT_EQ(table().VTensor_getRank(tensor), 0);
        EXPECT_EQ(table().VTensor_getDimensions(tensor), nullptr);
        EXPECT_EQ(table().VTensor_getFlattenedLength(tensor), 0);
        EXPECT_EQ(table().VTensor_getIntegerData(tensor), nullptr);
        EXPECT_EQ(table().VTensor_getRealData(tensor), nullptr);
        EXPECT_EQ(table().VTensor_getComplexData(tensor), nullptr);
        EXPECT_EQ(table().VTensor_shareCount(tensor), 0);
        VTensor copy = nullptr;
        EXPECT_NE(table().VTensor_clone(tensor, &copy), 0);
        EXPECT_EQ(copy, nullptr);
    }
    images().VImage_free(image);
}

TEST_F(Tensors, FreeingTwiceIsAViolation) {
    const VTensor tensor = makeTensor();
    table().VTensor_free(tensor);
    table().VTensor_free(tensor);
    expectViolations({"The library freed a tensor that does not exist."});
}

TEST_F(Tensors, FreeingTheHostsIsAViolationAndLeavesIt) {
    {
        const velmora::Tensor hosts({2, 2}, std::vector<vint>{1, 2, 3, 4});
        table().VTensor_free(hosts.handle());
        EXPECT_EQ(hosts.data<vint>()[3], 4);
    }
    expectViolations({"The library freed a tensor that it does not own."});
}

TEST_F(Tensors, SharesAreDroppedOneByOneAndNotBelowZero) {
    {
        const velmora::Tensor hosts({1}, std::vector<double>{0.5});
        hosts.handle()->shares = 2; // as a host does when it hands a tensor in to be shared
        EXPECT_EQ(table().VTensor_shareCount(hosts.handle()), 2);
        table().VTensor_disown(hosts.handle());
        table().VTensor_disown(hosts.handle());
        EXPECT_EQ(table().VTensor_shareCount(hosts.handle()), 0);
        EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::tensor).disowned, 2);
        EXPECT_TRUE(velmora::ledger().violations().empty());
        table().VTensor_disown(hosts.handle());
        EXPECT_EQ(table().VTensor_shareCount(hosts.handle()), 0);
    }
    table().VTensor_disown(nullptr);
    expectViolations({"The library dropped a share of a tensor that it does not share.",
                      "The library dropped a share of a tensor that it does not share."});
}

} // namespace

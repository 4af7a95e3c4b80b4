#include "tests/bridge/BridgeTest.h"

#include "bridge/containers/NumericArray.h"

using GTU::VContainer;

namespace radvex::test {

template <typename P>
using ArrayContainer = VContainer<VArgumentType::NumericArray, P>;
template <typename P>
using TensorContainer = VContainer<VArgumentType::Tensor, P>;
template <typename P>
using ImageContainer = VContainer<VArgumentType::Image, P>;
template <typename P>
using StoreContainer = VContainer<VArgumentType::DataStore, P>;

class Containers : public BridgeTest {
  protected:
    static VNumericArray libraryArray() { return velmora::newNumericArray(VNumericArray_U8, {2}, Owner::library); }
    static VTensor libraryTensor() { return velmora::newTensor(VTensor_Integer, {2}, Owner::library); }
    static VImage libraryImage() {
        return velmora::newImage(2, 1, 3, 5, 1, VImage_U8, VColorSpace_Grey, true, Owner::library);
    }

    static long freed(ObjectKind kind) { return ledger().counts(kind).freed; }
};

TEST_F(Containers, ManualOnesFreeTheirObject) {
    { const ArrayContainer<Manual> array(libraryArray(), true); }
    { const TensorContainer<Manual> tensor(libraryTensor(), true); }
    { const ImageContainer<Manual> image(libraryImage(), true); }
    { const StoreContainer<Manual> store(velmora::newDataStore(Owner::library), true); }
    EXPECT_EQ(freed(ObjectKind::numericArray), 1);
    EXPECT_EQ(freed(ObjectKind::tensor), 1);
    EXPECT_EQ(freed(ObjectKind::image), 1);
    EXPECT_EQ(freed(ObjectKind::dataStore), 1);
}

TEST_F(Containers, AutomaticOnesLeaveTheirObjectAlone) {
    const velmora::Image image(0, 3, 5, 1, VImage_U8, VColorSpace_Grey, true);
    { const ImageContainer<Automatic> container(image.handle(), false); }
    EXPECT_TRUE(ledger().isOwnedBy(Owner::host, ObjectKind::image, image.handle()));
}

TEST_F(Containers, SharedOnesDropTheirShareAndLeaveTheObject) {
    const velmora::Image image(0, 3, 5, 1, VImage_U8, VColorSpace_Grey, true);
    const velmora::NumericArray array(VNumericArray_U8, {2});
    image.handle()->shares = 1;
    array.handle()->shares = 2;
    {
        const ImageContainer<Shared> imageContainer(image.handle(), true);
        const ArrayContainer<Shared> arrayContainer(array.handle(), true);
        EXPECT_EQ(imageContainer.shareCount(), 1);
        EXPECT_EQ(arrayContainer.shareCount(), 2);
    }
    EXPECT_EQ(image.handle()->shares, 0);
    EXPECT_EQ(array.handle()->shares, 1);
}

TEST_F(Containers, AStoreHasNoShares) {
    const velmora::Store store = velmora::Store::empty();
    StoreContainer<Shared> container(store.handle(), true);
    EXPECT_EQ(container.shareCount(), 0);
    container.cleanup();
    EXPECT_TRUE(ledger().isAlive(ObjectKind::dataStore, store.handle()));
}

TEST_F(Containers, EmptyOnesReleaseAndPassNothing) {
    VImage passed = reinterpret_cast<VImage>(&passed);
    const VImage before = passed;
    ImageContainer<Manual> image(nullptr, true);
    image.pass(VArgument{.image = &passed});
    EXPECT_EQ(passed, before);
    image.free();
    image.disown();
    image.cleanup();
    EXPECT_EQ(freed(ObjectKind::image), 0);
    EXPECT_EQ(ledger().violations(), std::vector<std::string>{});
}

TEST_F(Containers, PassingGivesTheHandleAndKeepsTheOwnership) {
    ArrayContainer<Manual> array(libraryArray(), true);
    VNumericArray passed = nullptr;
    array.pass(VArgument{.numericArray = &passed});
    EXPECT_EQ(passed, array.rawHandle());
    EXPECT_TRUE(array.isOwnedByLibrary());
}

TEST_F(Containers, PassedAsResultsAreTheHosts) {
    auto frame = frameOf({});
    {
        TensorContainer<Manual> tensor(libraryTensor(), true);
        tensor.passAsResult(frame.res());
        EXPECT_FALSE(tensor.isOwnedByLibrary());
    }
    const velmora::Value result = frame.takeResult(VType_Tensor);
    ASSERT_TRUE(result.is<velmora::Tensor>());
    EXPECT_EQ(result.get<velmora::Tensor>().dimensions(), std::vector<vint>{2});
}

TEST_F(Containers, MovingLeavesAnEmptyContainerBehind) {
    ImageContainer<Manual> source(libraryImage(), true);
    const VImage image = source.rawHandle();
    const ImageContainer<Manual> moved(std::move(source));
    EXPECT_EQ(moved.rawHandle(), image);
    EXPECT_TRUE(moved.isOwnedByLibrary());
    EXPECT_EQ(source.rawHandle(), nullptr); // NOLINT: what is left behind is the point
    EXPECT_FALSE(source.isOwnedByLibrary());
}

TEST_F(Containers, MovingKeepsThatTheObjectWasHandedOver) {
    ImageContainer<Manual> source(libraryImage(), true);
    VImage passed = nullptr;
    source.passAsResult(VArgument{.image = &passed});
    { const ImageContainer<Manual> moved(std::move(source)); }
    EXPECT_TRUE(ledger().isAlive(ObjectKind::image, passed));
    velmora::destroyImage(passed);
}

TEST_F(Containers, AssigningReleasesTheOldObjectOnceAndTakesTheNew) {
    ArrayContainer<Manual> target(libraryArray(), true);
    const VNumericArray old = target.rawHandle();
    ArrayContainer<Manual> source(libraryArray(), true);
    const VNumericArray array = source.rawHandle();
    target = std::move(source);
    EXPECT_FALSE(ledger().isAlive(ObjectKind::numericArray, old));
    EXPECT_EQ(freed(ObjectKind::numericArray), 1);
    EXPECT_EQ(target.rawHandle(), array);
    EXPECT_TRUE(target.isOwnedByLibrary());
    EXPECT_EQ(source.rawHandle(), nullptr); // NOLINT: what is left behind is the point
}

TEST_F(Containers, AssigningToItselfChangesNothing) {
    ArrayContainer<Manual> array(libraryArray(), true);
    const VNumericArray handle = array.rawHandle();
    ArrayContainer<Manual>& alias = array;
    array = std::move(alias);
    EXPECT_EQ(array.rawHandle(), handle);
    EXPECT_TRUE(array.isOwnedByLibrary());
    EXPECT_TRUE(ledger().isAlive(ObjectKind::numericArray, handle));
}

TEST_F(Containers, AssigningToASharedOneDropsTheOldShare) {
    const velmora::Tensor first(std::vector<vint>{1}, std::vector<double>{1.0});
    const velmora::Tensor second(std::vector<vint>{1}, std::vector<double>{2.0});
    first.handle()->shares = 1;
    second.handle()->shares = 1;
    {
        TensorContainer<Shared> target(first.handle(), true);
        target = TensorContainer<Shared>(second.handle(), true);
        EXPECT_EQ(first.handle()->shares, 0);
        EXPECT_EQ(second.handle()->shares, 1);
    }
    EXPECT_EQ(second.handle()->shares, 0);
}

TEST_F(Containers, ClonesAreDeepAndTheCallers) {
    const velmora::Tensor tensor(std::vector<vint>{2}, std::vector<vint>{4, 5});
    const TensorContainer<Automatic> container(tensor.handle(), false);
    const TensorContainer<Manual> copy(container.clone(), true);
    EXPECT_NE(copy.rawHandle(), tensor.handle());
    EXPECT_EQ(static_cast<vint*>(copy.rawData())[1], 5);
}

TEST_F(Containers, StoresAreClonedWithTheirNodes) {
    const velmora::Store store = velmora::Store::of({1, "two"});
    const StoreContainer<Automatic> container(store.handle(), false);
    const StoreContainer<Manual> copy(container.clone(), true);
    EXPECT_NE(copy.rawHandle(), store.handle());
    EXPECT_EQ(velmora::StoreView(copy.rawHandle()).size(), 2U);
}

TEST_F(Containers, ARefusedCloneIsTheErrorOfItsKind) {
    const ImageContainer<Manual> image(libraryImage(), true);
    const TensorContainer<Manual> tensor(libraryTensor(), true);
    const ArrayContainer<Manual> array(libraryArray(), true);
    ledger().refuse(Operation::VImage_clone, 1);
    EXPECT_EQ(thrownBy([&] { (void)image.clone(); }).name, "ImageCloneError");
    ledger().refuse(Operation::VTensor_clone, 1);
    EXPECT_EQ(thrownBy([&] { (void)tensor.clone(); }).name, "TensorCloneError");
    ledger().refuse(Operation::VNumericArray_clone, 1);
    EXPECT_EQ(thrownBy([&] { (void)array.clone(); }).name, "NumericArrayCloneError");
}

TEST_F(Containers, ARefusedCloneOfAStoreIsNull) {
    const velmora::Store store = velmora::Store::empty();
    const StoreContainer<Automatic> container(store.handle(), false);
    ledger().refuse(Operation::copyDataStore, 1);
    EXPECT_EQ(container.clone(), nullptr);
}

} // namespace radvex::test

#include "tests/bridge/BridgeTest.h"

using GTU::Argument;
using velmora::StoreView;

namespace radvex::test {

class Arguments : public BridgeTest {
  protected:
    using Any = GTU::DataList<VArgumentType::VArgument, GTU::Passing::Manual>;

    static velmora::NodeView lastNode(const Any& list) {
        return velmora::NodeView(GTU::LibraryData::DataStoreAPI()->DataStore_getLastNode(list.getInternal()));
    }

    /// Adds a cell's value through the generic form and checks kind and name of the node.
    static velmora::NodeView addGeneric(const Any& list, VArgument cell, VArgumentType type) {
        Argument<VArgumentType::VArgument>(cell).addToDataStore(list.getInternal(), "key", type);
        EXPECT_EQ(lastNode(list).type(), static_cast<vint>(type));
        EXPECT_EQ(lastNode(list).name(), "key");
        return lastNode(list);
    }
};

TEST_F(Arguments, KindsHaveTheHostsNumbers) {
    EXPECT_EQ(static_cast<vint>(VArgumentType::VArgument), 0);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Boolean), 1);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Integer), 2);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Real), 3);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Complex), 4);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Tensor), 5);
    EXPECT_EQ(static_cast<vint>(VArgumentType::SparseArray), 6);
    EXPECT_EQ(static_cast<vint>(VArgumentType::NumericArray), 7);
    EXPECT_EQ(static_cast<vint>(VArgumentType::Image), 8);
    EXPECT_EQ(static_cast<vint>(VArgumentType::UTF8String), 9);
    EXPECT_EQ(static_cast<vint>(VArgumentType::DataStore), 10);
}

TEST_F(Arguments, ReadAndWriteTheirCell) {
    vint cell = 5;
    VArgument argument{.integer = &cell};
    const Argument<VArgumentType::Integer> view(argument);
    EXPECT_EQ(view.get(), 5);
    EXPECT_EQ(view.getAddress(), &cell);
    view.set(-7);
    EXPECT_EQ(cell, -7);
}

TEST_F(Arguments, OfAnyKindAreTheArgumentItself) {
    vreal cell = 2.5;
    VArgument argument{};
    const Argument<VArgumentType::VArgument> view(argument);
    EXPECT_EQ(view.getAddress(), &argument);
    view.set(VArgument{.real = &cell});
    EXPECT_EQ(argument.real, &cell);
    EXPECT_EQ(*view.get().real, 2.5);
}

TEST_F(Arguments, AreAddedByTheirKindsOperation) {
    const Any list;
    const DataStore store = list.getInternal();
    Argument<VArgumentType::Boolean>::addDataStoreNode(store, "b", 1);
    EXPECT_TRUE(lastNode(list).value().get<bool>());
    Argument<VArgumentType::Integer>::addDataStoreNode(store, "i", -7);
    EXPECT_EQ(lastNode(list).value().get<vint>(), -7);
    Argument<VArgumentType::Real>::addDataStoreNode(store, "r", 2.5);
    EXPECT_EQ(lastNode(list).value().get<double>(), 2.5);
    Argument<VArgumentType::Complex>::addDataStoreNode(store, "c", vcomplex{1.5, -2.0});
    EXPECT_EQ(lastNode(list).value().get<std::complex<double>>(), std::complex<double>(1.5, -2.0));
    Argument<VArgumentType::UTF8String>::addDataStoreNode(store, "s", "text");
    EXPECT_EQ(lastNode(list).value().get<std::string>(), "text");
    EXPECT_EQ(lastNode(list).name(), "s");
    EXPECT_EQ(StoreView(store).size(), 5U);
}

TEST_F(Arguments, WithoutANameGetAnEmptyOne) {
    const Any list;
    Argument<VArgumentType::Integer>::addDataStoreNode(list.getInternal(), "", 1);
    EXPECT_EQ(lastNode(list).name(), "");
}

TEST_F(Arguments, OfScalarKindsAreAddedByTheGenericForm) {
    const Any list;
    vbool flag = 1;
    EXPECT_TRUE(addGeneric(list, {.boolean = &flag}, VArgumentType::Boolean).value().get<bool>());
    vint integer = -7;
    EXPECT_EQ(addGeneric(list, {.integer = &integer}, VArgumentType::Integer).value().get<vint>(), -7);
    vreal real = 2.5;
    EXPECT_EQ(addGeneric(list, {.real = &real}, VArgumentType::Real).value().get<double>(), 2.5);
    vcomplex number{1.5, -2.0};
    EXPECT_EQ(addGeneric(list, {.complex = &number}, VArgumentType::Complex).value().get<std::complex<double>>(),
              std::complex<double>(1.5, -2.0));
    std::string text = "text";
    char* characters = text.data();
    EXPECT_EQ(addGeneric(list, {.utf8String = &characters}, VArgumentType::UTF8String).value().get<std::string>(),
              "text");
}

TEST_F(Arguments, OfHandleKindsAreAddedByTheGenericForm) {
    const Any list;
    VTensor tensor = velmora::newTensor(VTensor_Real, {2}, Owner::library);
    EXPECT_EQ(addGeneric(list, {.tensor = &tensor}, VArgumentType::Tensor).cell().tensor, tensor);
    VNumericArray array = velmora::newNumericArray(VNumericArray_U8, {2}, Owner::library);
    EXPECT_EQ(addGeneric(list, {.numericArray = &array}, VArgumentType::NumericArray).cell().numericArray, array);
    VImage image = velmora::newImage(2, 1, 3, 5, 1, VImage_U8, VColorSpace_Grey, true, Owner::library);
    EXPECT_EQ(addGeneric(list, {.image = &image}, VArgumentType::Image).cell().image, image);
    DataStore store = velmora::newDataStore(Owner::library);
    EXPECT_EQ(addGeneric(list, {.dataStore = &store}, VArgumentType::DataStore).cell().dataStore, store);
    VSparseArray sparse = nullptr;
    EXPECT_EQ(addGeneric(list, {.sparseArray = &sparse}, VArgumentType::SparseArray).cell().sparseArray, nullptr);
    EXPECT_TRUE(ledger().isOwnedBy(Owner::store, ObjectKind::tensor, tensor));
    EXPECT_TRUE(ledger().isOwnedBy(Owner::store, ObjectKind::dataStore, store));
}

TEST_F(Arguments, OfNoKindAreNotAdded) {
    const Any list;
    VArgument argument{};
    const Argument<VArgumentType::VArgument> view(argument);
    EXPECT_THAT(thrownBy([&] { view.addToDataStore(list.getInternal(), "key", VArgumentType::VArgument); }),
                isError(-55, "ArgumentAddNodeVArgument"));
    EXPECT_EQ(StoreView(list.getInternal()).size(), 0U);
}

} // namespace radvex::test

// Who owns what is in a data store, and what a library must not do with it.

#include "tests/host/HandleTest.h"

namespace {

using namespace velmora;

class StoreOwnership : public radvex::test::HandleTest {
  protected:
    DataStoreNode firstNode(DataStore store) { return stores().DataStore_getFirstNode(store); }
    /// The store in the first node of another.
    DataStore firstStore(DataStore store) {
        VArgument data{};
        EXPECT_EQ(stores().DataStoreNode_getData(firstNode(store), &data), 0);
        return *data.dataStore;
    }
};

TEST_F(StoreOwnership, OfAnAddedObjectIsTheStores) {
    const DataStore store = makeStore();
    const VTensor tensor = makeTensor();
    EXPECT_EQ(ledger().ownedByLibrary(ObjectKind::tensor), 1);
    stores().DataStore_addNamedVTensor(store, "tensor", tensor);
    EXPECT_EQ(ledger().ownedByLibrary(ObjectKind::tensor), 0);
    EXPECT_TRUE(ledger().isOwnedBy(Owner::store, ObjectKind::tensor, tensor));
    stores().deleteDataStore(store);
    EXPECT_FALSE(ledger().isAlive(ObjectKind::tensor, tensor));
}

TEST_F(StoreOwnership, FreeingAnAddedObjectIsAViolationAndLeavesIt) {
    const DataStore store = makeStore();
    const VNumericArray array = makeArray();
    stores().DataStore_addNamedVNumericArray(store, "array", array);
    arrays().VNumericArray_free(array);
    EXPECT_EQ(arrays().VNumericArray_getFlattenedLength(array), 6);
    stores().deleteDataStore(store);
    expectViolations({"The library freed a numeric array that it does not own."});
}

TEST_F(StoreOwnership, AddingOneObjectTwiceIsAViolationAndFreesItOnce) {
    const DataStore first = makeStore();
    const DataStore second = makeStore();
    const DataStore inner = makeStore();
    const VImage image = makeImage();
    stores().DataStore_addNamedVImage(first, "image", image);
    stores().DataStore_addNamedVImage(second, "image", image);
    stores().DataStore_addNamedDataStore(first, "inner", inner);
    stores().DataStore_addNamedDataStore(second, "inner", inner);
    stores().deleteDataStore(first);
    stores().deleteDataStore(stores().copyDataStore(second)); // meets nothing that went with the first
    stores().deleteDataStore(second);
    expectViolations({"The library put an image that it does not own into a data store.",
                      "The library put a data store that it does not own into a data store."});
}

TEST_F(StoreOwnership, AddingADeadObjectIsAViolationAndAddsNull) {
    const DataStore store = makeStore();
    const DataStore dead = makeStore();
    const VTensor freed = makeTensor();
    stores().deleteDataStore(dead);
    table().VTensor_free(freed);
    stores().DataStore_addNamedDataStore(store, "dead", dead);
    stores().DataStore_addNamedVTensor(store, "freed", freed);
    EXPECT_EQ(stores().DataStore_getLength(store), 2);
    EXPECT_EQ(firstStore(store), nullptr);
    stores().deleteDataStore(stores().copyDataStore(store));
    stores().deleteDataStore(store);
    expectViolations({"The library put a data store that it does not own into a data store.",
                      "The library put a tensor that it does not own into a data store."});
}

TEST_F(StoreOwnership, AddingTheHostsIsAViolationAndLeavesItWithTheHost) {
    const DataStore store = makeStore();
    {
        const Tensor hosts({2}, std::vector<vint>{3, 4});
        stores().DataStore_addNamedVTensor(store, "tensor", hosts.handle());
        stores().deleteDataStore(store);
        EXPECT_EQ(hosts.data<vint>()[1], 4);
    }
    expectViolations({"The library put a tensor that it does not own into a data store."});
}

TEST_F(StoreOwnership, AddingAStoreToItselfIsAViolationAndAddsNothing) {
    const DataStore store = makeStore();
    stores().DataStore_addNamedDataStore(store, "self", store);
    EXPECT_EQ(stores().DataStore_getLength(store), 0);
    stores().deleteDataStore(store);
    expectViolations({"The library put a data store into itself."});
}

TEST_F(StoreOwnership, AddingToADeadStoreIsAViolationAndFreesWhatWasAdded) {
    // A new store may get the address of a deleted one, so this test uses the address of a store that never existed.
    VelmoraDataStore neverAlive;
    const DataStore dead = &neverAlive;
    const DataStore inner = makeStore();
    stores().DataStore_addNamedString(inner, "text", "within");
    stores().DataStore_addNamedInteger(dead, "n", 1);
    stores().DataStore_addNamedString(dead, "text", "copied before it is found out");
    stores().DataStore_addNamedVTensor(dead, "tensor", makeTensor());
    stores().DataStore_addNamedVImage(dead, "image", makeImage());
    stores().DataStore_addNamedVNumericArray(dead, "array", makeArray());
    stores().DataStore_addNamedDataStore(dead, "inner", inner);
    expectViolations(std::vector<std::string>(6, "The library added to a data store that does not exist."));
}

TEST_F(StoreOwnership, DeletingAnInnerStoreTakesItOut) {
    const DataStore store = makeStore();
    const DataStore inner = makeStore();
    stores().DataStore_addNamedVTensor(inner, "tensor", makeTensor());
    stores().DataStore_addNamedDataStore(store, "inner", inner);
    stores().DataStore_addNamedInteger(store, "behind", 5);
    stores().deleteDataStore(inner);
    EXPECT_EQ(ledger().alive(), 1);
    EXPECT_EQ(firstStore(store), nullptr);
    const DataStoreNode behind = stores().DataStoreNode_getNextNode(firstNode(store));
    EXPECT_EQ(stores().DataStoreNode_getDataType(behind), VType_Integer);
    const DataStore copy = stores().copyDataStore(store);
    stores().deleteDataStore(copy);
    stores().deleteDataStore(store);
}

TEST_F(StoreOwnership, AnInnerStoreOfAnArgumentMayBeDeletedAndTheArgumentNot) {
    {
        Store inner = Store::ofTexts({"a", "b"});
        Store argument = Store::empty();
        argument.add("inner", std::move(inner));
        argument.add("behind", 5);
        stores().deleteDataStore(firstStore(argument.handle()));
        EXPECT_EQ(argument.size(), 2U);
        EXPECT_TRUE((*argument.begin()).value().is<velmora::Null>());
        EXPECT_TRUE(ledger().violations().empty());
        stores().deleteDataStore(argument.handle());
        EXPECT_EQ(argument.size(), 2U);
    }
    expectViolations({"The library deleted a data store that it does not own."});
}

TEST_F(StoreOwnership, DeletingTwiceIsAViolation) {
    const DataStore store = makeStore();
    stores().deleteDataStore(store);
    stores().deleteDataStore(store);
    stores().deleteDataStore(nullptr);
    expectViolations(std::vector<std::string>(2, "The library deleted a data store that does not exist."));
}

TEST_F(StoreOwnership, DeletingAnInnerStoreOfAMiddleOneLeavesTheOuterWhole) {
    const DataStore outer = makeStore();
    const DataStore middle = makeStore();
    const DataStore innermost = makeStore();
    stores().DataStore_addNamedDataStore(middle, "innermost", innermost);
    stores().DataStore_addNamedDataStore(outer, "middle", middle);
    stores().deleteDataStore(innermost);
    EXPECT_EQ(firstStore(outer), middle);
    EXPECT_EQ(firstStore(middle), nullptr);
    stores().deleteDataStore(middle);
    EXPECT_EQ(firstStore(outer), nullptr);
    stores().deleteDataStore(outer);
}

} // namespace

#include "host/Ledger.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/host/HandleTest.h"

using namespace velmora;

namespace {

const int kObjects[3] = {};
const void* const kFirst = &kObjects[0];
const void* const kSecond = &kObjects[1];
const void* const kThird = &kObjects[2];

TEST(Ledger, CountsWhatCameAndWentByKind) {
    Ledger ledger;
    ledger.add(ObjectKind::tensor, kFirst, Owner::library);
    ledger.add(ObjectKind::tensor, kSecond, Owner::host);
    ledger.add(ObjectKind::image, kThird, Owner::library);
    EXPECT_TRUE(ledger.remove(ObjectKind::tensor, kFirst));
    EXPECT_EQ(ledger.counts(ObjectKind::tensor).made, 2);
    EXPECT_EQ(ledger.counts(ObjectKind::tensor).freed, 1);
    EXPECT_EQ(ledger.counts(ObjectKind::tensor).alive(), 1);
    EXPECT_EQ(ledger.counts(ObjectKind::image).alive(), 1);
    EXPECT_EQ(ledger.counts(ObjectKind::dataStore).made, 0);
    EXPECT_EQ(ledger.alive(), 2);
}

TEST(Ledger, KnowsWhatIsAliveByKindAndHandle) {
    Ledger ledger;
    ledger.add(ObjectKind::tensor, kFirst, Owner::library);
    EXPECT_TRUE(ledger.isAlive(ObjectKind::tensor, kFirst));
    EXPECT_FALSE(ledger.isAlive(ObjectKind::image, kFirst));
    EXPECT_FALSE(ledger.isAlive(ObjectKind::tensor, kSecond));
    EXPECT_FALSE(ledger.isAlive(ObjectKind::tensor, nullptr));
    EXPECT_TRUE(ledger.remove(ObjectKind::tensor, kFirst));
    EXPECT_FALSE(ledger.isAlive(ObjectKind::tensor, kFirst));
}

TEST(Ledger, RemovesNothingTwiceOrUnderAnotherKind) {
    Ledger ledger;
    ledger.add(ObjectKind::tensor, kFirst, Owner::library);
    EXPECT_FALSE(ledger.remove(ObjectKind::image, kFirst));
    EXPECT_TRUE(ledger.remove(ObjectKind::tensor, kFirst));
    EXPECT_FALSE(ledger.remove(ObjectKind::tensor, kFirst));
    EXPECT_EQ(ledger.counts(ObjectKind::tensor).freed, 1);
    EXPECT_EQ(ledger.counts(ObjectKind::image).freed, 0);
}

TEST(Ledger, FollowsOwnersAndCountsTheLibrarys) {
    Ledger ledger;
    ledger.add(ObjectKind::dataStore, kFirst, Owner::library);
    ledger.add(ObjectKind::dataStore, kSecond, Owner::library);
    ledger.add(ObjectKind::dataStore, kThird, Owner::host);
    EXPECT_EQ(ledger.ownedByLibrary(ObjectKind::dataStore), 2);
    EXPECT_TRUE(ledger.changeOwner(ObjectKind::dataStore, kFirst, Owner::store));
    EXPECT_TRUE(ledger.changeOwner(ObjectKind::dataStore, kFirst, Owner::store));
    EXPECT_EQ(ledger.ownedByLibrary(ObjectKind::dataStore), 1);
    EXPECT_TRUE(ledger.isOwnedBy(Owner::store, ObjectKind::dataStore, kFirst));
    EXPECT_FALSE(ledger.isOwnedBy(Owner::library, ObjectKind::dataStore, kFirst));
    EXPECT_EQ(ledger.ownedBy(Owner::library, ObjectKind::dataStore), std::vector<const void*>{kSecond});
    EXPECT_EQ(ledger.ownedBy(Owner::library, ObjectKind::tensor), std::vector<const void*>{});
    EXPECT_TRUE(ledger.changeOwner(ObjectKind::dataStore, kThird, Owner::library));
    EXPECT_TRUE(ledger.remove(ObjectKind::dataStore, kSecond));
    EXPECT_EQ(ledger.ownedByLibrary(ObjectKind::dataStore), 1);
}

TEST(Ledger, ChangesNoOwnerOfWhatIsNotThere) {
    Ledger ledger;
    EXPECT_FALSE(ledger.changeOwner(ObjectKind::image, kFirst, Owner::library));
    EXPECT_EQ(ledger.ownedByLibrary(ObjectKind::image), 0);
    EXPECT_FALSE(ledger.isOwnedBy(Owner::library, ObjectKind::image, kFirst));
}

TEST(Ledger, NamesEachKindDifferently) {
    std::set<std::string> names;
    for (std::size_t kind = 0; kind < velmora::kObjectKindCount; ++kind) {
        names.insert(velmora::objectKindName(static_cast<ObjectKind>(kind)));
    }
    EXPECT_EQ(names.size(), velmora::kObjectKindCount);
}

TEST(Refusal, HitsTheNthCallOfOneOperationOnce) {
    Ledger ledger;
    ledger.refuse(Operation::VImage_new2D, 3);
    const bool expected[] = {false, false, true, false, false};
    for (const bool isRefused : expected) {
        EXPECT_FALSE(ledger.isRefused(Operation::VImage_new3D));
        EXPECT_EQ(ledger.isRefused(Operation::VImage_new2D), isRefused);
    }
    EXPECT_EQ(ledger.calls(Operation::VImage_new2D), 5);
    EXPECT_EQ(ledger.calls(Operation::VImage_new3D), 5);
    EXPECT_EQ(ledger.calls(Operation::VImage_clone), 0);
}

TEST(Refusal, GoesOnFromTheNthCallWhenAskedTo) {
    Ledger ledger;
    ledger.refuse(Operation::VImage_new2D, 2, Ledger::Refusal::fromThenOn);
    for (const bool isRefused : {false, true, true, true}) {
        EXPECT_EQ(ledger.isRefused(Operation::VImage_new2D), isRefused);
    }
    ledger.refuseLink("TTFlush", 1, Ledger::Refusal::fromThenOn);
    EXPECT_TRUE(ledger.isLinkRefused("TTFlush"));
    EXPECT_TRUE(ledger.isLinkRefused("TTFlush"));
    EXPECT_FALSE(ledger.isRefused(Operation::VImage_new2D));
    ledger.refuse(Operation::VImage_new2D, 1);
    EXPECT_TRUE(ledger.isRefused(Operation::VImage_new2D));
    EXPECT_FALSE(ledger.isRefused(Operation::VImage_new2D)) << "once, unless asked for";
}

TEST(Refusal, CountsFromTheMomentItIsAskedFor) {
    Ledger ledger;
    EXPECT_FALSE(ledger.isRefused(Operation::validatePath));
    ledger.refuse(Operation::validatePath, 1);
    EXPECT_TRUE(ledger.isRefused(Operation::validatePath));
    ledger.refuse(Operation::validatePath, 2);
    EXPECT_FALSE(ledger.isRefused(Operation::validatePath));
    EXPECT_TRUE(ledger.isRefused(Operation::validatePath));
}

TEST(Refusal, OfALinkFunctionGoesByItsName) {
    Ledger ledger;
    ledger.refuseLink("TTPutSymbol", 2);
    EXPECT_FALSE(ledger.isLinkRefused("TTPutSymbol"));
    EXPECT_FALSE(ledger.isLinkRefused("TTPutString"));
    EXPECT_TRUE(ledger.isLinkRefused("TTPutSymbol"));
    EXPECT_FALSE(ledger.isLinkRefused("TTPutSymbol"));
    EXPECT_EQ(ledger.linkCalls().at("TTPutSymbol"), 3);
    EXPECT_EQ(ledger.linkCalls().at("TTPutString"), 1);
}

TEST(Refusal, IsOneAtATimeAndCanBeTakenBack) {
    Ledger ledger;
    ledger.refuseLink("TTFlush", 1);
    ledger.refuse(Operation::createDataStore, 1);
    EXPECT_FALSE(ledger.isLinkRefused("TTFlush"));
    EXPECT_TRUE(ledger.isRefused(Operation::createDataStore));
    ledger.refuse(Operation::createDataStore, 1);
    ledger.refuseNothing();
    EXPECT_FALSE(ledger.isRefused(Operation::createDataStore));
    EXPECT_EQ(ledger.calls(Operation::createDataStore), 1) << "counted from refuseNothing on";
    EXPECT_FALSE(ledger.isLinkRefused(""));
}

/// Each operation of the host that can be refused, through the table: it fails in its own way, and works again.
class RefusedOperation : public radvex::test::HandleTest {
  protected:
    void refuse(Operation operation) { ledger().refuse(operation, 1); }
};

TEST_F(RefusedOperation, MakesNoObjectAndGivesNone) {
    VTensor tensor = nullptr;
    VImage image = nullptr;
    VNumericArray array = nullptr;
    const vint dimensions[] = {2, 3};
    refuse(Operation::VTensor_new);
    EXPECT_NE(table().VTensor_new(VTensor_Real, 2, dimensions, &tensor), 0);
    refuse(Operation::VImage_new2D);
    EXPECT_NE(images().VImage_new2D(5, 3, 1, VImage_U8, VColorSpace_Grey, 1, &image), 0);
    refuse(Operation::VImage_new3D);
    EXPECT_NE(images().VImage_new3D(2, 5, 3, 1, VImage_U8, VColorSpace_Grey, 1, &image), 0);
    refuse(Operation::VNumericArray_new);
    EXPECT_NE(arrays().VNumericArray_new(VNumericArray_U8, 2, dimensions, &array), 0);
    refuse(Operation::createDataStore);
    EXPECT_EQ(stores().createDataStore(), nullptr);
    EXPECT_EQ(tensor, nullptr);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(ledger().alive(), 0);
}

TEST_F(RefusedOperation, CopiesNothing) {
    const VTensor tensor = makeTensor();
    const VImage image = makeImage();
    const VNumericArray array = makeArray();
    const DataStore store = makeStore();
    VTensor tensorCopy = nullptr;
    VImage imageCopy = nullptr;
    VNumericArray arrayCopy = nullptr;
    refuse(Operation::VTensor_clone);
    EXPECT_NE(table().VTensor_clone(tensor, &tensorCopy), 0);
    refuse(Operation::VImage_clone);
    EXPECT_NE(images().VImage_clone(image, &imageCopy), 0);
    refuse(Operation::VNumericArray_clone);
    EXPECT_NE(arrays().VNumericArray_clone(array, &arrayCopy), 0);
    refuse(Operation::VNumericArray_convertType);
    EXPECT_NE(arrays().VNumericArray_convertType(&arrayCopy, array, VNumericArray_F32, VConversion_ClipAndScale, 0), 0);
    refuse(Operation::copyDataStore);
    EXPECT_EQ(stores().copyDataStore(store), nullptr);
    EXPECT_EQ(tensorCopy, nullptr);
    EXPECT_EQ(imageCopy, nullptr);
    EXPECT_EQ(arrayCopy, nullptr);
    EXPECT_EQ(ledger().alive(), 4);
    table().VTensor_free(tensor);
    images().VImage_free(image);
    arrays().VNumericArray_free(array);
    stores().deleteDataStore(store);
}

TEST_F(RefusedOperation, TellsNothingOfANode) {
    const DataStore store = makeStore();
    stores().DataStore_addNamedInteger(store, "n", 7);
    const DataStoreNode node = stores().DataStore_getFirstNode(store);
    VArgument data{};
    char* name = nullptr;
    refuse(Operation::DataStoreNode_getDataType);
    EXPECT_EQ(stores().DataStoreNode_getDataType(node), VType_Undef);
    EXPECT_EQ(stores().DataStoreNode_getDataType(node), VType_Integer);
    refuse(Operation::DataStoreNode_getData);
    EXPECT_NE(stores().DataStoreNode_getData(node, &data), 0);
    EXPECT_EQ(data.cell, nullptr);
    EXPECT_EQ(stores().DataStoreNode_getData(node, &data), 0);
    refuse(Operation::DataStoreNode_getName);
    EXPECT_NE(stores().DataStoreNode_getName(node, &name), 0);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(stores().DataStoreNode_getName(node, &name), 0);
    stores().deleteDataStore(store);
}

TEST_F(RefusedOperation, LendsNoLinkAndAllowsNoPath) {
    refuse(Operation::getTetherLink);
    EXPECT_EQ(table().getTetherLink(services().table()), nullptr);
    EXPECT_EQ(table().getTetherLink(services().table()), services().libraryLink());
    refuse(Operation::getTetherLinkEnvironment);
    EXPECT_EQ(table().getTetherLinkEnvironment(services().table()), nullptr);
    EXPECT_EQ(table().getTetherLinkEnvironment(services().table()), services().environment());
    refuse(Operation::validatePath);
    EXPECT_EQ(table().validatePath("some/file", 'R'), 0);
    EXPECT_EQ(table().validatePath("some/file", 'R'), 1);
}

} // namespace

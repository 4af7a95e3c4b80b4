#include "tests/bridge/BridgeTest.h"

#include <stdexcept>

#include "bridge/containers/NumericArray.h"

using GTU::Argument;
using GTU::DataList;
using velmora::Store;
using velmora::StoreView;

namespace radvex::test {

class DataLists : public BridgeTest {
  protected:
    using Names = DataList<VArgumentType::UTF8String, Automatic>;
    using Lists = DataList<VArgumentType::DataStore, Automatic>;
    using Any = DataList<VArgumentType::VArgument, Manual>;

    static long aliveStores() { return ledger().counts(ObjectKind::dataStore).alive(); }
    static std::size_t nodesIn(DataStore store) { return StoreView(store).size(); }
};

TEST_F(DataLists, OfANewStoreAreEmptyAndTheLibrarys) {
    {
        const DataList<VArgumentType::Integer, Manual> list;
        EXPECT_TRUE(list.isOwnedByLibrary());
        EXPECT_EQ(list.size(), 0U);
        EXPECT_TRUE(ledger().isOwnedBy(Owner::library, ObjectKind::dataStore, list.getInternal()));
    }
    EXPECT_EQ(aliveStores(), 0);
}

TEST_F(DataLists, OfANewAutomaticStoreLeaveItWithTheHost) {
    DataStore store = nullptr;
    {
        const DataList<VArgumentType::VArgument, Automatic> list;
        EXPECT_FALSE(list.isOwnedByLibrary());
        store = list.getInternal();
    }
    EXPECT_TRUE(ledger().isAlive(ObjectKind::dataStore, store)) << "nothing deletes it";
    velmora::destroyDataStore(store);
}

TEST_F(DataLists, ThatTheHostRefusesToMakeAreErrors) {
    ledger().refuse(Operation::createDataStore, 1);
    EXPECT_THAT(thrownBy([] { Any list; }), isError(-25, "CreateFromNullError"));
}

TEST_F(DataLists, OfANullStoreAreRefused) {
    EXPECT_EQ(thrownBy([] { Names list(nullptr); }).id, -25);
    EXPECT_EQ(thrownBy([] { Any list(nullptr); }).id, -25);
}

TEST_F(DataLists, OfAnArgumentNeverDeleteIt) {
    const Store store = Store::ofTexts({"a"});
    { Names list(store.handle()); }
    EXPECT_TRUE(ledger().isOwnedBy(Owner::host, ObjectKind::dataStore, store.handle()));
}

TEST_F(DataLists, WalkTheNodesInOrder) {
    Store store = Store::empty();
    store.add("first", "a");
    store.add("", "b");
    store.add("first", "c");
    Names list(store.handle());
    std::string walked;
    for (auto& node : list) {
        walked += node.getName() + "=" + node.getValue() + ";";
    }
    EXPECT_EQ(walked, "first=a;=b;first=c;");
}

TEST_F(DataLists, OfAnEmptyStoreAreEmpty) {
    const Store store = Store::empty();
    Names list(store.handle());
    EXPECT_EQ(list.size(), 0U);
    EXPECT_TRUE(GTU::asVector(list).empty());
}

TEST_F(DataLists, OfANegativeLengthAreEmpty) {
    const Store store = Store::ofTexts({"a"});
    alterTable().dataStores.DataStore_getLength = [](DataStore) -> vint { return -1; };
    EXPECT_EQ(Names(store.handle()).size(), 0U);
}

TEST_F(DataLists, OfTheWrongKindFailAtConstruction) {
    const Store store = Store::of({"text", 5});
    EXPECT_THAT(thrownBy([&] { Names list(store.handle()); }), isError(-50, "DLInvalidNodeType"));
}

TEST_F(DataLists, OfAnyKindTakeEveryNode) {
    const Store store = Store::of({5, "text", 2.5, Store::empty()});
    Any list(velmora::cloneDataStore(store.handle(), Owner::library));
    ASSERT_EQ(list.size(), 4U);
    EXPECT_EQ(*list.begin()->getValue().integer, 5);
    EXPECT_EQ(GTU::LibraryData::DataStoreAPI()->DataStoreNode_getDataType(list.begin()->getRawNode()), VType_Integer);
}

TEST_F(DataLists, ThatFailHalfWayReleaseTheirStoreByTheirPolicy) {
    const DataStore store = velmora::cloneDataStore(Store::of({1, "text"}).handle(), Owner::library);
    EXPECT_EQ(thrownBy([&] { DataList<VArgumentType::Integer, Manual> list(store); }).id, -50);
    EXPECT_EQ(aliveStores(), 0);
}

TEST_F(DataLists, WhoseNodesRunOutEarlyAreRefused) {
    const Store store = Store::ofTexts({"a"});
    alterTable().dataStores.DataStore_getLength = [](DataStore) -> vint { return 2; };
    EXPECT_THAT(thrownBy([&] { Names list(store.handle()); }), isError(-49, "DLNullRawNode"));
}

TEST_F(DataLists, WhoseDataTheHostRefusesAreErrors) {
    const Store store = Store::ofTexts({"a", "b"});
    for (const long n : {1L, 2L}) {
        ledger().refuse(Operation::DataStoreNode_getData, n);
        EXPECT_THAT(thrownBy([&] { Names list(store.handle()); }), isError(-51, "DLGetNodeDataError")) << n;
        ledger().refuse(Operation::DataStoreNode_getDataType, n);
        EXPECT_EQ(thrownBy([&] { Names list(store.handle()); }).name, "DLInvalidNodeType") << n;
    }
}

TEST_F(DataLists, WhoseNameTheHostRefusesHaveNone) {
    Store store = Store::empty();
    store.add("key", "a");
    ledger().refuse(Operation::DataStoreNode_getName, 1);
    Names list(store.handle());
    EXPECT_EQ(list.begin()->getName(), "");
    EXPECT_STREQ(list.begin()->getValue(), "a");
}

TEST_F(DataLists, OfOneNumberKindGrowStoreAndProxyTogether) {
    DataList<VArgumentType::Integer, Manual> integers;
    integers.push_back(5);
    integers.push_back(-7);
    EXPECT_EQ(integers.size(), 2U);
    EXPECT_EQ(nodesIn(integers.getInternal()), 2U);
    EXPECT_EQ(std::prev(integers.end())->getValue(), -7);
    EXPECT_EQ(integers.begin()->getName(), "");

    DataList<VArgumentType::Real, Manual> reals;
    reals.push_back(2.5);
    EXPECT_EQ(reals.size(), 1U);
    EXPECT_EQ(nodesIn(reals.getInternal()), 1U);
    EXPECT_EQ(reals.begin()->getValue(), 2.5);
}

TEST_F(DataLists, OfAnyKindGrowOnlyTheStore) {
    Any list;
    list.push_back<VArgumentType::Integer>(5);
    list.push_back<VArgumentType::Real>(2.5);
    EXPECT_EQ(list.size(), 0U);
    const StoreView view(list.getInternal());
    ASSERT_EQ(view.size(), 2U);
    EXPECT_EQ((*view.begin()).value().get<vint>(), 5);
    EXPECT_EQ((*view.begin()).name(), "");
    EXPECT_EQ((*++view.begin()).type(), VType_Real);
}

TEST_F(DataLists, PushedIntoAnotherAreThatStores) {
    Any parent;
    DataStore childStore = nullptr;
    {
        DataList<VArgumentType::DataStore, Manual> child;
        childStore = child.getInternal();
        parent.push_back(std::move(child));
        EXPECT_FALSE(child.isOwnedByLibrary()); // NOLINT: what is left behind is the point
    }
    EXPECT_TRUE(ledger().isOwnedBy(Owner::store, ObjectKind::dataStore, childStore));
    EXPECT_EQ(parent.size(), 0U);
    const StoreView view(parent.getInternal());
    ASSERT_EQ(view.size(), 1U);
    EXPECT_EQ((*view.begin()).cell().dataStore, childStore);
    EXPECT_EQ((*view.begin()).name(), "");
}

TEST_F(DataLists, TakeContainersOfTheirKind) {
    DataList<VArgumentType::NumericArray, Manual> arrays;
    arrays.push_back(GTU::NumericArray<int, Manual>(GTU::VArrayDimensions{2, 3}));
    DataList<VArgumentType::Image, Manual> images;
    images.push_back(GTU::Image<float, Manual>(0, 5, 3, 1, VColorSpace_Grey, true));
    EXPECT_EQ(arrays.size(), 0U);
    EXPECT_EQ(nodesIn(arrays.getInternal()), 1U);
    EXPECT_EQ((*StoreView(arrays.getInternal()).begin()).type(), VType_NumericArray);
    EXPECT_EQ((*StoreView(images.getInternal()).begin()).type(), VType_Image);
    EXPECT_EQ(ledger().ownedByLibrary(ObjectKind::numericArray), 0);
    EXPECT_EQ(ledger().ownedByLibrary(ObjectKind::image), 0);
}

TEST_F(DataLists, AppendTheLastNodeToTheProxyWhenAsked) {
    Any list;
    Argument<VArgumentType::UTF8String>::addDataStoreNode(list.getInternal(), "key", "value");
    list.appendLastNodeToProxy();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list.begin()->getName(), "key");
}

TEST_F(DataLists, HandedOverAreTheHostsWithEverythingInThem) {
    auto frame = frameOf({});
    {
        Any root;
        Any child;
        child.push_back<VArgumentType::Integer>(5);
        Argument<VArgumentType::DataStore>::addDataStoreNode(root.getInternal(), "child", child.getInternal());
        child.setOwnedByLibrary(false);
        root.passAsResult(frame.res());
    }
    const velmora::Value result = frame.takeResult(VType_DataStore);
    ASSERT_TRUE(result.is<Store>());
    ASSERT_EQ(result.get<Store>().size(), 1U);
    EXPECT_EQ((*result.get<Store>().begin()).name(), "child");
}

TEST_F(DataLists, AbandonedTakeTheirChildrenAlong) {
    {
        Any root;
        root.push_back(Any());
        EXPECT_EQ(aliveStores(), 2);
    }
    EXPECT_EQ(aliveStores(), 0);
}

TEST_F(DataLists, MovedKeepTheirNodes) {
    Any source(velmora::cloneDataStore(Store::of({5}).handle(), Owner::library));
    const DataStore store = source.getInternal();
    Any moved(std::move(source));
    EXPECT_EQ(moved.getInternal(), store);
    ASSERT_EQ(moved.size(), 1U);
    EXPECT_EQ(*moved.begin()->getValue().integer, 5);
}

TEST_F(DataLists, AsAVectorGiveTheirTexts) {
    const Store store = Store::ofTexts({"a", "", "\xC3\xA4"});
    Names list(store.handle());
    EXPECT_EQ(GTU::asVector(list), (std::vector<std::string>{"a", "", "\xC3\xA4"}));
}

TEST_F(DataLists, AsAVectorRefuseNullText) {
    const Store store = Store::empty();
    velmora::appendNode(store.handle(), "", VType_UTF8String, {.utf8String = nullptr});
    Names list(store.handle());
    EXPECT_THROW((void)GTU::asVector(list), std::out_of_range);
}

TEST_F(DataLists, AsPairsConsumeTheInnerStores) {
    const Store store = Store::of({Store::ofTexts({"a", "b"}), Store::ofTexts({"c", "d", "ignored"})});
    Lists list(store.handle());
    const auto pairs = GTU::asStringPairs(list);
    ASSERT_EQ(pairs.size(), 2U);
    EXPECT_EQ(pairs[0], std::make_pair(std::string("a"), std::string("b")));
    EXPECT_EQ(pairs[1], std::make_pair(std::string("c"), std::string("d")));
    EXPECT_EQ(aliveStores(), 1) << "only the outer one is left";
}

TEST_F(DataLists, AsPairsOfNothingTouchNoStore) {
    const Store store = Store::empty();
    Lists list(store.handle());
    EXPECT_TRUE(GTU::asStringPairs(list).empty());
    EXPECT_EQ(ledger().counts(ObjectKind::dataStore).freed, 0);
}

TEST_F(DataLists, AsPairsRefuseInnerListsOfFewerThanTwo) {
    for (const auto& texts : {std::vector<std::string>{}, std::vector<std::string>{"a"}}) {
        const Store store = Store::of({Store::ofTexts(texts)});
        Lists list(store.handle());
        EXPECT_THROW((void)GTU::asStringPairs(list), std::out_of_range) << texts.size();
        EXPECT_EQ(aliveStores(), 1) << "the refused inner list is consumed";
    }
}

TEST_F(DataLists, AsPairsRefuseNullText) {
    for (const vint nullAt : {0, 1}) {
        Store inner = Store::empty();
        for (const vint position : {0, 1}) {
            velmora::appendText(inner.handle(), "", position == nullAt ? nullptr : "a");
        }
        std::vector<velmora::Value> nodes;
        nodes.emplace_back(std::move(inner));
        const Store store = Store::of(std::move(nodes));
        Lists list(store.handle());
        EXPECT_THROW((void)GTU::asStringPairs(list), std::out_of_range) << nullAt;
    }
}

TEST_F(DataLists, AsPairsRefuseInnerListsOfOtherKindsAndNull) {
    const Store numbers = Store::of({Store::of({1, 2})});
    Lists list(numbers.handle());
    EXPECT_EQ(thrownBy([&] { (void)GTU::asStringPairs(list); }).name, "DLInvalidNodeType");
    const Store null = Store::of({velmora::Null{}});
    Lists nullList(null.handle());
    EXPECT_EQ(thrownBy([&] { (void)GTU::asStringPairs(nullList); }).name, "CreateFromNullError");
}

} // namespace radvex::test

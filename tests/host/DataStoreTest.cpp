// Data stores: order, names, values, copies, nesting.

#include "tests/host/HandleTest.h"

using radvex::test::disguised;

namespace {

class DataStores : public radvex::test::HandleTest {
  protected:
    std::vector<DataStoreNode> nodesOf(DataStore store) {
        std::vector<DataStoreNode> nodes;
        for (DataStoreNode node = stores().DataStore_getFirstNode(store); node != nullptr;
             node = stores().DataStoreNode_getNextNode(node)) {
            nodes.push_back(node);
        }
        return nodes;
    }
    /// The node's name, "(none)" when it has none.
    std::string nameOf(DataStoreNode node) {
        char* name = nullptr;
        EXPECT_EQ(stores().DataStoreNode_getName(node, &name), 0);
        return name == nullptr ? "(none)" : name;
    }
    VArgument dataOf(DataStoreNode node) {
        VArgument data{};
        EXPECT_EQ(stores().DataStoreNode_getData(node, &data), 0);
        return data;
    }
    /// Stores within each other; gives the outermost.
    DataStore makeNested(int depth) {
        DataStore outermost = makeStore();
        stores().DataStore_addNamedInteger(outermost, "innermost", 7);
        for (int level = 1; level < depth; ++level) {
            const DataStore outer = makeStore();
            stores().DataStore_addNamedDataStore(outer, "inner", outermost);
            outermost = outer;
        }
        return outermost;
    }
};

TEST_F(DataStores, KeepOrderNamesAndValuesOfEachKind) {
    const DataStore store = makeStore();
    const VTensor tensor = makeTensor();
    const VNumericArray array = makeArray();
    const VImage image = makeImage();
    const DataStore inner = makeStore();
    stores().DataStore_addNamedInteger(store, "integer", -5);
    stores().DataStore_addNamedReal(store, "real", 0.25);
    stores().DataStore_addNamedComplex(store, "complex", {1.5, -2.5});
    stores().DataStore_addNamedString(store, "string", "gr\xC3\xBC\xC3\x9F");
    stores().DataStore_addNamedVTensor(store, "tensor", tensor);
    stores().DataStore_addNamedVImage(store, "image", image);
    stores().DataStore_addNamedDataStore(store, "store", inner);
    stores().DataStore_addNamedBoolean(store, "boolean", 1);
    stores().DataStore_addNamedVNumericArray(store, "array", array);

    const std::vector<DataStoreNode> nodes = nodesOf(store);
    const std::pair<const char*, vint> expected[] = {
        {"integer", VType_Integer},   {"real", VType_Real},       {"complex", VType_Complex},
        {"string", VType_UTF8String}, {"tensor", VType_Tensor},   {"image", VType_Image},
        {"store", VType_DataStore},   {"boolean", VType_Boolean}, {"array", VType_NumericArray}};
    ASSERT_EQ(nodes.size(), std::size(expected));
    EXPECT_EQ(stores().DataStore_getLength(store), 9);
    EXPECT_EQ(stores().DataStore_getLastNode(store), nodes.back());
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        EXPECT_EQ(nameOf(nodes[index]), expected[index].first);
        EXPECT_EQ(stores().DataStoreNode_getDataType(nodes[index]), expected[index].second);
    }
    EXPECT_EQ(*dataOf(nodes[0]).integer, -5);
    EXPECT_EQ(*dataOf(nodes[1]).real, 0.25);
    EXPECT_EQ(dataOf(nodes[2]).complex->re, 1.5);
    EXPECT_EQ(dataOf(nodes[2]).complex->im, -2.5);
    EXPECT_STREQ(*dataOf(nodes[3]).utf8String, "gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(*dataOf(nodes[4]).tensor, tensor);
    EXPECT_EQ(*dataOf(nodes[5]).image, image);
    EXPECT_EQ(*dataOf(nodes[6]).dataStore, inner);
    EXPECT_EQ(*dataOf(nodes[7]).boolean, 1);
    EXPECT_EQ(*dataOf(nodes[8]).numericArray, array);
    stores().deleteDataStore(store); // with the four objects in it
}

TEST_F(DataStores, NamesMayBeEmptyMissingAndRepeated) {
    const DataStore store = makeStore();
    const char* const names[] = {"same", "", "same", nullptr, "other"};
    for (vint index = 0; index < 5; ++index) {
        stores().DataStore_addNamedInteger(store, names[index], index);
    }
    const std::vector<DataStoreNode> nodes = nodesOf(store);
    ASSERT_EQ(nodes.size(), 5U);
    const char* const expected[] = {"same", "(none)", "same", "(none)", "other"};
    for (std::size_t index = 0; index < 5; ++index) {
        EXPECT_EQ(nameOf(nodes[index]), expected[index]);
        EXPECT_EQ(*dataOf(nodes[index]).integer, static_cast<vint>(index));
    }
    stores().deleteDataStore(store);
}

TEST_F(DataStores, CopyTextAndNames) {
    const DataStore store = makeStore();
    char name[] = "name";
    char text[] = "text";
    stores().DataStore_addNamedString(store, name, text);
    name[0] = text[0] = '?';
    const DataStoreNode node = stores().DataStore_getFirstNode(store);
    EXPECT_EQ(nameOf(node), "name");
    EXPECT_STREQ(*dataOf(node).utf8String, "text");
    stores().deleteDataStore(store);
}

TEST_F(DataStores, KeepNamesAndTextsOfAllLengths) {
    const DataStore store = makeStore();
    std::vector<std::size_t> lengths{200000, 65536, 65535};
    for (std::size_t length = 1; length < 700; ++length) {
        lengths.push_back(length);
    }
    for (const std::size_t length : lengths) {
        stores().DataStore_addNamedString(store, std::string(length, 'n').c_str(), std::string(700, 't').c_str());
        stores().DataStore_addNamedString(store, "text", std::string(length, 't').c_str());
        stores().DataStore_addNamedReal(store, std::string(length, 'r').c_str(), 0.5 * static_cast<double>(length));
    }
    const std::vector<DataStoreNode> nodes = nodesOf(store);
    ASSERT_EQ(nodes.size(), 3 * lengths.size());
    for (std::size_t index = 0; index < lengths.size(); ++index) {
        const std::size_t length = lengths[index];
        EXPECT_EQ(nameOf(nodes[3 * index]), std::string(length, 'n'));
        EXPECT_EQ(*dataOf(nodes[3 * index]).utf8String, std::string(700, 't'));
        EXPECT_EQ(*dataOf(nodes[3 * index + 1]).utf8String, std::string(length, 't'));
        EXPECT_EQ(nameOf(nodes[3 * index + 2]), std::string(length, 'r'));
        EXPECT_EQ(*dataOf(nodes[3 * index + 2]).real, 0.5 * static_cast<double>(length));
    }
    stores().deleteDataStore(store);
}

TEST_F(DataStores, EmptyOnesHaveNoNodes) {
    const DataStore store = makeStore();
    EXPECT_EQ(stores().DataStore_getLength(store), 0);
    EXPECT_EQ(stores().DataStore_getFirstNode(store), nullptr);
    EXPECT_EQ(stores().DataStore_getLastNode(store), nullptr);
    const DataStore copy = stores().copyDataStore(store);
    EXPECT_EQ(stores().DataStore_getLength(copy), 0);
    stores().deleteDataStore(copy);
    stores().deleteDataStore(store);
}

TEST_F(DataStores, ANullNodeAndNullTargetsAreErrors) {
    const DataStore store = makeStore();
    stores().DataStore_addNamedInteger(store, "n", 1);
    const DataStoreNode node = stores().DataStore_getFirstNode(store);
    VArgument data{};
    char* name = nullptr;
    EXPECT_EQ(stores().DataStoreNode_getNextNode(nullptr), nullptr);
    EXPECT_EQ(stores().DataStoreNode_getNextNode(node), nullptr);
    EXPECT_EQ(stores().DataStoreNode_getDataType(nullptr), VType_Undef);
    EXPECT_NE(stores().DataStoreNode_getData(nullptr, &data), 0);
    EXPECT_NE(stores().DataStoreNode_getData(node, nullptr), 0);
    EXPECT_NE(stores().DataStoreNode_getName(nullptr, &name), 0);
    EXPECT_NE(stores().DataStoreNode_getName(node, nullptr), 0);
    stores().deleteDataStore(store);
}

TEST_F(DataStores, NullValuesAreKeptAsNull) {
    const DataStore store = makeStore();
    stores().DataStore_addNamedString(store, "a", nullptr);
    stores().DataStore_addNamedVTensor(store, "b", nullptr);
    stores().DataStore_addNamedVImage(store, "c", nullptr);
    stores().DataStore_addNamedVNumericArray(store, "d", nullptr);
    stores().DataStore_addNamedDataStore(store, "e", nullptr);
    const DataStore copy = stores().copyDataStore(store);
    for (const DataStore each : {store, copy}) {
        EXPECT_EQ(stores().DataStore_getLength(each), 5);
        for (const DataStoreNode node : nodesOf(each)) {
            EXPECT_EQ(*dataOf(node).dataStore, nullptr) << nameOf(node);
        }
        stores().deleteDataStore(each);
    }
}

TEST_F(DataStores, ACopyIsDeepAndOfItsOwn) {
    const DataStore store = makeStore();
    const DataStore inner = makeStore();
    const VTensor tensor = makeTensor(VTensor_Integer, {2});
    table().VTensor_getIntegerData(tensor)[1] = 42;
    stores().DataStore_addNamedString(inner, "text", "inside");
    stores().DataStore_addNamedVTensor(inner, "tensor", tensor);
    stores().DataStore_addNamedDataStore(store, "inner", inner);
    stores().DataStore_addNamedVImage(store, "image", makeImage());
    const DataStore copy = stores().copyDataStore(store);
    EXPECT_EQ(velmora::ledger().alive(), 8) << "two stores, a tensor and an image, twice";
    table().VTensor_getIntegerData(tensor)[1] = 0;
    stores().deleteDataStore(store);

    const std::vector<DataStoreNode> nodes = nodesOf(copy);
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nameOf(nodes[0]), "inner");
    EXPECT_EQ(images().VImage_getColumnCount(*dataOf(nodes[1]).image), 5);
    const std::vector<DataStoreNode> within = nodesOf(*dataOf(nodes[0]).dataStore);
    ASSERT_EQ(within.size(), 2U);
    EXPECT_STREQ(*dataOf(within[0]).utf8String, "inside");
    EXPECT_EQ(table().VTensor_getIntegerData(*dataOf(within[1]).tensor)[1], 42);
    stores().deleteDataStore(copy);
}

TEST_F(DataStores, ACopyOfAnInnerOneIsTheLibrarys) {
    const DataStore store = makeNested(2);
    const DataStore inner = *dataOf(stores().DataStore_getFirstNode(store)).dataStore;
    const DataStore copy = stores().copyDataStore(inner);
    stores().deleteDataStore(store);
    EXPECT_EQ(*dataOf(stores().DataStore_getFirstNode(copy)).integer, 7);
    EXPECT_EQ(velmora::ledger().ownedByLibrary(velmora::ObjectKind::dataStore), 1);
    stores().deleteDataStore(copy);
}

TEST_F(DataStores, NestADeepWayDownWithoutACallStack) {
    constexpr int kDepth = 100000;
    const DataStore store = makeNested(kDepth);
    const DataStore copy = stores().copyDataStore(store);
    EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::dataStore).alive(), 2 * kDepth);
    stores().deleteDataStore(store);
    DataStore innermost = copy;
    for (int level = 1; level < kDepth; ++level) {
        innermost = *dataOf(stores().DataStore_getFirstNode(innermost)).dataStore;
    }
    EXPECT_EQ(*dataOf(stores().DataStore_getFirstNode(innermost)).integer, 7);
    stores().deleteDataStore(copy);
}

TEST_F(DataStores, DeadAndForeignHandlesGetEmptyAnswers) {
    const DataStore dead = makeStore();
    stores().deleteDataStore(dead);
    const VTensor tensor = makeTensor();
    for (const DataStore store : {DataStore{nullptr}, dead, disguised<DataStore>(tensor)}) {
        EXPECT_EQ(stores().DataStore_getLength(store), 0);
        EXPECT_EQ(stores().DataStore_getFirstNode(store), nullptr);
        EXPECT_EQ(stores().DataStore_getLastNode(store), nullptr);
        EXPECT_EQ(stores().copyDataStore(store), nullptr);
    }
    table().VTensor_free(tensor);
}

} // namespace

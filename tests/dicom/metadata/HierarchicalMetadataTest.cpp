#include <sys/resource.h>

#include "dicom/metadata/HierarchicalMetadata.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex;
using namespace radvex::test;
using velmora::NodeView;
using velmora::StoreView;

namespace {

class HierarchicalMetadata : public ResultListTest {
  protected:
    StoreView walk(DcmObject& root, const ExcludedTags& excluded = {}, bool nested = false, bool validate = false) {
        saveHierarchicalDatasetToDataList(*list, &root, excluded, nested, validate);
        return StoreView(list->getInternal());
    }
};

} // namespace

TEST_F(HierarchicalMetadata, ASequenceIsAStoreOfUnnamedItems) {
    dataset.putAndInsertUint16(DCM_Rows, 4);
    addItem(dataset, DCM_ReferencedImageSequence).putAndInsertString(DCM_ReferencedSOPClassUID, "1.2");
    addItem(dataset, DCM_ReferencedImageSequence).putAndInsertString(DCM_ReferencedSOPClassUID, "1.3");
    const StoreView result = walk(dataset);
    ASSERT_THAT(keysOf(result), ElementsAre("ReferencedImageSequence", "Rows"));
    const StoreView items = storeAt(result, 0);
    ASSERT_THAT(keysOf(items), ElementsAre("", ""));
    EXPECT_EQ(textOf(storeAt(items, 0), "ReferencedSOPClassUID"), "1.2");
    EXPECT_EQ(textOf(storeAt(items, 1), "ReferencedSOPClassUID"), "1.3");
    EXPECT_EQ(storeAt(items, 1).size(), 1U);
}

TEST_F(HierarchicalMetadata, AnAttributeBehindAnInnerSequenceLandsInTheOuterItem) {
    DcmItem& outer = addItem(dataset, DCM_ReferencedStudySequence);
    addItem(outer, DCM_ReferencedSeriesSequence).putAndInsertString(DCM_SeriesInstanceUID, "1.2");
    outer.putAndInsertString(DCM_StudyInstanceUID, "1.3");
    dataset.putAndInsertString(DCM_PatientID, "4711");
    const StoreView result = walk(dataset);
    ASSERT_THAT(keysOf(result), ElementsAre("ReferencedStudySequence", "PatientID"));
    const StoreView outerItem = storeAt(storeAt(result, 0), 0);
    ASSERT_THAT(keysOf(outerItem), ElementsAre("ReferencedSeriesSequence", "StudyInstanceUID"));
    EXPECT_THAT(keysOf(storeAt(storeAt(outerItem, 0), 0)), ElementsAre("SeriesInstanceUID"));
}

TEST_F(HierarchicalMetadata, AnExcludedLeafIsGoneAtEveryDepthAndAnExcludedSequenceStays) {
    DcmItem& inner = addItem(dataset, DCM_ReferencedImageSequence);
    put(inner, {{DCM_ReferencedSOPClassUID, "1.2"}, {DCM_PatientID, "4711"}});
    dataset.putAndInsertString(DCM_PatientID, "4711");
    const StoreView result = walk(dataset, {"ReferencedImageSequence", "PatientID"});
    ASSERT_THAT(keysOf(result), ElementsAre("ReferencedImageSequence"));
    EXPECT_THAT(keysOf(storeAt(storeAt(result, 0), 0)), ElementsAre("ReferencedSOPClassUID"));
}

TEST_F(HierarchicalMetadata, ANestedRootWithoutItemsIsOneNodeWithAnEmptyStore) {
    DcmSequenceOfItems empty(DCM_ReferencedImageSequence);
    const StoreView result = walk(empty, {}, true);
    ASSERT_THAT(keysOf(result), ElementsAre("ReferencedImageSequence"));
    EXPECT_EQ(storeAt(result, 0).size(), 0U);
}

TEST_F(HierarchicalMetadata, AnEmptyItemIsAnEmptyStore) {
    addItem(dataset, DCM_ReferencedImageSequence);
    const StoreView items = storeAt(walk(dataset), 0);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(storeAt(items, 0).size(), 0U);
}

TEST_F(HierarchicalMetadata, NodesThatAreThereStayInFront) {
    dataset.putAndInsertString(DCM_PatientID, "4711");
    walk(dataset);
    DcmDataset second;
    second.putAndInsertString(DCM_PatientName, "Doe");
    EXPECT_THAT(keysOf(walk(second)), ElementsAre("PatientID", "PatientName"));
}

TEST_F(HierarchicalMetadata, AValueThatDoesNotFitIsDroppedAndItsSiblingsStay) {
    put(dataset, {{DCM_StudyInstanceUID, "not.a.uid"}, {DCM_SeriesInstanceUID, "1.2.3"}});
    EXPECT_THAT(keysOf(walk(dataset, {}, false, true)), ElementsAre("SeriesInstanceUID"));
}

TEST_F(HierarchicalMetadata, KeysOfPrivateAttributesFollowTheirCreator) {
    // The same number under two creators: DCMTK's dictionary knows it under one of them.
    for (const char* creator : {"GEMS_IDEN_01", "SOMEBODY"}) {
        DcmItem& block = addItem(dataset, DCM_ReferencedImageSequence);
        block.putAndInsertString(DcmTag(0x0009, 0x0010, EVR_LO), creator);
        DcmTag full(0x0009, 0x1001, EVR_LO);
        full.setPrivateCreator(creator);
        block.putAndInsertString(full, "x");
    }
    const StoreView items = storeAt(walk(dataset), 0);
    EXPECT_THAT(keysOf(storeAt(items, 0)), ElementsAre("PrivateCreator", "FullFidelity"));
    EXPECT_THAT(keysOf(storeAt(items, 1)), ElementsAre("PrivateCreator", "0009_1001"));
}

TEST_F(HierarchicalMetadata, AHundredLevelsAreWalked) {
    constexpr int kLevels = 100;
    DcmItem* level = &dataset;
    for (int depth = 0; depth < kLevels; ++depth) {
        level = &addItem(*level, DCM_ReferencedImageSequence);
        level->putAndInsertString(DCM_InstanceNumber, std::to_string(depth).c_str());
    }
    StoreView view = walk(dataset);
    for (int depth = 0; depth < kLevels; ++depth) {
        ASSERT_EQ(keysOf(view).front(), "ReferencedImageSequence");
        view = storeAt(storeAt(view, 0), 0);
        EXPECT_EQ(textOf(view, "InstanceNumber"), std::to_string(depth));
    }
    EXPECT_EQ(view.size(), 1U);
}

TEST_F(HierarchicalMetadata, TwoHundredThousandElementsStayWithin400BytesEach) {
    constexpr int kItems = 20000;
    constexpr int kElementsOfItem = 10;
    auto sequence = std::make_unique<DcmSequenceOfItems>(DCM_ReferencedImageSequence);
    for (int number = 0; number < kItems; ++number) {
        auto block = std::make_unique<DcmItem>();
        for (Uint16 element = 0; element < kElementsOfItem; ++element) {
            block->putAndInsertString(DcmTag(0x0010, static_cast<Uint16>(0x9000 + element), EVR_LO), "value");
        }
        sequence->append(block.release());
    }
    dataset.insert(sequence.release());
    const auto peakBytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss * 1024;
    };
    const long before = peakBytes();
    const StoreView items = storeAt(walk(dataset), 0);
    ASSERT_EQ(items.size(), static_cast<std::size_t>(kItems));
    EXPECT_EQ(storeAt(items, kItems - 1).size(), static_cast<std::size_t>(kElementsOfItem));
    EXPECT_LT(peakBytes() - before, 400L * kItems * kElementsOfItem);
}

TEST_F(HierarchicalMetadata, AStoreThatCannotBeMadeEndsTheWalkWithAnError) {
    addItem(dataset, DCM_ReferencedImageSequence);
    for (long n = 1; n <= 2; ++n) { // the sequence's store, the item's store
        velmora::ledger().refuse(velmora::Operation::createDataStore, n);
        EXPECT_EQ(errorOf([&] { walk(dataset); }), "CreateFromNullError");
        velmora::ledger().refuseNothing();
        for (const void* left : velmora::ledger().ownedBy(velmora::Owner::library, velmora::ObjectKind::dataStore)) {
            velmora::destroyDataStore(static_cast<DataStore>(const_cast<void*>(left)));
        }
        list = std::make_unique<ResultList>();
    }
}

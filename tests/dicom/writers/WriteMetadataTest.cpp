#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class WriteMetadata : public WriterTest {
  protected:
    DcmDataset& written(Store metadata) { return load(write(withMetadata(std::move(metadata)))); }
    int codeFor(Store metadata) { return writeCode(withMetadata(std::move(metadata))); }
    std::string messageFor(Store metadata) { return writeMessage(withMetadata(std::move(metadata))); }

    static Store single(const std::string& name, Value value) {
        Store store = Store::empty();
        store.add(name, std::move(value));
        return store;
    }
    /// A sequence of so many levels, with a text in the innermost item.
    static Store nested(int levels) {
        Store item = texts({{"PatientComments", "deep"}});
        for (int level = 0; level < levels; ++level) {
            item = single("ReferencedImageSequence", Store::of({std::move(item)}));
        }
        return item;
    }
};

} // namespace

TEST_F(WriteMetadata, AnEmptyListChangesNothing) {
    load(write(withMetadata(Store::empty())));
    EXPECT_EQ(valueOf(DCM_PatientName), "");
    const unsigned long tags = loaded.getDataset()->card();
    load(write(withMetadata(texts({{"PatientComments", "one more"}})), "more.dcm"));
    EXPECT_EQ(loaded.getDataset()->card(), tags + 1) << "what is there without metadata comes from image and defaults";
}

TEST_F(WriteMetadata, GoesOnTopOfWhatTheImageAndTheDefaultsGave) {
    written(texts({{"PatientName", "Doe^Jane"}, {"Manufacturer", ""}, {"NumberOfFrames", "1"}, {"StudyTime", "1200"}}));
    EXPECT_EQ(valueOf(DCM_PatientName), "Doe^Jane");
    EXPECT_EQ(valueOf(DCM_Manufacturer), "");
    EXPECT_EQ(valueOf(DCM_NumberOfFrames), "1");
    EXPECT_EQ(valueOf(DCM_StudyTime), "1200");
}

TEST_F(WriteMetadata, AnEmptyTextReplacesADefault) {
    setDefault("PatientName", "Default");
    written(texts({{"PatientName", ""}}));
    EXPECT_EQ(valueOf(DCM_PatientName), "");
}

TEST_F(WriteMetadata, SeveralValuesAreJoinedByABackslashAndTheirNumberIsNotChecked) {
    written(texts({{"ImageType", "DERIVED\\SECONDARY"}, {"PatientID", "1\\2\\3"}, {"WindowWidth", "1.5\\2"}}));
    EXPECT_EQ(valueOf(DCM_ImageType), "DERIVED\\SECONDARY");
    EXPECT_EQ(valueOf(DCM_PatientID), "1\\2\\3");
    EXPECT_EQ(valueOf(DCM_WindowWidth), "1.5\\2");
}

TEST_F(WriteMetadata, NumbersOfBinaryRepresentationsAreText) {
    DcmDataset& dataset = written(texts({{"SmallestImagePixelValue", "7"}, {"EventElapsedTimes", "1.5"}}));
    Uint16 smallest = 0;
    EXPECT_TRUE(dataset.findAndGetUint16(DCM_SmallestImagePixelValue, smallest).good());
    EXPECT_EQ(smallest, 7);
}

TEST_F(WriteMetadata, OfAKeywordThatStandsTwiceTheFirstWins) {
    // The last entry is handled first, and what is handled later replaces it.
    written(texts({{"PatientName", "First"}, {"PatientName", "Second"}}));
    EXPECT_EQ(valueOf(DCM_PatientName), "First");
}

TEST_F(WriteMetadata, TheLastEntryThatIsWrongIsTheOneReported) {
    EXPECT_EQ(messageFor(texts({{"NoSuchFirst", "x"}, {"NoSuchLast", "x"}})),
              "Attribute tag named NoSuchLast does not exist.");
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteMetadata, ItemsAreLookedAtBeforeTheRestOfTheLevelAroundThem) {
    Store metadata = texts({{"NoSuchFirst", "x"}});
    metadata.add("ReferencedImageSequence", Store::of({texts({{"NoSuchInner", "y"}})}));
    EXPECT_EQ(messageFor(std::move(metadata)), "Attribute tag named NoSuchInner does not exist.");
}

TEST_F(WriteMetadata, WhatFollowsFromTheImageIsReserved) {
    for (const char* keyword : {"SOPClassUID",
                                "SOPInstanceUID",
                                "StudyInstanceUID",
                                "SeriesInstanceUID",
                                "ConversionType",
                                "SamplesPerPixel",
                                "PhotometricInterpretation",
                                "Rows",
                                "Columns",
                                "BitsAllocated",
                                "BitsStored",
                                "HighBit",
                                "PixelRepresentation",
                                "PixelData",
                                "FloatPixelData",
                                "DoubleFloatPixelData",
                                "OverlayRows",
                                "OverlayColumns",
                                "OverlayBitsAllocated",
                                "OverlayBitPosition",
                                "OverlayData"}) {
        EXPECT_EQ(codeFor(texts({{keyword, "1"}})), kReservedTagError) << keyword;
        EXPECT_EQ(messageFor(texts({{keyword, "1"}})), std::string("Could not write tag ") + keyword +
                                                           " because it is exclusively written by Velmora Language.");
    }
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteMetadata, AReservedKeywordIsRefusedInsideASequenceAsWell) {
    EXPECT_EQ(codeFor(single("ReferencedImageSequence", Store::of({texts({{"Rows", "5"}})}))), kReservedTagError);
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteMetadata, AReservedKeywordIsComparedAsItStands) {
    EXPECT_EQ(codeFor(texts({{"rows", "5"}})), kInvalidTagName);
    EXPECT_EQ(codeFor(texts({{"PlanarConfiguration", "0"}, {"OverlayType", "G"}})), 0) << "these are open";
}

TEST_F(WriteMetadata, UnknownKeywordsAreRefusedByName) {
    EXPECT_EQ(codeFor(texts({{"NoSuchTag", "x"}})), kInvalidTagName);
    EXPECT_EQ(codeFor(texts({{"", "x"}})), kInvalidTagName);
    EXPECT_EQ(codeFor(texts({{"0010,0010", "x"}})), kInvalidTagName);
}

TEST_F(WriteMetadata, ARetiredAttributeIsFoundByItsPlainName) {
    written(texts({{"OtherPatientIDs", "A\\B"}}));
    EXPECT_EQ(valueOf(DcmTagKey(0x0010, 0x1000)), "A\\B");
}

TEST_F(WriteMetadata, AValueThatDoesNotFitIsRefusedByNameAndValue) {
    EXPECT_EQ(messageFor(texts({{"StudyDate", "yesterday"}})), "Could not write tag StudyDate with value yesterday.");
    for (const auto& [keyword, value] :
         std::vector<std::pair<std::string, std::string>>{{"NumberOfFrames", "many"},
                                                          {"PatientSex", "male"},
                                                          {"SmallestImagePixelValue", "x"},
                                                          {"StationAETitle", std::string(17, 'x')},
                                                          {"FrameOfReferenceUID", "1.a"}}) {
        EXPECT_EQ(codeFor(texts({{keyword, value}})), kInvalidTagValue) << keyword;
    }
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteMetadata, ItemsAndTheirDelimitersAreKeywordsForWhichThereIsNoElement) {
    for (const char* keyword : {"Item", "ItemDelimitationItem", "SequenceDelimitationItem"}) {
        EXPECT_EQ(codeFor(texts({{keyword, "x"}})), kInvalidTagValue) << keyword;
        EXPECT_EQ(codeFor(single(keyword, Store::of({Store::empty()}))), kSequenceTagVRError) << keyword;
    }
}

TEST_F(WriteMetadata, OnlyTextsAndListsAreValues) {
    EXPECT_EQ(codeFor(single("PatientName", 5)), kVArgumentTypeError);
    EXPECT_EQ(codeFor(single("PatientName", 5.0)), kVArgumentTypeError);
    EXPECT_EQ(codeFor(single("PatientName", true)), kVArgumentTypeError);
    EXPECT_EQ(codeFor(single("WindowWidth", Tensor(std::vector<vint>{1}, std::vector<double>{1.0}))),
              kVArgumentTypeError);
    EXPECT_EQ(messageFor(single("PatientName", 5)), "Unsupported VArgumentType passed.");
}

TEST_F(WriteMetadata, AListIsForSequencesAndATextIsNot) {
    EXPECT_EQ(codeFor(single("PatientName", Store::of({Store::empty()}))), kSequenceTagVRError);
    EXPECT_EQ(codeFor(texts({{"ReferencedImageSequence", "x"}})), kInvalidTagValue);
}

TEST_F(WriteMetadata, AnEmptySequenceMakesNoElement) {
    EXPECT_FALSE(written(single("ReferencedImageSequence", Store::empty())).tagExists(DCM_ReferencedImageSequence));
    EXPECT_TRUE(
        written(single("ReferencedImageSequence", Store::of({Store::empty()}))).tagExists(DCM_ReferencedImageSequence))
        << "an empty item does";
}

TEST_F(WriteMetadata, ItemsStayInTheirOrder) {
    DcmDataset& dataset = written(
        single("ReferencedImageSequence", Store::of({texts({{"ReferencedFrameNumber", "1"}}),
                                                     texts({{"ReferencedFrameNumber", "2"}, {"PatientName", "In"}}),
                                                     texts({{"ReferencedFrameNumber", "3"}})})));
    DcmSequenceOfItems* sequence = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequence(DCM_ReferencedImageSequence, sequence).good());
    ASSERT_EQ(sequence->card(), 3U);
    for (unsigned long index = 0; index < 3; ++index) {
        OFString number;
        sequence->getItem(index)->findAndGetOFString(DCM_ReferencedFrameNumber, number);
        EXPECT_EQ(std::string(number.c_str()), std::to_string(index + 1));
    }
    OFString name;
    sequence->getItem(1)->findAndGetOFString(DCM_PatientName, name);
    EXPECT_EQ(std::string(name.c_str()), "In");
    EXPECT_EQ(valueOf(DCM_PatientName), "") << "the item's name is not the file's";
}

TEST_F(WriteMetadata, AnItemThatIsNoListIsRefused) {
    EXPECT_EQ(codeFor(single("ReferencedImageSequence", Store::of({Value("text")}))), -50);
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteMetadata, AHundredLevelsAreWrittenAndOneMoreIsRefused) {
    DcmItem* item = &written(nested(100));
    for (int level = 0; level < 100; ++level) {
        DcmItem* inner = nullptr;
        ASSERT_TRUE(item->findAndGetSequenceItem(DCM_ReferencedImageSequence, inner).good()) << level;
        item = inner;
    }
    OFString comment;
    EXPECT_TRUE(item->findAndGetOFString(DCM_PatientComments, comment).good());
    EXPECT_EQ(std::string(comment.c_str()), "deep");

    EXPECT_EQ(messageOf("WriteImage", valuesOf(folder.file("deep.dcm"), withMetadata(nested(101)))),
              "Error writing an Image(s) : The metadata has more than 100 levels of sequences.");
    EXPECT_FALSE(std::filesystem::exists(folder.file("deep.dcm")));
    EXPECT_EQ(codeOf("WriteImage", valuesOf(folder.file("deep.dcm"), withMetadata(nested(2000)))), kImageWriteError);
}

TEST_F(WriteMetadata, TheLibraryReadsBackWhatItWrote) {
    Store metadata = texts({{"PatientName", "Doe^Jane"}});
    metadata.add("ReferencedImageSequence", Store::of({texts({{"ReferencedSOPInstanceUID", "1.2.3"}})}));
    const auto path = write(withMetadata(std::move(metadata)));
    const Value read = call("ReadMetadata", {path, Store::ofTexts({"PatientName", "ReferencedImageSequence"}), true});
    auto node = read.get<Store>().begin();
    EXPECT_STREQ((*node).cell().utf8String, "Doe^Jane");
    ++node;
    const StoreView items((*node).cell().dataStore);
    ASSERT_EQ(items.size(), 1U);
    const StoreView item((*items.begin()).cell().dataStore);
    EXPECT_EQ((*item.begin()).name(), "ReferencedSOPInstanceUID");
    EXPECT_STREQ((*item.begin()).cell().utf8String, "1.2.3");
}

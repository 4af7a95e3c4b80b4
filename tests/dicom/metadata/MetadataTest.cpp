#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;
using testing::IsEmpty;

namespace {

Store names(const std::vector<std::string>& texts) { return Store::ofTexts(texts); }

Store numbers(const std::vector<std::pair<std::string, std::string>>& tags) {
    Store store = Store::empty();
    for (const auto& [group, element] : tags) {
        store.add("", Store::ofTexts({group, element}));
    }
    return store;
}

class Metadata : public LibraryTest {
  protected:
    std::string write(const Fill& fill, const std::string& name = "a.dcm") {
        return writeDicom(folder.file(name), fill);
    }
    Store read(const std::string& path, const std::vector<std::string>& keys, bool validate = false) {
        return std::get<Store>(call("ReadMetadata", {path, names(keys), validate}));
    }
    Store readNumbers(const std::string& path, const std::vector<std::pair<std::string, std::string>>& tags) {
        return std::get<Store>(call("ReadMetadataIntTags", {path, numbers(tags)}));
    }
    Store readAll(const std::string& path, const std::vector<std::string>& excluded = {}, bool validate = false) {
        return std::get<Store>(call("ReadAllMetadata", {path, names(excluded), validate}));
    }
};

using Dictionary = Metadata;

void putPatient(DcmDataset& dataset) { put(dataset, {{DCM_PatientName, "Doe^Jane"}, {DCM_PatientID, "4711"}}); }

/// A sequence of one item that holds a value which is no valid UID, and one that is.
void putSequenceWithInvalidUid(DcmDataset& dataset) {
    put(addItem(dataset, DCM_ReferencedImageSequence),
        {{DCM_ReferencedSOPClassUID, "not.a.uid"}, {DCM_ReferencedSOPInstanceUID, "1.2.3"}});
}

StoreView firstItem(StoreView store) { return storeAt(storeAt(store, 0), 0); }

} // namespace

TEST_F(Metadata, NodesComeInTheOrderOfTheRequestAndAsOftenAsAsked) {
    const Store result = read(write(putPatient), {"PatientID", "PatientName", "PatientName"});
    EXPECT_THAT(keysOf(result.view()), ElementsAre("PatientID", "PatientName", "PatientName"));
    EXPECT_EQ(textOf(result.view(), "PatientName"), "Doe^Jane");
}

TEST_F(Metadata, AnEmptyRequestGivesAnEmptyStore) { EXPECT_EQ(read(write(putPatient), {}).size(), 0U); }

TEST_F(Metadata, AnAttributeThatTheFileDoesNotHaveLeavesNoNode) {
    EXPECT_THAT(keysOf(read(write(putPatient), {"PatientSex", "PatientID"}).view()), ElementsAre("PatientID"));
}

TEST_F(Metadata, AnUnknownKeywordFailsTheWholeCallAndIsNamed) {
    const auto path = write(putPatient);
    EXPECT_EQ(codeOf("ReadMetadata", {path, names({"PatientName", "NoSuchWord"}), false}), -64);
    EXPECT_EQ(messageOf("ReadMetadata", {path, names({"PatientName", "NoSuchWord"}), false}),
              "Attribute tag named NoSuchWord does not exist.");
    EXPECT_EQ(messageOf("ReadMetadata", {path, names({""}), false}), "Attribute tag named  does not exist.");
}

TEST_F(Metadata, ARetiredAttributeIsFoundByItsPlainKeyword) {
    const auto path = write([](DcmDataset& dataset) {
        dataset.putAndInsertString(DcmTag(0x0008, 0x0040, EVR_US), "5"); // RETIRED_DataSetType
    });
    EXPECT_THAT(keysOf(read(path, {"DataSetType"}).view()), ElementsAre("DataSetType"));
}

TEST_F(Metadata, SeveralIntegersOfAnAttributeAreAListOfUnnamedIntegers) {
    const auto path = write([](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_SimpleFrameList, "1\\3\\70000");
        const Uint16 descriptor[] = {256, 0, 16};
        dataset.putAndInsertUint16Array(DCM_RedPaletteColorLookupTableDescriptor, descriptor, 3);
    });
    const std::string expected = "SimpleFrameList{1,3,70000},RedPaletteColorLookupTableDescriptor{256,0,16}";
    EXPECT_EQ(outline(read(path, {"SimpleFrameList", "RedPaletteColorLookupTableDescriptor"}).view()), expected);
    EXPECT_EQ(outline(readNumbers(path, {{"0008", "1161"}, {"0028", "1101"}}).view()), expected);
}

TEST_F(Metadata, AValueThatDoesNotFitIsLeftOutOnlyWhenValidated) {
    const auto path = write(with({{DCM_StudyInstanceUID, "not.a.uid"}, {DCM_PatientID, "4711"}}));
    EXPECT_THAT(keysOf(read(path, {"StudyInstanceUID", "PatientID"}, false).view()),
                ElementsAre("StudyInstanceUID", "PatientID"));
    EXPECT_THAT(keysOf(read(path, {"StudyInstanceUID", "PatientID"}, true).view()), ElementsAre("PatientID"));
}

TEST_F(Metadata, ByNumberGivesTheSameAttributeAsByKeyword) {
    const auto path = write(putPatient);
    EXPECT_EQ(textOf(readNumbers(path, {{"0010", "0010"}}).view(), "PatientName"), "Doe^Jane");
    EXPECT_EQ(textOf(readNumbers(path, {{"0x10", "20"}}).view(), "PatientID"), "4711");
}

TEST_F(Metadata, AnAttributeThatTheDictionaryDoesNotKnowIsReadByNumber) {
    const auto path =
        write([](DcmDataset& dataset) { dataset.putAndInsertString(DcmTag(0x0029, 0x1010, EVR_LO), "private"); });
    EXPECT_EQ(textOf(readNumbers(path, {{"0029", "1010"}, {"0029", "1011"}}).view(), "0029_1010"), "private");
}

TEST_F(Metadata, ANumberThatIsNoneIsAGeneralFailure) {
    const auto path = write(putPatient);
    EXPECT_EQ(codeOf("ReadMetadataIntTags", {path, numbers({{"xyz", "0010"}})}), 6);
    EXPECT_EQ(codeOf("ReadMetadataIntTags", {path, numbers({{"0010", ""}})}), 6);
    EXPECT_EQ(codeOf("ReadMetadataIntTags", {path, numbers({{"0010", "FFFFFFFFFFFFFFFFFFFF"}})}), 6);
}

TEST_F(Metadata, AnInnerListOfFewerThanTwoTextsIsAGeneralFailure) {
    EXPECT_EQ(codeOf("ReadMetadataIntTags", {write(putPatient), Store::of({Store::ofTexts({"0010"})})}), 6);
}

TEST_F(Metadata, ItemsAreValidatedAsTheCallerSaysWhenAskedByKeyword) {
    const auto path = write(putSequenceWithInvalidUid);
    const Store loose = read(path, {"ReferencedImageSequence"}, false);
    EXPECT_THAT(keysOf(firstItem(loose.view())), ElementsAre("ReferencedSOPClassUID", "ReferencedSOPInstanceUID"));
    const Store strict = read(path, {"ReferencedImageSequence"}, true);
    EXPECT_THAT(keysOf(firstItem(strict.view())), ElementsAre("ReferencedSOPInstanceUID"));
}

TEST_F(Metadata, ItemsOfASequenceAskedByNumberAreAlwaysValidated) {
    const Store result = readNumbers(write(putSequenceWithInvalidUid), {{"0008", "1140"}});
    EXPECT_THAT(keysOf(firstItem(result.view())), ElementsAre("ReferencedSOPInstanceUID"));
}

TEST_F(Metadata, EverythingIsMetaInformationThenDatasetThenPixelsThenOverlay) {
    const auto path = write([](DcmDataset& dataset) {
        const Uint16 words[] = {1, 2, 3, 4, 5, 6};
        put(dataset, {{DCM_Rows, "2"}, {DCM_Columns, "3"}, {DCM_SamplesPerPixel, "1"}, {DCM_BitsAllocated, "16"}});
        dataset.putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), 4);
        dataset.putAndInsertUint16(DcmTag(0x6000, 0x0011, EVR_US), 4);
        dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), words, 1);
        dataset.putAndInsertUint16Array(DcmTag(0x6002, 0x3000, EVR_OW), words, 1);
        dataset.putAndInsertUint16Array(DCM_PixelData, words, 6);
    });
    EXPECT_THAT(keysOf(readAll(path).view()),
                ElementsAre("FileMetaInformationGroupLength", "FileMetaInformationVersion", "MediaStorageSOPClassUID",
                            "MediaStorageSOPInstanceUID", "TransferSyntaxUID", "ImplementationClassUID",
                            "ImplementationVersionName", "SpecificCharacterSet", "SOPClassUID", "SOPInstanceUID",
                            "SamplesPerPixel", "Rows", "Columns", "BitsAllocated", "OverlayRows", "OverlayColumns",
                            "PixelData", "OverlayData"))
        << "the overlay of group 6002 is not reported";
    const Store withoutPixels = readAll(path, {"PixelData", "PixelData", "NoSuchWord", "Rows"});
    EXPECT_THAT(keysOf(withoutPixels.view()),
                testing::AllOf(testing::Not(testing::Contains("PixelData")), testing::Not(testing::Contains("Rows")),
                               testing::Contains("OverlayData"), testing::Contains("Columns")));
}

TEST_F(Metadata, GroupLengthsAreNotReportedButThatOfTheMetaInformationIs) {
    DcmFileFormat file;
    file.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
    file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
    ASSERT_TRUE(
        file.saveFile(folder.file("g.dcm").c_str(), EXS_LittleEndianExplicit, EET_ExplicitLength, EGL_withGL).good());
    EXPECT_THAT(keysOf(readAll(folder.file("g.dcm")).view()),
                testing::AllOf(testing::Not(testing::Contains("GenericGroupLength")),
                               testing::Contains("FileMetaInformationGroupLength")));
}

TEST_F(Metadata, APathThatEndsInDicomdirGivesTheDirectoryFilesOwnAttributes) {
    const auto path = write(putPatient, "DICOMDIR");
    EXPECT_EQ(textOf(read(path, {"PatientName"}).view(), "PatientName"), "Doe^Jane");
    EXPECT_EQ(codeOf("GetFrameCount", {path}), -62) << "and is not a file at the same time";
}

TEST_F(Metadata, ListsOfTheWrongKindAndNullListsAreRefusedBeforeTheFileIsOpened) {
    EXPECT_EQ(codeOf("ReadMetadata", {"/missing", Null{}, false}), -25);
    EXPECT_EQ(codeOf("ReadMetadata", {"/missing", Store::of({5}), false}), -50);
    EXPECT_EQ(codeOf("ReadMetadataIntTags", {"/missing", names({"0010"})}), -50);
    EXPECT_EQ(codeOf("ReadMetadata", {"/missing", names({}), false}), -62);
    EXPECT_EQ(codeOf("ReadMetadata", {"/missing", names({})}), -2) << "a missing flag is noticed before the file";
}

TEST_F(Metadata, TextIsUtf8WhateverTheFilesCharacterSet) {
    const auto path = write(with({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}}));
    EXPECT_EQ(textOf(read(path, {"PatientName"}).view(), "PatientName"), "M\xC3\xBCller");
}

TEST_F(Metadata, TextThatDcmtkDoesNotConvertIsUtf8Too) {
    const auto path = write([](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}, {DCM_PatientName, "Yamada=\x1B$B;3ED\x1B(B"}});
        put(addItem(dataset, DCM_RequestAttributesSequence),
            {{DCM_SpecificCharacterSet, "ISO_IR 144"}, {DCM_ScheduledProcedureStepDescription, "\xBB"}});
    });
    const Store answer = read(path, {"RequestAttributesSequence", "PatientName", "SpecificCharacterSet"});
    EXPECT_EQ(textOf(answer.view(), "PatientName"), "Yamada=\xE5\xB1\xB1\xE7\x94\xB0");
    EXPECT_EQ(textOf(answer.view(), "SpecificCharacterSet"), "ISO_IR 192");
    const StoreView item = firstItem(answer.view());
    EXPECT_EQ(textOf(item, "ScheduledProcedureStepDescription"), "\xD0\x9B") << "of an item with a set of its own";
    EXPECT_EQ(textOf(item, "SpecificCharacterSet"), "ISO_IR 192");
}

TEST_F(Metadata, TextThatIsInNoCharacterSetKeepsItsBytesAndNoOtherDoes) {
    const std::string bytes = "Yamada=\x1B$B;3E"; // ends in the middle of a character
    const auto path = write(with({{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"},
                                  {DCM_StudyDescription, "\x1B$B;3\x1B(B"},
                                  {DCM_PatientName, bytes},
                                  {DCM_PatientComments, "\x1B$B;3\x1B(B"}}));
    const Store answer = read(path, {"StudyDescription", "PatientName", "PatientComments", "SpecificCharacterSet"});
    EXPECT_EQ(textOf(answer.view(), "StudyDescription"), "\xE5\xB1\xB1");
    EXPECT_EQ(textOf(answer.view(), "PatientName"), bytes);
    EXPECT_EQ(textOf(answer.view(), "PatientComments"), "\xE5\xB1\xB1");
    EXPECT_EQ(textOf(answer.view(), "SpecificCharacterSet"), "\\ISO 2022 IR 87");
}

TEST_F(Dictionary, AnUnknownKeywordHasTheRepresentationUnAndIsNoError) {
    const Value answer = call("ReadVRName", {names({"PatientName", "NoSuchWord", "Rows", "DataSetType"})});
    const StoreView vrs = answer.get<Store>().view();
    EXPECT_THAT(keysOf(vrs), ElementsAre("PatientName", "NoSuchWord", "Rows", "DataSetType"));
    EXPECT_EQ(textOf(vrs, "PatientName"), "PN");
    EXPECT_EQ(textOf(vrs, "NoSuchWord"), "UN");
    EXPECT_EQ(textOf(vrs, "Rows"), "US");
    EXPECT_EQ(call("ReadVRName", {names({})}).get<Store>().size(), 0U);
}

TEST_F(Dictionary, RepresentationsByNumberComeInOrderAndWithoutNames) {
    const Value answer = call("ReadVRNameIntTags", {numbers({{"7FE0", "0010"}, {"0029", "1010"}, {"0010", "0010"}})});
    std::vector<std::string> vrs;
    for (const NodeView node : answer.get<Store>()) {
        EXPECT_EQ(node.name(), "");
        vrs.emplace_back(node.cell().utf8String);
    }
    EXPECT_THAT(vrs, ElementsAre("OB", "UN", "PN"));
    EXPECT_EQ(codeOf("ReadVRNameIntTags", {numbers({{"xyz", "0010"}})}), 6);
}

TEST_F(Dictionary, KeywordsAreDcmtksOwnNames) {
    EXPECT_EQ(call("GetKeyword", {"0010", "0010"}).get<std::string>(), "PatientName");
    EXPECT_EQ(call("GetKeyword", {"0029", "1010"}).get<std::string>(), "Unknown Tag & Data");
    EXPECT_EQ(call("GetKeyword", {"0008", "0040"}).get<std::string>(), "RETIRED_DataSetType");
    EXPECT_EQ(codeOf("GetKeyword", {"0010"}), 6);
    EXPECT_EQ(codeOf("GetKeyword", {"0010", "xyz"}), 6);
}

TEST_F(Dictionary, NumbersOfAKeywordAreDecimal) {
    const auto numbersOf = [&](const char* keyword) {
        const Value answer = call("GetGroupElemNumbers", {keyword});
        std::vector<std::string> texts;
        for (const NodeView node : answer.get<Store>()) {
            EXPECT_EQ(node.name(), "");
            texts.emplace_back(node.cell().utf8String);
        }
        return texts;
    };
    EXPECT_THAT(numbersOf("PatientName"), ElementsAre("16", "16"));
    EXPECT_THAT(numbersOf("PatientID"), ElementsAre("16", "32"));
    EXPECT_THAT(numbersOf("PixelData"), ElementsAre("32736", "16"));
    EXPECT_THAT(numbersOf("OverlayRows"), ElementsAre("24576", "16")) << "the lowest group of a range";
    EXPECT_EQ(messageOf("GetGroupElemNumbers", {"NoSuchWord"}), "Attribute tag named NoSuchWord does not exist.");
}

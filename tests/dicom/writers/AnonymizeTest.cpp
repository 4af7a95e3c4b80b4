#include <set>

#include "dcmtk/dcmdata/dcrlerp.h"
#include "dicom/writers/DcmAnonymizer.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class Anonymize : public WriterTest {
  protected:
    /// A small image with a name, IDs, UIDs, and a referenced image in a sequence.
    std::string original(E_TransferSyntax syntax = EXS_LittleEndianExplicit, const Fill& more = {}) {
        ImageFile file{.rows = 2, .columns = 3, .words = {1, 2, 3, 4, 5, 6}};
        file.more = [&](DcmDataset& dataset) {
            put(dataset, {{DCM_PatientName, "Doe^Jane"},
                          {DCM_PatientID, "ID-1"},
                          {DCM_StudyID, "STUDY-1"},
                          {DCM_StudyInstanceUID, "1.2.3"},
                          {DCM_SeriesInstanceUID, "1.2.3"}});
            put(addItem(dataset, DCM_ReferencedImageSequence), {{DCM_ReferencedSOPInstanceUID, "1.2.9"},
                                                                {DCM_StudyInstanceUID, "1.2.3"},
                                                                {DCM_PatientName, "Nested^Name"}});
            if (more) {
                more(dataset);
            }
        };
        return writeImageFile(folder.file("in.dcm"), file, syntax);
    }
    /// Anonymizes into the file that valueOf looks at.
    void anonymize(const std::string& input, const Store& replacements = Store::empty(),
                   const std::string& name = "out.dcm") {
        call("DicomAnonymize", {input, folder.file(name), replacements});
        load(folder.file(name));
    }
    std::string nestedValueOf(const DcmTagKey& key) {
        DcmItem* item = nullptr;
        OFString value;
        (void)loaded.getDataset()->findAndGetSequenceItem(DCM_ReferencedImageSequence, item);
        return item != nullptr && item->findAndGetOFString(key, value).good() ? std::string(value.c_str()) : "(none)";
    }
    /// Takes the attribute out of a file, compressed pixels and all, and loads it.
    void loadWithoutConversionType(const std::string& path) {
        load(path);
        delete loaded.getDataset()->remove(DCM_ConversionType);
        ASSERT_TRUE(loaded.saveFile(path.c_str(), loaded.getDataset()->getOriginalXfer()).good());
        load(path);
        ASSERT_EQ(valueOf(DCM_ConversionType), "(none)");
    }
    static bool isNumber(const std::string& text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
               std::stol(text) <= 2147483647;
    }
};

} // namespace

TEST_F(Anonymize, WithoutReplacementsNewIdsAndUidsAndNothingElse) {
    anonymize(original());
    EXPECT_EQ(valueOf(DCM_PatientName), "Doe^Jane");
    EXPECT_TRUE(isNumber(valueOf(DCM_PatientID))) << valueOf(DCM_PatientID);
    EXPECT_TRUE(isNumber(valueOf(DCM_StudyID))) << valueOf(DCM_StudyID);
    const std::string root = "1.2.276.0.7230010.3.";
    EXPECT_TRUE(valueOf(DCM_StudyInstanceUID).starts_with(root));
    EXPECT_TRUE(valueOf(DCM_SeriesInstanceUID).starts_with(root));
    EXPECT_NE(valueOf(DCM_StudyInstanceUID), valueOf(DCM_SeriesInstanceUID)) << "although they were equal";
    EXPECT_EQ(storedValues(folder.file("out.dcm")), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(Anonymize, UidsInSequencesStayWhileReplacementsGoEverywhere) {
    anonymize(original(), texts({{"PatientName", "Anonymous"}}));
    EXPECT_EQ(valueOf(DCM_PatientName), "Anonymous");
    EXPECT_EQ(nestedValueOf(DCM_PatientName), "Anonymous");
    EXPECT_EQ(nestedValueOf(DCM_ReferencedSOPInstanceUID), "1.2.9");
    EXPECT_EQ(nestedValueOf(DCM_StudyInstanceUID), "1.2.3");
}

TEST_F(Anonymize, AReplacementInASequenceReachesAllItsItemsAtEveryDepth) {
    const auto path = original(EXS_LittleEndianExplicit, [](DcmDataset& dataset) {
        for (int count = 0; count < 2; ++count) {
            DcmItem* outer = nullptr;
            DcmItem* inner = nullptr;
            dataset.findOrCreateSequenceItem(DCM_RequestAttributesSequence, outer, -2);
            outer->findOrCreateSequenceItem(DCM_ReferencedStudySequence, inner, -2);
            inner->putAndInsertString(DCM_RequestingPhysician, "Smith");
        }
    });
    anonymize(path, texts({{"RequestingPhysician", "X"}}));
    for (long index = 0; index < 2; ++index) {
        DcmItem* outer = nullptr;
        DcmItem* inner = nullptr;
        OFString value;
        ASSERT_TRUE(loaded.getDataset()->findAndGetSequenceItem(DCM_RequestAttributesSequence, outer, index).good());
        ASSERT_TRUE(outer->findAndGetSequenceItem(DCM_ReferencedStudySequence, inner).good());
        EXPECT_TRUE(inner->findAndGetOFString(DCM_RequestingPhysician, value).good());
        EXPECT_EQ(std::string(value.c_str()), "X");
    }
}

TEST_F(Anonymize, WhatTheFileLacksIsNotMade) {
    anonymize(original(), texts({{"PatientComments", "x"}, {"OtherPatientIDs", "y"}}));
    EXPECT_EQ(valueOf(DCM_PatientComments), "(none)");
    EXPECT_EQ(valueOf(DcmTagKey(0x0010, 0x1000)), "(none)");
}

TEST_F(Anonymize, APatientIdAndAStudyIdAreMadeWhenTheFileLacksThem) {
    const auto path = writeDicom(folder.file("bare.dcm"), {});
    anonymize(path);
    EXPECT_TRUE(isNumber(valueOf(DCM_PatientID)));
    EXPECT_TRUE(isNumber(valueOf(DCM_StudyID)));
}

TEST_F(Anonymize, IdsAndUidsOfTheCallerDoNotLast) {
    anonymize(original(), texts({{"PatientID", "MINE"}, {"StudyID", "MINE"}, {"StudyInstanceUID", "9.9.9"}}));
    EXPECT_NE(valueOf(DCM_PatientID), "MINE");
    EXPECT_NE(valueOf(DCM_StudyID), "MINE");
    EXPECT_NE(valueOf(DCM_StudyInstanceUID), "9.9.9");
    EXPECT_EQ(nestedValueOf(DCM_StudyInstanceUID), "9.9.9") << "below the top they do";
}

TEST_F(Anonymize, EachRunDrawsAnew) {
    const auto path = original();
    std::set<std::string> patients;
    std::set<std::string> studies;
    std::set<std::string> uids;
    for (int run = 0; run < 8; ++run) {
        anonymize(path);
        patients.insert(valueOf(DCM_PatientID));
        studies.insert(valueOf(DCM_StudyID));
        uids.insert(valueOf(DCM_StudyInstanceUID));
        EXPECT_NE(valueOf(DCM_PatientID), valueOf(DCM_StudyID));
    }
    EXPECT_EQ(patients.size(), 8U); // two of eight numbers of 31 bits are equal once in 10^8 runs
    EXPECT_EQ(studies.size(), 8U);
    EXPECT_EQ(uids.size(), 8U);
}

TEST_F(Anonymize, TheInstanceAndTheMetaInformationStay) {
    const auto path = original();
    load(path);
    std::vector<std::string> before;
    const std::vector<DcmTagKey> keys{
        DCM_FileMetaInformationGroupLength, DCM_FileMetaInformationVersion, DCM_MediaStorageSOPClassUID,
        DCM_MediaStorageSOPInstanceUID,     DCM_TransferSyntaxUID,          DCM_ImplementationClassUID,
        DCM_ImplementationVersionName};
    for (const DcmTagKey& key : keys) {
        before.push_back(metaValueOf(key));
    }
    anonymize(path);
    for (std::size_t index = 0; index < keys.size(); ++index) {
        EXPECT_EQ(metaValueOf(keys[index]), before[index]) << DcmTag(keys[index]).getTagName();
    }
    EXPECT_EQ(valueOf(DCM_SOPInstanceUID), "1.2.3.4.5");
    EXPECT_EQ(valueOf(DCM_SOPClassUID), UID_CTImageStorage);
}

TEST_F(Anonymize, TheMetaInformationStaysEvenWhereItIsWrong) {
    const auto path = original();
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    file.getMetaInfo()->putAndInsertString(DCM_ImplementationVersionName, "ELSEWHERE");
    file.getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPInstanceUID, "1.1.1");
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit, EET_UndefinedLength, EGL_recalcGL, EPD_noChange,
                              0, 0, EWM_dontUpdateMeta)
                    .good());
    anonymize(path);
    EXPECT_EQ(metaValueOf(DCM_ImplementationVersionName), "ELSEWHERE");
    EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPInstanceUID), "1.1.1");
}

// A reader then counts elements of the dataset to the meta information: here the first four, up to the name.
TEST_F(Anonymize, WhatAWrongLengthPutsIntoTheMetaInformationIsAnonymizedToo) {
    const auto path = original();
    std::string bytes = readFile(path);
    const std::string name("\x10\0\x10\0PN\x08\0Doe^Jane", 16);
    const auto length = bytes.find(name) + name.size() - 144; // behind preamble, mark and the length itself
    ASSERT_LT(length, 65536U);
    bytes[140] = static_cast<char>(length & 0xFF);
    bytes[141] = static_cast<char>(length >> 8);
    folder.write("in.dcm", bytes);
    load(path);
    ASSERT_EQ(metaValueOf(DCM_PatientName), "Doe^Jane");
    anonymize(path, texts({{"PatientName", "Anonymous"}}));
    EXPECT_EQ(metaValueOf(DCM_PatientName), "(none)");
    EXPECT_EQ(valueOf(DCM_PatientName), "Anonymous");
    EXPECT_EQ(valueOf(DCM_SOPClassUID), UID_CTImageStorage);
    EXPECT_EQ(storedValues(folder.file("out.dcm")), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

// The pixels, counted to the meta information, escape the check that compressed ones come in fragments.
TEST_F(Anonymize, WhatCannotBeReadAgainIsAnError) {
    const auto path = original();
    std::string bytes = readFile(path);
    const std::string uncompressed("1.2.840.10008.1.2.1", 19);
    bytes.replace(bytes.find(uncompressed), uncompressed.size(), "1.2.840.10008.1.2.5");
    const auto length = bytes.size() - 144;
    ASSERT_LT(length, 65536U);
    bytes[140] = static_cast<char>(length & 0xFF);
    bytes[141] = static_cast<char>(length >> 8);
    folder.write("in.dcm", bytes);
    EXPECT_EQ(codeOf("DicomAnonymize", {path, folder.file("out.dcm"), texts({})}), kImageWriteError);
}

TEST_F(Anonymize, ALengthOfTheMetaInformationThatIsTooSmallIsMended) {
    const auto path = original();
    load(path);
    const std::string whole = metaValueOf(DCM_FileMetaInformationGroupLength);
    std::string bytes = readFile(path);
    bytes[140] = static_cast<char>(bytes[140] - 4); // inside of the last element, which is read to its end
    folder.write("in.dcm", bytes);
    anonymize(path);
    EXPECT_EQ(metaValueOf(DCM_FileMetaInformationGroupLength), whole);
    EXPECT_EQ(storedValues(folder.file("out.dcm")), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(Anonymize, ElementsOfNoDatasetAreTakenOutOfTheMetaInformation) {
    const auto path = original();
    std::string bytes = readFile(path);
    // In the middle of the meta information, as long as the element it replaces: its length holds no longer.
    const auto offset = bytes.find(std::string("\x02\0\x12\0UI", 6));
    ASSERT_NE(offset, std::string::npos);
    bytes[offset] = 1;
    folder.write("in.dcm", bytes);
    anonymize(path);
    EXPECT_EQ(loaded.getMetaInfo()->nextInContainer(nullptr)->getGTag(), 2);
    EXPECT_EQ(storedValues(folder.file("out.dcm")), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(Anonymize, AFileWithoutMetaInformationGetsNone) {
    DcmDataset dataset;
    put(dataset, {{DCM_PatientName, "Doe^Jane"}, {DCM_StudyInstanceUID, "1.2.3"}});
    ASSERT_TRUE(dataset.saveFile(folder.file("raw").c_str(), EXS_LittleEndianImplicit).good());
    anonymize(folder.file("raw"));
    EXPECT_EQ(valueOf(DCM_PatientName), "Doe^Jane");
    EXPECT_NE(valueOf(DCM_StudyInstanceUID), "1.2.3");
    EXPECT_NE(readFile(folder.file("out.dcm")).substr(128, 4), "DICM");
}

// The result has the transfer syntax of the input; pixels are never recoded.
TEST_F(Anonymize, EveryTransferSyntaxStays) {
    for (const E_TransferSyntax syntax : {EXS_LittleEndianImplicit, EXS_LittleEndianExplicit, EXS_BigEndianExplicit,
                                          EXS_DeflatedLittleEndianExplicit}) {
        anonymize(original(syntax));
        EXPECT_EQ(metaValueOf(DCM_TransferSyntaxUID), DcmXfer(syntax).getXferID());
        EXPECT_EQ(loaded.getDataset()->getOriginalXfer(), syntax);
        EXPECT_EQ(storedValues(folder.file("out.dcm")), (std::vector<int>{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(valueOf(DCM_ConversionType), "SYN");
    }
}

TEST_F(Anonymize, CompressedPixelsStayAsTheyAre) {
    const std::string path = folder.file("c.dcm");
    for (const char* name : {"JPEGLossless", "JPEGLossy8bit", "JPEG-LSLossless", "RLE"}) {
        write({.image = spelledImage(VImage_U8, 2, 20, 20, 1), .compression = name, .first = 90}, "c.dcm");
        loadWithoutConversionType(path);
        const std::string syntax = metaValueOf(DCM_TransferSyntaxUID);
        const auto before = storedValues(path);
        anonymize(path);
        EXPECT_EQ(metaValueOf(DCM_TransferSyntaxUID), syntax) << name;
        EXPECT_EQ(storedValues(folder.file("out.dcm")), before) << name;
        EXPECT_EQ(valueOf(DCM_ConversionType), "SYN") << name;
        call("ClearCache");
    }
}

TEST_F(Anonymize, TheConversionTypeIsAdded) {
    const auto path = original();
    load(path);
    EXPECT_EQ(valueOf(DCM_ConversionType), "(none)");
    anonymize(path);
    EXPECT_EQ(valueOf(DCM_ConversionType), "SYN");
}

TEST_F(Anonymize, AFileMayBeItsOwnResult) {
    const auto path = original(EXS_LittleEndianExplicit, [](DcmDataset& dataset) {
        // A value so long that loading leaves it in the file.
        dataset.putAndInsertString(DCM_PatientComments, std::string(9000, 'c').c_str());
    });
    call("DicomAnonymize", {path, path, texts({{"PatientName", "X"}})});
    load(path);
    EXPECT_EQ(valueOf(DCM_PatientName), "X");
    EXPECT_EQ(valueOf(DCM_PatientComments), std::string(9000, 'c'));
}

TEST_F(Anonymize, PixelsOfAFileThatIsItsOwnResultAreNotLost) {
    for (const char* name : {"Uncompressed", "JPEGLossless", "RLE"}) {
        const auto path = write({.image = spelledImage(VImage_U8, 2, 100, 90, 1), .compression = name}, "p.dcm");
        const auto before = storedValues(path); // 18,000 bytes, which are read when the file is saved
        call("ClearCache");
        call("DicomAnonymize", {path, path, Store::empty()});
        EXPECT_EQ(storedValues(path), before) << name;
        call("ClearCache");
    }
}

TEST_F(Anonymize, ADeviceTakesTheResultAndKeepsNothingToCompare) {
    EXPECT_EQ(codeOf("DicomAnonymize", {original(), "/dev/null", Store::empty()}), 0);
}

TEST_F(Anonymize, TheKeywordOfAReplacementIsLookedAtBeforeTheTextOfTheNext) {
    Store replacements = texts({{"NoSuchTag", "x"}});
    replacements.add("PatientName", Null{});
    const int code = codeOf("DicomAnonymize", {original(), folder.file("out.dcm"), std::move(replacements)});
    EXPECT_NE(code, 0);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.dcm")));
}

TEST_F(Anonymize, TextsBecomeUtf8) {
    anonymize(original(EXS_LittleEndianExplicit,
                       with({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientComments, "Gr\xFC\xDF"}})));
    EXPECT_EQ(valueOf(DCM_PatientComments), "Gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(valueOf(DCM_SpecificCharacterSet), "ISO_IR 192");
}

TEST_F(Anonymize, KeywordsAreCheckedBeforeTheFileIsTouched) {
    EXPECT_EQ(codeOf("DicomAnonymize", {"/missing", folder.file("out.dcm"), texts({{"NoSuchTag", "x"}})}),
              kInvalidTagName);
    EXPECT_EQ(messageOf("DicomAnonymize", {"/missing", folder.file("out.dcm"), texts({{"NoSuchTag", "x"}})}),
              "Attribute tag named NoSuchTag does not exist.");
}

TEST_F(Anonymize, AFileThatCannotBeReadIsNamed) {
    EXPECT_EQ(messageOf("DicomAnonymize", {"/missing", folder.file("out.dcm"), Store::empty()}),
              "Error when opening file /missing: No such file or directory.");
    EXPECT_EQ(codeOf("DicomAnonymize", {folder.write("empty", ""), folder.file("out.dcm"), Store::empty()}),
              kOpenFileError);
    EXPECT_EQ(codeOf("DicomAnonymize", {"/missing", folder.file("out.dcm"), Null{}}), -25);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.dcm")));
}

TEST_F(Anonymize, AValueThatItsElementRefusesEndsTheRunWithoutAFile) {
    for (const auto& [keyword, value] :
         std::vector<std::pair<std::string, std::string>>{{"Rows", "many"}, {"ReferencedImageSequence", "x"}}) {
        EXPECT_EQ(codeOf("DicomAnonymize", {original(), folder.file("out.dcm"), texts({{keyword, value}})}),
                  kAnonymizationError)
            << keyword;
    }
    EXPECT_TRUE(messageOf("DicomAnonymize", {original(), folder.file("out.dcm"), texts({{"Rows", "x"}})})
                    .starts_with("Error occured while anonymizing the dataset : "));
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.dcm")));
}

TEST_F(Anonymize, ItemsTakeNoValueAndFragmentsAreNotLookedAt) {
    EXPECT_EQ(codeOf("DicomAnonymize", {original(), folder.file("out.dcm"), texts({{"Item", "x"}})}),
              kAnonymizationError);
    const auto compressed =
        write({.image = spelledImage(VImage_U8, 0, 9, 9, 1), .compression = "RLE"}, "compressed.dcm");
    anonymize(compressed, texts({{"Item", "1\\2"}}));
    EXPECT_EQ(storedValues(folder.file("out.dcm")), storedValues(compressed));
}

TEST_F(Anonymize, TheInputIsAskedForAsAFileToWrite) {
    const auto path = original();
    std::filesystem::create_directory(folder.file("open"));
    host().services().allowWritingBelow({folder.file("open")});
    EXPECT_EQ(codeOf("DicomAnonymize", {path, folder.file("open/out.dcm"), Store::empty()}), kPathNotValidated);
    EXPECT_EQ(messageOf("DicomAnonymize", {path, folder.file("open/out.dcm"), Store::empty()}),
              "File path " + path + " could not be validated under desired open mode.");
    host().services().allowReadingBelow({folder.file("open")});
    host().services().allowWritingBelow({folder.path().string()});
    EXPECT_EQ(codeOf("DicomAnonymize", {path, folder.file("open/out.dcm"), Store::empty()}), 0)
        << "and reading is not asked for";
}

namespace {

/// Tests of the class itself, for what the exported function does not reach.
class Anonymizers : public testing::Test {
  protected:
    const radvex::DcmAnonymizer anonymizer{{}};
};

} // namespace

TEST_F(Anonymizers, ANewInstanceStandsInTheDatasetAndInTheMetaInformation) {
    DcmFileFormat file;
    file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
    file.getDataset()->putAndInsertString(DCM_StudyInstanceUID, "1.2.4");
    ASSERT_TRUE(anonymizer.regenerateSopInstanceUid(file).good());
    const std::string uid = textOf(*file.getDataset(), DCM_SOPInstanceUID);
    EXPECT_TRUE(uid.starts_with("1.2.276.0.7230010.3."));
    EXPECT_EQ(textOf(*file.getMetaInfo(), DCM_MediaStorageSOPInstanceUID), uid);
    EXPECT_EQ(textOf(*file.getDataset(), DCM_StudyInstanceUID), "1.2.4");
}

TEST_F(Anonymizers, TheFlagDecidesAboutTheInstance) {
    DcmFileFormat file;
    file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
    ASSERT_TRUE(anonymizer.anonymize(file, false).good());
    EXPECT_EQ(textOf(*file.getDataset(), DCM_SOPInstanceUID), "1.2.3");
    ASSERT_TRUE(anonymizer.anonymize(file, true).good());
    EXPECT_NE(textOf(*file.getDataset(), DCM_SOPInstanceUID), "1.2.3");
}

TEST_F(Anonymizers, ReplaceTheUidsOfTheseAttributesAndOfNoOthers) {
    const std::vector<DcmTagKey> expected{
        {0x0000, 0x1000}, {0x0000, 0x1001}, {0x0002, 0x0100}, {0x0004, 0x1432}, {0x0004, 0x1510}, {0x0004, 0x1511},
        {0x0004, 0x1512}, {0x0004, 0x151A}, {0x0008, 0x0014}, {0x0008, 0x001A}, {0x0008, 0x001B}, {0x0008, 0x0058},
        {0x0008, 0x010C}, {0x0008, 0x010D}, {0x0008, 0x0117}, {0x0008, 0x0118}, {0x0008, 0x1155}, {0x0008, 0x1167},
        {0x0008, 0x1195}, {0x0008, 0x3010}, {0x0008, 0x3012}, {0x0008, 0x9123}, {0x0018, 0x1002}, {0x0018, 0x2042},
        {0x0018, 0x991E}, {0x0020, 0x000D}, {0x0020, 0x000E}, {0x0020, 0x0052}, {0x0020, 0x0200}, {0x0020, 0x0242},
        {0x0020, 0x9161}, {0x0020, 0x9164}, {0x0020, 0x9312}, {0x0020, 0x9313}, {0x0028, 0x0304}, {0x0028, 0x1199},
        {0x0040, 0x0554}, {0x0040, 0xA124}, {0x0040, 0xA171}, {0x0040, 0xE011}, {0x0044, 0x0102}, {0x0044, 0x0108},
        {0x0062, 0x0021}, {0x0064, 0x0003}, {0x0070, 0x031A}, {0x0070, 0x1101}, {0x0070, 0x1102}, {0x0070, 0x1209},
        {0x0088, 0x0140}, {0x0400, 0x0010}, {0x0400, 0x0100}, {0x0400, 0x0510}, {0x3006, 0x0024}, {0x300A, 0x0013},
        {0x300A, 0x0083}};
    ASSERT_EQ(expected.size(), 55U);
    EXPECT_EQ(radvex::DcmAnonymizer::mUidTagList, expected);
    DcmDataset dataset;
    for (const DcmTagKey& key : expected) {
        ASSERT_TRUE(dataset.putAndInsertString(DcmTag(key, EVR_UI), "1.2.3").good()) << DcmTag(key).getTagName();
    }
    const std::vector<DcmTagKey> others{DCM_SOPClassUID, DCM_SOPInstanceUID, DCM_ReferencedSOPClassUID};
    for (const DcmTagKey& key : others) {
        dataset.putAndInsertString(key, "1.2.3");
    }
    ASSERT_TRUE(anonymizer.regenerateUids(&dataset).good());
    std::set<std::string> uids;
    for (const DcmTagKey& key : expected) {
        uids.insert(textOf(dataset, key));
    }
    EXPECT_EQ(uids.count("1.2.3"), 0U);
    EXPECT_EQ(uids.size(), 55U) << "each has a value of its own";
    for (const DcmTagKey& key : others) {
        EXPECT_EQ(textOf(dataset, key), "1.2.3");
    }
}

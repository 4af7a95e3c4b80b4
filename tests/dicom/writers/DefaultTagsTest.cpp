#include <map>

#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class DefaultTags : public WriterTest {
  protected:
    void writeBytes() { load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1)})); }
};

} // namespace

TEST_F(DefaultTags, AreTheseBeforeAnyIsSet) {
    const std::map<std::string, std::string> expected{{"ContentLabel", "IMAGE"},
                                                      {"ContentDescription", "Image"},
                                                      {"ContentCreatorName", ""},
                                                      {"Manufacturer", "Velmora Research"},
                                                      {"ManufacturerModelName", "Velmora Language"},
                                                      {"DeviceSerialNumber", "1"},
                                                      {"SoftwareVersions", "1.0"},
                                                      {"Modality", "OT"},
                                                      {"PositionReferenceIndicator", ""},
                                                      {"AccessionNumber", ""},
                                                      {"StudyID", ""},
                                                      {"ReferringPhysicianName", ""},
                                                      {"StudyTime", ""},
                                                      {"StudyDate", ""},
                                                      {"SeriesNumber", "1"},
                                                      {"PatientSex", ""},
                                                      {"PatientBirthDate", ""},
                                                      {"PatientID", ""},
                                                      {"PatientName", ""},
                                                      {"SpacingBetweenSlices", ""},
                                                      {"SliceThickness", ""},
                                                      {"PixelSpacing", ""},
                                                      {"RecognizableVisualFeatures", "NO"},
                                                      {"ConversionType", "SYN"},
                                                      {"RepresentationLUTShape", "IDENTITY"}};
    EXPECT_EQ(expected.size(), 25U);
    for (const auto& [keyword, value] : expected) {
        EXPECT_EQ(defaultOf(keyword), value) << keyword;
    }
}

TEST_F(DefaultTags, StandInTheFilesThatAreWrittenFromThenOn) {
    setDefault("PatientName", "Doe^Jane");
    setDefault("PatientID", "42");
    setDefault("PatientBirthDate", "19700101");
    setDefault("PatientSex", "F");
    setDefault("SeriesNumber", "7");
    setDefault("Modality", "CT");
    setDefault("StudyDate", "20200101");
    setDefault("StudyID", "S1");
    setDefault("AccessionNumber", "A1");
    setDefault("Manufacturer", "Maker");
    setDefault("ConversionType", "DV");
    writeBytes();
    expectValues({{DCM_PatientName, "Doe^Jane"},
                  {DCM_PatientID, "42"},
                  {DCM_PatientBirthDate, "19700101"},
                  {DCM_PatientSex, "F"},
                  {DCM_SeriesNumber, "7"},
                  {DCM_Modality, "CT"},
                  {DCM_StudyDate, "20200101"},
                  {DCM_StudyID, "S1"},
                  {DCM_AccessionNumber, "A1"},
                  {DCM_Manufacturer, "Maker"},
                  {DCM_ConversionType, "DV"}});
}

TEST_F(DefaultTags, TheStudyTimeEndsUpAsTheReferringPhysician) {
    setDefault("StudyTime", "120000");
    writeBytes();
    EXPECT_EQ(valueOf(DCM_StudyTime), "") << "the empty referring physician is written over it";
    setDefault("ReferringPhysicianName", "1130");
    writeBytes();
    EXPECT_EQ(valueOf(DCM_StudyTime), "1130");
    EXPECT_EQ(valueOf(DCM_ReferringPhysicianName), "") << "which itself is never written";
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1), .metadata = texts({{"StudyTime", "101112"}})}));
    EXPECT_EQ(valueOf(DCM_StudyTime), "101112") << "metadata goes on top";
}

TEST_F(DefaultTags, AReferringPhysicianThatIsNoTimeMakesEveryWriteFail) {
    setDefault("ReferringPhysicianName", "Smith^John");
    const WriteArguments arguments{.image = spelledImage(VImage_U8, 0, 2, 3, 1)};
    EXPECT_EQ(writeCode(arguments), kTagWriteError);
    EXPECT_TRUE(writeMessage(arguments).starts_with("Error writing tag ReferringPhysicianName : "))
        << writeMessage(arguments);
    EXPECT_FALSE(wasWritten());
}

TEST_F(DefaultTags, AValueOutsideTheTermsOfItsAttributeFailsTheWriteThatUsesIt) {
    setDefault("PatientSex", "X"); // a valid code string
    writeBytes();
    EXPECT_EQ(valueOf(DCM_PatientSex), "X");
    setDefault("SeriesNumber", "1\\2"); // any number of values passes the check of the default
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_U8, 0, 2, 3, 1)}), kTagWriteError);
}

TEST_F(DefaultTags, AKeywordWithoutADefaultIsUnknownUntilItIsSet) {
    EXPECT_EQ(codeOf("GetDefaultTagValue", {"KVP"}), kInvalidTagName);
    EXPECT_EQ(messageOf("GetDefaultTagValue", {"KVP"}), "Attribute tag named KVP does not exist.");
    call("SetDefaultTagValue", {"KVP", "120"});
    EXPECT_EQ(defaultOf("KVP"), "120");
    writeBytes();
    EXPECT_EQ(valueOf(DCM_KVP), "(none)") << "nothing reads it";
}

TEST_F(DefaultTags, RetiredKeywordsAreFoundByTheirPlainName) {
    call("SetDefaultTagValue", {"OtherPatientIDs", "X"});
    EXPECT_EQ(defaultOf("OtherPatientIDs"), "X");
}

TEST_F(DefaultTags, AKeywordThatTheDictionaryLacksIsRefused) {
    EXPECT_EQ(codeOf("SetDefaultTagValue", {"NoSuchTag", "x"}), kInvalidTagName);
    EXPECT_EQ(codeOf("GetDefaultTagValue", {"NoSuchTag"}), kInvalidTagName);
    EXPECT_EQ(codeOf("SetDefaultTagValue", {"RepresentationLUTShape", "IDENTITY"}), kInvalidTagName)
        << "this key is no attribute's";
}

TEST_F(DefaultTags, AValueThatDoesNotFitIsRefusedAndTheOldOneStays) {
    EXPECT_EQ(messageOf("SetDefaultTagValue", {"StudyDate", "soon"}), "Could not write tag StudyDate with value soon.");
    EXPECT_EQ(codeOf("SetDefaultTagValue", {"Modality", "lower case"}), kInvalidTagValue);
    EXPECT_EQ(codeOf("SetDefaultTagValue", {"Item", "x"}), kInvalidTagValue) << "there is no element for it";
    EXPECT_EQ(defaultOf("StudyDate"), "");
    EXPECT_EQ(defaultOf("Modality"), "OT");
}

TEST_F(DefaultTags, TheDictionaryTellsItsSizes) {
    const Value info = call("GetDictionaryInfo");
    const Store& store = info.get<Store>();
    EXPECT_EQ(keysOf(store.view()), (std::vector<std::string>{"LoadedQ", "EntryCount", "NormalEntryCount",
                                                              "RepeatingEntryCount", "SkeletonEntryCount"}));
    std::vector<vint> counts;
    auto node = store.begin();
    EXPECT_EQ((*node).type(), VType_Boolean);
    EXPECT_EQ((*node).cell().boolean, 1);
    for (++node; node != store.end(); ++node) {
        EXPECT_EQ((*node).type(), VType_Integer);
        counts.push_back((*node).cell().integer);
    }
    ASSERT_EQ(counts.size(), 4U);
    EXPECT_EQ(counts[0], counts[1] + counts[2] - counts[3]);
    EXPECT_GT(counts[1], 4000) << "the attributes of DICOM alone are more";
    EXPECT_GT(counts[2], 0);
}

TEST_F(DefaultTags, RefusedStoresAndTextsAreErrors) {
    ledger().refuse(Operation::createDataStore, 1);
    EXPECT_EQ(codeOf("GetDictionaryInfo"), -25);
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("GetDefaultTagValue", {Null{}}), 6);
    EXPECT_EQ(codeOf("SetDefaultTagValue", {"Modality", Null{}}), 6);
}

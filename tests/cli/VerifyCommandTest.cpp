#include "tests/cli/VerifiedFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

class VerifyCommand : public VerifiedFiles {};

} // namespace

TEST_F(VerifyCommand, OwnFilesPassWithEveryOptionAlone) {
    const std::string privates = folder.write("privates.json", R"({"MAKER 77": ["0029,xx01"]})");
    const std::vector<Words> options{{},
                                     {"--keep", "uids"},
                                     {"--keep", "device"},
                                     {"--keep", "institution"},
                                     {"--keep", "patient"},
                                     {"--keep", "dates"},
                                     {"--shift-dates"},
                                     {"--clean", "descriptors"},
                                     {"--clean", "structured-content"},
                                     {"--clean", "graphics"},
                                     {"--keep-private", privates}};
    for (const Words& words : options) {
        makeOutput(words);
        const Words more = words == options.back() ? words : Words{};
        for (const ProcessResult& run : {verifyBoth(more), verifyAlone(more), verifyBoth(words)}) {
            EXPECT_EQ(run.status, 0) << testing::PrintToString(words) << run.output << run.errors;
        }
    }
}

TEST_F(VerifyCommand, OwnFilesPassWithSeveralOptionsTogether) {
    const std::vector<Words> options{
        {"--keep", "uids,device,institution,patient,dates", "--clean", "descriptors,structured-content,graphics"},
        {"--shift-dates", "--keep", "device,institution", "--clean", "structured-content,descriptors"},
        {"--shift-dates", "--keep", "uids,patient", "--clean", "graphics"},
        {"--keep", "dates,patient", "--clean", "descriptors"}};
    for (const Words& words : options) {
        makeOutput(words);
        for (const ProcessResult& run : {verifyBoth(), verifyAlone(), verifyBoth(words)}) {
            EXPECT_EQ(run.status, 0) << testing::PrintToString(words) << run.output << run.errors;
        }
    }
}

TEST_F(VerifyCommand, OwnFilesPassWithTheOptionsThatNameFilesAndValues) {
    makeOutput({"--neutral-names", "--pseudonyms", folder.file("patients.csv")});
    EXPECT_EQ(verifyBoth().status, 0) << verifyBoth().output;
    EXPECT_EQ(verifyAlone().status, 0) << verifyAlone().output;
    const Words set{"--set", "PatientAge=044Y", "--set", "PatientName=Rabbit^Peter"};
    makeOutput(set);
    for (const ProcessResult& run : {verifyBoth(set), verifyAlone(set)}) {
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
    }
    const ProcessResult other = verifyAlone({"--set", "PatientAge=045Y", "--set", "PatientName=Rabbit^Peter"});
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.output, HasSubstr("PatientAge is there"));
}

TEST_F(VerifyCommand, PicturesThatNobodyLookedAtCountUntilSomebodyDid) {
    makeOutput();
    edit(setting({{DCM_BurnedInAnnotation, "YES"}}));
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("pixels (burned-in):"));
    EXPECT_EQ(verifyAlone({"--accept-pixels", "burned-in"}).status, 0);
    EXPECT_EQ(verifyAlone({"--accept-pixels", "face"}).status, 1);
}

TEST_F(VerifyCommand, OptionsOfTheCommandCountMoreThanWhatFilesSay) {
    makeOutput({"--keep", "dates"});
    EXPECT_EQ(verifyAlone().status, 0);
    const ProcessResult run = verifyAlone({"--keep", "uids"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("StudyDate has a value (basic Z)"));
}

TEST_F(VerifyCommand, DummiesAndPseudonymsOfOtherProgramsPass) {
    writeOriginals();
    fs::copy(in.path(), out, fs::copy_options::recursive);
    for (std::size_t index = 0; index < kSubjects.size(); ++index) {
        for (const char* name : {"/I11", "/I12", "/I21"}) {
            edit(
                [&](DcmDataset& dataset) {
                    std::vector<DcmTagKey> gone{
                        DCM_PatientAge,       DCM_PatientAddress,          DCM_PatientTelephoneNumbers,
                        DCM_StudyDescription, DCM_SeriesDescription,       DCM_ContentSequence,
                        DCM_OverlayRows,      DCM_OverlayColumns,          DCM_OverlayType,
                        DCM_OverlayData,      DCM_ReferencedImageSequence, DCM_RequestAttributesSequence};
                    for (const Uint16 element : std::initializer_list<Uint16>{0x0010, 0x1001, 0x1002}) {
                        gone.emplace_back(0x0029, element);
                    }
                    for (const DcmTagKey& key : gone) {
                        delete dataset.remove(key);
                    }
                    const std::string number = std::to_string(index + 1);
                    put(dataset, {{DCM_PatientName, "Patient^" + number},
                                  {DCM_PatientID, "TRIAL-00" + number},
                                  {DCM_PatientBirthDate, "19000101"},
                                  {DCM_PatientSex, "O"},
                                  {DCM_AccessionNumber, ""},
                                  {DCM_ReferringPhysicianName, "Anonymous"},
                                  {DCM_OperatorsName, "REMOVED"},
                                  {DCM_InstitutionName, "Site 3"},
                                  {DCM_StationName, "none"},
                                  {DCM_DeviceSerialNumber, "0000"},
                                  {DCM_StudyDate, "19000101"},
                                  {DCM_SeriesDate, ""},
                                  {DCM_StudyTime, "120000"},
                                  {DCM_SeriesTime, ""},
                                  {DCM_AcquisitionDateTime, ""},
                                  {DCM_StudyID, "1"},
                                  {DCM_PatientIdentityRemoved, "YES"},
                                  {DCM_DeidentificationMethod, "by hand"}});
                    for (const DcmTagKey& key :
                         {DCM_StudyInstanceUID, DCM_SeriesInstanceUID, DCM_SOPInstanceUID, DCM_FrameOfReferenceUID}) {
                        put(dataset, {{key, "2.25." + textOf(dataset, key).substr(kRoot.size() + 1)}});
                    }
                },
                "P" + std::to_string(index) + name);
        }
    }
    for (const ProcessResult& run : {verifyBoth(), verifyAlone()}) {
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
    }
}

TEST_F(VerifyCommand, AHintIsNoFinding) {
    makeOutput({"--clean", "descriptors"});
    edit(setting({{DCM_StudyDescription, "see MRN: 4711999"}}));
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("StudyDescription has a text that may identify somebody"));
}

TEST_F(VerifyCommand, AMediumIsCheckedWithItsDirectory) {
    writeOriginals();
    std::vector<MediumRecord> patients;
    for (std::size_t index = 0; index < kSubjects.size(); ++index) {
        const Subject& subject = kSubjects[index];
        const std::string place = "P" + std::to_string(index);
        patients.push_back(patientRecord(
            subject.id, subject.name,
            {studyRecord(subject.study,
                         {seriesRecord(subject.study + ".1", "CT",
                                       {imageRecord(place + "\\I11", 1), imageRecord(place + "\\I12", 2)}),
                          seriesRecord(subject.study + ".2", "CT", {imageRecord(place + "\\I21", 1)})})}));
    }
    writeMedium(in, patients);
    makeOutput();
    ASSERT_TRUE(fs::exists(fs::path(out) / "DICOMDIR"));
    for (const ProcessResult& run : {verifyBoth(), verifyAlone(), runRadvex({"verify", out + "/DICOMDIR"})}) {
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
        EXPECT_THAT(run.output, HasSubstr("7 files checked"));
    }
    makeOutput({"--keep", "uids,dates"});
    for (const ProcessResult& run : {verifyBoth(), verifyAlone()}) {
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
    }
    edit(setting({{DCM_PatientID, "0123456789ABCDEF"}}));
    EXPECT_THAT(verifyAlone().output, HasSubstr("directory has other keys than a file that it lists"));
    fs::remove(fs::path(out) / "P0/I11");
    EXPECT_THAT(verifyAlone().output, HasSubstr("directory lists a file that is not there"));
    fs::copy_file(in.file("DICOMDIR"), out + "/DICOMDIR", fs::copy_options::overwrite_existing);
    const ProcessResult run = verifyBoth();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("PatientName has a value of an original"));
}

TEST_F(VerifyCommand, ABrokenFileIsNamedAndTheOthersGoOn) {
    makeOutput();
    const std::string path = out + "/P0/I11";
    fs::resize_file(path, 300);
    edit(setting({{DCM_PatientAge, "060Y"}}), "P1/I21");
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr(path));
    EXPECT_THAT(run.output, HasSubstr("5 files checked"));
    EXPECT_THAT(run.output, HasSubstr("PatientAge is there"));
}

TEST_F(VerifyCommand, WrongUsageIsSaid) {
    makeOutput();
    EXPECT_EQ(runRadvex({"verify"}).status, 2);
    EXPECT_EQ(runRadvex({"verify", out, out}).status, 2);
    EXPECT_EQ(runRadvex({"verify", folder.path().string(), out}).status, 2);
    EXPECT_EQ(verifyAlone({"--keep", "everything"}).status, 2);
    EXPECT_EQ(verifyAlone({"--accept-pixels", "everything"}).status, 2);
    EXPECT_EQ(verifyAlone({"--keep", "dates", "--shift-dates"}).status, 2);
    EXPECT_EQ(verifyAlone({"--nothing"}).status, 2);
    EXPECT_EQ(runRadvex({"verify", out + "/nowhere"}).status, 1);
}

TEST_F(VerifyCommand, AFolderWithoutDicomFilesIsNotCalledClean) {
    folder.write("text", "no picture");
    const ProcessResult run = runRadvex({"verify", folder.path().string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("has no DICOM file"));
}

TEST_F(VerifyCommand, QuietPrintsNothingButErrors) {
    makeOutput();
    EXPECT_THAT(verifyBoth({"-q"}).output, IsEmpty());
    edit(setting({{DCM_PatientAge, "060Y"}}));
    const ProcessResult run = verifyBoth({"-q", "--jobs", "0"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, IsEmpty());
}

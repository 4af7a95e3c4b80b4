#include <fstream>

#include "tests/cli/VerifiedFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

class VerifyFindings : public VerifiedFiles {};

} // namespace

TEST_F(VerifyFindings, ValuesOfAnOriginalAreFoundWhereADummyShouldBe) {
    expectFound(setting({{DCM_PatientBirthDate, "19560317"}}), "PatientBirthDate has a value of an original (basic Z)");
    expectFound(setting({{DCM_PatientName, "Zyxwvut^Quirina"}}), "PatientName has a value of an original (basic Z)");
    expectFound(setting({{DCM_PatientSex, "F"}}), "PatientSex has a value of an original (basic Z)");
    expectFound(setting({{DCM_StudyTime, "101112"}}), "StudyTime has a value of an original (basic Z)");
    expectFound(setting({{DCM_StudyID, "77137"}}), "StudyID has a value of an original (basic Z)");
    expectFound(setting({{DCM_StationName, "CTNORDWEST7"}}), "StationName has a value of an original (basic X/Z/D)");
}

TEST_F(VerifyFindings, WithoutOriginalsValuesThatLookLikeSomebodyAreFound) {
    expectFoundAlone(setting({{DCM_PatientName, "Doe^Jane"}}), "PatientName has a value (basic Z)");
    expectFoundAlone(setting({{DCM_PatientBirthDate, "19560318"}}), "PatientBirthDate has a value (basic Z)");
    expectFoundAlone(setting({{DCM_PatientSex, "F"}}), "PatientSex has a value (basic Z)");
    expectFoundAlone(setting({{DCM_StudyDate, "20190412"}}), "StudyDate has a value (basic Z)");
    expectFoundAlone(setting({{DCM_AccessionNumber, "ACC1"}}), "AccessionNumber has a value (basic Z)");
    expectFoundAlone(setting({{DCM_InstitutionName, "General Hospital Springfield"}}),
                     "InstitutionName has a value (basic X/Z/D)");
    expectFoundAlone(setting({{DCM_OperatorsName, "Brown"}}), "OperatorsName has a value (basic X/Z/D)");
}

TEST_F(VerifyFindings, AttributesThatShouldBeGoneAreFound) {
    expectFoundAlone(setting({{DCM_PatientAge, "060Y"}}), "PatientAge is there (basic X)");
    expectFoundAlone(setting({{DCM_PatientAddress, "somewhere"}}), "PatientAddress is there (basic X)");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ReferencedImageSequence), {{DCM_PatientComments, "tall"}});
        },
        "PatientComments is there (basic X)");
    expectFoundAlone(
        [](DcmDataset& dataset) { dataset.putAndInsertString(DcmTag(0x5000, 0x2500, DcmVR(EVR_LO)), "curve"); },
        "(basic X)");
    expectFoundAlone([](DcmDataset& dataset) { dataset.putAndInsertUint16(DcmTag(0x6002, 0x0010, DcmVR(EVR_US)), 4); },
                     "overlay that is no region");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            dataset.putAndInsertString(DcmTag(0x0029, 0x0010, DcmVR(EVR_LO)), "MAKER 77");
            dataset.putAndInsertString(DcmTag(0x0029, 0x1002, DcmVR(EVR_LO)), "any");
        },
        "private attributes of no listed creator");
    expectFoundAlone(
        [](DcmDataset& dataset) { dataset.putAndInsertString(DcmTag(0x0018, 0xFF02, DcmVR(EVR_LT)), "text"); },
        "attributes that no dictionary knows");
}

TEST_F(VerifyFindings, TypesThatAreDangerousAnywhereAreFoundBeyondTheTable) {
    expectFoundAlone(setting({{{0x0014, 0x0102}, "20240229"}}), "has a value (type DA)");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ReferencedImageSequence), {{{0x0014, 0x0102}, "20240229"}});
        },
        "has a value (type DA)");
}

TEST_F(VerifyFindings, TheContentOfAReportMayNotStay) {
    expectFound(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ContentSequence), {{DCM_TextValue, "Quirina Zyxwvut came on foot"}});
        },
        "TextValue");
}

TEST_F(VerifyFindings, IdentifiersAreFoundInTextsThatStay) {
    expectFound(setting({{DCM_Manufacturer, "for Zyxwvut Quirina"}}), "name of a patient in Manufacturer");
    expectFound(setting({{DCM_StudyDescription, "Abdomen Lukretia"}}), "name of a patient in StudyDescription",
                {"--clean", "descriptors"});
    expectFound(setting({{DCM_ConvolutionKernel, "HOSP-550999"}}), "number of a patient in ConvolutionKernel");
    expectFound(setting({{DCM_SeriesDescription, "seen by Habermann"}}), "name of a person in SeriesDescription",
                {"--clean", "descriptors"});
}

TEST_F(VerifyFindings, IdentifiersAreFoundInBytesThatNoTextHas) {
    makeOutput();
    edit([](DcmDataset& dataset) {
        const std::string name = "Zyxwvut^Quirina Zyxwvut^";
        dataset.putAndInsertUint8Array(DcmTag(DCM_ICCProfile, EVR_OB), reinterpret_cast<const Uint8*>(name.data()),
                                       name.size());
    });
    const ProcessResult run = verifyBoth();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("name of a patient in the bytes of the file"));
    EXPECT_EQ(verifyAlone().status, 0) << "nobody knows that it is a name";
}

TEST_F(VerifyFindings, ADeflatedFileIsSearchedToo) {
    makeOutput();
    const std::string path = out + "/P0/I11";
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    ASSERT_TRUE(file.loadAllDataIntoMemory().good());
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_DeflatedLittleEndianExplicit).good());
    EXPECT_EQ(verifyBoth().status, 0) << verifyBoth().output;
    const std::string name = "Zyxwvut^Quirina Zyxwvut^";
    file.getDataset()->putAndInsertUint8Array(DcmTag(DCM_ICCProfile, EVR_OB),
                                              reinterpret_cast<const Uint8*>(name.data()), name.size());
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_DeflatedLittleEndianExplicit).good());
    EXPECT_THAT(verifyBoth().output, HasSubstr("name of a patient in the bytes of ICCProfile"));
}

TEST_F(VerifyFindings, IdentifiersAreFoundInPathsAndInFilesOfOtherKinds) {
    makeOutput();
    fs::rename(fs::path(out) / "P0", fs::path(out) / "Zyxwvut_Quirina");
    std::ofstream(fs::path(out) / "list.csv") << "old,new\nHOSP-550137,0001\n";
    const std::string report = folder.file("report.json");
    const ProcessResult run = verifyBoth({"--report", report});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("name of a patient in the path"));
    EXPECT_THAT(run.output, HasSubstr("number of a patient in the bytes of the file"));
    EXPECT_THAT(run.output, HasSubstr("1 not DICOM"));
    const std::string said = readFile(report);
    ASSERT_TRUE(Json::accept(said));
    for (const std::string& word : {std::string("Zyxwvut"), std::string("HOSP"), in.path().string()}) {
        EXPECT_THAT(said, Not(HasSubstr(word)));
    }
    EXPECT_EQ(Json::parse(said)["clean"], false);
    EXPECT_THAT(said, HasSubstr("list.csv"));
}

TEST_F(VerifyFindings, UidsOfOriginalsAreFound) {
    expectFound(setting({{DCM_FrameOfReferenceUID, kRoot + ".1.99"}}), "FrameOfReferenceUID is a UID of an original");
    expectFound(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ReferencedImageSequence),
                {{DCM_ReferencedSOPInstanceUID, instanceOf(kSubjects[1], 1, 1)}});
        },
        "ReferencedSOPInstanceUID is a UID of an original");
}

TEST_F(VerifyFindings, ADateThatWasNotMovedIsFound) {
    const Words options{"--shift-dates"};
    expectFound(setting({{DCM_StudyDate, "20190412"}}), "StudyDate is that of an original (modified dates C)", options);
    expectFound(setting({{DCM_AcquisitionDateTime, "20190412101601.25"}}),
                "AcquisitionDateTime is that of an original (modified dates C)", options);
    makeOutput(options);
    edit(setting({{DCM_StudyDate, "20200903"}})); // of the other patient, whose times are others
    edit(setting({{DCM_StudyTime, "101113"}}));
    EXPECT_EQ(verifyBoth().status, 0) << "a moved date may be that of somebody else";
}

TEST_F(VerifyFindings, ACreatorOfPrivateAttributesMustBeListed) {
    expectFoundAlone(
        [](DcmDataset& dataset) { dataset.putAndInsertString(DcmTag(0x0029, 0x0010, DcmVR(EVR_LO)), "MAKER 78"); },
        "private attributes of no listed creator");
}

TEST_F(VerifyFindings, InstancesMustFormTheSameTree) {
    const auto expectDifference = [&](const std::function<void()>& change, const std::string& said) {
        makeOutput();
        change();
        const ProcessResult run = verifyBoth();
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.output, HasSubstr(said));
    };
    expectDifference([&] { fs::remove(fs::path(out) / "P0/I12"); }, "number of instances: 5, but 6 in the originals");
    expectDifference([&] { edit(setting({{DCM_SeriesInstanceUID, "2.25.77"}})); }, "number of series: 5, but 4");
    expectDifference([&] { edit(setting({{DCM_PatientID, "0123456789ABCDEF"}})); }, "number of patients: 3, but 2");
    expectDifference(
        [&] {
            DcmFileFormat file;
            ASSERT_TRUE(file.loadFile((out + "/P0/I21").c_str()).good());
            const std::string series = textOf(*file.getDataset(), DCM_SeriesInstanceUID);
            edit(setting({{DCM_SeriesInstanceUID, series}}));
            edit(setting({{DCM_SeriesInstanceUID, series}}), "P0/I12");
            edit(setting({{DCM_SeriesInstanceUID, "2.25.78"}}), "P0/I21");
            edit(setting({{DCM_FrameOfReferenceUID, "2.25.79"}}), "P1/I21");
        },
        "share other frames of reference");
    expectDifference(
        [&] {
            DcmFileFormat file;
            ASSERT_TRUE(file.loadFile((out + "/P1/I21").c_str()).good());
            for (const DcmTagKey& key : {DCM_PatientID, DCM_StudyInstanceUID, DCM_SeriesInstanceUID}) {
                edit(setting({{key, textOf(*file.getDataset(), key)}}));
            }
        },
        "other series, studies or patients");
}

TEST_F(VerifyFindings, ReferencesMustLeadSomewhereIfThoseOfTheOriginalsDid) {
    expectFound(
        [](DcmDataset& dataset) {
            DcmItem* item = nullptr;
            ASSERT_TRUE(dataset.findAndGetSequenceItem(DCM_ReferencedImageSequence, item).good());
            put(*item, {{DCM_ReferencedSOPInstanceUID, "2.25.4711"}});
        },
        "references lead to no file");
    makeOutput();
    edit([](DcmDataset& dataset) { delete dataset.remove(DCM_ReferencedImageSequence); });
    EXPECT_EQ(verifyBoth().status, 0) << "a profile may remove them";
}

TEST_F(VerifyFindings, OneInstanceMayNotBeInTwoFiles) {
    makeOutput();
    fs::copy_file(fs::path(out) / "P0/I11", fs::path(out) / "P0/again");
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("several files have one SOPInstanceUID"));
}

TEST_F(VerifyFindings, FilesMustSayThatTheyAreDeidentified) {
    expectFoundAlone(setting({{DCM_PatientIdentityRemoved, "NO"}}), "PatientIdentityRemoved is not YES");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            delete dataset.remove(DCM_DeidentificationMethod);
            delete dataset.remove(DCM_DeidentificationMethodCodeSequence);
        },
        "DeidentificationMethod is absent");
}

TEST_F(VerifyFindings, ThePreambleAndTheMetaInformationAreLookedAt) {
    makeOutput();
    const std::string path = out + "/P0/I11";
    std::string bytes = readFile(path);
    bytes[5] = 'Z';
    std::ofstream(path, std::ios::binary) << bytes;
    EXPECT_THAT(verifyAlone().output, HasSubstr("preamble is not empty"));
    makeOutput();
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    ASSERT_TRUE(file.loadAllDataIntoMemory().good());
    file.getMetaInfo()->putAndInsertString(DCM_SourceApplicationEntityTitle, "ANY");
    file.getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPInstanceUID, "2.25.5");
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit, EET_UndefinedLength, EGL_recalcGL, EPD_noChange,
                              0, 0, EWM_dontUpdateMeta)
                    .good());
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("SourceApplicationEntityTitle is in the meta information"));
    EXPECT_THAT(run.output, HasSubstr("MediaStorageSOPInstanceUID is not SOPInstanceUID"));
}

TEST_F(VerifyFindings, PixelsThatAreTooFewAreFound) {
    makeOutput();
    edit([](DcmDataset& dataset) { dataset.putAndInsertUint16(DCM_Rows, 3); });
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("pixels are fewer than the attributes say, in 1 file"));
}

#include <fstream>
#include <functional>
#include <set>

#include "tests/cli/Commands.h"
#include "tests/support/HostileFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

const std::string kRoot = "1.2.826.0.1.99.5";

/// One of two patients, each with a study of two series.
struct Subject {
    std::string name{};
    std::string id{};
    std::string birthDate{};
    std::string date{};
    std::string study{};
};

const std::vector<Subject> kSubjects{{"Zyxwvut^Quirina", "HOSP-550137", "19560317", "20190412", kRoot + ".1"},
                                     {"Abendroth^Lukretia", "HOSP-550999", "19710823", "20200903", kRoot + ".2"}};

std::string instanceOf(const Subject& subject, int series, int number) {
    return subject.study + '.' + std::to_string(series) + '.' + std::to_string(number);
}

void putPerson(DcmDataset& dataset, const Subject& subject) {
    put(dataset, {{DCM_PatientName, subject.name},
                  {DCM_PatientID, subject.id},
                  {DCM_PatientBirthDate, subject.birthDate},
                  {DCM_PatientSex, "F"},
                  {DCM_PatientAge, "060Y"},
                  {DCM_PatientAddress, "Lindenstrasse 17, Musterstadt"},
                  {DCM_PatientTelephoneNumbers, "+49 89 5550123"},
                  {DCM_AccessionNumber, "ACC77129" + subject.id.substr(8)},
                  {DCM_ReferringPhysicianName, "Habermann^Otto"},
                  {DCM_OperatorsName, "Kirchhoff"},
                  {DCM_InstitutionName, "Klinikum Nordwest"},
                  {DCM_StationName, "CTNORDWEST7"},
                  {DCM_DeviceSerialNumber, "SN-4477123"}});
}

void putStudy(DcmDataset& dataset, const Subject& subject, int series, int number) {
    put(dataset, {{DCM_StudyInstanceUID, subject.study},
                  {DCM_SeriesInstanceUID, subject.study + '.' + std::to_string(series)},
                  {DCM_SOPInstanceUID, instanceOf(subject, series, number)},
                  {DCM_FrameOfReferenceUID, subject.study + ".99"},
                  {DCM_StudyDate, subject.date},
                  {DCM_StudyTime, "101112"},
                  {DCM_SeriesDate, subject.date},
                  {DCM_SeriesTime, "101530"},
                  {DCM_AcquisitionDateTime, subject.date + "101601.25"},
                  {DCM_StudyID, "77" + subject.id.substr(8)},
                  {DCM_StudyDescription, "Abdomen of Quirina Zyxwvut"},
                  {DCM_SeriesDescription, "portal venous, Dr. Habermann"},
                  {DCM_Modality, "CT"},
                  {DCM_Manufacturer, "Optik"},
                  {DCM_BodyPartExamined, "ABDOMEN"},
                  {DCM_BurnedInAnnotation, "NO"},
                  {DCM_SeriesNumber, std::to_string(series)},
                  {DCM_InstanceNumber, std::to_string(number)}});
}

void putMore(DcmDataset& dataset, const Subject& subject) {
    put(addItem(dataset, DCM_ReferencedImageSequence),
        {{DCM_ReferencedSOPClassUID, UID_CTImageStorage}, {DCM_ReferencedSOPInstanceUID, instanceOf(subject, 1, 1)}});
    DcmItem& content = addItem(dataset, DCM_ContentSequence);
    put(content, {{DCM_ValueType, "TEXT"}, {DCM_TextValue, "Quirina Zyxwvut came on foot"}});
    put(addItem(content, DCM_ConceptNameCodeSequence),
        {{DCM_CodeValue, "121071"}, {DCM_CodingSchemeDesignator, "DCM"}, {DCM_CodeMeaning, "Finding"}});
    put(addItem(dataset, DCM_RequestAttributesSequence), {{DCM_RequestedProcedureID, "REQ-99871"}});
    dataset.putAndInsertString(DcmTag(0x0029, 0x0010, DcmVR(EVR_LO)), "MAKER 77");
    dataset.putAndInsertString(DcmTag(0x0029, 0x1001, DcmVR(EVR_LO)), "fine");
    dataset.putAndInsertString(DcmTag(0x0029, 0x1002, DcmVR(EVR_LO)), "Zyxwvut");
    dataset.putAndInsertUint16(DCM_OverlayRows, 2);
    dataset.putAndInsertUint16(DCM_OverlayColumns, 2);
    put(dataset, {{DCM_OverlayType, "R"}});
    const std::vector<Uint8> plane{5, 0};
    dataset.putAndInsertUint8Array(DcmTag(DCM_OverlayData, EVR_OW), plane.data(), 2);
}

class VerifyCommand : public ::testing::Test {
  protected:
    void writeOriginals() {
        for (std::size_t index = 0; index < kSubjects.size(); ++index) {
            for (const auto& [series, number] : {std::pair{1, 1}, std::pair{1, 2}, std::pair{2, 1}}) {
                const std::string name =
                    "P" + std::to_string(index) + "/I" + std::to_string(series) + std::to_string(number);
                fs::create_directories(in.path() / fs::path(name).parent_path());
                ImageFile image{.rows = 2, .columns = 2, .words = {1, 2, 3, 4}};
                const Subject& subject = kSubjects[index];
                image.more = [&, series = series, number = number](DcmDataset& dataset) {
                    putPerson(dataset, subject);
                    putStudy(dataset, subject, series, number);
                    putMore(dataset, subject);
                };
                writeImageFile(in.file(name), image);
            }
        }
    }

    void makeOutput(const Words& more = {}) {
        fs::remove_all(out);
        if (fs::is_empty(in.path())) {
            writeOriginals();
        }
        const ProcessResult run = runRadvex(joined({"anonymize", in.path().string(), out, "-q"}, more));
        ASSERT_EQ(run.status, 0) << run.errors;
    }

    ProcessResult verifyAlone(const Words& more = {}) { return runRadvex(joined({"verify", out}, more)); }
    ProcessResult verifyBoth(const Words& more = {}) {
        return runRadvex(joined({"verify", in.path().string(), out}, more));
    }

    void edit(const Fill& change, const std::string& name = "P0/I11") {
        DcmFileFormat file;
        const std::string path = (fs::path(out) / name).string();
        ASSERT_TRUE(file.loadFile(path.c_str()).good());
        ASSERT_TRUE(file.loadAllDataIntoMemory().good());
        change(*file.getDataset());
        ASSERT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
    }

    /// A change of one good file is found, and said.
    void expectFound(const Fill& change, const std::string& finding, const Words& options = {}) {
        makeOutput(options);
        edit(change);
        const ProcessResult run = verifyBoth(options);
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_THAT(run.output, HasSubstr(finding));
    }
    void expectFoundAlone(const Fill& change, const std::string& finding) {
        makeOutput();
        edit(change);
        const ProcessResult run = verifyAlone();
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_THAT(run.output, HasSubstr(finding));
        EXPECT_THAT(run.output, HasSubstr("P0/I11"));
    }

    static Fill setting(const Attributes& attributes) {
        return [attributes](DcmDataset& dataset) { put(dataset, attributes); };
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string out = folder.file("out");
};

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

TEST_F(VerifyCommand, ValuesOfAnOriginalAreFoundWhereADummyShouldBe) {
    expectFound(setting({{DCM_PatientBirthDate, "19560317"}}), "PatientBirthDate has a value of an original (basic Z)");
    expectFound(setting({{DCM_PatientName, "Zyxwvut^Quirina"}}), "PatientName has a value of an original (basic Z)");
    expectFound(setting({{DCM_PatientSex, "F"}}), "PatientSex has a value of an original (basic Z)");
    expectFound(setting({{DCM_StudyTime, "101112"}}), "StudyTime has a value of an original (basic Z)");
    expectFound(setting({{DCM_StudyID, "77137"}}), "StudyID has a value of an original (basic Z)");
    expectFound(setting({{DCM_StationName, "CTNORDWEST7"}}), "StationName has a value of an original (basic X/Z/D)");
}

TEST_F(VerifyCommand, WithoutOriginalsValuesThatLookLikeSomebodyAreFound) {
    expectFoundAlone(setting({{DCM_PatientName, "Doe^Jane"}}), "PatientName has a value (basic Z)");
    expectFoundAlone(setting({{DCM_PatientBirthDate, "19560318"}}), "PatientBirthDate has a value (basic Z)");
    expectFoundAlone(setting({{DCM_PatientSex, "F"}}), "PatientSex has a value (basic Z)");
    expectFoundAlone(setting({{DCM_StudyDate, "20190412"}}), "StudyDate has a value (basic Z)");
    expectFoundAlone(setting({{DCM_AccessionNumber, "ACC1"}}), "AccessionNumber has a value (basic Z)");
    expectFoundAlone(setting({{DCM_InstitutionName, "General Hospital Springfield"}}),
                     "InstitutionName has a value (basic X/Z/D)");
    expectFoundAlone(setting({{DCM_OperatorsName, "Brown"}}), "OperatorsName has a value (basic X/Z/D)");
}

TEST_F(VerifyCommand, AttributesThatShouldBeGoneAreFound) {
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

TEST_F(VerifyCommand, TypesThatAreDangerousAnywhereAreFoundBeyondTheTable) {
    expectFoundAlone(setting({{{0x0014, 0x0102}, "20240229"}}), "has a value (type DA)");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ReferencedImageSequence), {{{0x0014, 0x0102}, "20240229"}});
        },
        "has a value (type DA)");
}

TEST_F(VerifyCommand, TheContentOfAReportMayNotStay) {
    expectFound(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ContentSequence), {{DCM_TextValue, "Quirina Zyxwvut came on foot"}});
        },
        "TextValue");
}

TEST_F(VerifyCommand, IdentifiersAreFoundInTextsThatStay) {
    expectFound(setting({{DCM_Manufacturer, "for Zyxwvut Quirina"}}), "name of a patient in Manufacturer");
    expectFound(setting({{DCM_StudyDescription, "Abdomen Lukretia"}}), "name of a patient in StudyDescription",
                {"--clean", "descriptors"});
    expectFound(setting({{DCM_ConvolutionKernel, "HOSP-550999"}}), "number of a patient in ConvolutionKernel");
    expectFound(setting({{DCM_SeriesDescription, "seen by Habermann"}}), "name of a person in SeriesDescription",
                {"--clean", "descriptors"});
}

TEST_F(VerifyCommand, IdentifiersAreFoundInBytesThatNoTextHas) {
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

TEST_F(VerifyCommand, ADeflatedFileIsSearchedToo) {
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

TEST_F(VerifyCommand, IdentifiersAreFoundInPathsAndInFilesOfOtherKinds) {
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

TEST_F(VerifyCommand, UidsOfOriginalsAreFound) {
    expectFound(setting({{DCM_FrameOfReferenceUID, kRoot + ".1.99"}}), "FrameOfReferenceUID is a UID of an original");
    expectFound(
        [](DcmDataset& dataset) {
            put(addItem(dataset, DCM_ReferencedImageSequence),
                {{DCM_ReferencedSOPInstanceUID, instanceOf(kSubjects[1], 1, 1)}});
        },
        "ReferencedSOPInstanceUID is a UID of an original");
}

TEST_F(VerifyCommand, ADateThatWasNotMovedIsFound) {
    const Words options{"--shift-dates"};
    expectFound(setting({{DCM_StudyDate, "20190412"}}), "StudyDate is that of an original (modified dates C)", options);
    expectFound(setting({{DCM_AcquisitionDateTime, "20190412101601.25"}}),
                "AcquisitionDateTime is that of an original (modified dates C)", options);
    makeOutput(options);
    edit(setting({{DCM_StudyDate, "20200903"}})); // of the other patient, whose times are others
    edit(setting({{DCM_StudyTime, "101113"}}));
    EXPECT_EQ(verifyBoth().status, 0) << "a moved date may be that of somebody else";
}

TEST_F(VerifyCommand, ACreatorOfPrivateAttributesMustBeListed) {
    expectFoundAlone(
        [](DcmDataset& dataset) { dataset.putAndInsertString(DcmTag(0x0029, 0x0010, DcmVR(EVR_LO)), "MAKER 78"); },
        "private attributes of no listed creator");
}

TEST_F(VerifyCommand, InstancesMustFormTheSameTree) {
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

TEST_F(VerifyCommand, ReferencesMustLeadSomewhereIfThoseOfTheOriginalsDid) {
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

TEST_F(VerifyCommand, OneInstanceMayNotBeInTwoFiles) {
    makeOutput();
    fs::copy_file(fs::path(out) / "P0/I11", fs::path(out) / "P0/again");
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("several files have one SOPInstanceUID"));
}

TEST_F(VerifyCommand, FilesMustSayThatTheyAreDeidentified) {
    expectFoundAlone(setting({{DCM_PatientIdentityRemoved, "NO"}}), "PatientIdentityRemoved is not YES");
    expectFoundAlone(
        [](DcmDataset& dataset) {
            delete dataset.remove(DCM_DeidentificationMethod);
            delete dataset.remove(DCM_DeidentificationMethodCodeSequence);
        },
        "DeidentificationMethod is absent");
}

TEST_F(VerifyCommand, ThePreambleAndTheMetaInformationAreLookedAt) {
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

TEST_F(VerifyCommand, PixelsThatAreTooFewAreFound) {
    makeOutput();
    edit([](DcmDataset& dataset) { dataset.putAndInsertUint16(DCM_Rows, 3); });
    const ProcessResult run = verifyAlone();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("pixels are fewer than the attributes say, in 1 file"));
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

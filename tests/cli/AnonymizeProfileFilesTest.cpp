#include "dcmtk/dcmdata/dcdicdir.h"
#include "tests/cli/ProfilePatient.h"

using namespace radvex::test;

namespace {

class AnonymizeProfileFiles : public ProfileTest {};

} // namespace

TEST_F(AnonymizeProfileFiles, ADryRunOfASingleFileWritesNothing) {
    input = writeDicom(in.file("a"), patient(1));
    output = folder.file("new/out");
    EXPECT_EQ(anonymize({"--dry-run"}).status, 0);
    EXPECT_FALSE(fs::exists(folder.file("new")));
}

TEST_F(AnonymizeProfileFiles, NamesThatBecomeAlikeAreToldApart) {
    // Both spell one identifier, so that both get the same new words.
    for (const char* name : {"HOSP-550137", "HOSP_550137", "HOSP 550137"}) {
        fs::create_directories(in.path() / name);
    }
    writeDicom(in.file("HOSP-550137/x.dcm"), patient(1));
    writeDicom(in.file("HOSP_550137/x.dcm"), patient(2));
    writeDicom(in.file("HOSP 550137/x.dcm"), patient(3));
    const ProcessResult run = anonymize({"--key", key});
    ASSERT_EQ(run.status, 0) << run.errors;
    const auto files = bytesIn(output);
    EXPECT_EQ(files.size(), 3U);
    std::set<std::string> instances;
    for (const auto& [name, bytes] : files) {
        EXPECT_TRUE(name.ends_with(".dcm")) << name;
        instances.insert(valueIn(out(name), DCM_InstanceNumber));
    }
    EXPECT_EQ(instances, (std::set<std::string>{"1", "2", "3"}));
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfileFiles, ADirectoryListsTheNewFilesUnderTheirNewFileIds) {
    const std::string id = "HOSP5501";
    writeDicom(mediumPath(in, "HOSP5501\\IM1"), patient(1, id));
    writeDicom(mediumPath(in, "HOSP5501\\IM2"), patient(2, id));
    writeMedium(in, {patientRecord(id, "Zyxwvut^Quirina",
                                   {studyRecord(kStudy, {seriesRecord(std::string(kStudy) + ".1", "CT",
                                                                      {imageRecord("HOSP5501\\IM1", 1),
                                                                       imageRecord("HOSP5501\\IM2", 2)})})})});
    const ProcessResult run = anonymize({"--key", key});
    ASSERT_EQ(run.status, 0) << run.errors;
    std::set<std::string> names;
    for (const auto& [name, bytes] : bytesIn(output)) {
        EXPECT_THAT(bytes, Not(HasSubstr(id))) << name;
        EXPECT_THAT(name, Not(HasSubstr(id)));
        if (name != "DICOMDIR") {
            names.insert(name);
        }
    }
    EXPECT_EQ(names.size(), 2U);
    EXPECT_EQ(fileIdsIn(out("DICOMDIR")), names);
    DcmDicomDir directory(out("DICOMDIR").c_str());
    EXPECT_TRUE(directory.error().good());
    EXPECT_EQ(runRadvex({"tree", output}).status, 0);
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfileFiles, AReportHoldsNothingOfTheOriginals) {
    fs::create_directories(in.path() / kId);
    writeDicom(in.file(std::string(kId) + "/Zyxwvut.dcm"), patient(1));
    in.write("Quirina", std::string(128, '\0') + "DICM broken");
    const std::string report = folder.file("report.json");
    const ProcessResult run = anonymize({"--report", report, "--clean", "descriptors", "--shift-dates"});
    EXPECT_EQ(run.status, 3) << "one file is broken";
    const std::string said = readFile(report);
    expectNoWords(said, "the report");
    EXPECT_THAT(said, Not(HasSubstr(input)));
    const Json json = Json::parse(said);
    EXPECT_EQ(json["written"], 1);
    EXPECT_EQ(json["failed"], 1);
    EXPECT_EQ(json["profile"]["edition"], "2024b");
}

TEST_F(AnonymizeProfileFiles, NeutralNamesAreNumbers) {
    fs::create_directories(in.path() / "Zyxwvut");
    writeDicom(in.file("Zyxwvut/one"), patient(1));
    writeDicom(in.file("Zyxwvut/two"), patient(2));
    ASSERT_EQ(anonymize({"--neutral-names"}).status, 0);
    std::set<std::string> names;
    for (const auto& [name, bytes] : bytesIn(output)) {
        names.insert(name);
    }
    EXPECT_EQ(names, (std::set<std::string>{"I0000000", "I0000001"}));
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfileFiles, ASingleFileIsNeverReplacedByItsResult) {
    input = writeDicom(in.file("file"), patient(1));
    output = input;
    const std::string before = readFile(input);
    for (const Words& words : {Words{}, Words{"--force"}}) {
        EXPECT_EQ(anonymize(words).status, 1);
        EXPECT_EQ(readFile(input), before);
    }
    EXPECT_EQ(bytesIn(in.path()).size(), 1U) << "nothing else is left";
}

TEST_F(AnonymizeProfileFiles, EveryTransferSyntaxIsDeidentified) {
    const std::vector<std::pair<std::string, E_TransferSyntax>> syntaxes{
        {"implicit", EXS_LittleEndianImplicit},
        {"explicit", EXS_LittleEndianExplicit},
        {"big", EXS_BigEndianExplicit},
        {"deflated", EXS_DeflatedLittleEndianExplicit}};
    int number = 0;
    for (const auto& [name, syntax] : syntaxes) {
        writeDicom(in.file(name), patient(++number), syntax);
    }
    const ProcessResult run = anonymize();
    ASSERT_EQ(run.status, 0) << run.errors;
    std::set<std::string> patients;
    for (const auto& [name, syntax] : syntaxes) {
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(out(name).c_str()).good()) << name;
        EXPECT_EQ(file.getDataset()->getOriginalXfer(), syntax) << name;
        patients.insert(textOf(*file.getDataset(), DCM_PatientID));
        const std::string plain = folder.file("plain");
        ASSERT_TRUE(file.saveFile(plain.c_str(), EXS_LittleEndianExplicit).good());
        expectNoWords(readFile(plain), name);
    }
    EXPECT_EQ(patients.size(), 1U) << "one patient stays one";
}

TEST_F(AnonymizeProfileFiles, ADatasetWithoutPreambleIsDeidentified) {
    DcmFileFormat file;
    patient(1)(*file.getDataset());
    ASSERT_TRUE(file.getDataset()->saveFile(in.file("bare").c_str(), EXS_LittleEndianImplicit).good());
    const ProcessResult run = anonymize();
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(out("bare")).substr(0, 132), std::string(128, '\0') + "DICM");
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfileFiles, ABrokenFileIsNamedAndTheOthersAreWritten) {
    writeDicom(in.file("good"), patient(1));
    const std::string whole = readFile(in.file("good"));
    in.write("broken", whole.substr(0, whole.size() - 7));
    in.write("notes.txt", "no DICOM");
    const ProcessResult run = anonymize();
    EXPECT_THAT(run, exitsSaying(3, HasSubstr(in.file("broken"))));
    EXPECT_THAT(run.errors, Not(HasSubstr("notes.txt")));
    EXPECT_EQ(bytesIn(output).size(), 1U);
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfileFiles, AJapaneseNameLeavesTheTextsThatStay) {
    writeDicom(in.file("a"), [](DcmDataset& dataset) {
        patient(1)(dataset);
        put(dataset, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"},
                      {DCM_PatientName, "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B"},
                      {DCM_SeriesDescription, "T2 \x1B$B;3ED\x1B(B AX"}});
    });
    ASSERT_EQ(anonymize({"--clean", "descriptors"}).status, 0);
    EXPECT_EQ(valueIn(out("a"), DCM_SeriesDescription), "T2 [removed] AX");
}

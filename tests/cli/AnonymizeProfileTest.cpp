#include <map>
#include <set>

#include "dcmtk/dcmdata/dcdicdir.h"
#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

constexpr const char* kId = "HOSP-550137";
constexpr const char* kStudy = "1.2.826.0.1.99.5";

/// What no output, no report and no name may hold.
const std::vector<std::string> kWords{"Zyxwvut", "Quirina",     kId,          "19560317",      "ACC7712938",
                                      kStudy,    "Elbe Clinic", "SN-4711-88", "Grimm^Wilhelm", "20240229"};

Fill patient(int number, const std::string& id = kId) {
    return [=](DcmDataset& dataset) {
        put(dataset, {{DCM_SOPClassUID, UID_CTImageStorage},
                      {DCM_PatientName, "Zyxwvut^Quirina"},
                      {DCM_PatientID, id},
                      {DCM_PatientBirthDate, "19560317"},
                      {DCM_AccessionNumber, "ACC7712938"},
                      {DCM_InstitutionName, "Elbe Clinic"},
                      {DCM_DeviceSerialNumber, "SN-4711-88"},
                      {DCM_ReferringPhysicianName, "Grimm^Wilhelm"},
                      {DCM_StudyDate, "20240229"},
                      {DCM_StudyID, "S1"},
                      {DCM_StudyInstanceUID, kStudy},
                      {DCM_SeriesInstanceUID, std::string(kStudy) + ".1"},
                      {DCM_SeriesNumber, "1"},
                      {DCM_InstanceNumber, std::to_string(number)},
                      {DCM_SOPInstanceUID, std::string(kStudy) + ".1." + std::to_string(number)},
                      {DCM_Modality, "CT"},
                      {DCM_BodyPartExamined, "ABDOMEN"},
                      {DCM_SeriesDescription, "T2 AX of Quirina"}});
    };
}

/// Bytes of all files below a folder by their relative path, hidden ones too.
std::map<std::string, std::string> bytesIn(const fs::path& folder) {
    std::map<std::string, std::string> bytes;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(folder, missing)) {
        if (entry.is_regular_file()) {
            bytes[fs::relative(entry.path(), folder).string()] = readFile(entry.path().string());
        }
    }
    return bytes;
}

void expectNoWords(const std::string& bytes, const std::string& place) {
    for (const std::string& word : kWords) {
        EXPECT_EQ(bytes.find(word), std::string::npos) << word << " in " << place;
    }
}

std::string valueIn(const std::string& path, const DcmTagKey& key) {
    DcmFileFormat file;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    return textOf(*file.getDataset(), key);
}

/// The File IDs of a directory, with '/' between the parts.
std::set<std::string> fileIdsIn(const std::string& path) {
    std::set<std::string> fileIds;
    DcmFileFormat file;
    DcmSequenceOfItems* records = nullptr;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    EXPECT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    for (unsigned long index = 0; records != nullptr && index < records->card(); ++index) {
        std::string fileId = textOf(*records->getItem(index), DCM_ReferencedFileID);
        std::replace(fileId.begin(), fileId.end(), '\\', '/');
        if (fileId != "(none)") {
            fileIds.insert(fileId);
        }
    }
    return fileIds;
}

class AnonymizeProfile : public ::testing::Test {
  protected:
    ProcessResult anonymize(const Words& more = {}) { return runTo(output, more); }
    ProcessResult runTo(const std::string& to, const Words& more = {}) {
        return runRadvex(joined({"anonymize", input, to, "--jobs", "0"}, more));
    }
    std::string out(const std::string& name) const { return output + '/' + name; }

    /// Every file of the output, its name and its bytes.
    void expectNoWordsInOutput() const {
        const auto files = bytesIn(output);
        EXPECT_FALSE(files.empty());
        for (const auto& [name, bytes] : files) {
            expectNoWords(name, "the name of a file");
            expectNoWords(bytes, name);
        }
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string input = in.path().string();
    std::string output = folder.file("out");
    std::string key = folder.write("key", "0123456789abcdef");
};

} // namespace

TEST_F(AnonymizeProfile, ATableOfPseudonymsHoldsOverTwoRuns) {
    writeDicom(in.file("a"), patient(1));
    writeDicom(in.file("b"), patient(2, "HOSP-OTHER"));
    const std::string table =
        folder.write("table.csv", std::string("original ID,new ID,new name\r\n") + kId + ",S01,\"Subject, 1\"\r\n");
    ASSERT_EQ(anonymize({"--pseudonyms", table}).status, 0);
    EXPECT_EQ(valueIn(out("a"), DCM_PatientID), "S01");
    EXPECT_EQ(valueIn(out("a"), DCM_PatientName), "Subject, 1");
    const std::string other = valueIn(out("b"), DCM_PatientID);
    const std::string extended = readFile(table);
    EXPECT_THAT(extended, HasSubstr("HOSP-OTHER," + other + ','));
    // Another run has another random key, and the same table.
    ASSERT_EQ(runTo(folder.file("again"), {"--pseudonyms", table}).status, 0);
    EXPECT_EQ(valueIn(folder.file("again/b"), DCM_PatientID), other);
    EXPECT_EQ(readFile(table), extended);
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfile, NoNewIdLeadsOutOfTheOutputFolder) {
    const std::string nested = std::string(kId) + '/' + kId + '/' + kId;
    fs::create_directories(in.path() / nested);
    writeDicom(in.file(nested + "/x"), patient(1));
    for (const char* newId : {"..", ".", "../../x", "a/b", "/tmp"}) {
        const TemporaryFolder around;
        const std::string table = folder.write("table.csv", std::string(kId) + ',' + newId + ",One\n");
        fs::create_directories(around.path() / "1/2/3/4");
        const ProcessResult run = runTo(around.file("1/2/3/4/out"), {"--pseudonyms", table});
        EXPECT_EQ(run.status, 0) << run.errors;
        const auto files = bytesIn(around.path());
        ASSERT_EQ(files.size(), 1U) << newId;
        EXPECT_TRUE(files.begin()->first.starts_with("1/2/3/4/out/")) << files.begin()->first;
    }
}

TEST_F(AnonymizeProfile, ABadTableStopsTheRunBeforeAnythingIsWritten) {
    writeDicom(in.file("a"), patient(1));
    const std::string table = folder.write("table.csv", "P1,S01,\"One\n");
    EXPECT_THAT(anonymize({"--pseudonyms", table}), exitsSaying(1, HasSubstr("quote")));
    EXPECT_THAT(bytesIn(output), IsEmpty());
}

TEST_F(AnonymizeProfile, ADryRunReportsTheSameAndWritesNothing) {
    writeDicom(in.file("a"), patient(1));
    writeDicom(in.file("b"), patient(2));
    in.write("notes.txt", "no DICOM");
    const std::string table = folder.file("table.csv");
    const Words words{"--key", key, "--clean", "descriptors", "--report", folder.file("report.json")};
    const ProcessResult dry = anonymize(joined(words, {"--dry-run", "--pseudonyms", table}));
    EXPECT_EQ(dry.status, 0) << dry.errors;
    EXPECT_FALSE(fs::exists(output)) << "not even the folder";
    EXPECT_FALSE(fs::exists(table));
    Json planned = Json::parse(readFile(folder.file("report.json")));
    const ProcessResult real = anonymize(words);
    EXPECT_EQ(real.status, 0) << real.errors;
    Json done = Json::parse(readFile(folder.file("report.json")));
    EXPECT_EQ(planned["dryRun"], true);
    EXPECT_EQ(done["dryRun"], false);
    planned.erase("dryRun");
    done.erase("dryRun");
    EXPECT_EQ(planned.dump(), done.dump());
    EXPECT_EQ(done["files"].size(), 2U);
}

TEST_F(AnonymizeProfile, ADryRunOfASingleFileWritesNothing) {
    input = writeDicom(in.file("a"), patient(1));
    output = folder.file("new/out");
    EXPECT_EQ(anonymize({"--dry-run"}).status, 0);
    EXPECT_FALSE(fs::exists(folder.file("new")));
}

TEST_F(AnonymizeProfile, ARunGoesOnWhereAnotherEnded) {
    for (int number = 1; number <= 3; ++number) {
        writeDicom(in.file(std::to_string(number)), patient(number));
    }
    ASSERT_EQ(anonymize({"--key", key}).status, 0);
    const auto whole = bytesIn(output);
    fs::remove(out("2"));
    const auto untouched = fs::last_write_time(out("1"));
    const ProcessResult run = anonymize({"--key", key, "--resume"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("2 of them were there already"));
    EXPECT_EQ(bytesIn(output), whole);
    EXPECT_EQ(fs::last_write_time(out("1")), untouched);
}

TEST_F(AnonymizeProfile, ARunDoesNotGoOnWithFilesOfOneThatKeptMore) {
    writeDicom(in.file("a"), patient(1));
    ASSERT_EQ(anonymize({"--key", key, "--keep", "device"}).status, 0);
    ASSERT_EQ(valueIn(out("a"), DCM_DeviceSerialNumber), "SN-4711-88");
    EXPECT_EQ(anonymize({"--key", key, "--resume"}).status, 1) << "the file is no result of this run";
    EXPECT_EQ(anonymize({"--key", key, "--resume", "--force"}).status, 0);
    EXPECT_NE(valueIn(out("a"), DCM_DeviceSerialNumber), "SN-4711-88");
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfile, PrivateAttributesStayWhenTheirCreatorIsNamed) {
    writeDicom(in.file("a"), [](DcmDataset& dataset) {
        patient(1)(dataset);
        const auto putPrivate = [&](Uint16 element, DcmEVR vr, const char* value) {
            EXPECT_TRUE(dataset.putAndInsertString(DcmTag(0x0019, element, DcmVR(vr)), value).good());
        };
        putPrivate(0x0010, EVR_LO, "ELBE 1.0");
        putPrivate(0x100C, EVR_IS, "1000");
        putPrivate(0x100D, EVR_LO, "Zyxwvut");
        putPrivate(0x100E, EVR_LO, "kept of Quirina");
        putPrivate(0x0011, EVR_LO, "OTHER");
        putPrivate(0x110C, EVR_IS, "77");
    });
    const std::string kept = folder.write("kept.json", R"({"ELBE 1.0": ["0019,xx0C", "0019,xx0E"]})");
    ASSERT_EQ(anonymize({"--keep-private", kept}).status, 0);
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out("a").c_str()).good());
    DcmDataset& dataset = *file.getDataset();
    EXPECT_EQ(textOf(dataset, {0x0019, 0x0010}), "ELBE 1.0");
    EXPECT_EQ(textOf(dataset, {0x0019, 0x100C}), "1000");
    EXPECT_THAT(textOf(dataset, {0x0019, 0x100E}), StartsWith("kept of "));
    for (const Uint16 element : std::initializer_list<Uint16>{0x0011, 0x100D, 0x110C}) {
        EXPECT_FALSE(dataset.tagExists({0x0019, element})) << element;
    }
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfile, UnknownWordsAndWrongCombinationsAreErrorsOfUse) {
    writeDicom(in.file("a"), patient(1));
    const std::vector<std::pair<Words, std::string>> cases{
        {{"--accept-pixels", "hands"}, "--accept-pixels does not know 'hands'"},
        {{"--accept-pixels", "face,"}, "--accept-pixels does not know ''"},
        {{"--keep", "colour"}, "--keep does not know 'colour'"},
        {{"--keep", "uids,graphics"}, "--keep does not know 'graphics'"},
        {{"--clean", "uids"}, "--clean does not know 'uids'"},
        {{"--keep", "dates", "--shift-dates"}, "name one of them"},
        {{"--resume"}, "--resume needs the --key"},
        {{"--independent"}, "needs --profile none"},
        {{"--profile", "none", "--keep", "uids"}, "belong to a profile"},
        {{"--profile", "none", "--shift-dates"}, "belong to a profile"},
        {{"--profile", "none", "--dry-run"}, "belong to a profile"},
        {{"--profile", "none", "--pseudonyms", folder.file("table.csv")}, "belong to a profile"},
        {{"--profile", "none", "--mask", folder.file("mask.json")}, "belong to a profile"},
        {{"--profile", "none", "--resume", "--key", key}, "belong to a profile"},
        {{"--profile", "other"}, "--profile"},
    };
    for (const auto& [words, sentence] : cases) {
        EXPECT_THAT(anonymize(words), exitsSaying(2, HasSubstr(sentence))) << testing::PrintToString(words);
        EXPECT_FALSE(fs::exists(output)) << testing::PrintToString(words);
    }
}

TEST_F(AnonymizeProfile, FilesThatAreNotReadableAreErrorsBeforeAnythingIsWritten) {
    writeDicom(in.file("a"), patient(1));
    for (const char* option : {"--keep-private", "--mask", "--key", "--rules"}) {
        EXPECT_THAT(anonymize({option, folder.file("none")}), exitsSaying(1, HasSubstr(folder.file("none")))) << option;
        EXPECT_FALSE(fs::exists(output)) << option;
    }
    EXPECT_THAT(anonymize({"--key", folder.write("short", "123456789012345")}), exitsSaying(1, HasSubstr("too short")));
}

TEST_F(AnonymizeProfile, NamesThatBecomeAlikeAreToldApart) {
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

TEST_F(AnonymizeProfile, ADirectoryListsTheNewFilesUnderTheirNewFileIds) {
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

TEST_F(AnonymizeProfile, AReportHoldsNothingOfTheOriginals) {
    fs::create_directories(in.path() / kId);
    writeDicom(in.file(std::string(kId) + "/Zyxwvut.dcm"), patient(1));
    in.write("Quirina", std::string(128, '\0') + "DICM broken");
    const std::string report = folder.file("report.json");
    const ProcessResult run = anonymize({"--report", report, "--clean", "descriptors", "--shift-dates"});
    EXPECT_EQ(run.status, 1) << "one file is broken";
    const std::string said = readFile(report);
    expectNoWords(said, "the report");
    EXPECT_THAT(said, Not(HasSubstr(input)));
    const Json json = Json::parse(said);
    EXPECT_EQ(json["written"], 1);
    EXPECT_EQ(json["failed"], 1);
    EXPECT_EQ(json["profile"]["edition"], "2024b");
}

TEST_F(AnonymizeProfile, NeutralNamesAreNumbers) {
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

TEST_F(AnonymizeProfile, ASingleFileMayReplaceItselfWithForceOnly) {
    input = writeDicom(in.file("file"), patient(1));
    output = input;
    const std::string before = readFile(input);
    EXPECT_EQ(anonymize().status, 1);
    EXPECT_EQ(readFile(input), before);
    const ProcessResult run = anonymize({"--force"});
    EXPECT_EQ(run.status, 0) << run.errors;
    expectNoWords(readFile(input), "the file");
    EXPECT_EQ(valueIn(input, DCM_PatientIdentityRemoved), "YES");
    EXPECT_EQ(bytesIn(in.path()).size(), 1U) << "nothing else is left";
}

TEST_F(AnonymizeProfile, EveryTransferSyntaxIsDeidentified) {
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

TEST_F(AnonymizeProfile, ADatasetWithoutPreambleIsDeidentified) {
    DcmFileFormat file;
    patient(1)(*file.getDataset());
    ASSERT_TRUE(file.getDataset()->saveFile(in.file("bare").c_str(), EXS_LittleEndianImplicit).good());
    const ProcessResult run = anonymize();
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(out("bare")).substr(0, 132), std::string(128, '\0') + "DICM");
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfile, ABrokenFileIsNamedAndTheOthersAreWritten) {
    writeDicom(in.file("good"), patient(1));
    const std::string whole = readFile(in.file("good"));
    in.write("broken", whole.substr(0, whole.size() - 7));
    in.write("notes.txt", "no DICOM");
    const ProcessResult run = anonymize();
    EXPECT_THAT(run, exitsSaying(1, HasSubstr(in.file("broken"))));
    EXPECT_THAT(run.errors, Not(HasSubstr("notes.txt")));
    EXPECT_EQ(bytesIn(output).size(), 1U);
    expectNoWordsInOutput();
}

TEST_F(AnonymizeProfile, AJapaneseNameLeavesTheTextsThatStay) {
    writeDicom(in.file("a"), [](DcmDataset& dataset) {
        patient(1)(dataset);
        put(dataset, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"},
                      {DCM_PatientName, "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B"},
                      {DCM_SeriesDescription, "T2 \x1B$B;3ED\x1B(B AX"}});
    });
    ASSERT_EQ(anonymize({"--clean", "descriptors"}).status, 0);
    EXPECT_EQ(valueIn(out("a"), DCM_SeriesDescription), "T2 [removed] AX");
}

#include "tests/cli/ProfilePatient.h"

using namespace radvex::test;

namespace {

class AnonymizeProfile : public ProfileTest {};

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
    const ProcessResult real = anonymize(joined(words, {"--force"})); // replaces the report
    EXPECT_EQ(real.status, 0) << real.errors;
    Json done = Json::parse(readFile(folder.file("report.json")));
    EXPECT_EQ(planned["dryRun"], true);
    EXPECT_EQ(done["dryRun"], false);
    planned.erase("dryRun");
    done.erase("dryRun");
    EXPECT_EQ(planned.dump(), done.dump());
    EXPECT_EQ(done["files"].size(), 2U);
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

TEST_F(AnonymizeProfile, ADateThatIsNoneDoesNotStopTheMovingOfOthers) {
    writeDicom(in.file("a"), [](DcmDataset& dataset) {
        patient(1)(dataset);
        put(dataset, {{DCM_StudyDate, "20240231"}, {DCM_SeriesDescription, "seen 20240231"}});
    });
    const ProcessResult run = anonymize({"--shift-dates", "--clean", "descriptors"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(valueIn(out("a"), DCM_SeriesDescription), "seen [removed]");
    EXPECT_EQ(valueIn(out("a"), DCM_StudyDate), "19000101");
}

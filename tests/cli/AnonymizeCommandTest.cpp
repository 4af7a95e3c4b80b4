#include <map>
#include <set>

#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"
#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

constexpr const char* kPatient = "HOSPITAL-0000042";
constexpr const char* kStudy = "1.2.826.0.1.99.1";
constexpr const char* kStudyId = "STUDY-0000777";

std::string seriesUid(int series) { return std::string(kStudy) + '.' + std::to_string(series); }
std::string instanceUid(int series, int number) { return seriesUid(series) + '.' + std::to_string(number); }

/// A slice of 3 rows and 5 columns whose pixels spell their slice and index. It refers to the first slice of the first
/// series.
Fill slice(int series, int number) {
    return [=](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientName, "Doehler^Jane"},
                      {DCM_PatientID, kPatient},
                      {DCM_StudyID, kStudyId},
                      {DCM_StudyInstanceUID, kStudy},
                      {DCM_SeriesInstanceUID, seriesUid(series)},
                      {DCM_SOPInstanceUID, instanceUid(series, number)},
                      {DCM_Modality, "CT"},
                      {DCM_SeriesNumber, std::to_string(series)},
                      {DCM_InstanceNumber, std::to_string(number)},
                      {DCM_Rows, "3"},
                      {DCM_Columns, "5"}});
        put(addItem(dataset, DCM_ReferencedImageSequence),
            {{DCM_ReferencedSOPClassUID, UID_CTImageStorage}, {DCM_ReferencedSOPInstanceUID, instanceUid(1, 1)}});
        std::vector<Uint16> words;
        for (int index = 0; index < 15; ++index) {
            words.push_back(static_cast<Uint16>(1000 * series + 100 * number + index));
        }
        dataset.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), words.data(), words.size());
    };
}

std::string valueOf(const std::string& path, const DcmTagKey& key, bool isNested = false) {
    DcmFileFormat file;
    OFString text;
    EXPECT_TRUE(file.loadFile(path.c_str()).good()) << path;
    return file.getDataset()->findAndGetOFStringArray(key, text, isNested).good() ? std::string(text.c_str())
                                                                                  : "(none)";
}

std::vector<Uint16> pixelsOf(const std::string& path) {
    DcmFileFormat file;
    const Uint16* words = nullptr;
    unsigned long count = 0;
    EXPECT_TRUE(file.loadFile(path.c_str()).good());
    EXPECT_TRUE(file.getDataset()->findAndGetUint16Array(DCM_PixelData, words, &count).good());
    return {words, words + count};
}

/// Regular files below a folder by their relative path, hidden ones too.
std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            names.insert(fs::relative(entry.path(), folder).string());
        }
    }
    return names;
}

/// The records of a directory without identifiers: "PATIENT", " STUDY", "  SERIES", "   IMAGE A/I1".
void addTree(DcmDirectoryRecord& parent, const std::string& indent, std::string& tree) {
    for (unsigned long index = 0; index < parent.cardSub(); ++index) {
        DcmDirectoryRecord& record = *parent.getSub(index);
        OFString type;
        OFString fileId;
        record.findAndGetOFString(DCM_DirectoryRecordType, type);
        record.findAndGetOFStringArray(DCM_ReferencedFileID, fileId);
        tree += indent + type.c_str() + ' ' + fileId.c_str() + '\n';
        addTree(record, indent + ' ', tree);
    }
}

std::string treeOf(const std::string& path) {
    std::string tree;
    DcmDicomDir medium(path.c_str());
    EXPECT_TRUE(medium.error().good()) << path;
    addTree(medium.getRootRecord(), "", tree);
    return tree;
}

class AnonymizeCommand : public ::testing::Test {
  protected:
    ProcessResult anonymize(const Words& words) { return runRadvex(joined({"anonymize"}, words)); }
    std::string out(const std::string& name) const { return folder.file("out/" + name); }

    /// Two series of a study: A/I1, A/I2 and B/I1.
    void writeStudy() {
        writeDicom(mediumPath(in, "A\\I1"), slice(1, 1));
        writeDicom(mediumPath(in, "A\\I2"), slice(1, 2));
        writeDicom(mediumPath(in, "B\\I1"), slice(2, 1));
    }
    void writeMediumOfStudy() {
        writeStudy();
        writeMedium(
            in, {patientRecord(kPatient, "Doehler^Jane",
                               {studyRecord(kStudy, {seriesRecord(seriesUid(1), "CT",
                                                                  {imageRecord("A\\I1", 1), imageRecord("A\\I2", 2)}),
                                                     seriesRecord(seriesUid(2), "CT", {imageRecord("B\\I1", 1)})})})});
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string input = in.path().string();
    std::string output = folder.file("out");
};

} // namespace

TEST_F(AnonymizeCommand, AMediumComesBackAsTheSameTreeWithTheSamePixelsAndNoIdentifier) {
    writeMediumOfStudy();
    const ProcessResult run = anonymize({input, output});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(namesIn(output), (std::set<std::string>{"DICOMDIR", "A/I1", "A/I2", "B/I1"}));
    EXPECT_EQ(treeOf(out("DICOMDIR")), treeOf(in.file("DICOMDIR")));
    std::set<std::string> series;
    for (const char* name : {"A/I1", "A/I2", "B/I1"}) {
        EXPECT_EQ(pixelsOf(out(name)), pixelsOf(in.file(name)));
        EXPECT_EQ(valueOf(out(name), DCM_PatientID), valueOf(out("A/I1"), DCM_PatientID));
        EXPECT_EQ(valueOf(out(name), DCM_StudyInstanceUID), valueOf(out("A/I1"), DCM_StudyInstanceUID));
        series.insert(valueOf(out(name), DCM_SeriesInstanceUID));
    }
    EXPECT_EQ(series.size(), 2U);
    for (const std::string& name : namesIn(output)) {
        const std::string bytes = readFile(out(name));
        for (const std::string& original : {std::string(kPatient), std::string(kStudy), std::string(kStudyId)}) {
            EXPECT_THAT(bytes, Not(HasSubstr(original))) << name; // the study's UID is the start of all others
        }
    }
}

TEST_F(AnonymizeCommand, ReferencesPointToTheSameInstance) {
    writeStudy();
    ASSERT_EQ(anonymize({input, output}).status, 0);
    const std::string first = valueOf(out("A/I1"), DCM_SOPInstanceUID);
    EXPECT_NE(first, instanceUid(1, 1));
    EXPECT_EQ(valueOf(out("B/I1"), DCM_ReferencedSOPInstanceUID, true), first);
    EXPECT_EQ(valueOf(out("B/I1"), DCM_ReferencedSOPClassUID, true), UID_CTImageStorage);
    EXPECT_FALSE(fs::exists(out("DICOMDIR"))) << "the input has none";
}

TEST_F(AnonymizeCommand, RunsWithOneKeyAgreeAndOthersDiffer) {
    writeStudy();
    const std::string key = folder.write("key", "0123456789abcdef");
    const std::string other = folder.write("other", "another key, 17 b");
    ASSERT_EQ(anonymize({input, output, "--key", key}).status, 0);
    ASSERT_EQ(anonymize({in.file("B/I1"), folder.file("again"), "--key", key}).status, 0);
    ASSERT_EQ(anonymize({in.file("B/I1"), folder.file("differs"), "--key", other}).status, 0);
    ASSERT_EQ(anonymize({in.file("B/I1"), folder.file("keyless"), "-q"}).status, 0);
    EXPECT_EQ(readFile(folder.file("again")), readFile(out("B/I1")));
    for (const DcmTagKey& key2 : {DCM_PatientID, DCM_StudyInstanceUID, DCM_SOPInstanceUID}) {
        EXPECT_NE(valueOf(folder.file("differs"), key2), valueOf(out("B/I1"), key2));
        EXPECT_NE(valueOf(folder.file("keyless"), key2), valueOf(out("B/I1"), key2));
    }
}

TEST_F(AnonymizeCommand, IndependentFilesFallApartAndKeepTheirInstanceUid) {
    writeStudy();
    const ProcessResult run = anonymize({input, output, "--independent", "--profile", "none"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(valueOf(out("A/I1"), DCM_StudyInstanceUID), valueOf(out("A/I2"), DCM_StudyInstanceUID));
    EXPECT_EQ(valueOf(out("A/I1"), DCM_SOPInstanceUID), instanceUid(1, 1));
    EXPECT_THAT(run.output, HasSubstr("text of an original identifier"));
    EXPECT_EQ(anonymize({input, folder.file("x"), "--independent", "--key", "k"}).status, 2);
    EXPECT_THAT(anonymize({input, folder.file("x"), "--independent"}), exitsSaying(2, HasSubstr("--profile none")));
}

TEST_F(AnonymizeCommand, WordsOfTheCommandStandAboveRulesAndThoseAboveTheProfile) {
    const std::string file = writeDicom(in.file("a"), [](DcmDataset& dataset) {
        slice(1, 1)(dataset);
        put(dataset, {{DCM_ContentDate, "20200102"}, {DCM_InstitutionName, "General"}, {DCM_PatientComments, "none"}});
    });
    const std::string rules =
        folder.write("rules.json", R"({"InstitutionName":"from rules","PatientName":"from rules"})");
    const ProcessResult run = anonymize({file, output, "--profile", "basic", "--rules", rules, "--set",
                                         "PatientName=Nobody^A", "--set", "PatientID=SUBJECT-1"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(valueOf(output, DCM_PatientName), "Nobody^A");
    EXPECT_EQ(valueOf(output, DCM_InstitutionName), "from rules");
    EXPECT_EQ(valueOf(output, DCM_ContentDate), "19000101");
    EXPECT_EQ(valueOf(output, DCM_PatientComments), "(none)");
    EXPECT_EQ(valueOf(output, DCM_PatientID), "SUBJECT-1");
    EXPECT_THAT(run.output, HasSubstr("By the basic profile 2024b.\n"));
}

TEST_F(AnonymizeCommand, SaysWhatMayStillIdentifyEvenWhenQuiet) {
    writeStudy();
    const std::string remains = "What may still identify the patient:\n"
                                "  PatientName                               3 files\n";
    EXPECT_EQ(anonymize({input, output, "--profile", "none"}).output,
              output + ": 3 files written, 0 failed, 0 skipped\n" + remains);
    const ProcessResult quiet = anonymize({input, folder.file("quiet"), "--profile", "none", "--quiet"});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_THAT(quiet.output, IsEmpty());
    EXPECT_EQ(quiet.errors, remains);
    const ProcessResult clean = anonymize({input, folder.file("clean"), "--quiet", "--accept-pixels", "unclear-face"});
    EXPECT_THAT(clean.output + clean.errors, IsEmpty()) << "nothing is left";
}

TEST_F(AnonymizeCommand, StrictWritesNoFileThatMayStillIdentify) {
    writeStudy();
    writeDicom(in.file("clean"), [](DcmDataset& dataset) {
        slice(1, 3)(dataset);
        put(dataset, {{DCM_PatientName, ""}});
    });
    const ProcessResult run = anonymize({input, output, "--strict", "--profile", "none"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(namesIn(output), std::set<std::string>{"clean"});
    EXPECT_THAT(run.errors, HasSubstr(in.file("A/I1") + ": not written, because it may still identify the patient."));
    EXPECT_EQ(anonymize({input, folder.file("set"), "--strict", "--profile", "none", "--set", "PatientName="}).status,
              0);
    EXPECT_EQ(namesIn(folder.file("set")).size(), 4U);
}

TEST_F(AnonymizeCommand, ReportsChangesAndTheValuesBeforeOnlyWhenAsked) {
    writeStudy();
    const std::string report = folder.file("report.json");
    ASSERT_EQ(anonymize({input, output, "--set", "PatientName=X", "--report", report, "--profile", "none"}).status, 0);
    EXPECT_THAT(readFile(report), Not(HasSubstr(kPatient)));
    EXPECT_THAT(readFile(report), Not(HasSubstr(input)));
    const Json said = Json::parse(readFile(report));
    EXPECT_EQ(said["written"], 3);
    EXPECT_EQ(said["files"][0]["output"], "A/I1");
    const Json name{{"attribute", "PatientName"}};
    EXPECT_THAT(said["files"][0]["changes"], testing::Contains(name));
    const std::string path = "ReferencedImageSequence[1].ReferencedSOPInstanceUID";
    EXPECT_THAT(said["files"][2]["changes"], testing::Contains(Json{{"attribute", path}}));

    ASSERT_EQ(anonymize({input, output, "--force", "--set", "PatientName=X", "--report", report, "--report-originals",
                         "--profile", "none"})
                  .status,
              0);
    const Json full = Json::parse(readFile(report));
    EXPECT_EQ(full["files"][0]["input"], in.file("A/I1"));
    const Json before{{"attribute", "PatientName"}, {"before", "Doehler^Jane"}, {"after", "X"}};
    EXPECT_THAT(full["files"][0]["changes"], testing::Contains(before));
}

TEST_F(AnonymizeCommand, ABrokenFileIsNamedAndTheOthersGoOn) {
    writeStudy();
    const std::string good = readFile(in.file("A/I1"));
    in.write("A/I0", good.substr(0, good.size() / 2));
    in.write("notes.txt", "no DICOM");
    const ProcessResult run = anonymize({input, output, "-q", "--accept-pixels", "unclear-face"});
    EXPECT_THAT(run, exitsSaying(3, HasSubstr(in.file("A/I0") + " is cut off at byte ")));
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(namesIn(output), (std::set<std::string>{"A/I1", "A/I2", "B/I1"}));
}

TEST_F(AnonymizeCommand, AFileThatADirectoryListsAndTheMediumLacksIsNamed) {
    writeMediumOfStudy();
    fs::remove(in.file("A/I2"));
    EXPECT_THAT(anonymize({input, output, "-q"}), exitsSaying(3, HasSubstr("the listed file A/I2 does not exist.")));
    EXPECT_EQ(treeOf(out("DICOMDIR")), "PATIENT \n STUDY \n  SERIES \n   IMAGE A\\I1\n  SERIES \n   IMAGE B\\I1\n");
}

TEST_F(AnonymizeCommand, NamesOfADirectoryInCapitalsAreFoundInSmallLettersToo) {
    writeMediumOfStudy();
    const std::string tree = treeOf(in.file("DICOMDIR"));
    fs::rename(in.file("A/I1"), in.file("A/i1"));
    fs::rename(in.file("B"), in.file("b"));
    const ProcessResult run = anonymize({input, output, "-q"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(namesIn(output), (std::set<std::string>{"DICOMDIR", "A/i1", "A/I2", "b/I1"}));
    EXPECT_EQ(treeOf(out("DICOMDIR")), tree);
}

TEST_F(AnonymizeCommand, TheExactNameGoesBeforeOneInSmallLetters) {
    writeMediumOfStudy();
    writeDicom(in.file("A/i1"), slice(3, 7)); // sorted behind A/I1
    const ProcessResult run = anonymize({input, output, "-q"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(treeOf(out("DICOMDIR")), treeOf(in.file("DICOMDIR")));
    DcmDicomDir medium(out("DICOMDIR").c_str());
    OFString uid;
    medium.getRootRecord().getSub(0)->getSub(0)->getSub(0)->getSub(0)->findAndGetOFString(
        DCM_ReferencedSOPInstanceUIDInFile, uid);
    EXPECT_EQ(uid.c_str(), valueOf(out("A/I1"), DCM_SOPInstanceUID));
}

TEST_F(AnonymizeCommand, ADirectoryMayBeNamedInsteadOfItsMedium) {
    writeMediumOfStudy();
    EXPECT_EQ(anonymize({in.file("DICOMDIR"), output, "-q"}).status, 0);
    EXPECT_EQ(namesIn(output).size(), 4U);
}

TEST_F(AnonymizeCommand, NamesOfFilesThatShowAnIdentityAreSaidAndCanBeLeftBehind) {
    writeDicom(mediumPath(in, "DOEHLER\\I1"), slice(1, 1));
    writeMedium(in, {patientRecord(
                        kPatient, "",
                        {studyRecord(kStudy, {seriesRecord(seriesUid(1), "CT", {imageRecord("DOEHLER\\I1", 1)})})})});
    EXPECT_THAT(anonymize({input, output, "--profile", "none"}).output, HasSubstr("name of the file"));
    const ProcessResult neutral = anonymize({input, folder.file("neutral"), "--neutral-names"});
    EXPECT_EQ(neutral.status, 0) << neutral.errors;
    EXPECT_THAT(neutral.output, Not(HasSubstr("name of the file")));
    EXPECT_EQ(namesIn(folder.file("neutral")), (std::set<std::string>{"DICOMDIR", "I0000000"}));
    EXPECT_THAT(treeOf(folder.file("neutral/DICOMDIR")), HasSubstr("IMAGE I0000000"));
}

TEST_F(AnonymizeCommand, NothingIsReplacedWithoutForce) {
    writeStudy();
    const std::string file = in.file("A/I1");
    const std::string before = readFile(file);
    for (const Words& force : {Words{}, Words{"--force"}}) {
        EXPECT_THAT(anonymize(joined({file, file}, force)), exitsSaying(1, HasSubstr("would be lost")));
        EXPECT_EQ(readFile(file), before);
    }
    const std::string other = folder.write("other", "text");
    EXPECT_THAT(anonymize({file, other}), exitsSaying(1, HasSubstr("exists already; --force replaces it.")));
    EXPECT_EQ(readFile(other), "text");
    EXPECT_EQ(anonymize({file, other, "--force"}).status, 0);
    EXPECT_NE(readFile(other), "text");
    fs::create_directory(output);
    folder.write("out/mine", "text");
    EXPECT_EQ(anonymize({input, output}).status, 1);
    EXPECT_EQ(namesIn(output), std::set<std::string>{"mine"});
    EXPECT_EQ(anonymize({input, output, "--force"}).status, 0);
    EXPECT_EQ(readFile(out("mine")), "text");
    EXPECT_EQ(namesIn(in.path()).size(), 3U) << "nothing is left beside it";
}

TEST_F(AnonymizeCommand, FoldersThatHoldEachOtherAreRefused) {
    writeStudy();
    for (const std::string& target : {input, in.file("A"), in.file("new/deeper"), in.path().parent_path().string()}) {
        const ProcessResult run = anonymize({input, target, "--force"});
        EXPECT_EQ(run.status, 2) << target;
        EXPECT_EQ(namesIn(in.path()).size(), 3U);
    }
    const fs::path link = folder.path() / "link";
    fs::create_directory_symlink(in.path(), link);
    EXPECT_EQ(anonymize({input, (link / "x").string()}).status, 2);
}

TEST_F(AnonymizeCommand, AnUnknownKeywordOrABadRuleStopsBeforeAnythingIsWritten) {
    writeStudy();
    EXPECT_THAT(anonymize({input, output, "--set", "NoSuchKeyword=1"}), exitsSaying(1, HasSubstr("NoSuchKeyword")));
    EXPECT_EQ(anonymize({input, output, "--set", "PatientName"}).status, 2);
    EXPECT_THAT(anonymize({input, output, "--rules", folder.write("r", R"({"PatientName":["a"]})")}),
                exitsSaying(2, HasSubstr("the new value of PatientName has to be a text or a number.")));
    EXPECT_THAT(anonymize({input, output, "--key", folder.write("k", "short")}),
                exitsSaying(1, HasSubstr("at least 16 bytes")));
    EXPECT_FALSE(fs::exists(output));
}

TEST_F(AnonymizeCommand, AValueThatAnAttributeMayNotHoldStopsBeforeAnythingIsWritten) {
    writeStudy();
    for (const char* word : {"StudyDate=today", "StudyDate=1980", "PatientBirthDate=\xE4\xBB\xA4", "PatientAge=44",
                             "PatientSex=female", "StudyTime=25", "PatientWeight=heavy", "SeriesNumber=1.5",
                             "FrameOfReferenceUID=abc", "PatientSpeciesCodeSequence.=x"}) {
        const ProcessResult run = anonymize({input, output, "--set", word});
        EXPECT_EQ(run.status, 1) << word;
        EXPECT_FALSE(fs::exists(output)) << word;
    }
    EXPECT_THAT(anonymize({input, output, "--set", "StudyDate=today"}),
                exitsSaying(1, "radvex: StudyDate cannot become \"today\": that is no value of its representation, DA "
                               "(PS3.5, 6.2).\n"));
    Words fitting;
    for (const char* word : {"StudyDate=20240229", "PatientBirthDate=", "PatientAge=044Y", "PatientSex=O",
                             "StudyTime=2359", "PatientWeight=70.5", "SeriesNumber=-1", "FrameOfReferenceUID=1.2.3",
                             "ImageType=DERIVED\\SECONDARY", "StudyDescription=anything, at all: \xE4\xBB\xA4"}) {
        fitting = joined(fitting, {"--set", word});
    }
    EXPECT_EQ(anonymize(joined({input, output, "-q"}, fitting)).status, 0);
}

TEST_F(AnonymizeCommand, AValueThatAnAttributeRefusesFailsItsFile) {
    writeStudy();
    writeDicom(in.file("without"), with({{DCM_PatientID, "1"}}));
    EXPECT_THAT(anonymize({input, output, "-q", "--set", "ReferencedImageSequence=x"}),
                exitsSaying(3, HasSubstr("ReferencedImageSequence cannot take a new value")));
    EXPECT_EQ(namesIn(output), std::set<std::string>{"without"});
}

TEST_F(AnonymizeCommand, AnOutputThatCannotBeWrittenIsAnError) {
    writeStudy();
    for (const std::string& target : {std::string("/proc/nowhere"), folder.write("file", "x") + "/below"}) {
        EXPECT_EQ(anonymize({input, target}).status, 1) << target;
    }
    EXPECT_EQ(anonymize({in.file("A/I1"), folder.file("missing/file")}).status, 1);
}

TEST_F(AnonymizeCommand, AFileThatDoesNotFitTheDiskLeavesNothing) {
    writeDicom(in.file("small"), slice(1, 1));
    writeDicom(in.file("large"), [](DcmDataset& dataset) {
        slice(1, 2)(dataset);
        const std::vector<Uint16> words(1U << 16, 7);
        dataset.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), words.data(), words.size());
    });
    // A limit on the size of files stands for a disk that is full: 64 KiB, and the signal is ignored.
    const std::string script =
        "trap '' XFSZ; ulimit -f 64; exec '" RADVEX_COMMAND "' anonymize '" + input + "' '" + output + "' -q";
    EXPECT_THAT(runProcess({"bash", "-c", script}), exitsSaying(3, HasSubstr(in.file("large"))));
    EXPECT_EQ(namesIn(output), std::set<std::string>{"small"});
}

TEST_F(AnonymizeCommand, AKilledRunLeavesWholeFilesAndTheNextOneTidiesUp) {
    constexpr int kFiles = 150;
    for (int number = 1; number <= kFiles; ++number) {
        writeDicom(in.file("I" + std::to_string(number)), slice(1, number));
    }
    const std::string key = folder.write("key", "0123456789abcdef");
    const std::string whole = folder.file("whole");
    ASSERT_EQ(anonymize({input, whole, "-q", "--key", key}).status, 0);
    bool isCutShort = false;
    for (const char* wait : {"0", "1", "60"}) { // files that are there when it is killed
        fs::remove_all(output);
        const std::string script = "'" RADVEX_COMMAND "' anonymize '" + input + "' '" + output + "' -q --key '" + key +
                                   "' & while kill -0 $! 2>/dev/null && [ $(ls '" + output +
                                   "' 2>/dev/null | wc -l) -lt " + wait + " ]; do :; done; kill -9 $!; wait";
        (void)runProcess({"bash", "-c", script});
        int count = 0;
        fs::create_directories(output);
        for (const auto& entry : fs::directory_iterator(output)) {
            if (entry.is_regular_file()) {
                ++count;
                EXPECT_EQ(readFile(entry.path()), readFile(whole + '/' + entry.path().filename().string()));
            }
        }
        isCutShort = isCutShort || count < kFiles;
    }
    EXPECT_TRUE(isCutShort) << "every run was over before it was killed";
    ASSERT_EQ(anonymize({input, output, "-q", "--key", key, "--force"}).status, 0);
    EXPECT_EQ(namesIn(output), namesIn(whole));
}

TEST_F(AnonymizeCommand, ASignalTidiesUp) {
    for (int number = 1; number <= 150; ++number) {
        writeDicom(in.file("I" + std::to_string(number)), slice(1, number));
    }
    const std::string script = "'" RADVEX_COMMAND "' anonymize '" + input + "' '" + output +
                               "' -q & until [ -n \"$(ls -A '" + output +
                               "' 2>/dev/null)\" ]; do :; done; "
                               "kill -TERM $!; wait $!";
    EXPECT_THAT(runProcess({"bash", "-c", script}), exitsSaying(143, HasSubstr("Interrupted. In ")));
    for (const std::string& name : namesIn(output)) {
        EXPECT_FALSE(name.starts_with(".")) << name;
    }
}

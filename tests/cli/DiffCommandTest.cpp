// `radvex diff`: what it says about two files and two folders, and its exit status.

#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

constexpr int kEqual = 0;
constexpr int kDifferent = 1;
constexpr int kTrouble = 2;

class DiffCommand : public testing::Test {
  protected:
    /// A CT of 2 x 3 pixels whose values are 10, 20 and on.
    static ImageFile ct() {
        return {.rows = 2,
                .columns = 3,
                .bitsStored = 12,
                .slope = "1",
                .intercept = "-1024",
                .words = {10, 20, 30, 40, 50, 60},
                .more = with({{DCM_PatientName, "Doe^Jane"}, {DCM_Modality, "CT"}})};
    }
    /// The same with other attributes.
    static ImageFile ct(const Fill& more) {
        ImageFile file = ct();
        const Fill before = file.more;
        file.more = [before, more](DcmDataset& dataset) {
            before(dataset);
            more(dataset);
        };
        return file;
    }
    std::string write(const std::string& name, const ImageFile& file,
                      E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
        std::filesystem::create_directories(std::filesystem::path(mFolder.file(name)).parent_path());
        return writeImageFile(mFolder.file(name), file, syntax);
    }
    ProcessResult diff(const ImageFile& first, const ImageFile& second, const Words& more = {}) {
        return runRadvex(joined({"diff", write("a.dcm", first), write("b.dcm", second)}, more));
    }
    static void expectLines(const ProcessResult& done, const std::string& lines) {
        EXPECT_EQ(done.output, lines);
        EXPECT_EQ(done.errors, "");
        EXPECT_EQ(done.status, lines.empty() ? kEqual : kDifferent);
    }

    TemporaryFolder mFolder{};
};

void putPrivate(DcmItem& item, Uint16 block, const std::string& creator, const std::string& bytes) {
    item.putAndInsertString(DcmTag(0x0019, block, EVR_LO), creator.c_str());
    auto* const value = // the item frees it
        new DcmOtherByteOtherWord(DcmTag(0x0019, static_cast<Uint16>(block * 0x100 + 0x0C), EVR_UN));
    value->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), bytes.size());
    item.insert(value, OFTrue);
}

Fill privateValue(Uint16 block, const std::string& bytes) {
    return [block, bytes](DcmDataset& dataset) { putPrivate(dataset, block, "ACME", bytes); };
}

} // namespace

TEST_F(DiffCommand, EqualFilesGiveNothingAndStatusZero) { expectLines(diff(ct(), ct()), ""); }

TEST_F(DiffCommand, AttributesAreNamedThatDifferOrAreInOneFileOnly) {
    const ImageFile one = ct(with({{DCM_PatientAge, "050Y"}}));
    const ImageFile other = ct(with({{DCM_PatientName, "Doe^John"}, {DCM_PatientSex, "F"}}));
    expectLines(diff(one, other), "! PatientName: Doe^Jane | Doe^John\n+ PatientSex: F\n- PatientAge: 050Y\n");
}

TEST_F(DiffCommand, ValuesAreThoseThatAreStoredWithoutTheirPadding) {
    expectLines(diff(ct(with({{DCM_SliceThickness, "2.5 "}})), ct(with({{DCM_SliceThickness, " 2.5"}}))), "");
    expectLines(diff(ct(with({{DCM_SliceThickness, "2.5"}})), ct(with({{DCM_SliceThickness, "2.50"}}))),
                "! SliceThickness: 2.5 | 2.50\n");
    // A space in front of a text without values belongs to it.
    expectLines(diff(ct(with({{DCM_PatientComments, "a "}})), ct(with({{DCM_PatientComments, " a"}}))),
                "! PatientComments: a |  a\n");
}

TEST_F(DiffCommand, OneNameInTwoCharacterSetsIsOneName) {
    const ImageFile latin = ct(with({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}}));
    const ImageFile utf8 = ct(with({{DCM_SpecificCharacterSet, "ISO_IR 192"}, {DCM_PatientName, "M\xC3\xBCller"}}));
    expectLines(diff(latin, utf8), "! SpecificCharacterSet: ISO_IR 100 | ISO_IR 192\n");
    const ImageFile other = ct(with({{DCM_SpecificCharacterSet, "ISO_IR 192"}, {DCM_PatientName, "M\xC3\xB6ller"}}));
    expectLines(diff(latin, other), "! SpecificCharacterSet: ISO_IR 100 | ISO_IR 192\n"
                                    "! PatientName: M\xC3\xBCller | M\xC3\xB6ller\n");
}

TEST_F(DiffCommand, ItemsOfSequencesHaveAPath) {
    const auto items = [](const std::vector<std::string>& ids) {
        return [ids](DcmDataset& dataset) {
            for (const std::string& id : ids) {
                DcmItem& item = addItem(dataset, DCM_RequestAttributesSequence);
                put(item, {{DCM_ScheduledProcedureStepID, id}});
                put(addItem(item, DCM_ScheduledProtocolCodeSequence), {{DCM_CodeValue, id}});
            }
        };
    };
    const ProcessResult done = diff(ct(items({"1", "2"})), ct(items({"1", "3", "4"})));
    expectLines(done, "! RequestAttributesSequence[1].ScheduledProtocolCodeSequence[0].CodeValue: 2 | 3\n"
                      "! RequestAttributesSequence[1].ScheduledProcedureStepID: 2 | 3\n"
                      "+ RequestAttributesSequence[2]: (item of 2 attributes)\n");
    expectLines(diff(ct(items({"1"})), ct()), "- RequestAttributesSequence: (1 item)\n");
}

TEST_F(DiffCommand, PrivateAttributesAreMatchedByTheirCreator) {
    // Another block of the same creator is no difference; its bytes are, although nobody knows their type.
    expectLines(diff(ct(privateValue(0x10, "abcd")), ct(privateValue(0x11, "abcd"))), "");
    expectLines(diff(ct(privateValue(0x10, "abcd")), ct(privateValue(0x11, "abce"))),
                "! 0019,xx0C (ACME): 4 bytes: 61 62 63 64 | 4 bytes: 61 62 63 65\n");
    const Fill other = [](DcmDataset& dataset) { putPrivate(dataset, 0x10, "OTHER", "abcd"); };
    expectLines(diff(ct(privateValue(0x10, "abcd")), ct(other)),
                "- 0019,00xx (private creator): ACME\n- 0019,xx0C (ACME): 4 bytes: 61 62 63 64\n"
                "+ 0019,00xx (private creator): OTHER\n+ 0019,xx0C (OTHER): 4 bytes: 61 62 63 64\n");
}

TEST_F(DiffCommand, MetaInformationIsComparedButForTheVersionOfItsWriter) {
    write("a.dcm", ct());
    write("b.dcm", ct());
    for (const char* const name : {"a.dcm", "b.dcm"}) {
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(mFolder.file(name).c_str()).good());
        file.getMetaInfo()->putAndInsertString(DCM_ImplementationVersionName, name);
        file.getMetaInfo()->putAndInsertString(DCM_SourceApplicationEntityTitle, name);
        ASSERT_TRUE(file.saveFile(mFolder.file(name).c_str(), EXS_LittleEndianExplicit, EET_UndefinedLength,
                                  EGL_recalcGL, EPD_noChange, 0, 0, EWM_dontUpdateMeta)
                        .good());
    }
    expectLines(runRadvex({"diff", mFolder.file("a.dcm"), mFolder.file("b.dcm")}),
                "! SourceApplicationEntityTitle: a.dcm | b.dcm\n");
}

TEST_F(DiffCommand, AnotherTransferSyntaxIsOneDifferenceAndPixelsAreDecoded) {
    write("a.dcm", ct(privateValue(0x10, "abcd")));
    for (const E_TransferSyntax syntax : {EXS_BigEndianExplicit, EXS_LittleEndianImplicit}) {
        write("b.dcm", ct(privateValue(0x10, "abcd")), syntax);
        const std::string uid = syntax == EXS_BigEndianExplicit ? "1.2.840.10008.1.2.2" : "1.2.840.10008.1.2";
        expectLines(runRadvex({"diff", mFolder.file("a.dcm"), mFolder.file("b.dcm")}),
                    "! TransferSyntaxUID: 1.2.840.10008.1.2.1 | " + uid + "\n");
    }
}

TEST_F(DiffCommand, TheLargestDifferenceOfPixelsHasItsPlace) {
    ImageFile other = ct();
    other.words = {10, 21, 30, 40, 50, 53};
    expectLines(diff(ct(), other), "! pixels: 2 of 6 stored values differ, the most by 7 at frame 1, row 2, column 3: "
                                   "60 | 53\n");
    expectLines(diff(ct(), other, {"--no-pixels"}), "");
    expectLines(diff(ct(), other, {"--tolerance", "6.9"}),
                "! pixels: 1 of 6 stored values differ by more than 6.9, the most by 7 at frame 1, row 2, column 3: "
                "60 | 53\n");
    expectLines(diff(ct(), other, {"--tolerance", "7"}), "");
}

TEST_F(DiffCommand, AnotherRescaleMakesModalityValuesTheMeasure) {
    ImageFile other = ct();
    other.intercept = "-1025"; // and stored values that are 1 larger, but for the last one
    other.words = {11, 21, 31, 41, 51, 60};
    expectLines(diff(ct(), other), "! RescaleIntercept: -1024 | -1025\n"
                                   "! pixels: 1 of 6 modality values differ, the most by 1 at frame 1, row 2, column "
                                   "3: -964 | -965 (another rescale)\n");
    ImageFile deeper = ct();
    deeper.bitsStored = 16;
    deeper.words = {10, 20, 30, 40, 50, 61};
    EXPECT_THAT(diff(ct(), deeper).output, HasSubstr("-964 | -963 (12 and 16 bits)"));
}

TEST_F(DiffCommand, OtherSizesAreSaidAndNotCompared) {
    ImageFile wider = ct();
    wider.columns = 4;
    wider.words.resize(8);
    EXPECT_THAT(diff(ct(), wider).output, HasSubstr("! pixels: 2 x 3 and 2 x 4 pixels (rows x columns)\n"));
    ImageFile frames = ct();
    frames.frames = "2";
    frames.words.resize(12);
    EXPECT_THAT(diff(ct(), frames).output, HasSubstr("! pixels: 1 and 2 frames\n"));
    ImageFile none = ct();
    none.words = {};
    EXPECT_THAT(diff(ct(), none).output, HasSubstr("- pixels\n"));
}

TEST_F(DiffCommand, FramesAndColoursAreComparedToo) {
    ImageFile one{.rows = 1,
                  .columns = 2,
                  .samples = 3,
                  .bitsAllocated = 8,
                  .bitsStored = 8,
                  .photometric = "RGB",
                  .planarConfiguration = 0,
                  .frames = "2",
                  .words = {0x0201, 0x0403, 0x0605, 0x0807, 0x0A09, 0x0C0B}};
    ImageFile other = one;
    other.words[5] = 0x0F0B; // blue of the second pixel of the second frame: 12 becomes 15
    expectLines(diff(one, other), "! pixels: 1 of 12 colours differ, the most by 3 at frame 2, row 1, column 2: "
                                  "12 | 15\n");
}

TEST_F(DiffCommand, IgnoredAttributesAreLeftOutWhereverTheyStand) {
    const auto file = [](const std::string& value, const std::string& bytes) {
        return ct([=](DcmDataset& dataset) {
            put(dataset, {{DCM_StudyDate, value}});
            DcmItem& item = addItem(dataset, DCM_RequestAttributesSequence);
            put(item, {{DCM_StudyDate, value}, {DCM_ScheduledProcedureStepID, value}});
            putPrivate(dataset, 0x10, "ACME", bytes);
        });
    };
    const auto left = [&](const Words& ignored) {
        Words words;
        for (const std::string& path : ignored) {
            words.insert(words.end(), {"--ignore", path});
        }
        return diff(file("20200101", "abcd"), file("20210101", "abce"), words).output;
    };
    const std::string step = "! RequestAttributesSequence[0].ScheduledProcedureStepID: 20200101 | 20210101\n";
    EXPECT_EQ(left({"StudyDate", "0019,xx0c"}), step);
    EXPECT_EQ(left({"0008,0020", "0019,100C"}), step);
    EXPECT_EQ(left({"StudyDate", "0019,xx0C", "RequestAttributesSequence"}), "");
    EXPECT_EQ(left({"StudyDate", "0019,xx0C", "RequestAttributesSequence.ScheduledProcedureStepID"}), "");
    EXPECT_EQ(left({"StudyDate", "0019,xx0C", "RequestAttributesSequence[0].ScheduledProcedureStepID"}), "");
    EXPECT_EQ(left({"StudyDate", "0019,xx0C", "RequestAttributesSequence[*].ScheduledProcedureStepID"}), "");
    EXPECT_EQ(left({"StudyDate", "0019,xx0C", "RequestAttributesSequence[1].ScheduledProcedureStepID"}), step);
    EXPECT_THAT(left({"RequestAttributesSequence.StudyDate"}), HasSubstr("! StudyDate"));
    EXPECT_THAT(diff(ct(), ct(), {"--ignore", "StudyDte"}), exitsSaying(kTrouble, HasSubstr("StudyDte")));
    EXPECT_THAT(diff(ct(), ct(), {"--ignore", "StudyDate..PatientName"}),
                exitsSaying(kTrouble, HasSubstr("is not a path")));
}

TEST_F(DiffCommand, TroubleHasTheStatusTwoAndSaysWhat) {
    const std::string whole = write("a.dcm", ct());
    const std::string broken = mFolder.write("cut.dcm", readFile(whole).substr(0, readFile(whole).size() - 5));
    EXPECT_THAT(runRadvex({"diff", whole, broken}), exitsSaying(kTrouble, StartsWith("radvex: " + broken)));
    EXPECT_THAT(runRadvex({"diff", mFolder.file("none"), whole}),
                exitsSaying(kTrouble, "radvex: " + mFolder.file("none") + ": it does not exist.\n"));
    EXPECT_THAT(runRadvex({"diff", whole, mFolder.path().string()}),
                exitsSaying(kTrouble, HasSubstr("A file is compared with a file")));
    EXPECT_THAT(runRadvex({"diff", whole, whole, "--tolerance", "-1"}),
                exitsSaying(kTrouble, HasSubstr("is not a tolerance")));
    EXPECT_EQ(runRadvex({"diff", whole, whole, "--tolerance", "0"}).status, kEqual);
}

TEST_F(DiffCommand, PixelsThatNobodyDecodesAreEqualOrTrouble) {
    const auto file = [this](const std::string& name, const std::string& bytes) {
        return writeImageFile(mFolder.file(name),
                              {.rows = 1,
                               .columns = 1,
                               .words = {},
                               .more = [bytes](DcmDataset& dataset) { putFragments(dataset, EXS_JPEG2000, {bytes}); }},
                              EXS_JPEG2000);
    };
    const std::string one = file("a.dcm", "nobody decodes this.");
    expectLines(runRadvex({"diff", one, file("b.dcm", "nobody decodes this.")}), "");
    EXPECT_THAT(runRadvex({"diff", one, file("c.dcm", "nobody decodes that.")}),
                exitsSaying(kTrouble, HasSubstr("the pixels cannot be compared: ")));
    EXPECT_EQ(runRadvex({"diff", one, mFolder.file("c.dcm"), "--no-pixels"}).status, kEqual);
}

TEST_F(DiffCommand, JsonHoldsTheSame) {
    ImageFile other = ct(with({{DCM_PatientName, "Doe^John"}}));
    other.words[3] = 45;
    const ProcessResult done = diff(ct(with({{DCM_PatientAge, "050Y"}})), other, {"--json"});
    EXPECT_EQ(done.status, kDifferent);
    const Json json = Json::parse(done.output);
    EXPECT_EQ(json["first"], mFolder.file("a.dcm"));
    EXPECT_EQ(json["equal"], false);
    EXPECT_EQ(
        json["attributes"][0],
        Json({{"path", "PatientName"}, {"difference", "different"}, {"first", "Doe^Jane"}, {"second", "Doe^John"}}));
    EXPECT_EQ(json["attributes"][1],
              Json({{"path", "PatientAge"}, {"difference", "onlyFirst"}, {"first", "050Y"}, {"second", nullptr}}));
    EXPECT_EQ(json["pixels"]["values"], "stored");
    EXPECT_EQ(json["pixels"]["different"], 1);
    EXPECT_EQ(json["pixels"]["largest"],
              Json({{"difference", 5.0}, {"frame", 1}, {"row", 2}, {"column", 1}, {"first", 40.0}, {"second", 45.0}}));
}

TEST_F(DiffCommand, QuietSaysNothingButTheStatus) {
    const ProcessResult done = diff(ct(), ct(with({{DCM_PatientName, "Doe^John"}})), {"-q"});
    EXPECT_EQ(done.status, kDifferent);
    EXPECT_EQ(done.output + done.errors, "");
    EXPECT_EQ(diff(ct(), ct(), {"-q", "--json"}).output, "");
}

namespace {

class DiffFolders : public DiffCommand {
  protected:
    /// A slice of a folder.
    void add(const std::string& name, const std::string& instance, const std::string& position,
             const std::string& comment = "") {
        write(name, ct(with({{DCM_SOPInstanceUID, instance},
                             {DCM_ImagePositionPatient, position},
                             {DCM_ImageComments, comment}})));
    }
    ProcessResult run(const Words& more = {}) {
        return runRadvex(joined({"diff", mFolder.file("A"), mFolder.file("B")}, more));
    }
    std::string at(const std::string& name) const { return mFolder.file(name); }
};

} // namespace

TEST_F(DiffFolders, FilesArePairedByTheirInstanceAndOthersNamed) {
    add("A/1", "1.1", "0\\0\\0");
    add("A/2", "1.2", "0\\0\\5", "changed");
    add("A/3", "1.3", "0\\0\\10");
    add("B/x/1", "1.2", "0\\0\\5");
    add("B/x/2", "1.1", "0\\0\\0");
    add("B/4", "1.4", "0\\0\\15");
    mFolder.write("B/notes.txt", "not DICOM");
    for (const char* const jobs : {"0", "2"}) {
        expectLines(run({"--jobs", jobs}), "# " + at("A/2") + " | " + at("B/x/1") +
                                               "\n! ImageComments: changed | \n- " + at("A/3") + ": no partner\n+ " +
                                               at("B/4") +
                                               ": no partner\n2 pairs, 1 different; 2 files without a partner\n");
    }
    const Json json = Json::parse(run({"--json"}).output);
    EXPECT_EQ(json["pairs"].size(), 2);
    EXPECT_EQ(json["pairs"][0]["equal"], true);
    EXPECT_EQ(json["onlyFirst"], Json::parse("[{\"file\":\"" + at("A/3") + "\",\"reason\":null}]"));
    EXPECT_EQ(json["onlySecond"][0]["file"], at("B/4"));
}

TEST_F(DiffFolders, EqualFoldersGiveNothing) {
    add("A/1", "1.1", "0\\0\\0");
    add("B/2", "1.1", "0\\0\\0");
    expectLines(run(), "");
}

TEST_F(DiffFolders, PositionsPairWhatHasOtherInstances) {
    add("A/1", "1.1", "0\\0\\0");
    add("A/2", "1.2", "0\\0\\4.996");
    add("A/3", "1.3", "0\\0\\10");
    add("B/1", "2.2", "0\\0\\5.004"); // 0.008 mm away, and in another cube of 0.01 mm
    add("B/2", "2.1", "-0.0\\0\\0.000");
    add("B/3", "2.3", "0\\0\\10.02"); // too far away
    const ProcessResult done = run({"--by", "position", "--ignore", "SOPInstanceUID", "--ignore",
                                    "MediaStorageSOPInstanceUID", "--ignore", "ImagePositionPatient"});
    expectLines(done, "- " + at("A/3") + ": no partner\n+ " + at("B/3") +
                          ": no partner\n2 pairs, 0 different; 2 files without a partner\n");
    add("A/4", "1.4", "");
    EXPECT_THAT(run({"--by", "position"}).output,
                HasSubstr(at("A/4") + ": no partner, since it has no ImagePositionPatient\n"));
}

TEST_F(DiffFolders, SeveralFilesAtOnePositionArePairedByTheirNumber) {
    for (const std::string& name : {std::string("A/1"), std::string("B/2")}) {
        write(name, ct(with({{DCM_ImagePositionPatient, "0\\0\\0"}, {DCM_InstanceNumber, "2"}})));
    }
    for (const std::string& name : {std::string("A/2"), std::string("B/1")}) {
        write(name, ct(with({{DCM_ImagePositionPatient, "0\\0\\0"}, {DCM_InstanceNumber, "10"}})));
    }
    expectLines(run({"--by", "position"}), "");
}

TEST_F(DiffFolders, NamesPairFilesBelowTheFolders) {
    add("A/x/1", "1.1", "0\\0\\0");
    add("B/x/1", "1.2", "0\\0\\0");
    expectLines(run({"--by", "name"}), "# " + at("A/x/1") + " | " + at("B/x/1") +
                                           "\n! MediaStorageSOPInstanceUID: 1.1 | 1.2\n! SOPInstanceUID: 1.1 | 1.2\n1 "
                                           "pair, 1 different; 0 files without a partner\n");
}

TEST_F(DiffFolders, AFileThatCannotBeReadIsTroubleAndTheOthersAreCompared) {
    add("A/1", "1.1", "0\\0\\0", "changed");
    add("B/1", "1.1", "0\\0\\0");
    mFolder.write("A/cut.dcm", readFile(at("A/1")).substr(0, 400));
    const ProcessResult done = run();
    EXPECT_THAT(done, exitsSaying(kTrouble, HasSubstr(at("A/cut.dcm"))));
    EXPECT_THAT(done.output, HasSubstr("! ImageComments: changed"));
    std::filesystem::create_directories(at("EMPTY"));
    EXPECT_THAT(runRadvex({"diff", at("B"), at("EMPTY")}),
                exitsSaying(kTrouble, HasSubstr(at("EMPTY") + " holds no DICOM file.")));
}

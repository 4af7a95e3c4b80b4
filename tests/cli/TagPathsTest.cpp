#include "tests/cli/Commands.h"
#include "tests/support/HostileFiles.h"

using namespace radvex::test;

namespace {

/// Attributes that are hard to get at: empty, private, within sequences, in the meta information.
class TagPaths : public ::testing::Test {
  protected:
    static void fill(DcmDataset& dataset) {
        put(dataset, {{DCM_PatientName, "Doe^Jane"}, {DCM_AccessionNumber, ""}, {DCM_PatientID, "P1"}});
        dataset.insertEmptyElement(DCM_Rows);
        put(addItem(dataset, DCM_OtherPatientIDsSequence), {{DCM_PatientID, "A1"}, {DCM_TypeOfPatientID, ""}});
        put(addItem(dataset, DCM_OtherPatientIDsSequence), {{DCM_PatientID, "B2"}});
        dataset.putAndInsertString(DcmTag(0x0029, 0x0011, EVR_LO), "MAKER HEADER");
        DcmTag tag(0x0029, 0x1110, "MAKER HEADER");
        tag.setVR(EVR_SH);
        dataset.putAndInsertString(tag, "secret");
    }
    ProcessResult run(const Words& words) const { return runRadvex(joined({"tags"}, joined(words, {file}))); }
    std::string line(const std::string& tag) const {
        const ProcessResult done = run({"--tag", tag});
        EXPECT_EQ(done.status, 0) << done.errors;
        EXPECT_EQ(done.errors, "") << tag;
        return done.output;
    }

    TemporaryFolder folder{};
    std::string file = writeDicom(folder.file("a.dcm"), fill);
};

const std::string kNameLine = "PatientName                         PN  Doe^Jane\n";
const std::string kSecretLine = "0029,1110 MAKER HEADER              SH  secret\n";

} // namespace

TEST_F(TagPaths, AttributesOfTheMetaInformationCanBeChosen) {
    EXPECT_EQ(line("TransferSyntaxUID"), "TransferSyntaxUID                   UI  1.2.840.10008.1.2.1\n");
    EXPECT_EQ(line("0002,0010"), line("TransferSyntaxUID"));
    EXPECT_EQ(line("FileMetaInformationVersion"), "FileMetaInformationVersion          OB  0 1\n");
    EXPECT_EQ(Json::parse(run({"--json", "--tag", "TransferSyntaxUID", "--tag", "PatientID"}).output),
              Json({{"TransferSyntaxUID", "1.2.840.10008.1.2.1"}, {"PatientID", "P1"}}));
}

TEST_F(TagPaths, OneAttributeHasManySpellings) {
    for (const char* tag : {"PatientName", "patientname", "PATIENTNAME", "0010,0010", "(0010,0010)", "00100010"}) {
        EXPECT_EQ(line(tag), kNameLine) << tag;
    }
    EXPECT_EQ(Json::parse(run({"--json", "--tag", "patientname"}).output), Json({{"PatientName", "Doe^Jane"}}));
}

TEST_F(TagPaths, AMisspeltKeywordIsRefusedWithWhatWasMeant) {
    EXPECT_THAT(run({"--tag", "PatientNmae"}),
                exitsSaying(1, "radvex: There is no attribute 'PatientNmae'; did you mean PatientName?\n"));
    EXPECT_THAT(run({"--exclude", "Patientid2"}),
                exitsSaying(1, "radvex: There is no attribute 'Patientid2'; did you mean PatientID?\n"));
    EXPECT_THAT(run({"--tag", "Weather"}), exitsSaying(1, StartsWith("radvex: There is no attribute 'Weather'")));
}

TEST_F(TagPaths, AnEmptyAttributeIsNoAbsentOne) {
    EXPECT_EQ(line("AccessionNumber"), "AccessionNumber                     SH  (empty)\n");
    EXPECT_EQ(line("Rows"), "Rows                                US  (empty)\n");
    const std::string all = run({}).output;
    EXPECT_LT(all.find("SOPInstanceUID"), all.find("AccessionNumber"));
    EXPECT_LT(all.find("AccessionNumber"), all.find("PatientName")) << "in its place";
    EXPECT_THAT(all, HasSubstr("    TypeOfPatientID                 CS  (empty)\n"));
    const Json json = Json::parse(run({"--json"}).output);
    EXPECT_EQ(json["AccessionNumber"], "");
    EXPECT_EQ(json["Rows"], Json::array());
    EXPECT_EQ(json["OtherPatientIDsSequence"],
              (Json{{{"PatientID", "A1"}, {"TypeOfPatientID", ""}}, {{"PatientID", "B2"}}}));
}

TEST_F(TagPaths, EveryValueRepresentationIsShown) {
    const std::string path = writeDicom(folder.file("vr.dcm"), [](DcmDataset& dataset) {
        dataset.putAndInsertTagKey(DCM_FrameIncrementPointer, DcmTagKey(0x0018, 0x106A));
        const Float32 reals[] = {0.5F, 2.0F};
        dataset.putAndInsertFloat32Array(DcmTag(0x0029, 0x1001, EVR_OF), reals, 2);
        auto longs = std::make_unique<DcmOtherLong>(DcmTag(0x0029, 0x1002, EVR_OL));
        const Uint32 numbers[] = {4294967295U, 7};
        longs->putUint32Array(numbers, 2);
        dataset.insert(longs.release());
        auto unknown = std::make_unique<DcmOtherByteOtherWord>(DcmTag(0x0029, 0x1003, EVR_UN));
        const Uint8 bytes[] = {1, 255};
        unknown->putUint8Array(bytes, 2);
        dataset.insert(unknown.release());
    });
    const std::string all = runRadvex({"tags", path}).output;
    EXPECT_THAT(all, HasSubstr("FrameIncrementPointer               AT  (0018,106a)\n"));
    EXPECT_THAT(all, HasSubstr("0029,1001                           OF  0.5 2\n"));
    EXPECT_THAT(all, HasSubstr("0029,1002                           OL  4294967295\\7\n"));
    EXPECT_THAT(all, HasSubstr("0029,1003                           UN  1 255\n"));
    const Json json = Json::parse(runRadvex({"tags", "--json", path}).output);
    EXPECT_EQ(json["0029_1001"].dump(), "[0.5,2.0]");
    EXPECT_EQ(json["0029_1003"].dump(), "[1,255]");
}

TEST_F(TagPaths, AnEmptyAttributeCanBeLeftOut) {
    for (const char* tag : {"AccessionNumber", "accessionnumber", "0008,0050"}) {
        EXPECT_FALSE(Json::parse(run({"--json", "--exclude", tag}).output).contains("AccessionNumber")) << tag;
    }
}

TEST_F(TagPaths, AnAbsentAttributeIsNamed) {
    EXPECT_THAT(run({"--tag", "PatientAge", "--tag", "PatientID"}),
                exitsSaying(1, "radvex: " + file + " has no PatientAge.\n"));
    EXPECT_EQ(run({"--tag", "PatientAge", "--tag", "PatientID"}).output,
              "PatientID                           LO  P1\n");
    const std::string aged = writeDicom(folder.file("b.dcm"), with({{DCM_PatientAge, "042Y"}}));
    EXPECT_THAT(run({"--tag", "PatientAge", aged}),
                exitsSaying(0, "radvex: 1 of 2 files have no PatientAge; the first is " + file + ".\n"));
    EXPECT_THAT(run({"--tag", "PatientWeight", aged}),
                exitsSaying(1, "radvex: None of the 2 files has PatientWeight.\n"));
}

TEST_F(TagPaths, PrivateAttributesAreShownInAFormThatIsTakenAgain) {
    EXPECT_THAT(run({}).output, HasSubstr(kSecretLine));
    for (const char* tag : {"0029,1110", "0029,1110 MAKER HEADER", "MAKER HEADER:0029,10", "MAKER HEADER:0029,1010",
                            "(0029,xx10) MAKER HEADER"}) {
        EXPECT_EQ(line(tag), kSecretLine) << tag;
    }
    EXPECT_EQ(line("0029,0011"), "0029,0011                           LO  MAKER HEADER\n");
    EXPECT_EQ(Json::parse(run({"--json", "--tag", "MAKER HEADER:0029,10"}).output), Json({{"0029_1110", "secret"}}));
    EXPECT_THAT(run({"--tag", "OTHER MAKER:0029,10"}),
                exitsSaying(1, "radvex: " + file + " has no OTHER MAKER:0029,10.\n"));
    EXPECT_THAT(run({"--tag", "MAKER HEADER:0028,10"}), exitsSaying(2, HasSubstr("group is odd")));
}

TEST_F(TagPaths, AttributesOfItemsHavePaths) {
    EXPECT_EQ(line("OtherPatientIDsSequence[0].PatientID"), "OtherPatientIDsSequence[0].PatientID LO  A1\n");
    EXPECT_EQ(line("otherpatientidssequence[1].0010,0020"), "OtherPatientIDsSequence[1].PatientID LO  B2\n");
    EXPECT_EQ(line("00101002[0].TypeOfPatientID"), "OtherPatientIDsSequence[0].TypeOfPatientID CS  (empty)\n");
    EXPECT_EQ(line("OtherPatientIDsSequence[*].PatientID"), "OtherPatientIDsSequence[0].PatientID LO  A1\n"
                                                            "OtherPatientIDsSequence[1].PatientID LO  B2\n");
    EXPECT_EQ(Json::parse(run({"--json", "--tag", "OtherPatientIDsSequence[*].PatientID"}).output),
              Json({{"OtherPatientIDsSequence[0].PatientID", "A1"}, {"OtherPatientIDsSequence[1].PatientID", "B2"}}));
    EXPECT_EQ(run({"--tag", "OtherPatientIDsSequence[2].PatientID"}).status, 1);
    EXPECT_EQ(run({"--tag", "PatientID[0].PatientID"}).status, 1) << "no sequence has no items";
}

TEST_F(TagPaths, APathThatSaysTooLittleIsRefused) {
    EXPECT_THAT(run({"--tag", "OtherPatientIDsSequence.PatientID"}),
                exitsSaying(2, HasSubstr("write OtherPatientIDsSequence[0].PatientID for the first one")));
    EXPECT_THAT(run({"--tag", "OtherPatientIDsSequence[0]"}),
                exitsSaying(2, HasSubstr("names items and no attribute")));
    for (const char* tag : {"OtherPatientIDsSequence[x].PatientID", "OtherPatientIDsSequence[-1].PatientID",
                            "OtherPatientIDsSequence[].PatientID",
                            "OtherPatientIDsSequence[99999999999999999999].PatientID", "0029,10 MAKER].PatientID"}) {
        EXPECT_EQ(run({"--tag", tag}).status, 2) << tag;
    }
    EXPECT_EQ(run({"--tag", std::string(100000, '[')}).status, 2);
    EXPECT_NE(run({"--tag", ""}).status, 0);
}

TEST_F(TagPaths, AValueThatDoesNotFitIsLeftOutOnlyWhenAsked) {
    const std::string path = writeDicom(folder.file("uid.dcm"), with({{DCM_StudyInstanceUID, "not.a.uid"}}));
    for (const char* tag : {"StudyInstanceUID", "0020,000D"}) {
        EXPECT_THAT(runRadvex({"tags", "--tag", tag, path}).output, HasSubstr("not.a.uid")) << tag;
        const ProcessResult valid = runRadvex({"tags", "--validate", "--tag", tag, path});
        EXPECT_EQ(valid.output, "") << tag;
        EXPECT_EQ(valid.status, 0) << "the attribute is there";
    }
}

TEST_F(TagPaths, AFileThatWouldExhaustTheParserIsRefusedInEveryForm) {
    const auto write = [&](const std::string& name, std::size_t levels) {
        return folder.write(name, withMeta(kExplicit, nested({}, levels)));
    };
    const std::string deep = write("deep.dcm", 101);
    const std::string fine = write("fine.dcm", 99);
    for (const Words& form : {Words{},
                              {"--json"},
                              {"--numbers"},
                              {"--dicom-json"},
                              {"--csv", "--tag", "0008,1140"},
                              {"--tag", "TransferSyntaxUID"}}) {
        EXPECT_EQ(runRadvex(joined({"tags"}, joined(form, {deep}))).status, 1);
        EXPECT_EQ(runRadvex(joined({"tags"}, joined(form, {fine}))).status, 0);
    }
}

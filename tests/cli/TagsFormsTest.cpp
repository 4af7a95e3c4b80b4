#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// The forms in which `radvex tags` prints attributes.
class TagsForms : public ::testing::Test {
  protected:
    static ProcessResult run(const Words& words) { return runRadvex(joined({"tags"}, words)); }

    TemporaryFolder folder{};
    std::string a = writeDicom(folder.file("a.dcm"), [](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientName, "Doe^Jane"},
                      {DCM_StudyDescription, "neck, \"thin\""},
                      {DCM_ImageType, "ORIGINAL\\PRIMARY"},
                      {DCM_PatientComments, "a\\b"},
                      {DCM_Rows, "512"}});
        put(addItem(dataset, DCM_OtherPatientIDsSequence), {{DCM_PatientID, "A1"}});
        put(addItem(dataset, DCM_OtherPatientIDsSequence), {{DCM_PatientID, "B2"}});
    });
    std::string b = writeDicom(folder.file("b.dcm"), [](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}, {DCM_Rows, "7"}});
        dataset.putAndInsertUint32(DCM_SimpleFrameList, 4294967295U);
    });
};

} // namespace

TEST_F(TagsForms, CsvHasARowForEachFileAndQuotesWhatNeedsIt) {
    const ProcessResult csv =
        run({"--csv", "--tag", "StudyDescription", "--tag", "0028,0010", "--tag", "ImageType", a, b});
    EXPECT_EQ(csv.status, 0);
    EXPECT_EQ(csv.output, "file,StudyDescription,\"0028,0010\",ImageType\n" + a +
                              ",\"neck, \"\"thin\"\"\",512,ORIGINAL\\PRIMARY\n" + b + ",,7,\n");
    EXPECT_EQ(run({"--csv", "--tag", "SimpleFrameList", b}).output, "file,SimpleFrameList\n" + b + ",4294967295\n");
}

TEST_F(TagsForms, CsvCellsAreUtf8AndJoinTheItemsOfASequence) {
    EXPECT_EQ(run({"--csv", "--tag", "PatientName", b}).output, "file,PatientName\n" + b + ",M\xC3\xBCller\n");
    EXPECT_EQ(
        run({"--csv", "--tag", "OtherPatientIDsSequence[*].PatientID", "--tag", "OtherPatientIDsSequence", a}).output,
        "file,OtherPatientIDsSequence[*].PatientID,OtherPatientIDsSequence\n" + a + ",A1\\B2,(2 items)\n");
}

TEST_F(TagsForms, JapaneseNamesWithEscapeSequencesAreReadAsTheirCharacters) {
    // Yamada^Tarou in ISO 2022 IR 87: PS3.5, H.3.1.
    const std::string path = writeDicom(folder.file("kanji.dcm"),
                                        with({{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"},
                                              {DCM_PatientName, "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B"}}));
    EXPECT_EQ(run({"--csv", "--tag", "PatientName", path}).output,
              "file,PatientName\n" + path + ",Yamada^Tarou=\xE5\xB1\xB1\xE7\x94\xB0^\xE5\xA4\xAA\xE9\x83\x8E\n");
}

TEST_F(TagsForms, TextsInNoKnownCharacterSetAreGuessedAndSaidToBe) {
    const std::string unknown = writeDicom(folder.file("unknown.dcm"), with({{DCM_PatientName, "M\xFCller"}}));
    const std::string item = writeDicom(folder.file("item.dcm"), [](DcmDataset& dataset) {
        DcmItem* inside = nullptr;
        ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_OtherPatientIDsSequence, inside, 0).good());
        ASSERT_TRUE(inside->putAndInsertString(DCM_PatientID, "\xFC").good());
    });
    const std::string known = writeDicom(
        folder.file("known.dcm"), with({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}}));
    const std::string utf8 = writeDicom(folder.file("utf8.dcm"), with({{DCM_PatientName, "M\xC3\xBCller"}}));
    const auto warning = [](const std::string& files, const std::string& first) {
        return "radvex: warning: bytes that are in no known character set are shown as Latin 1, in " + files +
               "; the first are " + first + ". 'radvex tags --json' shows such bytes as they are.\n";
    };
    for (const char* form : {"--csv", "--table", "--dicom-json"}) {
        const ProcessResult guessed = run({form, "--tag", "PatientName", known, unknown, utf8});
        EXPECT_EQ(guessed.status, 0);
        EXPECT_EQ(guessed.errors, warning("1 file", "PatientName of " + unknown)) << form;
        EXPECT_EQ(run({form, "--tag", "PatientName", known, utf8}).errors, "") << form;
        EXPECT_EQ(run({form, "--tag", "SOPClassUID", unknown}).errors, "") << form << ": not asked for";
    }
    EXPECT_EQ(run({"--csv", "--tag", "OtherPatientIDsSequence[*].PatientID", item}).errors,
              warning("1 file", "PatientID of " + item));
    EXPECT_EQ(run({"--csv", "--tag", "OtherPatientIDsSequence", item}).errors, "") << "a number of items";
    EXPECT_EQ(run({"--dicom-json", unknown, item}).errors, warning("2 files", "PatientName of " + unknown));
}

TEST_F(TagsForms, ALineEndInAValueStaysWithinItsCell) {
    const std::string path = writeDicom(folder.file("lines.dcm"), with({{DCM_PatientComments, "one\r\ntwo"}}));
    EXPECT_EQ(run({"--csv", "--tag", "PatientComments", path}).output,
              "file,PatientComments\n" + path + ",\"one\r\ntwo\"\n");
    EXPECT_EQ(run({"--table", "--tag", "PatientComments", path}).output,
              "file" + std::string(path.size() - 4, ' ') + "  PatientComments\n" + path + "  one\\u000D\\u000Atwo\n");
}

TEST_F(TagsForms, ATableIsAligned) {
    const std::string gap(a.size() - 4, ' ');
    EXPECT_EQ(run({"--table", "--tag", "PatientName", "--tag", "Rows", a, b}).output,
              "file" + gap + "  PatientName  Rows\n" + a + "  Doe^Jane     512\n" + b + "  M\xC3\xBCller       7\n");
}

TEST_F(TagsForms, ARowThatCannotBeReadIsMissingAndNamed) {
    const ProcessResult csv = run({"--csv", "--tag", "Rows", a, "/missing", b});
    EXPECT_EQ(csv.status, 3);
    EXPECT_EQ(csv.output, "file,Rows\n" + a + ",512\n" + b + ",7\n");
    EXPECT_EQ(csv.errors, "radvex: /missing: it does not exist.\n");
    EXPECT_EQ(run({"--csv", "--tag", "Rows", "/missing"}).status, 1);
}

TEST_F(TagsForms, ColumnsHaveToBeNamed) {
    EXPECT_EQ(run({"--csv", a}).status, 2);
    EXPECT_EQ(run({"--table", a}).status, 2);
    EXPECT_EQ(run({"--csv", "--json", "--tag", "Rows", a}).status, 2);
    EXPECT_EQ(run({"--csv", "--by-file", "--tag", "Rows", a}).status, 2);
    EXPECT_EQ(run({"--lists", a}).status, 2);
    EXPECT_EQ(run({"--numbers", "--validate", a}).status, 2);
}

TEST_F(TagsForms, NumbersAreTheLinesOfADump) {
    // As dcmdump prints them.
    EXPECT_EQ(run({"--numbers", "--tag", "PatientName", "--tag", "Rows", "--tag", "ImageType", a}).output,
              "(0010,0010) PN [Doe^Jane]                               #   8, 1 PatientName\n"
              "(0028,0010) US 512                                      #   2, 1 Rows\n"
              "(0008,0008) CS [ORIGINAL\\PRIMARY]                       #  16, 2 ImageType\n");
    const std::string all = run({"--numbers", a}).output;
    EXPECT_THAT(all, HasSubstr("(0002,0010) UI =LittleEndianExplicit                    #  20, 1 TransferSyntaxUID\n"));
    EXPECT_THAT(all, HasSubstr("\n    (0010,0020) LO [A1]  "));
}

TEST_F(TagsForms, ADumpCannotControlTheTerminal) {
    const std::string path = writeDicom(folder.file("esc.dcm"), with({{DCM_PatientComments, "\x1B[2Jgone\nnext"}}));
    for (const Words& form : {Words{"--numbers"}, {"--table", "--tag", "PatientComments"}, {}}) {
        const std::string shown = run(joined(form, {path})).output;
        EXPECT_EQ(shown.find('\x1B'), std::string::npos);
        EXPECT_THAT(shown, HasSubstr("\\u001B[2Jgone\\u000Anext"));
    }
}

TEST_F(TagsForms, JsonByFileAndListsOfValues) {
    EXPECT_EQ(Json::parse(run({"--json", "--by-file", "--tag", "Rows", a}).output), Json({{a, {{"Rows", 512}}}}));
    EXPECT_EQ(Json::parse(run({"--json", "--tag", "ImageType", a}).output)["ImageType"], "ORIGINAL\\PRIMARY");
    const Json lists = Json::parse(run({"--json", "--lists", a}).output);
    EXPECT_EQ(lists["ImageType"], Json({"ORIGINAL", "PRIMARY"}));
    EXPECT_EQ(lists["PatientName"], "Doe^Jane");
    EXPECT_EQ(lists["PatientComments"], "a\\b") << "one text, which may have backslashes";
}

TEST_F(TagsForms, LongValuesAreWholeWhenAsked) {
    const std::string comments(1000, 'x');
    const std::string path = writeDicom(folder.file("long.dcm"), with({{DCM_PatientComments, comments}}));
    for (const Words& form : {Words{}, {"--numbers"}}) {
        const Words words = joined(form, {"--tag", "PatientComments", path});
        EXPECT_EQ(run(words).output.find(comments), std::string::npos);
        EXPECT_NE(run(joined(words, {"--full"})).output.find(comments), std::string::npos);
    }
    EXPECT_THAT(run({"--csv", "--tag", "PatientComments", path}).output, HasSubstr(comments)) << "data is never cut";
}

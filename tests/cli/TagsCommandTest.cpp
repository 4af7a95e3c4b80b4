#include <filesystem>

#include "formats/json/Text.h"
#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class TagsCommand : public ::testing::Test {
  protected:
    static Json jsonOf(const Words& words) {
        const ProcessResult run = runRadvex(joined({"tags", "--json"}, words));
        EXPECT_EQ(run.status, 0) << run.errors;
        return Json::parse(run.output);
    }
    static std::string treeOf(const Words& words) { return runRadvex(joined({"tags"}, words)).output; }

    TemporaryFolder folder{};
    std::string file = writeDicom(folder.file("a.dcm"), [](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientName, "Doe^\"Jane\""}, {DCM_StudyInstanceUID, "not.a.uid"}, {DCM_Rows, "2"}});
        dataset.putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), 4);
        dataset.putAndInsertUint16(DcmTag(0x6002, 0x0010, EVR_US), 5);
        put(addItem(dataset, DCM_ReferencedImageSequence), {{DCM_ReferencedSOPClassUID, "1.2"}});
        const Float64 reals[] = {1.0, 0.5};
        dataset.putAndInsertFloat64Array(DcmTag(0x0029, 0x1010, EVR_FD), reals, 2);
        const Uint8 bytes[] = {0, 255};
        dataset.putAndInsertUint8Array(DcmTag(0x0029, 0x1011, EVR_OB), bytes, 2);
    });
};

} // namespace

TEST_F(TagsCommand, PrintsOneJsonObject) {
    const Json tags = jsonOf({file});
    EXPECT_EQ(tags["PatientName"], "Doe^\"Jane\"");
    EXPECT_EQ(tags["Rows"], 2);
    EXPECT_EQ(tags["ReferencedImageSequence"], Json::array({{{"ReferencedSOPClassUID", "1.2"}}}));
    EXPECT_EQ(tags["0029_1010"].dump(), "[1.0,0.5]");
    EXPECT_EQ(tags["0029_1011"], Json::array({0, 255}));
}

TEST_F(TagsCommand, AKeyThatRepeatsIsNumbered) {
    const Json tags = jsonOf({file});
    EXPECT_EQ(tags["OverlayRows"], 4);
    EXPECT_EQ(tags["OverlayRows#2"], 5);
}

TEST_F(TagsCommand, AKeyThatRepeatsAmongManyIsNumberedToo) {
    const std::string many = writeDicom(folder.file("many.dcm"), [](DcmDataset& dataset) {
        for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
            dataset.putAndInsertUint16(DcmTag(group, 0x0010, EVR_US), group);
        }
    });
    const Json tags = jsonOf({many});
    EXPECT_EQ(tags["OverlayRows"], 0x6000);
    EXPECT_EQ(tags["OverlayRows#2"], 0x6002);
    EXPECT_EQ(tags["OverlayRows#16"], 0x601E);
    EXPECT_FALSE(tags.contains("OverlayRows#17"));
}

TEST_F(TagsCommand, PrintsAnIndentedTreeWithKeywordRepresentationAndValue) {
    EXPECT_EQ(treeOf({"--tag", "Rows", "--tag", "0008,1140", "--tag", "(0029,1010)", "--tag", "0029,1011", file}),
              "Rows                                US  2\n"
              "ReferencedImageSequence             SQ  (1 item)\n"
              "  item 1\n"
              "    ReferencedSOPClassUID           UI  1.2\n"
              "0029,1010                           FD  1 0.5\n"
              "0029,1011                           OB  0 255\n");
}

TEST_F(TagsCommand, ExcludesAndValidates) {
    EXPECT_FALSE(jsonOf({"--exclude", "PatientName", "--exclude", "Rows", file}).contains("PatientName"));
    EXPECT_TRUE(jsonOf({file}).contains("StudyInstanceUID"));
    EXPECT_FALSE(jsonOf({"--validate", file}).contains("StudyInstanceUID"));
}

TEST_F(TagsCommand, CutsLongValuesAndSaysHowLongTheyAre) {
    const std::string path = writeDicom(folder.file("long.dcm"), [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_PatientComments, std::string(1000, 'x').c_str());
    });
    const std::string tree = treeOf({"--tag", "PatientComments", path});
    EXPECT_NE(tree.find("xxx... (1000 bytes)\n"), std::string::npos) << tree;
    EXPECT_LT(tree.size(), 150U);
}

TEST_F(TagsCommand, TextThatIsNoUtf8IsMarkedInTextAndWholeInJson) {
    const std::string name = "\xD4\xCF\xC0\xDE=\x1B$B;3E"; // ends in the middle of a character
    const std::string path = writeDicom(folder.file("kanji.dcm"), [&](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "ISO 2022 IR 13\\ISO 2022 IR 87"}, {DCM_PatientName, name}});
        put(addItem(dataset, DCM_ReferencedStudySequence), {{DCM_PatientComments, "\xFF\xFE"}});
    });
    const std::string text = treeOf({path});
    EXPECT_TRUE(radvex::formats::isValidUtf8(text)) << text;
    EXPECT_NE(text.find("\xEF\xBF\xBD"), std::string::npos);
    const std::string output = runRadvex({"tags", "--json", path}).output;
    EXPECT_TRUE(radvex::formats::isValidUtf8(output)) << output;
    const Json json = Json::parse(output);
    EXPECT_EQ(json["PatientName"], (Json{{"bytes", "1M/A3j0bJEI7M0U="}})); // by base64 of coreutils
    EXPECT_EQ(json["ReferencedStudySequence"][0]["PatientComments"], (Json{{"bytes", "//4="}}));
    EXPECT_EQ(json["SpecificCharacterSet"], "ISO 2022 IR 13\\ISO 2022 IR 87");
    const Json replaced = Json::parse(runRadvex({"tags", "--json", "--replace-bytes", path}).output);
    EXPECT_EQ(replaced["PatientName"], "\uFF94\uFF8F\uFF80\uFF9E=\u5C71\uFFFD");
    EXPECT_EQ(replaced["ReferencedStudySequence"][0]["PatientComments"], "\uFFFD\uFFFD");
    EXPECT_THAT(runRadvex({"tags", "--tag", "PatientName", "--replace-bytes", path}).output,
                HasSubstr("\uFF94\uFF8F\uFF80\uFF9E=\u5C71\uFFFD\n"))
        << "also where the character set is not shown";
    EXPECT_EQ(runRadvex({"tags", "--csv", "--tag", "PatientName", "--replace-bytes", path}).status, 2);
}

TEST_F(TagsCommand, AnItemWithACharacterSetOfItsOwnIsReplacedInIt) {
    const std::string path = writeDicom(folder.file("item.dcm"), [&](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 192"}});
        put(addItem(dataset, DCM_ReferencedStudySequence),
            {{DCM_SpecificCharacterSet, "ISO_IR 127"}, {DCM_PatientComments, "\xA1\xC7"}});
    });
    const Json replaced = Json::parse(runRadvex({"tags", "--json", "--replace-bytes", path}).output);
    EXPECT_EQ(replaced["ReferencedStudySequence"][0]["PatientComments"], "\uFFFD\u0627");
}

TEST_F(TagsCommand, TextOfAMediumThatIsNoUtf8IsWholeInJson) {
    std::filesystem::create_directory(folder.file("medium"));
    const std::string path = writeDicom(folder.file("medium/a.dcm"), with({{DCM_SOPClassUID, UID_CTImageStorage},
                                                                           {DCM_SOPInstanceUID, "1.2.3"},
                                                                           {DCM_StudyInstanceUID, "1.2.4"},
                                                                           {DCM_SeriesInstanceUID, "1.2.5"},
                                                                           {DCM_PatientID, "P"},
                                                                           {DCM_PatientComments, "a\xFF"}}));
    const std::string output = runRadvex({"tags", "--json", "--recursive", folder.file("medium")}).output;
    EXPECT_TRUE(radvex::formats::isValidUtf8(output)) << output;
    EXPECT_EQ(Json::parse(output)[path]["PatientComments"], (Json{{"bytes", "Yf8="}}));
}

TEST_F(TagsCommand, NamesEachOfSeveralFilesAndGoesOnAfterABadOne) {
    const std::string other =
        writeDicom(folder.file("b.dcm"), [](DcmDataset& dataset) { dataset.putAndInsertUint16(DCM_Rows, 7); });
    const ProcessResult run = runRadvex({"tags", "--tag", "Rows", file, "/missing", other});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output, "# " + file + "\nRows                                US  2\n# " + other +
                              "\nRows                                US  7\n");
    EXPECT_EQ(run.errors, "radvex: /missing does not exist.\n");
    const ProcessResult json = runRadvex({"tags", "--json", "--tag", "Rows", file, "/missing", other});
    EXPECT_EQ(json.status, 3);
    EXPECT_EQ(Json::parse(json.output), Json({{file, {{"Rows", 2}}}, {other, {{"Rows", 7}}}}));
}

TEST_F(TagsCommand, NamesAKeywordThatDoesNotExist) {
    EXPECT_THAT(runRadvex({"tags", "--tag", "NoSuchWord", file}),
                exitsSaying(1, "radvex: There is no attribute 'NoSuchWord'.\n"));
}

TEST_F(TagsCommand, SaysWhatANumberHasToLookLike) {
    for (const char* tag : {"0010,xyz", "0010,", "12345,0010", ","}) {
        EXPECT_THAT(runRadvex({"tags", "--tag", tag, file}),
                    exitsSaying(2, HasSubstr(std::string("radvex: '") + tag + "' is not a tag: ")));
    }
}

TEST(InfoCommand, PrintsPatientStudyAndSeries) {
    const TemporaryFolder folder;
    const std::string file =
        writeDicom(folder.file("a.dcm"), with({{DCM_PatientID, "ABC"}, {DCM_StudyID, "S1"}, {DCM_SeriesNumber, "7"}}));
    EXPECT_EQ(runRadvex({"info", file}).output, "Patient\n"
                                                "  PatientID                         ABC\n"
                                                "Study\n"
                                                "  StudyID                           S1\n"
                                                "Series\n"
                                                "  SeriesNumber                      7\n");
    EXPECT_EQ(Json::parse(runRadvex({"info", "--json", file}).output), Json({{"patient", {{"PatientID", "ABC"}}},
                                                                             {"study", {{"StudyID", "S1"}}},
                                                                             {"series", {{"SeriesNumber", "7"}}}}));
    EXPECT_EQ(Json::parse(runRadvex({"info", "--json", "--patient", "X.*", file}).output)["study"], Json::object());
}

TEST(InfoCommand, SaysWhichPatternIsNone) {
    EXPECT_THAT(runRadvex({"info", "--study", "(", "file"}),
                exitsSaying(2, StartsWith("radvex: --study '(' is not a usable regular expression")));
}

TEST_F(TagsCommand, RecursivelyPrintsEveryFileOfAMedium) {
    for (const char* name : {"A", "B"}) {
        writeDicom(mediumPath(folder, name), with({{DCM_PatientID, name}}));
    }
    const auto medium = writeMedium(
        folder, {patientRecord("P", "N",
                               {studyRecord("1.2", {seriesRecord("1.2.1", "CT", {imageRecord("A", 1)}),
                                                    seriesRecord("1.2.2", "CT", {imageRecord("B", 1)})})})});
    const std::string a = folder.file("A");
    const std::string b = folder.file("B");
    const auto run = [&](const Words& words) { return runRadvex(joined({"tags", "--recursive", medium}, words)); };
    EXPECT_EQ(run({"--tag", "PatientID"}).output, "# " + a + "\nPatientID                           LO  A\n# " + b +
                                                      "\nPatientID                           LO  B\n");
    EXPECT_EQ(run({"--tag", "PatientID", "--json"}).output,
              "{\n\"" + a + R"(":{"PatientID":"A"},)" + "\n\"" + b + R"(":{"PatientID":"B"})" + "\n}\n");
    EXPECT_EQ(run({"--tag", "0010,0020", "--json"}).output, run({"--tag", "PatientID", "--json"}).output);
    EXPECT_EQ(run({"--tag", "PatientID", "--series", "1.2.2"}).output,
              "# " + b + "\nPatientID                           LO  B\n");
    EXPECT_EQ(run({"--json", "--series", "none"}).output, "{\n}\n");
    EXPECT_THAT(run({}).output, HasSubstr("MediaStorageSOPInstanceUID"));
    EXPECT_EQ(run({"--tag", "PatientID", "--tag", "0008,0016", "--tag", "0008,0018"}).status, 0);
    EXPECT_EQ(run({"--tag", "0010,0020", "--series", "1.2.2", "--json"}).output,
              run({"--tag", "PatientID", "--series", "1.2.2", "--json"}).output);
    EXPECT_EQ(run({"--tag", "NoSuchWord"}).errors, "radvex: There is no attribute 'NoSuchWord'.\n");
    EXPECT_EQ(runRadvex({"tags", "--series", "1", a}).status, 2);
    EXPECT_EQ(runRadvex({"tags", "--recursive", medium, a}).status, 2);

    std::filesystem::remove(b);
    const ProcessResult missing = run({"--tag", "PatientID"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.output, "# " + a + "\nPatientID                           LO  A\n");
    EXPECT_EQ(missing.errors, "radvex: " + b + " does not exist.\n");
}

#include <filesystem>

#include "formats/json/Base64.h"
#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

/// The DICOM JSON Model of PS3.18, annex F, out of files and into new ones.
class DicomJson : public ::testing::Test {
  protected:
    Json jsonOf(const Fill& fill, const Words& more = {}) const {
        const ProcessResult run =
            runRadvex(joined({"tags", "--dicom-json", writeDicom(folder.file("in.dcm"), fill)}, more));
        EXPECT_EQ(run.status, 0) << run.errors;
        return Json::parse(run.output);
    }
    Json jsonOf(const DcmTagKey& key, const std::string& value) const {
        Json json = jsonOf([&](DcmDataset& dataset) {
            put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 192"}, {key, value}});
        });
        char name[9];
        std::snprintf(name, sizeof name, "%04X%04X", unsigned{key.getGroup()}, unsigned{key.getElement()});
        return json[name];
    }
    ProcessResult write(const std::string& json) const {
        const std::string picture = folder.write("p.npy", npyFile("|u1", "(1, 2)", "ab"));
        return runRadvex({"write", picture, "-o", out, "--meta", folder.write("meta.json", json)});
    }
    /// The attributes of a file that was written with this metadata.
    Json written(const std::string& json) const {
        const ProcessResult done = write(json);
        EXPECT_THAT(done, exitsSaying(0, "")) << json;
        return Json::parse(runRadvex({"tags", "--json", out}).output);
    }
    std::string refusal(const std::string& json) const {
        const ProcessResult done = write(json);
        EXPECT_EQ(done.status, 1) << json;
        EXPECT_FALSE(std::filesystem::exists(out));
        return done.errors;
    }

    TemporaryFolder folder{};
    std::string out = folder.file("out.dcm");
};

} // namespace

TEST_F(DicomJson, TextsAreListsOfValues) {
    EXPECT_EQ(jsonOf(DCM_ImageType, "ORIGINAL\\PRIMARY"), Json({{"vr", "CS"}, {"Value", {"ORIGINAL", "PRIMARY"}}}));
    EXPECT_EQ(jsonOf(DCM_PatientComments, "a\\b"), Json({{"vr", "LT"}, {"Value", Json::array({"a\\b"})}}));
    EXPECT_EQ(jsonOf(DCM_OtherPatientNames, "A\\\\C")["Value"].dump(),
              R"([{"Alphabetic":"A"},null,{"Alphabetic":"C"}])");
}

TEST_F(DicomJson, AnEmptyAttributeHasNoValue) {
    EXPECT_EQ(jsonOf(DCM_AccessionNumber, ""), Json({{"vr", "SH"}}));
    EXPECT_EQ(jsonOf(DCM_AccessionNumber, "  "), Json({{"vr", "SH"}})) << "padding alone";
    Json empty = jsonOf([](DcmDataset& dataset) {
        dataset.insertEmptyElement(DCM_ReferencedImageSequence);
        dataset.insertEmptyElement(DCM_Rows);
        addItem(dataset, DCM_ReferencedStudySequence);
    });
    EXPECT_EQ(empty["00081140"], Json({{"vr", "SQ"}}));
    EXPECT_EQ(empty["00280010"], Json({{"vr", "US"}}));
    EXPECT_EQ(empty["00081110"].dump(), R"({"vr":"SQ","Value":[{}]})");
}

TEST_F(DicomJson, NamesHaveThreeGroups) {
    EXPECT_EQ(jsonOf(DCM_PatientName, "Yamada^Tarou=\xE5\xB1\xB1\xE7\x94\xB0^\xE5\xA4\xAA\xE9\x83\x8E=x^y")["Value"][0],
              Json({{"Alphabetic", "Yamada^Tarou"},
                    {"Ideographic", "\xE5\xB1\xB1\xE7\x94\xB0^\xE5\xA4\xAA\xE9\x83\x8E"},
                    {"Phonetic", "x^y"}}));
    EXPECT_EQ(jsonOf(DCM_PatientName, "==p")["Value"].dump(), R"([{"Phonetic":"p"}])");
}

TEST_F(DicomJson, NumbersAreNumbersAndWhatIsNoneStaysText) {
    EXPECT_EQ(jsonOf(DCM_SliceThickness, "1.50")["Value"].dump(), "[1.5]");
    EXPECT_EQ(jsonOf(DCM_PixelSpacing, "+0.5\\ 2e-1")["Value"].dump(), "[0.5,0.2]");
    EXPECT_EQ(jsonOf(DCM_SeriesNumber, "+7 ")["Value"].dump(), "[7]");
    EXPECT_EQ(jsonOf(DCM_SliceThickness, "nan")["Value"].dump(), R"(["nan"])");
    EXPECT_EQ(jsonOf(DCM_SliceThickness, "1,5")["Value"].dump(), R"(["1,5"])");
    EXPECT_EQ(jsonOf(DCM_SeriesNumber, "seven")["Value"].dump(), R"(["seven"])");
    Json binary = jsonOf([](DcmDataset& dataset) {
        dataset.putAndInsertUint32(DCM_SimpleFrameList, 4294967295U);
        dataset.putAndInsertSint16(DCM_TagAngleSecondAxis, -5);
        dataset.putAndInsertFloat64(DCM_RealWorldValueSlope, 0.1);
        dataset.putAndInsertFloat32(DCM_RecommendedDisplayFrameRateInFloat, 0.1F);
        dataset.putAndInsertTagKey(DCM_FrameIncrementPointer, DcmTagKey(0x0018, 0x106A));
    });
    EXPECT_EQ(binary["00081161"]["Value"].dump(), "[4294967295]");
    EXPECT_EQ(binary["00189219"]["Value"].dump(), "[-5]");
    EXPECT_EQ(binary["00409225"]["Value"].dump(), "[0.1]");
    EXPECT_EQ(binary["00089459"]["Value"].dump(), "[0.1]");
    EXPECT_EQ(binary["00280009"]["Value"].dump(), R"(["0018106A"])");
}

TEST_F(DicomJson, WholeNumbersThatAReaderOfJsonMayRoundAreTexts) {
    Json json = jsonOf([](DcmDataset& dataset) {
        auto element = std::make_unique<DcmUnsigned64bitVeryLong>(DcmTag(0x0029, 0x1001, EVR_UV));
        const Uint64 numbers[] = {9007199254740991U, 9007199254740992U, 18446744073709551615U};
        element->putUint64Array(numbers, 3);
        dataset.insert(element.release());
    });
    EXPECT_EQ(json["00291001"]["Value"].dump(), R"([9007199254740991,"9007199254740992","18446744073709551615"])");
}

TEST_F(DicomJson, BytesAndWordsAreInlineAndPrivateAttributesStay) {
    Json json = jsonOf([](DcmDataset& dataset) {
        const Uint16 words[] = {0x0102, 0xFF00};
        dataset.putAndInsertUint16Array(DcmTag(DCM_RedPaletteColorLookupTableData, EVR_OW), words, 2);
        dataset.putAndInsertString(DcmTag(0x0029, 0x0010, EVR_LO), "MAKER");
        DcmTag tag(0x0029, 0x1001, "MAKER");
        tag.setVR(EVR_UN);
        const Uint8 bytes[] = {1, 2, 3, 4};
        auto element = std::make_unique<DcmOtherByteOtherWord>(tag);
        element->putUint8Array(bytes, 4);
        dataset.insert(element.release());
    });
    EXPECT_EQ(json["00281201"], Json({{"vr", "OW"}, {"InlineBinary", "AgEA/w=="}})); // 02 01 00 FF by base64
    EXPECT_EQ(json["00290010"]["Value"], Json::array({"MAKER"}));
    EXPECT_EQ(json["00291001"], Json({{"vr", "UN"}, {"InlineBinary", "AQIDBA=="}}));
}

TEST_F(DicomJson, HoldsNoMetaInformationAndIsUtf8) {
    Json json = jsonOf([](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "M\xFCller"}});
    });
    EXPECT_FALSE(json.contains("00020010"));
    EXPECT_EQ(json["00100010"]["Value"][0]["Alphabetic"], "M\xC3\xBCller");
    EXPECT_EQ(json["00080005"]["Value"], Json::array({"ISO_IR 192"}));
}

TEST_F(DicomJson, SeveralFilesAreAListAndCanBeNamed) {
    const std::string a = writeDicom(folder.file("a"), with({{DCM_PatientID, "A"}}));
    const std::string b = writeDicom(folder.file("b"), with({{DCM_PatientID, "B"}}));
    const Words words{"tags", "--dicom-json", "--tag", "PatientID"};
    Json of = {{"A", {{"00100020", {{"vr", "LO"}, {"Value", Json::array({"A"})}}}}},
               {"B", {{"00100020", {{"vr", "LO"}, {"Value", Json::array({"B"})}}}}}};
    EXPECT_EQ(Json::parse(runRadvex(joined(words, {a})).output), of["A"]);
    EXPECT_EQ(Json::parse(runRadvex(joined(words, {a, b})).output), Json::array({of["A"], of["B"]}));
    EXPECT_EQ(Json::parse(runRadvex(joined(words, {a, b, "--by-file"})).output), Json({{a, of["A"]}, {b, of["B"]}}));
    EXPECT_EQ(runRadvex({"tags", "--dicom-json", "--tag", "TransferSyntaxUID", a}).status, 2);
    EXPECT_EQ(runRadvex({"tags", "--dicom-json", "--tag", "OtherPatientIDsSequence[0].PatientID", a}).status, 2);
}

TEST_F(DicomJson, IsTakenAsMetadataOfANewFile) {
    Json tags = written(R"({
        "00100010": {"vr": "PN", "Value": [{"Alphabetic": "M\u00fcller", "Phonetic": "p"}]},
        "00080050": {"vr": "SH"},
        "00080008": {"vr": "CS", "Value": ["DERIVED", "PRIMARY"]},
        "00180050": {"vr": "DS", "Value": [0.12345678901234567]},
        "00200011": {"vr": "IS", "Value": [7]},
        "00280107": {"vr": "US", "Value": [65535]},
        "00280009": {"vr": "AT", "Value": ["00181063"]},
        "00281201": {"vr": "OW", "InlineBinary": "AgEA/w=="},
        "00101002": {"vr": "SQ", "Value": [{"00100020": {"vr": "LO", "Value": ["A1"]}}, {}]}})");
    EXPECT_EQ(tags["PatientName"], "M\xC3\xBCller==p");
    EXPECT_EQ(tags["AccessionNumber"], "");
    EXPECT_EQ(tags["ImageType"], "DERIVED\\PRIMARY");
    EXPECT_EQ(tags["SliceThickness"], "0.12345678901235") << "16 characters are allowed";
    EXPECT_EQ(tags["SeriesNumber"], "7");
    EXPECT_EQ(tags["LargestImagePixelValue"], 65535);
    EXPECT_EQ(tags["FrameIncrementPointer"], "(0018,1063)");
    EXPECT_EQ(tags["RedPaletteColorLookupTableData"], Json::array({0x0102, 0xFF00}));
    EXPECT_EQ(tags["OtherPatientIDsSequence"], (Json{{{"PatientID", "A1"}}, Json::object()}));
}

TEST_F(DicomJson, AListOfOneInstanceIsTakenAndOneOfTwoIsNot) {
    const std::string one = R"({"00100020":{"vr":"LO","Value":["P"]}})";
    EXPECT_EQ(written("[" + one + "]")["PatientID"], "P");
    std::filesystem::remove(out);
    EXPECT_THAT(refusal("[" + one + "," + one + "]"), HasSubstr("an object"));
}

TEST_F(DicomJson, WhatThePicturesDetermineIsLeftOutAndNamed) {
    const ProcessResult done = write(R"({"00280010":{"vr":"US","Value":[512]},"00100020":{"vr":"LO","Value":["P"]},
                                         "00291001":{"vr":"LO","Value":["x"]},"7FE00010":{"vr":"OW","BulkDataURI":"u"}})");
    EXPECT_EQ(done.status, 0);
    const std::string meta = "radvex: " + folder.file("meta.json");
    EXPECT_EQ(
        done.errors,
        meta + ": left out, because only standard attributes with a keyword of their own can be written: 00291001.\n" +
            meta + ": left out, because the pictures determine them: Rows, PixelData.\n");
    Json tags = Json::parse(runRadvex({"tags", "--json", out}).output);
    EXPECT_EQ(tags["Rows"], 1);
    EXPECT_EQ(tags["PatientID"], "P");
}

TEST_F(DicomJson, WhatIsMalformedIsRefusedWithItsPlace) {
    EXPECT_THAT(refusal(R"({"00100020":{"Value":["P"]}})"),
                HasSubstr("00100020 (PatientID): the value representation"));
    EXPECT_THAT(refusal(R"({"00100020":"P"})"),
                HasSubstr("00100020: a tag of eight hexadecimal digits with an object"));
    EXPECT_THAT(refusal(R"({"00100020":{"vr":"LO","Value":"P"}})"), HasSubstr("Value has to be a list"));
    EXPECT_THAT(refusal(R"({"00100020":{"vr":"LO","Value":[{"a":1}]}})"), HasSubstr("cannot be"));
    EXPECT_THAT(refusal(R"({"00281201":{"vr":"OW","InlineBinary":"AgEA"}})"), HasSubstr("3 bytes"));
    EXPECT_THAT(refusal(R"({"00281201":{"vr":"OW","InlineBinary":"?"}})"),
                HasSubstr("(RedPaletteColorLookupTableData)"));
    EXPECT_THAT(refusal(R"({"00281201":{"vr":"OW","BulkDataURI":"http://x"}})"), HasSubstr("is not fetched"));
    EXPECT_THAT(refusal(R"({"00280009":{"vr":"AT","Value":["18"]}})"), HasSubstr("eight hexadecimal digits"));
    EXPECT_THAT(refusal(R"({"00100010":{"vr":"PN","Value":[{"Alphabetic":1}]}})"), HasSubstr("Alphabetic"));
    EXPECT_THAT(refusal(R"({"00101002":{"vr":"SQ","Value":["x"]}})"), HasSubstr("item 1"));
    EXPECT_THAT(refusal(R"({"00280107":{"vr":"US","Value":["many"]}})"), HasSubstr("LargestImagePixelValue"));
}

TEST_F(DicomJson, NestingHasALimit) {
    const auto nested = [](int levels) {
        std::string json = R"({"00100020":{"vr":"LO","Value":["P"]}})";
        for (int level = 0; level < levels; ++level) {
            json = R"({"00081140":{"vr":"SQ","Value":[)" + json + "]}}";
        }
        return json;
    };
    EXPECT_EQ(write(nested(100)).status, 0);
    std::filesystem::remove(out);
    EXPECT_THAT(refusal(nested(101)), HasSubstr("nested more than 100 deep"));
}

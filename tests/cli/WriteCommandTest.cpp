#include <filesystem>
#include <numeric>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

class WriteCommand : public ::testing::Test {
  protected:
    std::string npy(const std::string& name, const std::string& type, const std::string& shape,
                    const std::string& data) const {
        return folder.write(name, npyFile(type, shape, data));
    }
    /// An 8-bit picture of 2 x 5 that counts from 0.
    std::string picture() const {
        return npy("u8.npy", "|u1", "(2, 5)", std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09", 10));
    }
    ProcessResult run(const Words& words) const { return runRadvex(joined({"write", "-o", out, "--force"}, words)); }
    /// Writes and gives what `tags --json` says of the file.
    Json tagsOf(const Words& words) const {
        const ProcessResult done = run(words);
        EXPECT_EQ(done.status, 0) << done.errors;
        EXPECT_EQ(done.output + done.errors, "");
        return Json::parse(runRadvex({"tags", "--json", out}).output);
    }
    /// The one line that a refused write says. Nothing is left of the write.
    std::string refusal(const Words& words, int status = 1) const {
        const ProcessResult done = run(words);
        EXPECT_EQ(done.status, status) << done.errors;
        EXPECT_EQ(done.output, "");
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            EXPECT_FALSE(entry.path().filename().string().starts_with("out.dcm")) << entry.path();
        }
        std::string line = done.errors.substr(0, done.errors.find('\n'));
        EXPECT_TRUE(line.starts_with("radvex: ")) << line;
        return line.substr(std::min<std::size_t>(8, line.size()));
    }
    std::string meta(const std::string& json) const { return folder.write("meta.json", json); }
    std::string metaRefusal(const std::string& json) const {
        const std::string file = meta(json);
        const std::string sentence = refusal({picture(), "--meta", file});
        EXPECT_TRUE(sentence.starts_with(file)) << sentence;
        return sentence.substr(std::min(file.size(), sentence.size()));
    }
    /// As it stands in the file: a reader turns texts into UTF-8 and says so.
    std::string stored(const DcmTagKey& key) const {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(out.c_str()).good());
        OFString value;
        (void)file.getDataset()->findAndGetOFStringArray(key, value);
        return {value.c_str(), value.size()};
    }
    std::string characterSet() const { return stored(DCM_SpecificCharacterSet); }
    /// Bytes of the stored pixels.
    std::string pixels() const {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(out.c_str()).good());
        const Uint8* bytes = nullptr;
        unsigned long count = 0;
        EXPECT_TRUE(file.getDataset()->findAndGetUint8Array(DCM_PixelData, bytes, &count).good());
        return {reinterpret_cast<const char*>(bytes), count};
    }

    TemporaryFolder folder{};
    std::string out = folder.file("out.dcm");
};

} // namespace

TEST_F(WriteCommand, MakesASecondaryCaptureOfAPicture) {
    const Json tags = tagsOf({picture()});
    EXPECT_EQ(tags["SOPClassUID"], "1.2.840.10008.5.1.4.1.1.7");
    EXPECT_EQ(tags["TransferSyntaxUID"], "1.2.840.10008.1.2");
    EXPECT_EQ(tags["Rows"], 2);
    EXPECT_EQ(tags["Columns"], 5);
    EXPECT_EQ(pixels(), std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09", 10));
}

TEST_F(WriteCommand, PixelsComeBackAsTheyWere) {
    std::vector<std::uint16_t> words(30);
    std::iota(words.begin(), words.end(), static_cast<std::uint16_t>(65000));
    const std::string file = npy("u16.npy", "<u2", "(2, 3, 5)", bytesOf(words));
    EXPECT_EQ(tagsOf({file})["NumberOfFrames"], "2");
    const std::string back = folder.file("back.npy");
    ASSERT_EQ(runRadvex({"data", out, "-o", back, "--force"}).status, 0);
    const std::string bytes = readFile(back);
    EXPECT_THAT(bytes, HasSubstr("'<u2', 'fortran_order': False, 'shape': (2,3,5,)"));
    EXPECT_EQ(bytes.substr(bytes.size() - 60), bytesOf(words));
}

TEST_F(WriteCommand, APictureThatWasRenderedComesBackAsItWas) {
    const PngSource source{
        .columns = 2, .rows = 1, .colorType = PNG_COLOR_TYPE_RGB, .data = std::string("\x01\x02\x03\xFA\xFB\xFC", 6)};
    ASSERT_EQ(tagsOf({folder.write("a.png", pngFile(source))})["PhotometricInterpretation"], "RGB");
    EXPECT_EQ(pixels(), source.data);
    ASSERT_EQ(runRadvex({"image", out, "--scaling", "none", "-o", folder.file("b.png")}).status, 0);
    const ProcessResult again = run({folder.file("b.png")});
    EXPECT_EQ(again.status, 0) << again.errors;
    EXPECT_EQ(pixels(), source.data);
}

TEST_F(WriteCommand, RealsBecomeAParametricMap) {
    const std::vector<float> reals{-1.5F, 0.0F, 2.25F, 1e6F};
    EXPECT_EQ(tagsOf({npy("f4.npy", "<f4", "(1, 2, 2)", bytesOf(reals))})["SOPClassUID"], "1.2.840.10008.5.1.4.1.1.30");
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    const Float32* values = nullptr;
    unsigned long count = 0;
    ASSERT_TRUE(file.getDataset()->findAndGetFloat32Array(DCM_FloatPixelData, values, &count).good());
    EXPECT_EQ(std::vector<float>(values, values + count), reals);
}

TEST_F(WriteCommand, SeveralPicturesAreFramesInTheirOrder) {
    const std::string first = folder.write("1.png", pngFile({.columns = 2, .rows = 1, .data = "\x01\x02"}));
    const std::string second = folder.write("2.png", pngFile({.columns = 2, .rows = 1, .data = "\x03\x04"}));
    const std::string two = npy("3.npy", "|u1", "(2, 1, 2)", "\x05\x06\x07\x08");
    EXPECT_EQ(tagsOf({second, first, two})["NumberOfFrames"], "4");
    EXPECT_EQ(pixels(), "\x03\x04\x01\x02\x05\x06\x07\x08");
}

TEST_F(WriteCommand, FramesThatDifferAreNamed) {
    const std::string first = folder.write("1.png", pngFile({.columns = 2, .rows = 1, .data = "\x01\x02"}));
    const std::string second = folder.write("2.png", pngFile({.columns = 1, .rows = 2, .data = "\x01\x02"}));
    EXPECT_EQ(refusal({first, second}), second + " is 2 x 1 u8 grey, and " + first +
                                            " is 1 x 2 u8 grey: all frames of a file have the same size and type.");
}

TEST_F(WriteCommand, AxesOfAnArrayCanBeGiven) {
    const std::string file = npy("a.npy", "|u1", "(2, 1, 3)", "\x01\x02\x03\x04\x05\x06");
    EXPECT_EQ(tagsOf({file})["SamplesPerPixel"], 3);
    const Json tags = tagsOf({file, "--axes", "frames,rows,columns"});
    EXPECT_EQ(tags["SamplesPerPixel"], 1);
    EXPECT_EQ(tags["NumberOfFrames"], "2");
    std::filesystem::remove(out);
    EXPECT_EQ(refusal({file, "--axes", "x,y"}, 2).substr(0, 11), "--axes x,y:");
}

TEST_F(WriteCommand, WhatIsNoPictureIsNamed) {
    const std::string text = folder.write("a.txt", "text");
    EXPECT_EQ(refusal({text}), text + " is neither a PNG nor a .npy file.");
    EXPECT_EQ(refusal({folder.write("empty.png", "")}),
              folder.file("empty.png") + " is neither a PNG nor a .npy file.");
    EXPECT_EQ(refusal({"/nowhere.png"}), "/nowhere.png cannot be read: No such file or directory.");
    EXPECT_EQ(refusal({folder.path().string()}), folder.path().string() + " cannot be read: Is a directory.");
}

TEST_F(WriteCommand, EveryCutOfAPictureIsRefused) {
    const std::string png = pngFile({.columns = 2, .rows = 1, .data = "\x01\x02"});
    const std::string array = npyFile("|u1", "(1, 2)", "\x01\x02");
    for (const std::string& whole : {png, array}) {
        for (std::size_t length = 0; length < whole.size(); length += 7) {
            const std::string file = folder.write("cut", whole.substr(0, length));
            EXPECT_THAT(refusal({file}), StartsWith(file + " ")) << length;
        }
    }
}

TEST_F(WriteCommand, ReadsAPictureFromTheStandardInput) {
    const ProcessResult done =
        runRadvex({"write", "-", "-o", out}, pngFile({.columns = 2, .rows = 1, .data = "\x01\x02"}));
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(pixels(), "\x01\x02");
    const ProcessResult none = runRadvex({"write", "-", "-o", out, "--force"});
    EXPECT_EQ(none.errors, "radvex: The standard input is neither a PNG nor a .npy file.\n");
}

TEST_F(WriteCommand, TagsAreWrittenOverTheDefaults) {
    const Json tags = tagsOf({picture(), "--tag", "PatientName=Doe^Jane", "--tag", "ImageType=DERIVED\\PRIMARY",
                              "--tag", "StudyDescription=a=b", "--tag", "Manufacturer="});
    EXPECT_EQ(tags["PatientName"], "Doe^Jane");
    EXPECT_EQ(tags["ImageType"], "DERIVED\\PRIMARY");
    EXPECT_EQ(tags["StudyDescription"], "a=b");
    EXPECT_EQ(tags["Manufacturer"], "");
    EXPECT_EQ(characterSet(), "") << "ASCII needs none";
}

TEST_F(WriteCommand, ATagThatTheLibraryRefusesIsNamed) {
    EXPECT_EQ(refusal({picture(), "--tag", "Rows=7"}),
              "--tag Rows=7: Could not write tag Rows because it is exclusively written by Velmora Language.");
    EXPECT_EQ(refusal({picture(), "--tag", "NoSuchTag=x"}),
              "--tag NoSuchTag=x: Attribute tag named NoSuchTag does not exist.");
    EXPECT_EQ(refusal({picture(), "--tag", "PatentName=x"}),
              "--tag PatentName=x: Attribute tag named PatentName does not exist; did you mean PatientName?");
    EXPECT_EQ(refusal({picture(), "--tag", "StudyDate=today"}),
              "--tag StudyDate=today: Could not write tag StudyDate with value today.");
    EXPECT_EQ(refusal({picture(), "--tag", "OtherPatientIDsSequence=1"}),
              "--tag OtherPatientIDsSequence=1: Could not write tag OtherPatientIDsSequence with value 1.");
    EXPECT_EQ(refusal({picture(), "--tag", "TransferSyntaxUID=1.2"}),
              "--tag TransferSyntaxUID=1.2: the library alone writes the file's meta information.");
}

TEST_F(WriteCommand, ATagThatIsNoneIsWrongUse) {
    EXPECT_EQ(refusal({picture(), "--tag", "PatientName"}, 2),
              "--tag PatientName: KEYWORD=VALUE is expected, such as PatientName=Doe^Jane.");
    EXPECT_EQ(refusal({picture(), "--tag", "=x"}, 2),
              "--tag =x: KEYWORD=VALUE is expected, such as PatientName=Doe^Jane.");
    EXPECT_THAT(refusal({picture(), "--tag", "PatientName=\xE9"}, 2), HasSubstr("the text is not UTF-8."));
    EXPECT_EQ(refusal({picture(), "--tag", "PatientID=1", "--tag", "PatientID=2"}, 2),
              "--tag PatientID=2: the keyword is given twice; several values of one attribute need a backslash "
              "between them.");
}

TEST_F(WriteCommand, MetadataComesBackAsItWasGiven) {
    const Json given = Json::parse(R"({
        "ImageType": "DERIVED\\SECONDARY", "StudyDate": "20240102", "PatientName": "Müller^Jörg=山田^太郎",
        "OtherPatientIDsSequence": [{"PatientID": "A1", "TypeOfPatientID": "TEXT"}, {"PatientID": "B2"}, {}],
        "ReferencedImageSequence": [{"ReferencedSOPClassUID": "1.2",
                                     "PurposeOfReferenceCodeSequence": [{"CodeValue": "1"}]}],
        "SmallestImagePixelValue": 3, "ReferencePixelX0": -5, "RealWorldValueLUTData": [0.5, 0.25, -1.5],
        "DoubleFloatRealWorldValueFirstValueMapped": 0.125, "LUTExplanation": "a\nb",
        "RedPaletteColorLookupTableData": [0, 255, 65535, 16], "AudioSampleData": [0, 10, 255, 16],
        "SpecificCharacterSet": "ISO_IR 192"})");
    Json expected = given;
    Json tags = tagsOf({picture(), "--meta", meta(given.dump())});
    for (const auto& [keyword, value] : expected.items()) {
        EXPECT_EQ(tags[keyword], value) << keyword;
    }
}

TEST_F(WriteCommand, NumbersBecomeTextsAndListsSeveralValues) {
    const Json tags = tagsOf({picture(), "--meta", meta(R"({"SliceThickness": 1.5, "InstanceNumber": 12,
        "PixelSpacing": [0.5, 2], "ImageType": ["DERIVED", "PRIMARY"], "OtherPatientIDsSequence": [],
        "ImageComments": []})")});
    EXPECT_EQ(tags["SliceThickness"], "1.5");
    EXPECT_EQ(tags["InstanceNumber"], "12");
    EXPECT_EQ(tags["PixelSpacing"], "0.5\\2");
    EXPECT_EQ(tags["ImageType"], "DERIVED\\PRIMARY");
    EXPECT_FALSE(tags.contains("OtherPatientIDsSequence")) << "a sequence comes with its first item";
}

TEST_F(WriteCommand, OptionsGoBeforeTheFileOfMetadata) {
    const Json tags =
        tagsOf({picture(), "--meta", meta(R"({"PatientID": "1", "StudyID": "2"})"), "--tag", "PatientID=3"});
    EXPECT_EQ(tags["PatientID"], "3");
    EXPECT_EQ(tags["StudyID"], "2");
}

TEST_F(WriteCommand, MetadataThatTheLibraryRefusesIsFoundInTheFile) {
    EXPECT_EQ(metaRefusal(R"({"OtherPatientIDsSequence": [{"PatientID": "1"}, {"NoSuchTag": "2"}]})"),
              ": at OtherPatientIDsSequence, item 2, NoSuchTag: Attribute tag named NoSuchTag does not exist.");
    EXPECT_EQ(metaRefusal(R"({"StudyDate": "20240101", "OtherPatientIDsSequence": [{"PatientBirthDate": "x"}]})"),
              ": at OtherPatientIDsSequence, item 1, PatientBirthDate: Could not write tag PatientBirthDate with value "
              "x.");
    EXPECT_EQ(metaRefusal(R"({"PatientID": [{"PatientName": "x"}]})"),
              ": at PatientID: TagKeyword provided for sequence doesn't represent tag with value representation SQ.");
}

TEST_F(WriteCommand, MetadataOfAnotherShapeIsFoundInTheFile) {
    EXPECT_EQ(metaRefusal(R"({"OtherPatientIDsSequence": [{"PatientID": "1"}, "x"]})"),
              ": at OtherPatientIDsSequence, item 2: the items of a sequence have to be objects, as the item before "
              "is.");
    EXPECT_EQ(
        metaRefusal(R"({"OtherPatientIDsSequence": [{"PatientID": ["1", {}]}]})"),
        ": at OtherPatientIDsSequence, item 1, PatientID, item 2: an object is only allowed in a list, as an item of a "
        "sequence.");
    EXPECT_EQ(metaRefusal(R"({"OtherPatientIDsSequence": {"PatientID": "1"}})"),
              ": at OtherPatientIDsSequence: an object is only allowed in a list, as an item of a sequence.");
    for (const char* value : {"true", "null", "[\"a\",null]", "[[1]]"}) {
        EXPECT_THAT(metaRefusal("{\"PatientID\": " + std::string(value) + "}"),
                    HasSubstr("a text, a number or a list is expected, but "))
            << value;
    }
    EXPECT_EQ(metaRefusal("[]"), ": an object of keywords and values is expected, as 'radvex tags --json' or 'radvex "
                                 "tags --dicom-json' prints it.");
    EXPECT_EQ(metaRefusal(R"({"PatientID": "a\u0000b"})"), ": at PatientID: a text cannot contain a zero character.");
    EXPECT_EQ(metaRefusal(R"({"Patient\u0000ID": "a"})"),
              ": at Patient\\u0000ID: a keyword cannot contain a zero character.");
    EXPECT_EQ(metaRefusal(R"({"PatientID": "1", "PatientID": "2"})"), ": PatientID occurs twice in one object.");
    EXPECT_EQ(metaRefusal(R"({"AudioSampleData": [1, 256]})"),
              ": at AudioSampleData, item 2: 256 is not a number from 0 to 255.");
}

TEST_F(WriteCommand, MetadataOfAnotherFileIsTakenAsItIsPrinted) {
    const std::string source = folder.file("source.dcm");
    writeDicom(source, [](DcmDataset& dataset) {
        put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"},
                      {DCM_PatientName, "M\xFCller"},
                      {DCM_StudyInstanceUID, "1.2.3"},
                      {DCM_NumberOfFrames, "7"},
                      {DcmTag(0x0019, 0x0010, EVR_LO), "GEMS_ACQU_01"},
                      {DcmTag(0x0043, 0x0010, EVR_LO), "UNHEARD OF"},
                      {DcmTag(0x6000, 0x1500, EVR_LO), "first"},
                      {DcmTag(0x6002, 0x1500, EVR_LO), "second"}});
        for (const auto& tag : {DcmTag(0x0019, 0x1003, "GEMS_ACQU_01"), DcmTag(0x0043, 0x1001)}) {
            auto* element = new DcmLongString(tag);
            ASSERT_TRUE(element->putString("1").good());
            ASSERT_TRUE(dataset.insert(element).good());
        }
        DcmItem* item = nullptr;
        ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_OtherPatientIDsSequence, item, 0).good());
        ASSERT_TRUE(item->putAndInsertString(DCM_PatientID, "A1").good());
        ASSERT_TRUE(item->putAndInsertString(DCM_NumberOfFrames, "9").good()) << "of something else";
    });
    const std::string file = meta(runRadvex({"tags", "--json", source}).output);
    const ProcessResult done = run({picture(), "--meta", file});
    EXPECT_EQ(done.status, 0);
    EXPECT_THAT(done.errors,
                HasSubstr(file + ": left out, because only standard attributes with a keyword of their own can be "
                                 "written: PrivateCreator, CellNumberAtTheta, PrivateCreator#2, 0043_1001, "
                                 "OverlayLabel#2.\n"));
    EXPECT_THAT(done.errors, HasSubstr("the library alone writes the file's meta information: "));
    EXPECT_THAT(done.errors, HasSubstr(file + ": left out, because the pictures determine them: SOPClassUID, "
                                              "SOPInstanceUID, StudyInstanceUID, NumberOfFrames.\n"));
    EXPECT_THAT(done.errors, HasSubstr("'radvex tags --dicom-json' tells them apart."));
    Json tags = Json::parse(runRadvex({"tags", "--json", out}).output);
    EXPECT_EQ(tags["PatientName"], "M\xC3\xBCller");
    EXPECT_NE(tags["StudyInstanceUID"], "1.2.3");
    EXPECT_EQ(tags["OtherPatientIDsSequence"], (Json{{{"PatientID", "A1"}, {"NumberOfFrames", "9"}}}));
    EXPECT_FALSE(tags.contains("NumberOfFrames"));
    EXPECT_EQ(tags["OverlayLabel"], "first");
    DcmFileFormat written;
    ASSERT_TRUE(written.loadFile(out.c_str()).good());
    for (unsigned long number = 0; number < written.getDataset()->card(); ++number) {
        EXPECT_EQ(written.getDataset()->getElement(number)->getGTag() % 2, 0);
    }
}

TEST_F(WriteCommand, WhatThePicturesDetermineIsLeftOutInItemsToo) {
    const std::string file = meta(R"({"OtherPatientIDsSequence": [{"PatientID": "1", "Rows": 7}], "Rows": 7})");
    EXPECT_THAT(run({picture(), "--meta", file}),
                exitsSaying(0, "radvex: " + file + ": left out, because the pictures determine them: Rows.\n"));
    Json tags = Json::parse(runRadvex({"tags", "--json", out}).output);
    EXPECT_EQ(tags["OtherPatientIDsSequence"], (Json{{{"PatientID", "1"}}}));
    EXPECT_EQ(tags["Rows"], 2);
}

TEST_F(WriteCommand, TagsThatWouldMakeAFileThatCannotBeReadAreRefused) {
    EXPECT_EQ(refusal({picture(), "--tag", "NumberOfFrames=3"}),
              "--tag NumberOfFrames=3: the pictures determine this attribute, and it is 1 for them; leave it out.");
    EXPECT_EQ(refusal({picture(), picture(), "--tag", "NumberOfFrames=1"}),
              "--tag NumberOfFrames=1: the pictures determine this attribute, and it is 2 for them; leave it out.");
    EXPECT_EQ(tagsOf({picture(), "--tag", "NumberOfFrames=1"})["NumberOfFrames"], "1");
    EXPECT_EQ(tagsOf({picture(), picture(), "--tag", "NumberOfFrames=2"})["NumberOfFrames"], "2");
    const std::string colour = npy("rgb.npy", "|u1", "(1, 2, 3)", "abcdef");
    std::filesystem::remove(out);
    EXPECT_EQ(
        refusal({colour, "--tag", "PlanarConfiguration=1"}),
        "--tag PlanarConfiguration=1: the pictures determine this attribute, and it is 0 for them; leave it out.");
    EXPECT_EQ(tagsOf({colour, "--tag", "PlanarConfiguration=0"})["PlanarConfiguration"], 0);
}

TEST_F(WriteCommand, APrivateAttributeIsNotWrittenWithoutItsCreator) {
    EXPECT_EQ(refusal({picture(), "--tag", "CellNumberAtTheta=1"}),
              "--tag CellNumberAtTheta=1: only standard attributes can be written, and this one is private.");
    EXPECT_EQ(tagsOf({picture(), "--tag", "TableSpeed=1"})["TableSpeed"], 1) << "the name of private ones too";
}

TEST_F(WriteCommand, WhatIsNoJsonIsFoundByLineAndColumn) {
    EXPECT_EQ(metaRefusal("{\"PatientID\": \"1\",\n  x}"), " is not valid JSON: the error is at line 2, column 3.");
    EXPECT_EQ(metaRefusal(""), " is not valid JSON: the error is at line 1, column 1.");
    EXPECT_THAT(metaRefusal("{\"PatientID\": \"\xE9\"}"), HasSubstr(" is not valid JSON: the error is at line 1, "));
    EXPECT_THAT(metaRefusal(std::string(1000000, '[')), HasSubstr(" is not valid JSON: the error is at line 1, "));
    EXPECT_EQ(refusal({picture(), "--meta", "/nowhere.json"}),
              "/nowhere.json cannot be read: No such file or directory.");
}

TEST_F(WriteCommand, MetadataNestsUpToAHundredSequences) {
    const auto nested = [&](int levels) {
        std::string json = R"({"PatientID": "1"})";
        for (int level = 0; level < levels; ++level) {
            json.insert(0, R"({"ContentSequence": [)").append("]}");
        }
        return json;
    };
    EXPECT_EQ(run({picture(), "--meta", meta(nested(100))}).status, 0);
    std::filesystem::remove(out);
    EXPECT_TRUE(metaRefusal(nested(101)).ends_with(": sequences are nested more than 100 deep."));
    EXPECT_TRUE(metaRefusal(nested(20000)).ends_with(": sequences are nested more than 100 deep."));
}

TEST_F(WriteCommand, TextBeyondAsciiSaysItsCharacterSet) {
    const std::string name = "M\u00fcller";
    EXPECT_EQ(tagsOf({picture(), "--tag", "PatientName=" + name})["PatientName"], name);
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    (void)tagsOf({picture(), "--meta", meta(R"({"OtherPatientIDsSequence": [{"PatientID": "Ü"}]})")});
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    (void)tagsOf({picture(), "--overlay", picture(), "--overlay-option", "OverlayLabel=" + name});
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    (void)tagsOf({picture(), "--tag", "PatientName=Doe", "--tag", "SpecificCharacterSet=ISO_IR 100"});
    EXPECT_EQ(characterSet(), "ISO_IR 100");
}

TEST_F(WriteCommand, BytesThatAreNoTextComeBackAsTheyWere) {
    const Json name{{"bytes", "1M/A3j0bJEI7M0U="}}; // ends in the middle of a character
    const Json given{{"SpecificCharacterSet", "ISO 2022 IR 13\\ISO 2022 IR 87"},
                     {"PatientName", name},
                     {"OtherPatientIDsSequence", Json::array({Json{{"PatientID", {{"bytes", "//4="}}}}})}};
    Json tags = tagsOf({picture(), "--meta", meta(given.dump())});
    EXPECT_EQ(tags["PatientName"], name);
    EXPECT_EQ(tags["OtherPatientIDsSequence"][0]["PatientID"], (Json{{"bytes", "//4="}}));
    EXPECT_EQ(characterSet(), "ISO 2022 IR 13\\ISO 2022 IR 87");
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    const char* stored = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetString(DCM_PatientName, stored).good());
    EXPECT_STREQ(stored, "\xD4\xCF\xC0\xDE=\x1B$B;3E");
    tags = tagsOf({picture(), "--meta", meta(R"({"PatientComments": [{"bytes": "YQ=="}, {"bytes": "Yg=="}]})")});
    EXPECT_EQ(tags["PatientComments"], "a\\b");
}

TEST_F(WriteCommand, BytesHaveToBeBase64WithoutAZero) {
    EXPECT_EQ(metaRefusal(R"({"PatientID": {"bytes": "a"}})"),
              ": at PatientID: The length of the base64 text is not a multiple of 4.");
    EXPECT_EQ(metaRefusal(R"({"PatientID": {"bytes": "YQBi"}})"),
              ": at PatientID: a text cannot contain a zero character.");
    EXPECT_EQ(metaRefusal(R"({"PatientID": {"bytes": 1}})"),
              ": at PatientID: an object is only allowed in a list, as an item of a sequence.");
}

TEST_F(WriteCommand, TextBeyondAsciiIsInTheCharacterSetThatIsGivenWhereItFits) {
    const Json tags = tagsOf({picture(), "--tag", "PatientName=M\u00fcller", "--tag", "SpecificCharacterSet=ISO_IR 100",
                              "--overlay", picture(), "--overlay-option", "OverlayLabel=L\u00e4sion"});
    EXPECT_EQ(tags["PatientName"], "M\u00fcller");
    EXPECT_EQ(characterSet(), "ISO_IR 100");
    EXPECT_EQ(stored(DCM_PatientName), "M\xFCller");
    EXPECT_EQ(stored(DcmTagKey(0x6000, 0x1500)), "L\xE4sion");
    (void)tagsOf({picture(), "--meta", meta(R"({"SpecificCharacterSet": ["", "ISO 2022 IR 87"],
                                               "PatientName": "Yamada^Tarou=山田^太郎"})")});
    EXPECT_EQ(characterSet(), "\\ISO 2022 IR 87");
    EXPECT_EQ(stored(DCM_PatientName), "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B");
}

TEST_F(WriteCommand, TextOfAnItemIsInTheItemsCharacterSet) {
    const Json tags = tagsOf({picture(), "--meta", meta(R"({"SpecificCharacterSet": "ISO_IR 100", "PatientName": "Ü",
        "OtherPatientIDsSequence": [{"SpecificCharacterSet": "ISO_IR 144", "PatientID": "Л"}, {"PatientID": "É"}]})")});
    EXPECT_EQ(tags["OtherPatientIDsSequence"][0]["PatientID"], "Л");
    EXPECT_EQ(tags["OtherPatientIDsSequence"][1]["PatientID"], "É");
    EXPECT_EQ(characterSet(), "ISO_IR 100");
    DcmItem* item = nullptr;
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    ASSERT_TRUE(file.getDataset()->findAndGetSequenceItem(DCM_OtherPatientIDsSequence, item, 0).good());
    EXPECT_EQ(textOf(*item, DCM_PatientID), "\xBB");
    EXPECT_EQ(textOf(*item, DCM_SpecificCharacterSet), "ISO_IR 144");
}

TEST_F(WriteCommand, TextThatDoesNotFitTheCharacterSetThatIsGivenMakesAllOfTheFileUtf8) {
    (void)tagsOf({picture(), "--tag", "PatientName=Ü", "--tag", "PatientComments=山", "--tag",
                  "SpecificCharacterSet=ISO_IR 100"});
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    EXPECT_EQ(stored(DCM_PatientName), "Ü");
    EXPECT_EQ(stored(DCM_PatientComments), "山");
    const Json tags = tagsOf({picture(), "--meta", meta(R"({"SpecificCharacterSet": "ISO_IR 100", "PatientName": "山",
        "PatientComments": {"bytes": "/A=="},
        "OtherPatientIDsSequence": [{"SpecificCharacterSet": "ISO_IR 144", "PatientID": "Л"}]})")});
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    EXPECT_EQ(stored(DCM_PatientComments), "ü") << "bytes of the set that was given";
    EXPECT_EQ(tags["OtherPatientIDsSequence"][0], (Json{{"PatientID", "Л"}})) << "without a set of its own";
    (void)tagsOf({picture(), "--meta", meta(R"({"PatientName": "Ü",
        "OtherPatientIDsSequence": [{"SpecificCharacterSet": "", "PatientID": "1"}]})")});
    EXPECT_EQ(characterSet(), "ISO_IR 192");
    std::filesystem::remove(out);
    EXPECT_EQ(
        metaRefusal(R"({"SpecificCharacterSet": "ISO_IR 6", "PatientName": "Ü", "PatientID": {"bytes": "/A=="}})"),
        ": at PatientID: these bytes are no text in the character set of the file, which has to become UTF-8 for "
        "another text.");
}

TEST_F(WriteCommand, DefaultsHoldForTheRun) {
    EXPECT_EQ(tagsOf({picture(), "--default", "Modality=CT"})["Modality"], "CT");
    EXPECT_EQ(tagsOf({picture(), "--default", "ConversionType=DV"})["ConversionType"], "DV")
        << "a reserved keyword can be set so";
    EXPECT_EQ(tagsOf({picture()})["Modality"], "OT");
    std::filesystem::remove(out);
    EXPECT_EQ(refusal({picture(), "--default", "StudyDate=today"}),
              "--default StudyDate=today: Could not write tag StudyDate with value today.");
    EXPECT_EQ(refusal({picture(), "--default", "ReferringPhysicianName=Doe"}).substr(0, 46),
              "--default ReferringPhysicianName=Doe: Error wr")
        << "the library writes it into a time";
    EXPECT_EQ(refusal({picture(), "--default", "PatientName=\u00dc"}),
              "--default PatientName=\u00dc: Error writing tag PatientName : Invalid character");
    EXPECT_EQ(refusal({picture(), "--default", "Modality"}, 2),
              "--default Modality: KEYWORD=VALUE is expected, such as PatientName=Doe^Jane.");
}

TEST_F(WriteCommand, CompressedPixelsComeBack) {
    std::string data(64 * 64, '\0');
    for (std::size_t index = 0; index < data.size(); ++index) {
        data[index] = static_cast<char>(index / 64 + index % 64);
    }
    const std::string file = npy("a.npy", "|u1", "(64, 64)", data);
    const std::vector<std::pair<std::string, std::string>> lossless{
        {"JPEGLossless", "1.2.840.10008.1.2.4.70"},
        {"JPEGLosslessNonhierarchical:2,0", "1.2.840.10008.1.2.4.57"},
        {"JPEG-LSLossless", "1.2.840.10008.1.2.4.80"},
        {"RLE", "1.2.840.10008.1.2.5"},
        {"Uncompressed", "1.2.840.10008.1.2"}};
    for (const auto& [name, syntax] : lossless) {
        EXPECT_EQ(tagsOf({file, "--compress", name})["TransferSyntaxUID"], syntax) << name;
        const std::string back = folder.file("back.npy");
        EXPECT_EQ(runRadvex({"data", out, "-o", back, "--force"}).status, 0);
        const std::string bytes = readFile(back);
        EXPECT_EQ(bytes.substr(bytes.size() - data.size()), data) << name;
    }
    EXPECT_EQ(tagsOf({file, "--compress", "JPEGLossy8bit:75"})["TransferSyntaxUID"], "1.2.840.10008.1.2.4.50");
    EXPECT_EQ(tagsOf({file, "--compress", "JPEG-LSLossy:3"})["TransferSyntaxUID"], "1.2.840.10008.1.2.4.81");
}

TEST_F(WriteCommand, TheQualityOfACompressionCounts) {
    std::string data(64 * 64, '\0');
    for (std::size_t index = 0; index < data.size(); ++index) {
        data[index] = static_cast<char>((index * index * 31) >> 5);
    }
    const std::string file = npy("a.npy", "|u1", "(64, 64)", data);
    ASSERT_EQ(run({file, "--compress", "JPEGLossy8bit:10"}).status, 0);
    const auto small = std::filesystem::file_size(out);
    ASSERT_EQ(run({file, "--compress", "JPEGLossy8bit:100"}).status, 0);
    EXPECT_LT(small * 2, std::filesystem::file_size(out));
}

TEST_F(WriteCommand, ACompressionThatIsNoneIsWrongUse) {
    EXPECT_EQ(refusal({picture(), "--compress", "rle"}, 2),
              "--compress rle: the names are Uncompressed, JPEGLossless, JPEGLosslessNonhierarchical, JPEGLossy8bit, "
              "JPEGLossy12bit, JPEG-LSLossless, JPEG-LSLossy, RLE.");
    EXPECT_EQ(refusal({picture(), "--compress", "JPEGLossy8bit:101"}, 2),
              "--compress JPEGLossy8bit:101: the quality is a number from 0 to 100.");
    EXPECT_EQ(refusal({picture(), "--compress", "JPEGLossless:6"}, 2),
              "--compress JPEGLossless:6: the selection value is always 1.");
    EXPECT_EQ(refusal({picture(), "--compress", "JPEGLossless:1,x"}, 2),
              "--compress JPEGLossless:1,x: the point transform is a number from 0 to 15.");
    EXPECT_EQ(refusal({picture(), "--compress", "JPEGLossy8bit:"}, 2),
              "--compress JPEGLossy8bit:: the quality is a number from 0 to 100.");
    EXPECT_EQ(refusal({picture(), "--compress", "RLE:1"}, 2), "--compress RLE:1: the number 1 is not expected.");
    EXPECT_EQ(refusal({picture(), "--compress", "JPEGLossy8bit:9,9"}, 2),
              "--compress JPEGLossy8bit:9,9: the number 9 is not expected.");
}

TEST_F(WriteCommand, ACompressionThatDoesNotTakeThePictureIsNamed) {
    EXPECT_EQ(refusal({npy("b.npy", "<f8", "(2, 1, 1)", "abcdefghijklmnop"), "--compress", "JPEGLossy8bit"}),
              "A picture of 2 frames of 1 x 1 f64 grey cannot be compressed as JPEGLossy8bit.");
    EXPECT_EQ(refusal({npy("a.npy", "<f4", "(1, 1)", "abcd"), "--compress", "RLE"}),
              "A picture of 1 x 1 f32 grey cannot be compressed as RLE.");
}

TEST_F(WriteCommand, OtherRefusalsOfTheLibraryAreSaidAsTheyAre) {
    EXPECT_EQ(refusal({npy("a.npy", "<u2", "(2, 1, 1, 3)", "abcdefghijkl")}),
              "Error writing an Image(s) : Multi-frame True Color SC Image IOD doesn't support 16bit channels.");
    EXPECT_EQ(refusal({npy("a.npy", "<f4", "(1, 1, 3)", "abcdefghijkl")}),
              "Error writing an Image(s) : Parametric Map IOD doesn't support 32bit floating point RGB images.");
}

TEST_F(WriteCommand, OverlaysAreWrittenWithTheirProperties) {
    const std::string bits =
        folder.write("bits.png", pngFile({.columns = 5, .rows = 2, .bits = 1, .data = std::string("\xA8\x50", 2)}));
    const std::string bytes = npy("mask.npy", "|u1", "(2, 1, 3)", std::string("\x00\x01\x02\xFF\x00\x00", 6));
    const Json tags = tagsOf({picture(), "--overlay", bits, "--overlay", bytes, "--overlay-option", "OverlayType=R",
                              "--overlay-option", "1:OriginRow=-3", "--overlay-option", "2:OverlayLabel=L: a=b",
                              "--overlay-option", "2:ImageFrameOrigin=4", "--overlay-option", "OverlayDescription=d",
                              "--overlay-option", "1:OverlaySubtype=s", "--overlay-option", "2:OriginColumn=7"});
    EXPECT_EQ(tags["OverlayRows"], 2);
    EXPECT_EQ(tags["OverlayColumns"], 5);
    EXPECT_EQ(tags["OverlayOrigin"], Json::array({-3, 1}));
    EXPECT_EQ(tags["OverlaySubtype"], "s");
    EXPECT_EQ(tags["OverlayType"], "R");
    EXPECT_EQ(tags["OverlayDescription"], "d");
    EXPECT_EQ(tags["OverlayRows#2"], 1);
    EXPECT_EQ(tags["OverlayColumns#2"], 3);
    EXPECT_EQ(tags["NumberOfFramesInOverlay#2"], "2");
    EXPECT_EQ(tags["OverlayOrigin#2"], Json::array({1, 7}));
    EXPECT_EQ(tags["ImageFrameOrigin#2"], 4);
    EXPECT_EQ(tags["OverlayType#2"], "R");
    EXPECT_EQ(tags["OverlayLabel"], "L: a=b") << "the only one";
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(out.c_str()).good());
    const Uint16* words = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetUint16Array(DcmTagKey(0x6000, 0x3000), words).good());
    EXPECT_EQ(words[0], 0b01010'10101) << "the first pixel is the lowest bit";
    ASSERT_TRUE(file.getDataset()->findAndGetUint16Array(DcmTagKey(0x6002, 0x3000), words).good());
    EXPECT_EQ(words[0], 0b001'110);
}

TEST_F(WriteCommand, AnOverlayThatIsNoneIsNamed) {
    const std::string colour = npy("rgb.npy", "|u1", "(1, 1, 1, 3)", "abc");
    EXPECT_EQ(refusal({picture(), "--overlay", colour}),
              colour + " is 1 frames of 1 x 1 u8 RGB; an overlay is grey of 1, 8 or 16 bits.");
    const std::string real = npy("real.npy", "<f4", "(1, 1)", "abcd");
    EXPECT_EQ(refusal({picture(), "--overlay", real}),
              real + " is 1 x 1 f32 grey; an overlay is grey of 1, 8 or 16 bits.");
    EXPECT_THAT(refusal({picture(), "--overlay", "/nowhere"}), HasSubstr("cannot be read"));
    Words words{picture()};
    for (int count = 0; count < 17; ++count) {
        words.insert(words.end(), {"--overlay", picture()});
    }
    EXPECT_EQ(refusal(words), "Maximum number of overlay planes (16) exceeded.");
}

TEST_F(WriteCommand, APropertyThatIsNoneIsWrongUse) {
    const auto sentence = [&](const std::string& property, int status = 2) {
        return refusal({picture(), "--overlay", picture(), "--overlay-option", property}, status);
    };
    EXPECT_EQ(sentence("Origin=1"),
              "--overlay-option Origin=1: the properties are OriginRow, OriginColumn, ImageFrameOrigin, OverlayType, "
              "OverlayDescription, OverlaySubtype, OverlayLabel.");
    EXPECT_EQ(sentence("OriginRow=one"), "--overlay-option OriginRow=one: a whole number is expected.");
    EXPECT_EQ(sentence("2:OriginRow=1"),
              "--overlay-option 2:OriginRow=1: there is no overlay with that number; the number of overlays is 1.");
    EXPECT_EQ(sentence("0:OriginRow=1").substr(0, 30), "--overlay-option 0:OriginRow=1");
    EXPECT_EQ(sentence("99999999999:OriginRow=1").substr(0, 30), "--overlay-option 99999999999:O");
    EXPECT_THAT(sentence("OriginRow"), HasSubstr("KEYWORD=VALUE is expected"));
    EXPECT_EQ(sentence("OriginRow=40000", 1), "Invalid value for overlay property OriginRow.");
    EXPECT_EQ(sentence("ImageFrameOrigin=-1", 1), "Invalid value for overlay property ImageFrameOrigin.");
}

TEST_F(WriteCommand, AFileThatIsThereStaysWhenTheWriteFails) {
    std::filesystem::create_directory(folder.file("sub"));
    out = folder.file("sub/kept.dcm");
    std::ignore = folder.write("sub/kept.dcm", "before");
    EXPECT_EQ(run({picture(), "--tag", "Rows=1"}).status, 1);
    EXPECT_EQ(run({picture(), "--tag", "Rows"}).status, 2);
    EXPECT_EQ(readFile(out), "before");
    EXPECT_EQ(tagsOf({picture()})["Rows"], 2) << "and is replaced when it does not";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.file("sub")), {}), 1) << "nothing else is left";
}

TEST_F(WriteCommand, TargetsThatCannotBeWrittenAreNamed) {
    const auto errorsOf = [&](const std::string& target) {
        const ProcessResult done = runRadvex({"write", picture(), "-o", target});
        EXPECT_EQ(done.status, 1);
        return done.errors;
    };
    EXPECT_EQ(errorsOf("/nowhere/a.dcm"), "radvex: /nowhere/a.dcm cannot be written: No such file or directory.\n");
    EXPECT_EQ(errorsOf("/dev/null"), "radvex: /dev/null cannot be written: it exists and is not a regular file.\n");
    EXPECT_EQ(errorsOf(folder.path().string()),
              "radvex: " + folder.path().string() + " cannot be written: it exists and is not a regular file.\n");
    EXPECT_FALSE(std::filesystem::is_regular_file("/dev/null"));
}

TEST_F(WriteCommand, WritesToTheStandardOutput) {
    const ProcessResult done = runRadvex({"write", picture(), "-o", "-"});
    EXPECT_THAT(done, exitsSaying(0, ""));
    std::ignore = folder.write("out.dcm", done.output);
    EXPECT_EQ(pixels(), std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09", 10));
    const ProcessResult full =
        runProcess({"bash", "-c", std::string(RADVEX_COMMAND) + " write " + picture() + " -o - > /dev/full"});
    EXPECT_THAT(full, exitsSaying(1, "radvex: The standard output cannot be written: No space left on device.\n"));
}

TEST_F(WriteCommand, WithoutPictureOrOutputShowsItsUsage) {
    for (const auto& words : std::vector<Words>{
             {"write"}, {"write", picture()}, {"write", "-o", out}, {"write", picture(), "-o", out, "--nope"}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(2, HasSubstr("See 'radvex help write'.")));
    }
}

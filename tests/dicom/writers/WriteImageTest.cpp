#include <filesystem>

#include "host/CallFrame.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class WriteImage : public WriterTest {
  protected:
    std::string sopClassOf(vint type, vint slices, vint channels) {
        load(write({.image = spelledImage(type, slices, 2, 3, channels)}));
        EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPClassUID), valueOf(DCM_SOPClassUID));
        return valueOf(DCM_SOPClassUID);
    }
};

const std::string kSecondaryCapture = "1.2.840.10008.5.1.4.1.1.7";

} // namespace

TEST_F(WriteImage, OneSliceIsASecondaryCaptureWhateverItsChannels) {
    for (const vint type : {VImage_Bit, VImage_U8, VImage_U16}) {
        for (const vint channels : {1, 2, 3, 4}) {
            EXPECT_EQ(sopClassOf(type, 0, channels), kSecondaryCapture) << type << ' ' << channels;
            EXPECT_EQ(valueOf(DCM_NumberOfFrames), "(none)");
            EXPECT_EQ(valueOf(DCM_BurnedInAnnotation), "(none)");
        }
    }
    EXPECT_EQ(sopClassOf(VImage_U8, 1, 1), kSecondaryCapture) << "a 3D image of one slice";
}

TEST_F(WriteImage, SeveralSlicesAreAMultiFrameClassByDepthAndChannels) {
    EXPECT_EQ(sopClassOf(VImage_Bit, 2, 1), kSecondaryCapture + ".2");
    EXPECT_EQ(sopClassOf(VImage_U8, 2, 1), kSecondaryCapture + ".2");
    EXPECT_EQ(sopClassOf(VImage_U16, 2, 1), kSecondaryCapture + ".3");
    EXPECT_EQ(sopClassOf(VImage_Bit, 2, 3), kSecondaryCapture + ".4");
    EXPECT_EQ(sopClassOf(VImage_U8, 2, 3), kSecondaryCapture + ".4");
    EXPECT_EQ(valueOf(DCM_NumberOfFrames), "2");
    EXPECT_EQ(valueOf(DCM_BurnedInAnnotation), "NO");
}

TEST_F(WriteImage, TwoChannelsAreColourForTheClassAndMonochromeForThePixels) {
    EXPECT_EQ(sopClassOf(VImage_U8, 2, 2), kSecondaryCapture + ".4");
    expectValues({{DCM_SamplesPerPixel, "2"},
                  {DCM_PhotometricInterpretation, "MONOCHROME2"},
                  {DCM_PlanarConfiguration, "(none)"}});
}

TEST_F(WriteImage, SeveralSlicesOf16BitColourHaveNoClass) {
    const WriteArguments arguments{.image = spelledImage(VImage_U16, 2, 2, 3, 3)};
    EXPECT_EQ(writeCode(arguments), kImageWriteError);
    EXPECT_EQ(writeMessage(arguments), "Error writing an Image(s) : Multi-frame True Color SC Image IOD doesn't "
                                       "support 16bit channels.");
    EXPECT_FALSE(wasWritten());
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_U16, 2, 2, 3, 2)}), kImageWriteError) << "two channels count";
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_U16, 1, 2, 3, 3)}), 0) << "one slice has one";
}

TEST_F(WriteImage, WithoutAClassNothingElseIsLookedAt) {
    setDefault("ReferringPhysicianName", "no time");
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_U16, 2, 2, 3, 3)}), kImageWriteError);
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_U16, 2, 2, 3, 1)}), -77) << "which is where it would be noticed";
}

TEST_F(WriteImage, AttributesOfBytes) {
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1)}));
    expectValues({{DCM_SamplesPerPixel, "1"},
                  {DCM_PhotometricInterpretation, "MONOCHROME2"},
                  {DCM_PlanarConfiguration, "(none)"},
                  {DCM_Rows, "2"},
                  {DCM_Columns, "3"},
                  {DCM_BitsAllocated, "8"},
                  {DCM_BitsStored, "8"},
                  {DCM_HighBit, "7"},
                  {DCM_PixelRepresentation, "0"},
                  {DCM_InstanceNumber, "1"},
                  {DCM_Modality, "OT"},
                  {DCM_SeriesNumber, "1"},
                  {DCM_Manufacturer, "Velmora Research"},
                  {DCM_ConversionType, "SYN"},
                  {DCM_PatientName, ""},
                  {DCM_PatientID, ""},
                  {DCM_PatientBirthDate, ""},
                  {DCM_PatientSex, ""},
                  {DCM_StudyDate, ""},
                  {DCM_StudyTime, ""},
                  {DCM_StudyID, ""},
                  {DCM_AccessionNumber, ""},
                  {DCM_ContentDate, "(none)"}});
}

TEST_F(WriteImage, BitsAreSignedBytesAndBytesAreNot) {
    load(write({.image = spelledImage(VImage_Bit, 0, 2, 3, 1)}));
    expectValues({{DCM_BitsAllocated, "8"}, {DCM_BitsStored, "8"}, {DCM_HighBit, "7"}, {DCM_PixelRepresentation, "1"}});
}

TEST_F(WriteImage, AttributesOfWords) {
    load(write({.image = spelledImage(VImage_U16, 3, 4, 5, 1)}));
    expectValues({{DCM_BitsAllocated, "16"},
                  {DCM_BitsStored, "16"},
                  {DCM_HighBit, "15"},
                  {DCM_PixelRepresentation, "0"},
                  {DCM_NumberOfFrames, "3"},
                  {DCM_Rows, "4"},
                  {DCM_Columns, "5"}});
}

TEST_F(WriteImage, ColourSaysHowItLies) {
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 3, true)}));
    expectValues({{DCM_SamplesPerPixel, "3"}, {DCM_PhotometricInterpretation, "RGB"}, {DCM_PlanarConfiguration, "0"}});
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 3, false)}));
    EXPECT_EQ(valueOf(DCM_PlanarConfiguration), "1");
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 4, true)}));
    expectValues({{DCM_SamplesPerPixel, "4"}, {DCM_PhotometricInterpretation, "RGB"}, {DCM_PlanarConfiguration, "0"}});
}

TEST_F(WriteImage, EachFileHasUidsOfItsOwnAndTheMetaInformationRepeatsThem) {
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1)}));
    const std::string instance = valueOf(DCM_SOPInstanceUID);
    const std::string study = valueOf(DCM_StudyInstanceUID);
    const std::string series = valueOf(DCM_SeriesInstanceUID);
    EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPInstanceUID), instance);
    EXPECT_EQ(metaValueOf(DCM_TransferSyntaxUID), "1.2.840.10008.1.2");
    EXPECT_TRUE(instance != study && study != series && series != instance);
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1)}));
    EXPECT_NE(valueOf(DCM_SOPInstanceUID), instance);
    EXPECT_NE(valueOf(DCM_StudyInstanceUID), study);
    EXPECT_NE(valueOf(DCM_SeriesInstanceUID), series);
}

TEST_F(WriteImage, PixelsLieAsInTheImage) {
    for (const vint type : {VImage_Bit, VImage_U8, VImage_U16}) {
        for (const vint slices : {0, 1, 2}) {
            for (const bool interleaved : {true, false}) {
                for (const vint channels : {1, 3}) {
                    if (type == VImage_U16 && slices == 2 && channels == 3) {
                        continue; // no class has room for it
                    }
                    const Image image = spelledImage(type, slices, 3, 5, channels, interleaved);
                    std::vector<int> expected;
                    if (type == VImage_U16) {
                        for (const auto value : image.data<std::uint16_t>()) {
                            expected.push_back(value);
                        }
                    } else {
                        for (const auto value : image.data<std::uint8_t>()) {
                            expected.push_back(value);
                        }
                    }
                    EXPECT_EQ(storedValues(write({.image = image})), expected)
                        << type << ' ' << slices << ' ' << channels << ' ' << interleaved;
                }
            }
        }
    }
}

TEST_F(WriteImage, ReadImageGivesBackTheSameBytes) {
    const Image image = spelledImage(VImage_U8, 2, 3, 5, 3);
    const auto path = write({.image = image});
    const Value read = call("ReadImage", {path, 0, 0, scaling(-3.0), false, 1});
    EXPECT_EQ(elementsOf<std::uint8_t>(read.get<Image>()), elementsOf<std::uint8_t>(image));
    EXPECT_EQ(read.get<Image>().info().slices, 2);
    EXPECT_EQ(read.get<Image>().info().channels, 3);
}

TEST_F(WriteImage, AnOddNumberOfBytesGetsOneBehind) {
    load(write({.image = spelledImage(VImage_U8, 0, 1, 3, 1)}));
    DcmElement* pixels = nullptr;
    ASSERT_TRUE(loaded.getDataset()->findAndGetElement(DCM_PixelData, pixels).good());
    EXPECT_EQ(pixels->getLength(), 4U);
}

TEST_F(WriteImage, SizesAreCutTo16Bits) {
    load(write({.image = spelledImage(VImage_U8, 0, 2, 65536 + 7, 1)}));
    expectValues({{DCM_Rows, "2"}, {DCM_Columns, "7"}});
    DcmElement* pixels = nullptr;
    ASSERT_TRUE(loaded.getDataset()->findAndGetElement(DCM_PixelData, pixels).good());
    EXPECT_EQ(pixels->getLength(), 2U * (65536 + 7));
}

TEST_F(WriteImage, AnExistingFileIsReplaced) {
    folder.write("w.dcm", std::string(100000, 'x'));
    load(write({.image = spelledImage(VImage_U8, 0, 2, 3, 1)}));
    EXPECT_EQ(valueOf(DCM_Rows), "2");
    EXPECT_LT(std::filesystem::file_size(folder.file("w.dcm")), 10000U);
}

TEST_F(WriteImage, OnlyOneOfTheFiveTypesIsAnImage) {
    EXPECT_EQ(codeOf("WriteImage", {folder.file("w.dcm"), Null{}, Store::empty(), Store::empty(), "Uncompressed", 0, 0,
                                    Store::empty()}),
              -25);
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteImage, NullStoresAreRefused) {
    for (const std::size_t index : {2U, 3U, 7U}) {
        auto values = valuesOf(folder.file("w.dcm"), {.image = spelledImage(VImage_U8, 0, 2, 3, 1)});
        values[index] = Null{};
        EXPECT_EQ(codeOf("WriteImage", values), -25) << index;
    }
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteImage, ParametersAreReadOnlyForACompression) {
    const auto writeImage = reinterpret_cast<VelmoraFunction>(host().symbol("WriteImage"));
    const auto values = valuesOf(folder.file("w.dcm"), {.image = spelledImage(VImage_U8, 0, 2, 3, 1)});
    const Declaration declaration{"",
                                  {VType_UTF8String, VType_Image, VType_DataStore, VType_DataStore, VType_UTF8String,
                                   VType_Integer, VType_Integer, VType_DataStore},
                                  VType_Undef};
    CallFrame frame(declaration, values);
    frame.args()[5].integer = nullptr; // cells that lead nowhere
    frame.args()[6].integer = nullptr;
    EXPECT_EQ(writeImage(host().services().table(), frame.argc(), frame.args(), VArgument{}), 0);
    EXPECT_TRUE(wasWritten());
}

TEST_F(WriteImage, ACompressionThatIsNotKnownIsFoundWhenAllElseIsDone) {
    for (const char* name : {"uncompressed", "jpeglossless", "", "JPEG2000"}) {
        const WriteArguments arguments{.image = spelledImage(VImage_U8, 0, 2, 3, 1), .compression = name};
        EXPECT_EQ(writeMessage(arguments), "Error writing an Image(s) : Unknown compression method.") << name;
        WriteArguments reserved = arguments;
        reserved.metadata = texts({{"Rows", "5"}});
        EXPECT_EQ(writeCode(reserved), -75) << "metadata comes first";
    }
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteImage, APixelValueOver4GiBIsRefusedBeforeAnythingIsComposed) {
    // Nobody touches or copies these zeros, so the system never provides the memory.
    auto values = valuesOf(folder.file("w.dcm"), {.image = spelledImage(VImage_U8, 0, 2, 3, 1)});
    values[1] = Image(0, 32768, 32769, 1, VImage_F32, VColorSpace_Grey, true);
    EXPECT_EQ(messageOf("WriteImage", std::move(values)),
              "Error writing an Image(s) : The pixels need more than 4 GiB.");
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteImage, ADashIsAFileAndNotTheStandardOutput) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const int code = codeOf("WriteImage", valuesOf("-", {.image = spelledImage(VImage_U8, 0, 2, 3, 1)}));
    const int anonymized = codeOf("DicomAnonymize", {"-", "-", Store::empty()});
    std::filesystem::current_path(before);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(anonymized, 0);
    load(folder.file("-"));
    EXPECT_EQ(valueOf(DCM_Rows), "2");
}

#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class ParametricMaps : public WriterTest {
  protected:
    std::vector<float> floats() {
        const Float32* values = nullptr;
        unsigned long count = 0;
        EXPECT_TRUE(loaded.getDataset()->findAndGetFloat32Array(DCM_FloatPixelData, values, &count).good());
        return {values, values + count};
    }
    std::vector<double> doubles() {
        const Float64* values = nullptr;
        unsigned long count = 0;
        EXPECT_TRUE(loaded.getDataset()->findAndGetFloat64Array(DCM_DoubleFloatPixelData, values, &count).good());
        return {values, values + count};
    }
    DcmItem& itemOf(DcmItem& item, const DcmTagKey& key, long index = 0) {
        DcmItem* found = nullptr;
        EXPECT_TRUE(item.findAndGetSequenceItem(key, found, index).good()) << DcmTag(key).getTagName();
        static DcmItem none;
        return found == nullptr ? none : *found;
    }
};

} // namespace

TEST_F(ParametricMaps, HoldTheValuesOfARealImage) {
    const Image single = spelledImage(VImage_F32, 2, 3, 5, 1);
    load(write({.image = single}));
    EXPECT_EQ(floats(), elementsOf<float>(single));
    const Image wide = spelledImage(VImage_F64, 2, 3, 5, 1);
    load(write({.image = wide}));
    EXPECT_EQ(doubles(), elementsOf<double>(wide));
}

TEST_F(ParametricMaps, AttributesOfAFile) {
    for (const auto& [type, bits] : {std::pair{VImage_F32, "32"}, {VImage_F64, "64"}}) {
        load(write({.image = spelledImage(type, 3, 4, 5, 1)}));
        SCOPED_TRACE(bits);
        expectValues({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.30"},
                      {DCM_Modality, "OT"},
                      {DCM_SeriesNumber, "1"},
                      {DCM_InstanceNumber, "1"},
                      {DCM_Rows, "4"},
                      {DCM_Columns, "5"},
                      {DCM_NumberOfFrames, "3"},
                      {DCM_SamplesPerPixel, "1"},
                      {DCM_PhotometricInterpretation, "MONOCHROME2"},
                      {DCM_BitsAllocated, bits},
                      {DCM_Manufacturer, "Velmora Research"},
                      {DCM_ManufacturerModelName, "Velmora Language"},
                      {DCM_DeviceSerialNumber, "1"},
                      {DCM_SoftwareVersions, "1.0"},
                      {DCM_ContentLabel, "IMAGE"},
                      {DCM_ContentDescription, "Image"},
                      {DCM_ContentCreatorName, ""},
                      {DCM_ImageType, "DERIVED\\PRIMARY\\VOLUME\\NONE"},
                      {DCM_PresentationLUTShape, "IDENTITY"},
                      {DCM_LossyImageCompression, "00"},
                      {DCM_BurnedInAnnotation, "NO"},
                      {DCM_RecognizableVisualFeatures, "NO"},
                      {DCM_ContentQualification, "SERVICE"},
                      {DCM_ConversionType, "SYN"},
                      {DCM_PatientName, ""},
                      {DCM_StudyTime, ""}});
        EXPECT_EQ(valueOf(DCM_ContentDate).size(), 8U);
        EXPECT_EQ(valueOf(DCM_ContentTime).size(), 6U);
        EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPClassUID), valueOf(DCM_SOPClassUID));
    }
}

TEST_F(ParametricMaps, OneSliceIsAMapOfOneFrame) {
    load(write({.image = spelledImage(VImage_F32, 0, 2, 3, 1)}));
    EXPECT_EQ(valueOf(DCM_SOPClassUID), "1.2.840.10008.5.1.4.1.1.30");
    EXPECT_EQ(valueOf(DCM_NumberOfFrames), "1");
    EXPECT_EQ(floats().size(), 6U);
}

TEST_F(ParametricMaps, FramesAreNumberedInOneDimension) {
    DcmDataset& dataset = load(write({.image = spelledImage(VImage_F32, 3, 2, 2, 1)}));
    for (long frame = 0; frame < 3; ++frame) {
        DcmItem& content =
            itemOf(itemOf(dataset, DCM_PerFrameFunctionalGroupsSequence, frame), DCM_FrameContentSequence);
        Uint32 index = 0;
        EXPECT_TRUE(content.findAndGetUint32(DCM_DimensionIndexValues, index).good());
        EXPECT_EQ(index, static_cast<Uint32>(frame + 1));
    }
    DcmItem& dimension = itemOf(dataset, DCM_DimensionIndexSequence);
    DcmItem& organization = itemOf(dataset, DCM_DimensionOrganizationSequence);
    EXPECT_EQ(textOf(dimension, DCM_DimensionOrganizationUID), textOf(organization, DCM_DimensionOrganizationUID));
    EXPECT_EQ(textOf(dimension, DCM_DimensionIndexPointer), "(0020,0032)");
    EXPECT_EQ(textOf(dimension, DCM_FunctionalGroupPointer), "(0040,9096)");
}

TEST_F(ParametricMaps, PixelMeasuresAreSharedAndEmptyUnlessSet) {
    const auto measures = [&]() -> DcmItem& {
        DcmDataset& dataset = load(write({.image = spelledImage(VImage_F32, 2, 2, 2, 1)}));
        return itemOf(itemOf(dataset, DCM_SharedFunctionalGroupsSequence), DCM_PixelMeasuresSequence);
    };
    DcmItem& empty = measures();
    for (const DcmTagKey& key : {DCM_PixelSpacing, DCM_SliceThickness, DCM_SpacingBetweenSlices}) {
        const std::string value = textOf(empty, key);
        EXPECT_TRUE(value.empty() || value == "(none)") << value;
    }
    setDefault("PixelSpacing", "0.5\\0.25");
    setDefault("SliceThickness", "2");
    setDefault("SpacingBetweenSlices", "3");
    DcmItem& set = measures();
    EXPECT_EQ(textOf(set, DCM_PixelSpacing), "0.5\\0.25");
    EXPECT_EQ(textOf(set, DCM_SliceThickness), "2");
    EXPECT_EQ(textOf(set, DCM_SpacingBetweenSlices), "3");
    setDefault("PixelSpacing", "0.5");
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_F32, 2, 2, 2, 1)}), kTagWriteError) << "two values are needed";
}

TEST_F(ParametricMaps, SomeDefaultsAreReadAndTwoAreNot) {
    setDefault("SeriesNumber", "9");
    setDefault("Modality", "MR");
    setDefault("RecognizableVisualFeatures", "YES");
    setDefault("ContentLabel", "MAP");
    load(write({.image = spelledImage(VImage_F32, 0, 2, 2, 1)}));
    EXPECT_EQ(valueOf(DCM_SeriesNumber), "9");
    EXPECT_EQ(valueOf(DCM_Modality), "MR");
    EXPECT_EQ(valueOf(DCM_ContentLabel), "MAP");
    EXPECT_EQ(valueOf(DCM_RecognizableVisualFeatures), "NO");
    EXPECT_EQ(valueOf(DCM_PositionReferenceIndicator), "(none)") << "empty, it is left out of an optional module";
    setDefault("PositionReferenceIndicator", "SLIDE_CORNER");
    load(write({.image = spelledImage(VImage_F32, 0, 2, 2, 1)}));
    EXPECT_EQ(valueOf(DCM_PositionReferenceIndicator), "SLIDE_CORNER");
    setDefault("PositionReferenceIndicator", "");
    setDefault("DeviceSerialNumber", "");
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_F32, 0, 2, 2, 1)}), kImageWriteError) << "a map must have one";
}

TEST_F(ParametricMaps, HaveNoColourAndNoSecondChannel) {
    for (const vint channels : {2, 3, 4}) {
        EXPECT_EQ(writeMessage({.image = spelledImage(VImage_F32, 0, 2, 3, channels)}),
                  "Error writing an Image(s) : Parametric Map IOD doesn't support 32bit floating point RGB images.");
        EXPECT_EQ(writeMessage({.image = spelledImage(VImage_F64, 2, 2, 3, channels)}),
                  "Error writing an Image(s) : Parametric Map IOD doesn't support 64bit floating point RGB images.");
    }
    setDefault("ReferringPhysicianName", "no time");
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_F32, 0, 2, 3, 3)}), kImageWriteError)
        << "no common module is filled before";
    EXPECT_FALSE(wasWritten());
}

// The map puts a frame at each multiple of rows times columns, both cut to 16 bits, while a frame is as long as the
// image's. Pixels that were put a second time would lie frame after frame instead.
TEST_F(ParametricMaps, ThePixelsAreThoseOfTheMapAndAreNotPutAgain) {
    constexpr std::size_t kColumns = 65536 + 2;
    const Image image = spelledImage(VImage_F32, 2, 1, static_cast<vint>(kColumns), 1);
    load(write({.image = image}));
    EXPECT_EQ(valueOf(DCM_Columns), "2");
    const auto pixels = image.data<float>();
    std::vector<float> expected(2 * kColumns);
    std::copy_n(pixels.begin(), kColumns, expected.begin());
    std::copy_n(pixels.begin() + kColumns, kColumns, expected.begin() + 2);
    EXPECT_EQ(floats(), expected);
}

TEST_F(ParametricMaps, RowsAreCutToSixteenBitsAsColumnsAre) {
    load(write({.image = spelledImage(VImage_F32, 0, 65536 + 3, 2, 1)}));
    EXPECT_EQ(valueOf(DCM_Rows), "3");
    EXPECT_EQ(valueOf(DCM_Columns), "2");
    EXPECT_EQ(writeCode({.image = spelledImage(VImage_F32, 0, 65536, 2, 1)}), kImageWriteError) << "0 rows";
}

TEST_F(ParametricMaps, HaveNoCompression) {
    for (const char* name : {"JPEGLossless", "JPEGLosslessNonhierarchical", "JPEGLossy8bit", "JPEGLossy12bit",
                             "JPEG-LSLossless", "JPEG-LSLossy", "RLE"}) {
        for (const vint type : {VImage_F32, VImage_F64}) {
            const WriteArguments arguments{.image = spelledImage(type, 0, 2, 3, 1), .compression = name, .first = 1};
            EXPECT_EQ(writeCode(arguments), kImageWriteError) << name;
            EXPECT_EQ(writeMessage(arguments), "Error writing an Image(s) : `reason`.") << name;
        }
    }
    EXPECT_FALSE(wasWritten());
}

// DCMTK looked through the groups of all frames for each frame: five minutes for so many.
TEST_F(ParametricMaps, OfManyFramesAreWrittenInTime) {
    const Image image = spelledImage(VImage_F32, 60'000, 1, 1, 1);
    load(write({.image = image}));
    EXPECT_EQ(floats(), elementsOf<float>(image));
    DcmSequenceOfItems* frames = nullptr;
    ASSERT_TRUE(loaded.getDataset()->findAndGetSequence(DCM_PerFrameFunctionalGroupsSequence, frames).good());
    EXPECT_EQ(frames->card(), 60'000U);
}

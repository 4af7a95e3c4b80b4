#include "dicom/pixels/RenderingSafety.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "guard/pixels/ImagePixelAttributes.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

struct Shape {
    Uint16 bits = 8;
    Uint16 samples = 1;
    const char* model = "MONOCHROME2";
    Uint16 planar = 0;
    std::size_t bytes = 16; ///< of 4 x 4 pixels
};

std::unique_ptr<DcmDataset> imageOf(const Shape& shape) {
    auto dataset = std::make_unique<DcmDataset>();
    dataset->putAndInsertUint16(DCM_Rows, 4);
    dataset->putAndInsertUint16(DCM_Columns, 4);
    dataset->putAndInsertUint16(DCM_SamplesPerPixel, shape.samples);
    dataset->putAndInsertUint16(DCM_BitsAllocated, shape.bits);
    dataset->putAndInsertUint16(DCM_BitsStored, shape.bits);
    dataset->putAndInsertUint16(DCM_PlanarConfiguration, shape.planar);
    dataset->putAndInsertString(DCM_PhotometricInterpretation, shape.model);
    const std::vector<Uint8> bytes(shape.bytes, 7);
    dataset->putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size());
    return dataset;
}

bool isSafe(const Shape& shape) { return radvex::reasonNotToRender(*imageOf(shape)).empty(); }

} // namespace

TEST(RenderingSafety, ColourByPlaneIsCountedByItsModel) {
    EXPECT_TRUE(isSafe({.samples = 3, .model = "YBR_FULL", .planar = 1, .bytes = 48}));
    EXPECT_FALSE(isSafe({.samples = 3, .model = "YBR_FULL", .planar = 1, .bytes = 46}));
    EXPECT_TRUE(isSafe({.samples = 3, .model = "YBR_FULL", .planar = 0, .bytes = 46}));
    EXPECT_TRUE(isSafe({.samples = 3, .model = "RGB", .planar = 1, .bytes = 46}));
    for (const char* model : {"HSV", "hsv ", "ARGB", "CMYK"}) {
        EXPECT_FALSE(isSafe({.samples = 1, .model = model, .planar = 1, .bytes = 16})) << model;
        EXPECT_FALSE(isSafe({.samples = 0, .model = model, .planar = 1, .bytes = 16})) << model;
    }
    EXPECT_FALSE(isSafe({.samples = 3, .model = "CMYK", .planar = 1, .bytes = 48})) << "it has four";
    EXPECT_TRUE(isSafe({.samples = 4, .model = "CMYK", .planar = 1, .bytes = 64}));
    EXPECT_TRUE(isSafe({.planar = 1, .bytes = 8})) << "one sample, in one plane";
    EXPECT_TRUE(isSafe({.model = "PALETTE COLOR", .planar = 1, .bytes = 8}));
}

TEST(RenderingSafety, MoreSamplesThanThirtyTwoBitsCount) {
    for (const unsigned long bytes : {1UL << 28, 1UL << 30}) {
        const auto dataset = imageOf({.bits = 1});
        auto pixels = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, EVR_OB));
        Uint8* untouched = nullptr;
        ASSERT_TRUE(pixels->createUint8Array(static_cast<Uint32>(bytes), untouched).good());
        ASSERT_TRUE(dataset->insert(pixels.release(), OFTrue).good());
        EXPECT_NE(radvex::reasonNotToRender(*dataset).empty(), bytes == 1UL << 30);
    }
}

TEST(RenderingSafety, OverlayPlanesOfAnyBitsAreCountedWithTheMost) {
    const auto dataset = imageOf({});
    dataset->putAndInsertUint16(DcmTag(0x6000, 0x0010, EVR_US), 32768);
    dataset->putAndInsertUint16(DcmTag(0x6000, 0x0011, EVR_US), 32768);
    EXPECT_TRUE(radvex::reasonNotToRender(*dataset).empty());
    dataset->putAndInsertString(DcmTag(0x6000, 0x0015, EVR_IS), "268435456");
    EXPECT_FALSE(radvex::reasonNotToRender(*dataset).empty());
}

TEST(RenderingSafety, AModalityLutIsForSixteenBitsAtMost) {
    for (const Uint16 bits : {Uint16{16}, Uint16{32}}) {
        const auto dataset = imageOf({.bits = bits, .bytes = 64});
        EXPECT_TRUE(radvex::reasonNotToRender(*dataset).empty());
        DcmItem* item = nullptr;
        ASSERT_TRUE(dataset->findOrCreateSequenceItem(DCM_ModalityLUTSequence, item, 0).good());
        EXPECT_NE(radvex::reasonNotToRender(*dataset).empty(), bits == 32);
    }
}

TEST(RenderingSafety, AStandaloneOverlayHasNoPixels) {
    const auto dataset = imageOf({});
    dataset->putAndInsertString(DCM_SOPClassUID, UID_RETIRED_StandaloneOverlayStorage);
    EXPECT_TRUE(radvex::isStandaloneOverlay(*dataset));
}

TEST(RenderingSafety, PixelsAreMadeEven) {
    for (const std::size_t bytes : {16U, 17U}) {
        const auto dataset = imageOf({.bytes = bytes});
        radvex::padOddPixelData(*dataset);
        const Uint8* values = nullptr;
        unsigned long count = 0;
        ASSERT_TRUE(dataset->findAndGetUint8Array(DCM_PixelData, values, &count).good());
        EXPECT_EQ(count, bytes / 2 * 2 + bytes % 2 * 2);
        EXPECT_EQ(std::count(values, values + bytes, 7), static_cast<long>(bytes));
        EXPECT_EQ(values[count - 1], bytes % 2 == 0 ? 7 : 0);
    }
}

class FractionalRanges : public LibraryTest {};

// Values from 0.9 to 10.2 are eleven numbers, and the table had ten entries.
TEST_F(FractionalRanges, AreLookedUpInsideTheirTable) {
    mallopt(M_PERTURB, 0x5A); // so that memory behind the table holds something else
    ImageFile image{.rows = 10, .columns = 10, .bitsAllocated = 8, .bitsStored = 8};
    image.slope = "0.1";
    image.intercept = "0.9";
    image.words.assign(50, 0);
    image.words[49] = 0x5D5D; // 93
    const std::string path = writeImageFile(folder.file("a.dcm"), image);
    const Tensor window{std::vector<vint>{2}, std::vector<double>{0.0, 0.0}}; // from the least to the greatest
    const Store frames = call("ReadImageData", {path, 0, 0, window, false, 1}).get<Store>();
    mallopt(M_PERTURB, 0);
    const auto& array = *(*frames.begin()).cell().numericArray;
    const auto* values = static_cast<const std::uint8_t*>(array.data.get());
    EXPECT_EQ(values[98], 255);
    EXPECT_EQ(values[99], 255);
}

// Two pixels share their colour: four bytes.
TEST(RenderingSafety, SubsampledColourIsCountedAsItIsStored) {
    for (const char* model : {"YBR_FULL_422", "YBR_PARTIAL_422", "YBR_FULL"}) {
        const auto dataset = imageOf({.samples = 3, .model = model});
        dataset->putAndInsertUint16(DCM_Rows, 20000);
        dataset->putAndInsertUint16(DCM_Columns, 20000);
        auto pixels = std::make_unique<DcmPixelData>(DcmTag(DCM_PixelData, EVR_OB));
        Uint8* untouched = nullptr;
        ASSERT_TRUE(pixels->createUint8Array(800'000'000, untouched).good());
        ASSERT_TRUE(dataset->insert(pixels.release(), OFTrue).good());
        EXPECT_EQ(radvex::promisesTooManyPixels(*dataset), std::string(model) == "YBR_FULL") << model;
    }
}

// DCMTK converts them in pairs, and leaves what is behind the last pair as it was in the memory.
TEST(RenderingSafety, PixelsThatShareTheirColourAreEvenInNumber) {
    for (const char* model : {"YBR_FULL_422", "YBR_PARTIAL_422", "YBR_FULL"}) {
        for (const Uint16 columns : {Uint16{3}, Uint16{4}}) {
            const auto dataset = imageOf({.samples = 3, .model = model, .bytes = 48});
            dataset->putAndInsertUint16(DCM_Rows, 3);
            dataset->putAndInsertUint16(DCM_Columns, columns);
            const bool isSafeToRender = columns == 4 || std::string(model) == "YBR_FULL";
            EXPECT_EQ(radvex::reasonNotToRender(*dataset).empty(), isSafeToRender) << model << ", " << columns;
        }
    }
}

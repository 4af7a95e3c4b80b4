// Which pixels of JPEG 2000 are decoded: both sides of each limit. Codestreams alone: tests/guard/pixels.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "guard/pixels/DecodingSafety.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;

namespace {

const std::string kOtherSize = "its JPEG 2000 codestream has another size than the image";
const std::string kTooFew = "its compressed pixels are too few for its size";

/// What the attributes say.
struct Image {
    int rows = 16;
    int columns = 16;
    int samples = 1;
    int bits = 8;
    int frames = 1;
};

void putImage(DcmItem& item, const Image& image) {
    put(item, {{DCM_SamplesPerPixel, std::to_string(image.samples)},
               {DCM_PhotometricInterpretation, image.samples == 3 ? "RGB" : "MONOCHROME2"},
               {DCM_NumberOfFrames, std::to_string(image.frames)},
               {DCM_Rows, std::to_string(image.rows)},
               {DCM_Columns, std::to_string(image.columns)},
               {DCM_BitsAllocated, std::to_string(image.bits)},
               {DCM_BitsStored, std::to_string(image.bits)},
               {DCM_HighBit, std::to_string(image.bits - 1)},
               {DCM_PixelRepresentation, "0"}});
}

std::string reasonIn(DcmDataset& dataset) {
    EXPECT_TRUE(dataset.chooseRepresentation(EXS_JPEG2000, nullptr).good());
    dataset.removeAllButCurrentRepresentations();
    return radvex::reasonNotToDecode(dataset);
}

std::string reasonForImage(const Image& image, std::vector<std::string> fragments) {
    DcmDataset dataset;
    putImage(dataset, image);
    for (std::string& fragment : fragments) {
        fragment.append(fragment.size() % 2, '\0');
    }
    putFragments(dataset, EXS_JPEG2000, fragments);
    return reasonIn(dataset);
}

/// A codestream of so many bytes, of which the last ones are padding.
std::string paddedTo(std::size_t size, const EmptyJpeg2000& source) {
    std::string stream = source.stream();
    EXPECT_LE(stream.size(), size);
    stream.resize(size);
    return stream;
}

} // namespace

TEST(Jpeg2000Safety, TheCodestreamHasTheSizeOfTheImage) {
    const std::string stream = EmptyJpeg2000{}.stream();
    EXPECT_EQ(reasonForImage({}, {stream}), "");
    EXPECT_EQ(reasonForImage({.rows = 15}, {stream}), kOtherSize);
    EXPECT_EQ(reasonForImage({.rows = 17}, {stream}), kOtherSize);
    EXPECT_EQ(reasonForImage({.columns = 15}, {stream}), kOtherSize);
    EXPECT_EQ(reasonForImage({.columns = 17}, {stream}), kOtherSize);
    EXPECT_EQ(reasonForImage({.samples = 3}, {stream}), kOtherSize);
    const std::string colour =
        EmptyJpeg2000{.components = {{7, 1, 1}, {7, 1, 1}, {7, 1, 1}}, .bytesOfTile = 3}.stream();
    EXPECT_EQ(reasonForImage({.samples = 3}, {colour}), "");
    EXPECT_EQ(reasonForImage({}, {colour}), kOtherSize);
    EXPECT_EQ(reasonForImage({.bits = 16}, {stream}), "") << "the attributes may say more bits";
    EXPECT_EQ(reasonForImage({.columns = 13}, {EmptyJpeg2000{.left = 3}.stream()}), "") << "from its left edge on";
    EXPECT_EQ(reasonForImage({.columns = 16}, {EmptyJpeg2000{.left = 3}.stream()}), kOtherSize);
}

TEST(Jpeg2000Safety, TheAttributesOfTheSizeAreThere) {
    const std::string stream = EmptyJpeg2000{}.stream();
    for (const DcmTagKey& key : {DCM_Rows, DCM_Columns, DCM_SamplesPerPixel}) {
        DcmDataset dataset;
        putImage(dataset, {});
        putFragments(dataset, EXS_JPEG2000, {stream + std::string(stream.size() % 2, '\0')});
        EXPECT_EQ(reasonIn(dataset), "");
        delete dataset.remove(key);
        EXPECT_EQ(radvex::reasonNotToDecode(dataset), kOtherSize) << key.toString();
    }
}

TEST(Jpeg2000Safety, EachFrameIsLookedAt) {
    const std::string good = EmptyJpeg2000{}.stream();
    const std::string larger = EmptyJpeg2000{.columns = 17}.stream();
    const std::string cut = good.substr(0, good.size() - 4);
    for (const std::size_t bad : {0U, 1U, 2U}) {
        std::vector<std::string> fragments{good, good, good};
        EXPECT_EQ(reasonForImage({.frames = 3}, fragments), "");
        fragments[bad] = larger;
        EXPECT_EQ(reasonForImage({.frames = 3}, fragments), kOtherSize);
        fragments[bad] = cut;
        EXPECT_EQ(reasonForImage({.frames = 3}, fragments), "its JPEG 2000 codestream ends too early");
        fragments[bad] = "";
        EXPECT_EQ(reasonForImage({.frames = 3}, fragments), "it has no JPEG 2000 codestream");
    }
    EXPECT_EQ(reasonForImage({.frames = 3}, {good, good}), "") << "no more frames than fragments are decoded";
    EXPECT_EQ(reasonForImage({}, {good.substr(0, 40), good.substr(40)}), "") << "in two fragments";
}

TEST(Jpeg2000Safety, AnIconIsLookedAt) {
    const std::string stream = EmptyJpeg2000{.bytesOfTile = 2}.stream();
    const std::string even = stream + std::string(stream.size() % 2, '\0');
    for (const int rows : {16, 17}) {
        DcmDataset dataset;
        putImage(dataset, {});
        putFragments(dataset, EXS_JPEG2000, {even});
        DcmItem& icon = addItem(dataset, DCM_IconImageSequence);
        putImage(icon, {.rows = rows});
        putFragments(icon, EXS_JPEG2000, {even});
        EXPECT_EQ(reasonIn(dataset), rows == 16 ? "" : kOtherSize);
    }
}

// A sample of 8 bits takes a byte, and eight more while it is decoded; 256 MiB are nobody's business.
TEST(Jpeg2000Safety, EmptyPicturesMayTakeTenThousandTimesTheirBytes) {
    const Image image{.rows = 6000, .columns = 5000};
    const EmptyJpeg2000 source{.columns = 5000, .rows = 6000, .bytesOfTile = 4};
    const std::size_t enough = (9U * 6000 * 5000 - 256U * 1024 * 1024) / 10000 + 1;
    ASSERT_EQ(enough % 2, 1U) << "fragments are even";
    EXPECT_EQ(reasonForImage(image, {paddedTo(enough + 1, source)}), "");
    EXPECT_EQ(reasonForImage(image, {paddedTo(enough - 1, source)}), kTooFew);
}

// Frames are decoded one after the other, but all of them are kept.
TEST(Jpeg2000Safety, EmptyFramesMayTakeTenThousandTimesTheirBytes) {
    const EmptyJpeg2000 source{.columns = 512, .rows = 512};
    const Image image{.rows = 512, .columns = 512, .frames = 3000};
    EXPECT_EQ(reasonForImage(image, std::vector<std::string>(3000, paddedTo(110, source))), "");
    EXPECT_EQ(reasonForImage({.rows = 512, .columns = 512, .bits = 16, .frames = 30000},
                             std::vector<std::string>(30000, source.stream())),
              "its pixels are more than 4 GiB");
}

TEST(Jpeg2000Safety, PixelsAreUpToFourGiB) {
    constexpr std::size_t kPlausible = 3'900'000; // bytes
    EmptyJpeg2000 source{.columns = 65535, .rows = 65535, .bytesOfTile = 4};
    const Image image{.rows = 65535, .columns = 65535};
    EXPECT_EQ(reasonForImage(image, {paddedTo(kPlausible, source)}), "");
    EXPECT_EQ(reasonForImage(image, {paddedTo(1000, source)}), kTooFew);
    EXPECT_EQ(reasonForImage({.rows = 65535, .columns = 65535, .bits = 16}, {paddedTo(kPlausible, source)}),
              "its pixels are more than 4 GiB");
    source.components = {{15, 1, 1}};
    EXPECT_EQ(reasonForImage(image, {paddedTo(kPlausible, source)}), "its pixels are more than 4 GiB")
        << "the codestream has 16 bits";
}

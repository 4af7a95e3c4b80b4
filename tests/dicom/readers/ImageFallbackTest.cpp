#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Files that DCMTK does not render, and files whose attributes promise what the value does not hold.
class ImageFallback : public LibraryTest {
  protected:
    std::string write(const ImageFile& file) {
        call("ClearCache");
        return writeImageFile(folder.file("a.dcm"), file);
    }
    static std::vector<Value> arguments(const std::string& path, vint first = 0, vint count = 0) {
        return {path, first, count, scaling(), false, 1};
    }
    Image read(const std::string& path, vint first = 0, vint count = 0) {
        return std::get<Image>(call("ReadImage", arguments(path, first, count)));
    }
    int code(const ImageFile& file) { return codeOf("ReadImage", arguments(write(file))); }
};

/// DCMTK refuses a HighBit beyond BitsAllocated, so these files take the fallback.
ImageFile unrenderable(ImageFile file) {
    file.bitsStored = 40;
    return file;
}

} // namespace

TEST_F(ImageFallback, WordsAreCopiedAsTheyLie) {
    const Image image = read(write(unrenderable({.rows = 2, .columns = 3, .words = {0, 1, 2, 10, 11, 65535}})));
    EXPECT_EQ(image.info().type, VImage_U16);
    EXPECT_EQ(image.info().rank, 2);
    EXPECT_FALSE(image.info().interleaved);
    EXPECT_THAT(elementsOf<std::uint16_t>(image), ElementsAre(0, 1, 2, 10, 11, 65535));
}

TEST_F(ImageFallback, AllFramesComeWhateverIsAskedFor) {
    const auto path =
        write(unrenderable({.rows = 1, .columns = 2, .frames = "3", .words = {0, 1, 100, 101, 200, 201}}));
    const Image image = read(path, 1, 1);
    EXPECT_EQ(image.info().slices, 3);
    EXPECT_THAT(elementsOf<std::uint16_t>(image), ElementsAre(0, 1, 100, 101, 200, 201));
}

TEST_F(ImageFallback, WhatTheFileDoesNotHoldIsZero) {
    const Image image = read(write(unrenderable({.rows = 2, .columns = 3, .frames = "2", .words = {1, 2, 3, 4}})));
    EXPECT_THAT(elementsOf<std::uint16_t>(image), ElementsAre(1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(ImageFallback, ColourTakesThreeChannelsInTheFilesLayout) {
    ImageFile file = unrenderable({.rows = 1,
                                   .columns = 2,
                                   .samples = 2,
                                   .bitsAllocated = 8,
                                   .photometric = "RGB",
                                   .planarConfiguration = 1,
                                   .words = {0x0201, 0x0403, 0x0605}});
    Image image = read(write(file));
    EXPECT_EQ(image.info().channels, 3) << "whatever SamplesPerPixel says";
    EXPECT_FALSE(image.info().interleaved);
    EXPECT_THAT(elementsOf<std::uint8_t>(image), ElementsAre(1, 2, 3, 4, 5, 6));
    file.planarConfiguration = 0;
    EXPECT_TRUE(read(write(file)).info().interleaved);
    file.planarConfiguration = -1;
    EXPECT_EQ(code(file), -63);
}

TEST_F(ImageFallback, GreyTakesOneChannelWhateverTheSamplesSay) {
    for (const int samples : {2, 3, 4}) {
        const Image image = read(write(unrenderable({.rows = 1, .columns = 2, .samples = samples, .words = {7, 8}})));
        EXPECT_EQ(image.info().channels, 1);
        EXPECT_THAT(elementsOf<std::uint16_t>(image), ElementsAre(7, 8));
    }
}

TEST_F(ImageFallback, AFileWithoutPixelsIsAReadError) {
    ImageFile file{.rows = 1, .columns = 2};
    const auto path = write(file);
    EXPECT_EQ(codeOf("ReadImage", arguments(path)), -63);
    EXPECT_EQ(messageOf("ReadImage", arguments(path)), "Error when reading image from file " + path + ".");
    EXPECT_EQ(codeOf("ReadImageData", arguments(path)), -68) << "the arrays have no fallback";
}

TEST_F(ImageFallback, AMissingNumberIsAGeneralFailure) {
    EXPECT_EQ(code(unrenderable({.rows = -1, .words = {1}})), 6);
    EXPECT_EQ(code(unrenderable({.columns = -1, .words = {1}})), 6);
    EXPECT_EQ(code(unrenderable({.samples = -1, .words = {1}})), 6);
    EXPECT_EQ(code(unrenderable({.frames = "many", .words = {1}})), 6);
}

TEST_F(ImageFallback, AMissingOrOddDepthIsAnOpenError) {
    EXPECT_EQ(code(unrenderable({.bitsAllocated = -1, .words = {1}})), -68);
    EXPECT_EQ(messageOf("ReadImage", arguments(folder.file("a.dcm"))),
              "Could not open DICOM image in file " + folder.file("a.dcm") + ". Operation status: Tag not found.");
    EXPECT_EQ(code(unrenderable({.bitsAllocated = 24, .words = {1}})), -68);
    EXPECT_EQ(messageOf("ReadImage", arguments(folder.file("a.dcm"))),
              "Could not open DICOM image in file " + folder.file("a.dcm") + ". Operation status: `status`.")
        << "no status is left to tell";
}

TEST_F(ImageFallback, APhotometricInterpretationThatPicturesDoNotKnowIsAReadError) {
    EXPECT_EQ(code(unrenderable({.rows = 1, .columns = 2, .photometric = "YBR_FULL", .words = {1, 2}})), -63);
    EXPECT_EQ(code(unrenderable({.rows = 1, .columns = 2, .photometric = "", .words = {1, 2}})), -63);
}

TEST_F(ImageFallback, DeepPixelsThatDcmtkDoesNotGiveAsRealsAreAReadError) {
    EXPECT_EQ(code(unrenderable({.bitsAllocated = 32, .words = {1, 2}})), -63);
    EXPECT_EQ(code(unrenderable({.bitsAllocated = 64, .words = {1, 2, 3, 4}})), -63);
}

TEST_F(ImageFallback, ThirtyTwoBitPixelsThatEndInsideAWordAreNotRendered) {
    const auto path = write({.rows = 1, .columns = 2, .bitsAllocated = 32, .bitsStored = 32, .words = {1, 0, 1}});
    EXPECT_EQ(codeOf("ReadImageData", arguments(path)), -68);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -68);
    EXPECT_EQ(codeOf("ReadImage", arguments(path)), -63);
}

TEST_F(ImageFallback, PixelsPromisedFarBeyondTheValueAreRefusedBeforeAnythingIsMade) {
    const long before = ledger().counts(ObjectKind::image).made;
    const auto path = write({.rows = 20000, .columns = 20000, .words = {1}});
    EXPECT_EQ(codeOf("ReadImage", arguments(path)), -63);
    EXPECT_EQ(codeOf("ReadImageData", arguments(path)), -68);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -68);
    EXPECT_EQ(code({.rows = 1, .columns = 1, .frames = "2147483647", .words = {1}}), -63);
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, before);
}

TEST_F(ImageFallback, OneBitPixelsCountAsTheBytesThatTheyCost) {
    const auto path = write({.rows = 50000, .columns = 42000, .bitsAllocated = 1, .bitsStored = 1, .words = {1}});
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -68);
    EXPECT_EQ(codeOf("ReadImage", arguments(path)), -68) << "and no picture has one bit";
}

TEST_F(ImageFallback, NumbersInOtherRepresentationsPromiseTooMuchAsWell) {
    // The renderer does not take numbers that are text; only the fallback reads them.
    const auto wide = write({.rows = -1, .columns = -1, .words = {1}, .more = [](DcmDataset& dataset) {
                                 for (const DcmTagKey& key : {DCM_Rows, DCM_Columns}) {
                                     auto number = std::make_unique<DcmIntegerString>(DcmTag(key, EVR_IS));
                                     number->putString("40000");
                                     dataset.insert(number.release());
                                 }
                             }});
    const long before = ledger().counts(ObjectKind::image).made;
    EXPECT_EQ(codeOf("ReadImage", arguments(wide)), -63);
    const auto many = write(unrenderable({.words = {1}, .more = [](DcmDataset& dataset) {
                                              auto frames =
                                                  std::make_unique<DcmLongString>(DcmTag(DCM_NumberOfFrames, EVR_LO));
                                              frames->putString("200000000");
                                              dataset.insert(frames.release());
                                          }}));
    EXPECT_EQ(codeOf("ReadImage", arguments(many)), -63);
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, before);
}

TEST_F(ImageFallback, ShortPlanesOfColourModelsThatDcmtkFollowsBlindlyAreNotRendered) {
    for (const char* model : {"CMYK", "HSV", "ARGB"}) {
        for (const int size : {4, 4000}) {
            ImageFile file{.rows = size,
                           .columns = size,
                           .samples = std::string(model) == "HSV" ? 3 : 4,
                           .bitsAllocated = 8,
                           .bitsStored = 8,
                           .photometric = model,
                           .planarConfiguration = 1,
                           .words = std::vector<Uint16>(10, 1)};
            const auto path = write(file);
            EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), -68) << model;
            EXPECT_EQ(codeOf("ReadImage", arguments(path)), -63) << model;
            EXPECT_EQ(codeOf("ReadOverlays", {path}), -68) << model;
        }
    }
}

TEST_F(ImageFallback, FramesPromisedALittleBeyondTheValueAreBlackOrAnError) {
    // DCMTK renders what it has; whatever it does with the rest, nothing is read beyond the value.
    for (const char* frames : {"2", "5", "1000"}) {
        const auto path = write({.rows = 2, .columns = 3, .frames = frames, .words = {0, 1, 2, 10, 11, 12}});
        const int result = codeOf("ReadImage", arguments(path));
        EXPECT_TRUE(result == 0 || result == -63) << result;
    }
}

TEST_F(ImageFallback, DepthsOfOneTwelveAndSixtyFourBitsGiveAnImageOrAnError) {
    for (const int bits : {1, 12, 64}) {
        ImageFile file{.rows = 4, .columns = 4, .bitsAllocated = bits, .bitsStored = bits, .words = {1, 2, 3, 4}};
        const int result = code(file);
        EXPECT_TRUE(result == 0 || result == -63 || result == -68) << bits << " bits give " << result;
    }
}

TEST_F(ImageFallback, EveryCutOfAFileGivesAnImageOrAnError) {
    const std::string whole = readFile(
        write({.rows = 2, .columns = 3, .frames = "2", .words = {0, 1, 2, 10, 11, 12, 100, 101, 102, 110, 111, 112}}));
    for (std::size_t length = whole.size() - 120; length < whole.size(); ++length) {
        call("ClearCache");
        const auto path = folder.write("cut.dcm", whole.substr(0, length));
        for (const int result : {codeOf("ReadImage", arguments(path)), codeOf("ReadImageData", arguments(path))}) {
            EXPECT_TRUE(result == 0 || result == 6 || result == -62 || result == -63 || result == -68)
                << "cut at " << length << " gives " << result;
        }
    }
}

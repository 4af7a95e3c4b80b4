#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;
using testing::Each;

namespace {

class Images : public LibraryTest {
  protected:
    std::string write(const ImageFile& file, E_TransferSyntax syntax = EXS_LittleEndianExplicit) {
        call("ClearCache");
        return writeImageFile(folder.file("a.dcm"), file, syntax);
    }

    std::vector<Value> arguments(const std::string& path, double first = 0.0, double second = 0.0) {
        return {path, 0, 0, scaling(first, second), false, 1};
    }
    Image read(const std::string& path, double first = 0.0, double second = 0.0) {
        return std::get<Image>(call("ReadImage", arguments(path, first, second)));
    }
    Store readData(const std::string& path, double first = 0.0, double second = 0.0) {
        return std::get<Store>(call("ReadImageData", arguments(path, first, second)));
    }
    static std::vector<std::vector<vint>> shapesOf(const Store& arrays) {
        std::vector<std::vector<vint>> shapes;
        for (const NodeView node : arrays) {
            EXPECT_EQ(node.name(), "");
            shapes.push_back(node.cell().numericArray->dimensions);
        }
        return shapes;
    }
};

/// 2 x 3 pixels of 12 bits that spell their row and column.
ImageFile grey12() {
    return {.rows = 2, .columns = 3, .bitsAllocated = 16, .bitsStored = 12, .words = {0, 1, 2, 10, 11, 12}};
}

/// 1 x 2 RGB pixels: (1, 2, 3) and (4, 5, 6) by pixel.
ImageFile rgb(int planarConfiguration) {
    ImageFile file =
        colour8(1, 2, planarConfiguration == 0 ? std::vector{1, 2, 3, 4, 5, 6} : std::vector{1, 4, 2, 5, 3, 6});
    file.planarConfiguration = planarConfiguration;
    return file;
}

/// Frames of 2 x 3 pixels by plane. Samples spell their index: hundreds for the frame, thirties for the plane, tens for
/// the row, ones for the column.
std::vector<int> planarSamples(int frames) {
    std::vector<int> samples;
    for (int frame = 0; frame < frames; ++frame) {
        for (int plane = 0; plane < 3; ++plane) {
            for (int row = 0; row < 2; ++row) {
                for (int column = 0; column < 3; ++column) {
                    samples.push_back(100 * frame + 30 * plane + 10 * row + column);
                }
            }
        }
    }
    return samples;
}

/// Elements of 8 or 16 bits.
template <typename Container>
std::vector<int> integersOf(const Container& container, int bits) {
    if (bits == 8) {
        const auto bytes = elementsOf<std::uint8_t>(container);
        return {bytes.begin(), bytes.end()};
    }
    const auto words = elementsOf<std::uint16_t>(container);
    return {words.begin(), words.end()};
}

/// What a sample of 32 bits becomes: its part of the largest one.
float partOfAll(std::uint32_t sample) { return static_cast<float>(static_cast<double>(sample) / 4294967295.0); }

} // namespace

TEST_F(Images, TwelveBitsFromMinimumToMaximumFillSixteen) {
    const Image image = read(write(grey12()));
    EXPECT_EQ(image.info().type, VImage_U16);
    EXPECT_EQ(image.info().rank, 2);
    EXPECT_EQ(image.info().rows, 2);
    EXPECT_EQ(image.info().columns, 3);
    EXPECT_EQ(image.info().channels, 1);
    EXPECT_EQ(image.info().colorSpace, 0);
    const auto pixels = elementsOf<std::uint16_t>(image);
    EXPECT_EQ(pixels.front(), 0);
    EXPECT_EQ(pixels.back(), 65535);
    EXPECT_TRUE(std::is_sorted(pixels.begin(), pixels.end()));
}

TEST_F(Images, AnExplicitWindowClipsWhatLiesOutside) {
    // Width 5 around 5: all up to 2 is black, all from 8 white (PS3.3 C.11.2.1.2).
    EXPECT_THAT(elementsOf<std::uint16_t>(read(write(grey12()), 5.0, 5.0)), ElementsAre(0, 0, 0, 65535, 65535, 65535));
}

TEST_F(Images, LowValuesOfMonochrome1AreWhite) {
    ImageFile file = grey12();
    file.photometric = "MONOCHROME1";
    const auto pixels = elementsOf<std::uint16_t>(read(write(file)));
    EXPECT_EQ(pixels.front(), 65535);
    EXPECT_EQ(pixels.back(), 0);
}

TEST_F(Images, AnOddNumberOfBytesIsReadWithoutItsPadding) {
    const auto path = write({.rows = 1, .columns = 3, .bitsAllocated = 8, .bitsStored = 8, .words = {0x0201, 0xFF03}});
    EXPECT_THAT(elementsOf<std::uint8_t>(read(path, -3.0)), ElementsAre(1, 2, 3));
}

TEST_F(Images, WithoutAWindowTheStoredRangeFillsThePicture) {
    // 12 bits stored: 4095 would be 65535, so that value v is v * 65535 / 4095, 16.003...
    const auto pixels = elementsOf<std::uint16_t>(read(write(grey12()), -3.0));
    EXPECT_THAT(pixels, ElementsAre(0, 16, 32, 160, 176, 192));
}

TEST_F(Images, TheCommonWindowOfASeriesIsNoWindowForOneFile) {
    const auto path = write(grey12());
    EXPECT_EQ(elementsOf<std::uint16_t>(read(path, -2.0)), elementsOf<std::uint16_t>(read(path, -3.0)));
}

TEST_F(Images, MethodsAreToldByTheFirstNumber) {
    const auto path = write(grey12());
    const auto pixels = [&](double first) { return elementsOf<std::uint16_t>(read(path, first)); };
    const auto minMax = pixels(0.0);
    const auto none = pixels(-3.0);
    const auto trimmed = pixels(-1.0);
    EXPECT_NE(minMax, none);
    EXPECT_NE(trimmed, minMax) << "0 and 12 are the extremes that are left out";
    EXPECT_EQ(pixels(0.49), minMax);
    EXPECT_EQ(pixels(-0.5), minMax);
    EXPECT_EQ(pixels(-0.51), trimmed);
    EXPECT_EQ(pixels(-1.5), trimmed);
    EXPECT_EQ(pixels(-2.5), none) << "the common window, which has no values";
    EXPECT_EQ(pixels(0.7), none);
    EXPECT_EQ(pixels(std::numeric_limits<double>::quiet_NaN()), none);
}

TEST_F(Images, AFirstNumberOfOneIsAWidthAndNoMethod) {
    // Width 1 around 10: a threshold below 10.
    EXPECT_THAT(elementsOf<std::uint16_t>(read(write(grey12()), 1.0, 10.0)), ElementsAre(0, 0, 0, 65535, 65535, 65535));
}

TEST_F(Images, AScalingTensorOfAnotherTypeOrShapeIsRefusedBeforeThePath) {
    const auto code = [&](Value tensor) {
        return codeOf("ReadImage", {"/missing", 0, 0, std::move(tensor), false, 1});
    };
    EXPECT_EQ(code(Tensor(std::vector<vint>{3}, std::vector<double>{0, 0, 0})), -73);
    EXPECT_EQ(code(Tensor(std::vector<vint>{1, 2}, std::vector<double>{0, 0})), -73);
    EXPECT_EQ(code(Tensor(std::vector<vint>{2}, std::vector<vint>{0, 0})), -17);
    EXPECT_EQ(code(Tensor(std::vector<vint>{3}, std::vector<vint>{0, 0, 0})), -17) << "the type comes first";
    EXPECT_EQ(code(Tensor(std::vector<vint>{0, 2}, std::vector<double>{})), -73);
    EXPECT_EQ(code(Tensor(std::vector<vint>{0, 2}, std::vector<vint>{})), -17);
    EXPECT_EQ(code(Null{}), -25);
    EXPECT_EQ(code(scaling(0.0)), -62);
}

TEST_F(Images, AMissingArgumentIsAnIndexError) {
    EXPECT_EQ(codeOf("ReadImage", {"/missing", 0, 0}), -2);
    EXPECT_EQ(codeOf("ReadImage", {}), 6);
}

TEST_F(Images, ColourByPixelStaysInterleaved) {
    const auto path = write(rgb(0));
    const Image image = read(path);
    EXPECT_EQ(image.info().channels, 3);
    EXPECT_EQ(image.info().colorSpace, 1);
    EXPECT_TRUE(image.info().interleaved);
    EXPECT_THAT(elementsOf<std::uint8_t>(image), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(shapesOf(readData(path)), ElementsAre(ElementsAre(1, 2, 3)));
}

TEST_F(Images, ColourByPlaneStaysPlanar) {
    const auto path = write(rgb(1));
    const Image image = read(path);
    EXPECT_FALSE(image.info().interleaved);
    EXPECT_THAT(elementsOf<std::uint8_t>(image), ElementsAre(1, 4, 2, 5, 3, 6));
    EXPECT_THAT(shapesOf(readData(path)), ElementsAre(ElementsAre(3, 1, 2)));
}

TEST_F(Images, FramesOfColourByPlaneStayPlanarFrameAfterFrame) {
    const auto samples = planarSamples(2);
    for (const int bits : {8, 16}) {
        ImageFile file = bits == 8 ? grey8(2, 3, samples) : grey16(2, 3, samples);
        file.samples = 3;
        file.photometric = "RGB";
        file.planarConfiguration = 1;
        file.frames = "2";
        const auto path = write(file);
        const Image image = read(path);
        EXPECT_EQ(image.info().type, bits == 8 ? VImage_U8 : VImage_U16);
        EXPECT_EQ(image.info().slices, 2);
        EXPECT_EQ(image.info().rows, 2);
        EXPECT_EQ(image.info().columns, 3);
        EXPECT_EQ(image.info().channels, 3);
        EXPECT_FALSE(image.info().interleaved);
        EXPECT_EQ(integersOf(image, bits), samples);
        const Store arrays = readData(path);
        EXPECT_THAT(shapesOf(arrays), ElementsAre(ElementsAre(3, 2, 3), ElementsAre(3, 2, 3)));
        std::vector<int> elements;
        for (const NodeView node : arrays) {
            const VelmoraNumericArray& array = *node.cell().numericArray;
            EXPECT_EQ(array.type, bits == 8 ? VNumericArray_U8 : VNumericArray_U16);
            const auto frame = integersOf(array, bits);
            elements.insert(elements.end(), frame.begin(), frame.end());
        }
        EXPECT_EQ(elements, samples);
    }
}

TEST_F(Images, ColourIgnoresAnyWindow) {
    EXPECT_THAT(elementsOf<std::uint8_t>(read(write(rgb(0)), 5.0, 100.0)), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Images, SeveralFramesAreAVolumeAndAsManyArrays) {
    ImageFile file{.rows = 2, .columns = 3, .bitsAllocated = 8, .bitsStored = 8, .frames = "20", .words = {}};
    for (Uint16 frame = 0; frame < 20; ++frame) {
        file.words.insert(file.words.end(), 3, static_cast<Uint16>(frame * 0x0101));
    }
    const auto path = write(file);
    const Image image = read(path, -3.0);
    EXPECT_EQ(image.info().rank, 3);
    EXPECT_EQ(image.info().slices, 20);
    const auto pixels = elementsOf<std::uint8_t>(image);
    for (std::size_t index = 0; index < pixels.size(); ++index) {
        ASSERT_EQ(pixels[index], index / 6) << "frame after frame";
    }
    EXPECT_THAT(shapesOf(readData(path)), testing::AllOf(testing::SizeIs(20), Each(ElementsAre(2, 3))));

    const Value part = call("ReadImage", {path, 2, 3, scaling(-3.0), false, 1});
    EXPECT_EQ(part.get<Image>().info().slices, 3);
    EXPECT_EQ(elementsOf<std::uint8_t>(part.get<Image>()).front(), 2) << "from the third frame on";
}

TEST_F(Images, ThirtyTwoBitsAreRealsFromZeroToOne) {
    const auto path = write({.rows = 1,
                             .columns = 3,
                             .bitsAllocated = 32,
                             .bitsStored = 32,
                             .words = {0, 0, 0, 0x0001, 0, 0x0002}}); // 0, 65536, 131072
    const Image image = read(path);
    EXPECT_EQ(image.info().type, VImage_F32);
    const auto pixels = elementsOf<float>(image);
    EXPECT_EQ(pixels.front(), 0.0F);
    EXPECT_NEAR(pixels[1], 0.5F, 1e-4);
    EXPECT_EQ(pixels.back(), 1.0F);
    const Store arrays = readData(path);
    const VelmoraNumericArray& array = *(*arrays.begin()).cell().numericArray;
    EXPECT_EQ(array.type, VNumericArray_F32);
    EXPECT_THAT(shapesOf(arrays), ElementsAre(ElementsAre(1, 3)));
    EXPECT_EQ(static_cast<const float*>(array.data.get())[2], 1.0F);
}

// The image is interleaved whatever the file is; arrays keep the planes.
TEST_F(Images, ThirtyTwoBitsOfColourByPlaneAreAnInterleavedImageAndPlanarArrays) {
    ImageFile file{.rows = 2,
                   .columns = 3,
                   .samples = 3,
                   .bitsAllocated = 32,
                   .bitsStored = 32,
                   .photometric = "RGB",
                   .planarConfiguration = 1,
                   .frames = "2",
                   .words = {}};
    std::vector<float> planar;
    for (const int sample : planarSamples(2)) {
        const std::uint32_t value = static_cast<std::uint32_t>(sample) << 24U | 0x8001U;
        file.words.push_back(static_cast<Uint16>(value & 0xFFFFU));
        file.words.push_back(static_cast<Uint16>(value >> 16U));
        planar.push_back(partOfAll(value));
    }
    std::vector<float> interleaved;
    for (std::size_t frame = 0; frame < 2; ++frame) {
        for (std::size_t pixel = 0; pixel < 6; ++pixel) {
            for (std::size_t plane = 0; plane < 3; ++plane) {
                interleaved.push_back(planar[frame * 18 + plane * 6 + pixel]);
            }
        }
    }
    const auto path = write(file);
    const Image image = read(path);
    EXPECT_EQ(image.info().type, VImage_F32);
    EXPECT_EQ(image.info().slices, 2);
    EXPECT_EQ(image.info().rows, 2);
    EXPECT_EQ(image.info().columns, 3);
    EXPECT_EQ(image.info().channels, 3);
    EXPECT_EQ(image.info().colorSpace, 1);
    EXPECT_TRUE(image.info().interleaved);
    EXPECT_EQ(elementsOf<float>(image), interleaved);
    const Store arrays = readData(path);
    EXPECT_THAT(shapesOf(arrays), ElementsAre(ElementsAre(3, 2, 3), ElementsAre(3, 2, 3)));
    std::vector<float> elements;
    for (const NodeView node : arrays) {
        EXPECT_EQ(node.cell().numericArray->type, VNumericArray_F32);
        const auto frame = elementsOf<float>(*node.cell().numericArray);
        elements.insert(elements.end(), frame.begin(), frame.end());
    }
    EXPECT_THAT(elements, testing::Pointwise(testing::FloatEq(), planar));
}

TEST_F(Images, AReadLeavesNoTraceInTheNextOne) {
    const auto path = write(grey12());
    const auto first = elementsOf<std::uint16_t>(read(path));
    read(path, 5.0, 5.0);
    EXPECT_EQ(elementsOf<std::uint16_t>(read(path)), first);
}

TEST_F(Images, OnlyAMissingPixelRepresentationStaysBehindInTheMetadata) {
    ImageFile file = grey12();
    file.pixelRepresentation = -1;
    const auto path = write(file);
    const auto keys = [&] {
        const Value all = call("ReadAllMetadata", {path, Store::empty(), false});
        return keysOf(all.get<Store>().view());
    };
    auto before = keys();
    read(path);
    auto after = keys();
    EXPECT_THAT(after, testing::Contains("PixelRepresentation"));
    after.erase(std::find(after.begin(), after.end(), "PixelRepresentation"));
    EXPECT_EQ(after, before);
}

TEST_F(Images, OneImageIsMadeForOneRead) {
    const auto path = write(grey12());
    const long before = ledger().counts(ObjectKind::image).made;
    read(path);
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, before + 1);
}

TEST_F(Images, FlagsThatWouldHarmTheReaderAreHarmless) {
    ImageFile file = grey12();
    const auto path = write(file);
    const auto expected = elementsOf<std::uint16_t>(read(path));
    for (const vint flags : {0x20, 0x4, 0x24, 0x400, -1 & ~0x40 & ~0x8}) {
        for (int attempt = 0; attempt < 2; ++attempt) {
            const Value image = call("ReadImage", {path, 0, 0, scaling(0.0), false, flags});
            EXPECT_EQ(elementsOf<std::uint16_t>(image.get<Image>()), expected) << flags;
        }
    }
}

// The last sample of such a frame came from behind it.
TEST_F(Images, FramesOfAnOddLengthAreTheSameReadByThemselves) {
    ImageFile file{.rows = 9, .columns = 9, .bitsAllocated = 8, .bitsStored = 1};
    file.words.assign(41, 0x0101);
    const auto path = write(file);
    const auto values = [&](vint flags) {
        const Value array = call("ReadIntermediatePixelData", {path, flags, 0});
        return elementsOf<std::uint8_t>(array.get<NumericArray>());
    };
    EXPECT_EQ(values(0x401), std::vector<std::uint8_t>(81, 1));
    EXPECT_EQ(values(1), std::vector<std::uint8_t>(81, 1));
}

TEST_F(Images, RefusalsOfTheHostAreErrorsAndTheNextReadWorks) {
    const auto path = write(grey12());
    ledger().refuse(Operation::VImage_new2D, 1); // the fallback makes its own
    EXPECT_EQ(codeOf("ReadImage", arguments(path)), 0);
    ledger().refuse(Operation::VNumericArray_new, 1);
    EXPECT_EQ(codeOf("ReadImageData", arguments(path)), -9);
    const auto deep = write({.rows = 1, .columns = 2, .bitsAllocated = 32, .bitsStored = 32, .words = {0, 0, 0, 1}});
    ledger().refuse(Operation::VNumericArray_convertType, 1);
    EXPECT_EQ(codeOf("ReadImageData", arguments(deep)), -14);
    ledger().refuseNothing();
    EXPECT_EQ(codeOf("ReadImageData", arguments(deep)), 0);
}

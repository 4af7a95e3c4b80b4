#include <cmath>
#include <cstdlib>
#include <random>
#include <tuple>

#include "dicom/pixels/Compression.h"
#include "guard/pixels/EncodedPixels.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

const std::string kNoReason = "Error writing an Image(s) : `reason`.";

struct Compression {
    const char* name;
    const char* syntax;
    vint first;
    vint second;
    bool isLossless;
    int bound; ///< largest error of a sample of 8 bits
};

// The bounds of JPEG hold at quality 100 for the smooth images of these tests.
const std::vector<Compression> kCompressions{{"JPEGLossless", "1.2.840.10008.1.2.4.70", 1, 0, true, 0},
                                             {"JPEGLosslessNonhierarchical", "1.2.840.10008.1.2.4.57", 6, 0, true, 0},
                                             {"JPEGLossy8bit", "1.2.840.10008.1.2.4.50", 100, 0, false, 3},
                                             {"JPEGLossy12bit", "1.2.840.10008.1.2.4.51", 100, 0, false, 3},
                                             {"JPEG-LSLossless", "1.2.840.10008.1.2.4.80", 0, 0, true, 0},
                                             {"JPEG-LSLossy", "1.2.840.10008.1.2.4.81", 2, 0, false, 2},
                                             {"RLE", "1.2.840.10008.1.2.5", 0, 0, true, 0}};

/// A smooth image: each sample says slice, row, column and channel.
Image smoothImage(vint type, vint slices, vint rows, vint columns, vint channels, bool interleaved) {
    Image image(slices, rows, columns, channels, type, channels == 3 ? VColorSpace_RGB : VColorSpace_Grey, interleaved);
    const vint frames = slices == 0 ? 1 : slices;
    std::size_t index = 0;
    const auto append = [&](vint frame, vint row, vint column, vint channel) {
        const int value = 20 * frame + 3 * row + 2 * column + 5 * channel;
        if (type == VImage_U16) {
            image.data<std::uint16_t>()[index++] = static_cast<std::uint16_t>(200 * value);
        } else {
            image.data<std::uint8_t>()[index++] = static_cast<std::uint8_t>(type == VImage_Bit ? value / 5 % 2 : value);
        }
    };
    for (vint frame = 0; frame < frames; ++frame) {
        for (vint outer = 0; outer < (interleaved ? 1 : channels); ++outer) {
            for (vint row = 0; row < rows; ++row) {
                for (vint column = 0; column < columns; ++column) {
                    for (vint inner = 0; inner < (interleaved ? channels : 1); ++inner) {
                        append(frame, row, column, interleaved ? inner : outer);
                    }
                }
            }
        }
    }
    return image;
}

std::vector<int> samplesOf(const Image& image) {
    if (image.info().type == VImage_U16) {
        const auto data = image.data<std::uint16_t>();
        return {data.begin(), data.end()};
    }
    const auto data = image.data<std::uint8_t>();
    return {data.begin(), data.end()};
}

class Compressions : public WriterTest {
  protected:
    WriteArguments arguments(Image image, const Compression& compression) const {
        return {.image = std::move(image),
                .compression = compression.name,
                .first = compression.first,
                .second = compression.second};
    }
    /// A number of the dataset as the library reads it, 0 when it is absent.
    vint valueIn(const std::string& path, const std::string& keyword) {
        const Value read = call("ReadMetadata", {path, Store::ofTexts({keyword}), false});
        return read.get<Store>().size() == 0 ? 0 : (*read.get<Store>().begin()).cell().integer;
    }
    /// Largest difference between what is read back and the image of the same samples in the layout that is read.
    int error(const std::string& path, vint type, vint slices, vint rows, vint columns, vint channels) {
        const auto read = storedValues(path);
        const auto expected =
            samplesOf(smoothImage(type, slices, rows, columns, channels, valueIn(path, "PlanarConfiguration") == 0));
        EXPECT_EQ(read.size(), expected.size());
        // Lossy JPEG has unsigned pixels only, and moves signed colour up.
        const bool isMoved = type == VImage_Bit && channels == 3 && valueIn(path, "PixelRepresentation") == 0;
        int largest = read.size() == expected.size() ? 0 : 1 << 20;
        for (std::size_t index = 0; index < std::min(read.size(), expected.size()); ++index) {
            largest = std::max(largest, std::abs(read[index] - expected[index] - (isMoved ? 128 : 0)));
        }
        return largest;
    }
};

} // namespace

TEST_F(Compressions, ComeBackAsTheyWereUpToLayoutAndTheBoundOfTheLossy) {
    for (const Compression& compression : kCompressions) {
        for (const vint type : {VImage_Bit, VImage_U8, VImage_U16}) {
            for (const vint channels : {1, 3}) {
                for (const vint slices : {0, 3}) {
                    for (const bool interleaved : {true, false}) {
                        const bool hasClass = type != VImage_U16 || channels == 1 || slices == 0;
                        const bool isLossyJpegLs = std::string(compression.name) == "JPEG-LSLossy";
                        const bool hasBound =
                            compression.isLossless || (isLossyJpegLs ? type != VImage_Bit : type != VImage_U16);
                        if (!hasClass || !hasBound) {
                            continue; // these have tests of their own
                        }
                        SCOPED_TRACE(testing::Message()
                                     << compression.name << ", type " << type << ", " << channels << " channels, "
                                     << slices << " slices, interleaved " << interleaved);
                        const Image image = smoothImage(type, slices, 12, 10, channels, interleaved);
                        const WriteArguments written = arguments(image, compression);
                        ASSERT_EQ(writeMessage(written), "");
                        const std::string path = folder.file("w.dcm");
                        EXPECT_LE(error(path, type, slices, 12, 10, channels), compression.bound);
                        load(path);
                        EXPECT_EQ(metaValueOf(DCM_TransferSyntaxUID), compression.syntax);
                        EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPInstanceUID), valueOf(DCM_SOPInstanceUID));
                        EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPClassUID), valueOf(DCM_SOPClassUID));
                    }
                }
            }
        }
    }
}

// What DCMTK does not encode, or would make other pixels of.
TEST_F(Compressions, TwoChannelsAreRefusedAndFourByMost) {
    for (const Compression& compression : kCompressions) {
        const bool isRendered = std::string(compression.name).starts_with("JPEGLossy");
        const bool isJpegLs = std::string(compression.name).starts_with("JPEG-LS");
        for (const vint channels : {2, 4}) {
            const Image image = smoothImage(VImage_U8, 0, 12, 10, channels, true);
            const std::string message = writeMessage(arguments(image, compression));
            const bool isTaken = channels == 4 && !isRendered && !isJpegLs;
            EXPECT_EQ(message, isTaken ? "" : kNoReason) << compression.name << ' ' << channels;
            if (isTaken && std::string(compression.name) == "RLE") { // DCMTK's JPEG decoder tells of three
                EXPECT_EQ(storedValues(folder.file("w.dcm")), samplesOf(image)) << compression.name;
            }
        }
    }
}

TEST_F(Compressions, WhatIsRefusedWritesNoFile) {
    EXPECT_EQ(writeCode({.image = smoothImage(VImage_U8, 0, 12, 10, 2, true), .compression = "RLE"}), kImageWriteError);
    EXPECT_FALSE(wasWritten());
}

// The depth of lossy JPEG is that of its name: the range of the values is spread over it.
TEST_F(Compressions, LossyJpegRendersWordsTo8Or12Bits) {
    const Image image = smoothImage(VImage_U16, 0, 12, 10, 1, true);
    const auto expected = samplesOf(image);
    const double range = 16384; // the power of two above the largest value, 200 * (3 * 11 + 2 * 9)
    for (const auto& [name, bits, bound] : {std::tuple{"JPEGLossy8bit", 8, 4}, {"JPEGLossy12bit", 12, 40}}) {
        load(write({.image = image, .compression = name, .first = 100}));
        EXPECT_EQ(valueOf(DCM_BitsStored), std::to_string(bits));
        const auto read = storedValues(folder.file("w.dcm"));
        ASSERT_EQ(read.size(), expected.size());
        for (std::size_t index = 0; index < read.size(); ++index) {
            EXPECT_NEAR(read[index], expected[index] * ((1 << bits) - 1) / (range - 1), bound) << name << ' ' << index;
        }
    }
}

TEST_F(Compressions, LossyJpegMakesANewInstanceThatTheMetaInformationNames) {
    load(write({.image = smoothImage(VImage_U8, 0, 8, 10, 1, true), .compression = "JPEGLossy8bit", .first = 90}));
    EXPECT_EQ(valueOf(DCM_LossyImageCompression), "01");
    EXPECT_EQ(metaValueOf(DCM_MediaStorageSOPInstanceUID), valueOf(DCM_SOPInstanceUID));
    EXPECT_EQ(valueOf(DCM_ConversionType), "SYN");
}

TEST_F(Compressions, TheFirstParameterIsWhatTheNameSays) {
    Image image = smoothImage(VImage_U8, 0, 100, 100, 1, true);
    std::mt19937 random(1);
    for (std::uint8_t& pixel : image.data<std::uint8_t>()) {
        pixel = static_cast<std::uint8_t>(pixel + random() % 8);
    }
    const auto size = [&](const std::string& name, vint first) {
        return readFile(write({.image = image, .compression = name, .first = first})).size();
    };
    EXPECT_LT(size("JPEGLossy8bit", 10), size("JPEGLossy8bit", 100)) << "quality";
    EXPECT_LT(size("JPEG-LSLossy", 6), size("JPEG-LSLossy", 0)) << "deviation";
    EXPECT_NE(readFile(write({.image = image, .compression = "JPEGLosslessNonhierarchical", .first = 1})).size(),
              readFile(write({.image = image, .compression = "JPEGLosslessNonhierarchical", .first = 7})).size())
        << "prediction";
}

TEST_F(Compressions, SignedPixelsTakeNoDeviation) {
    const auto image = [] { return smoothImage(VImage_Bit, 0, 12, 10, 1, true); };
    EXPECT_EQ(writeCode({.image = image(), .compression = "JPEG-LSLossy", .first = 2}), kImageWriteError);
    EXPECT_EQ(writeMessage({.image = image(), .compression = "JPEG-LSLossy", .first = 2}),
              writeMessage({.image = smoothImage(VImage_U8, 0, 12, 10, 2, true), .compression = "RLE"}))
        << "without a reason, as other refusals of an encoder";
    EXPECT_EQ(writeCode({.image = image(), .compression = "JPEG-LSLossy", .first = 0}), 0);
}

TEST_F(Compressions, AnyParameterGivesAFileOrAnError) {
    for (const Compression& compression : kCompressions) {
        for (const vint first : {-2147483647 - 1, -1, 0, 7, 8, 255, 256, 65535, 65536, 2147483647}) {
            for (const vint second : {-1, 0, 7, 8, 2147483647}) {
                const int code = writeCode({.image = smoothImage(VImage_U8, 0, 8, 10, 1, true),
                                            .compression = compression.name,
                                            .first = first,
                                            .second = second});
                EXPECT_TRUE(code == 0 || code == kImageWriteError) << compression.name << ' ' << first << ' ' << code;
                if (code == 0) {
                    EXPECT_EQ(storedValues(folder.file("w.dcm")).size(), 80U) << compression.name << ' ' << first;
                }
            }
        }
    }
}

// The encoder leaves what is in memory behind a stream of an odd length.
TEST_F(Compressions, LossyJpegLsStreamsEndWithTheirMarker) {
    int longerMarkers = 0;
    for (vint columns = 60; columns < 80; ++columns) {
        load(write(
            {.image = smoothImage(VImage_U8, 2, 50, columns, 1, true), .compression = "JPEG-LSLossy", .first = 1}));
        EXPECT_EQ(valueOf(DCM_LossyImageCompression), "01") << "these frames are compressed with a loss";
        DcmElement* element = nullptr;
        ASSERT_TRUE(loaded.getDataset()->findAndGetElement(DCM_PixelData, element).good());
        DcmPixelSequence* fragments = radvex::currentFragments(dynamic_cast<DcmPixelData&>(*element));
        ASSERT_NE(fragments, nullptr);
        ASSERT_EQ(fragments->card(), 3U);
        for (unsigned long index = 1; index < 3; ++index) {
            DcmPixelItem* fragment = nullptr;
            Uint8* bytes = nullptr;
            ASSERT_TRUE(fragments->getItem(fragment, index).good() && fragment->getUint8Array(bytes).good());
            const Uint8* end = bytes + fragment->getLength();
            EXPECT_TRUE(end[-2] == 0xFF && end[-1] == 0xD9) << columns;
            longerMarkers += end[-3] == 0xFF ? 1 : 0;
        }
    }
    EXPECT_GT(longerMarkers, 0) << "some streams are odd";
}

// Metadata may set the number of frames. Encoders that multiply in 32 bits would read far beyond the pixels.
TEST_F(Compressions, FramesThatThePixelsDoNotHoldAreRefused) {
    for (const Compression& compression : kCompressions) {
        for (const char* frames : {"2", "1000", "1073741824", "2147483647"}) {
            WriteArguments written = arguments(smoothImage(VImage_U8, 0, 8, 8, 1, true), compression);
            written.metadata = texts({{"NumberOfFrames", frames}});
            EXPECT_EQ(writeMessage(written), kNoReason) << compression.name << ' ' << frames;
        }
        WriteArguments fewer = arguments(smoothImage(VImage_U8, 2, 8, 8, 1, true), compression);
        fewer.metadata = texts({{"NumberOfFrames", "1"}});
        EXPECT_EQ(writeCode(fewer), 0) << compression.name;
    }
}

TEST_F(Compressions, SizesThatBecome0AreRefused) {
    for (const Compression& compression : kCompressions) {
        const Image wide(0, 1, 65536, 1, VImage_U8, VColorSpace_Grey, true);
        EXPECT_EQ(writeMessage(arguments(wide, compression)), kNoReason) << compression.name;
    }
}

// Noise does not get smaller, and a few pixels are less than the header of a stream.
TEST_F(Compressions, WhatDoesNotGetSmallerComesBackAllTheSame) {
    std::mt19937 random(1);
    for (const vint type : {VImage_U8, VImage_U16}) {
        for (const vint channels : {1, 3}) {
            for (const auto& [rows, columns] : {std::pair{1, 1}, {1, 7}, {5, 3}, {64, 65}}) {
                Image image(0, rows, columns, channels, type, VColorSpace_Grey, true);
                for (std::byte& byte : image.bytes()) {
                    byte = static_cast<std::byte>(random());
                }
                const auto written = samplesOf(image);
                for (const Compression& compression : kCompressions) {
                    const bool isJpegLs = std::string(compression.name) == "JPEG-LSLossy";
                    if (!compression.isLossless && !isJpegLs) {
                        continue;
                    }
                    EXPECT_EQ(writeMessage(arguments(image, compression)), "") << compression.name;
                    const auto read = storedValues(folder.file("w.dcm"));
                    ASSERT_EQ(read.size(), written.size()) << compression.name;
                    for (std::size_t index = 0; index < read.size(); ++index) {
                        ASSERT_NEAR(read[index], written[index], compression.bound)
                            << compression.name << ' ' << type << ' ' << rows << 'x' << columns;
                    }
                }
            }
        }
    }
}

// A stream that is no smaller than the pixels is not trusted. One that is smaller is: decoding each would cost too
// much.
TEST_F(Compressions, OnlyStreamsThatDidNotGetSmallerAreDecodedOnce) {
    const auto canBeDecoded = [](std::size_t length) {
        DcmDataset dataset;
        put(dataset, {{DCM_Rows, "10"},
                      {DCM_Columns, "10"},
                      {DCM_SamplesPerPixel, "1"},
                      {DCM_BitsAllocated, "8"},
                      {DCM_BitsStored, "8"},
                      {DCM_PixelRepresentation, "0"},
                      {DCM_PhotometricInterpretation, "MONOCHROME2"}});
        std::vector<Uint8> noStream(length, 0x55);
        auto fragments = std::make_unique<DcmPixelSequence>(DCM_PixelSequenceTag);
        DcmOffsetList offsets;
        fragments->insert(new DcmPixelItem(DCM_PixelItemTag));
        EXPECT_TRUE(fragments->storeCompressedFrame(offsets, noStream.data(), static_cast<Uint32>(length), 0).good());
        auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
        pixels->putOriginalRepresentation(EXS_JPEGLSLossless, nullptr, fragments.release());
        EXPECT_TRUE(dataset.insert(pixels.release(), OFTrue).good());
        EXPECT_TRUE(dataset.chooseRepresentation(EXS_JPEGLSLossless, nullptr).good());
        return radvex::canBeDecoded(dataset);
    };
    EXPECT_FALSE(canBeDecoded(100));
    EXPECT_FALSE(canBeDecoded(200));
    EXPECT_TRUE(canBeDecoded(98));
}

TEST_F(Compressions, NearLosslessKeepsItsDeviationForNoise) {
    for (const vint deviation : {1, 2, 7}) {
        for (const vint edge : {8, 61}) {
            Image image(0, edge, edge, 1, VImage_U8, VColorSpace_Grey, false);
            std::mt19937 random(5);
            for (std::uint8_t& sample : image.data<std::uint8_t>()) {
                sample = static_cast<std::uint8_t>(random());
            }
            load(write({.image = image, .compression = "JPEG-LSLossy", .first = deviation}));
            EXPECT_EQ(loaded.getDataset()->getOriginalXfer(), EXS_JPEGLSLossy);
            const auto found = storedValues(folder.file("w.dcm"));
            const auto expected = samplesOf(image);
            ASSERT_EQ(found.size(), expected.size());
            int largest = 0;
            for (std::size_t index = 0; index < found.size(); ++index) {
                largest = std::max(largest, std::abs(found[index] - expected[index]));
            }
            EXPECT_EQ(largest, deviation);
        }
    }
}

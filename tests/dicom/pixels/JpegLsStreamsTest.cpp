// JPEG-LS streams that another encoder made: everything legal is read, with the pixels that were compressed.

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/HostTest.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace velmora;

namespace {

enum Interleave { kNone, kLine, kSample };

struct Stream {
    int bits = 8;
    int components = 1;
    Interleave interleave = kNone;
    int near = 0;
    int reset = 0; ///< 0 for the usual one
    int seed = 1;
};

std::string nameOf(const Stream& stream) {
    return std::to_string(stream.bits) + " bits, " + std::to_string(stream.components) + " components, interleave " +
           std::to_string(stream.interleave) + ", near " + std::to_string(stream.near) + ", reset " +
           std::to_string(stream.reset);
}

class JpegLsStreams : public LibraryTest {
  protected:
    static constexpr int kRows = 31;
    static constexpr int kColumns = 42;

    /// Slopes with noise, and runs: pixel by pixel.
    static std::vector<int> samplesOf(const Stream& stream) {
        std::mt19937 random(static_cast<unsigned>(stream.seed));
        const int most = (1 << stream.bits) - 1;
        std::vector<int> samples;
        for (int row = 0; row < kRows; ++row) {
            for (int column = 0; column < kColumns; ++column) {
                for (int component = 0; component < stream.components; ++component) {
                    const int slope = (row * 37 + column * 53 + component * 91) % (most + 1);
                    const int noise = static_cast<int>(random() % 9);
                    samples.push_back(row % 8 < 3    ? most / 2
                                      : row % 8 == 7 ? static_cast<int>(random()) & most
                                                     : std::min(most, slope + noise));
                }
            }
        }
        return samples;
    }
    /// The same as bytes, plane by plane where the encoder wants them so.
    static std::string bytesOf(const Stream& stream, const std::vector<int>& samples) {
        std::string bytes;
        const auto put = [&](int sample) {
            bytes += static_cast<char>(sample & 0xFF);
            if (stream.bits > 8) {
                bytes += static_cast<char>(sample >> 8);
            }
        };
        const auto components = static_cast<std::size_t>(stream.components);
        if (stream.interleave != kNone) {
            std::for_each(samples.begin(), samples.end(), put);
            return bytes;
        }
        for (std::size_t component = 0; component < components; ++component) {
            for (std::size_t index = component; index < samples.size(); index += components) {
                put(samples[index]);
            }
        }
        return bytes;
    }
    static std::string encode(const Stream& stream) {
        const auto text = [](int number) { return std::to_string(number); };
        const ProcessResult result =
            runProcess({CHARLS_ENCODE, text(kColumns), text(kRows), text(stream.bits), text(stream.components),
                        text(stream.interleave), text(stream.near), text(stream.reset)},
                       bytesOf(stream, samplesOf(stream)));
        EXPECT_EQ(result.status, 0) << result.errors;
        return result.output;
    }
    static std::string even(std::string bytes) {
        bytes.resize((bytes.size() + 1) / 2 * 2);
        return bytes;
    }
    /// @param offsets  where the frames start, from the first fragment on; none when empty
    std::string write(const Stream& stream, const std::vector<std::string>& fragments, int frames = 1,
                      const std::vector<Uint32>& offsets = {}) {
        const E_TransferSyntax syntax = stream.near == 0 ? EXS_JPEGLSLossless : EXS_JPEGLSLossy;
        ImageFile image{.rows = kRows,
                        .columns = kColumns,
                        .samples = stream.components,
                        .bitsAllocated = stream.bits > 8 ? 16 : 8,
                        .bitsStored = stream.bits,
                        .photometric = stream.components == 3 ? "RGB" : "MONOCHROME2",
                        .planarConfiguration = stream.components == 3 ? 0 : -1,
                        .frames = frames > 1 ? std::to_string(frames) : ""};
        image.more = [&](DcmDataset& dataset) {
            putFragments(dataset, syntax, fragments);
            DcmElement* element = nullptr;
            DcmPixelSequence* sequence = nullptr;
            DcmPixelItem* table = nullptr;
            ASSERT_TRUE(dataset.findAndGetElement(DCM_PixelData, element).good());
            auto& pixels = dynamic_cast<DcmPixelData&>(*element);
            ASSERT_TRUE(pixels.getEncapsulatedRepresentation(syntax, nullptr, sequence).good());
            ASSERT_TRUE(sequence->getItem(table, 0).good());
            if (!offsets.empty()) {
                table->putUint8Array(reinterpret_cast<const Uint8*>(offsets.data()), 4 * offsets.size());
            }
        };
        call("ClearCache");
        return writeImageFile(folder.file("a.dcm"), image, syntax);
    }
    /// Samples of all frames, pixel by pixel; empty when they cannot be read.
    std::vector<int> read(const std::string& path, int components = 1) {
        std::vector<int> samples;
        if (components == 1) {
            const std::vector<Value> arguments{path, 1, 0};
            if (codeOf("ReadIntermediatePixelData", arguments) == 0) {
                const Value array = call("ReadIntermediatePixelData", arguments);
                append(samples, *array.get<NumericArray>().handle());
            }
            return samples;
        }
        const Tensor withoutWindow{std::vector<vint>{2}, std::vector<double>{-3.0, 0.0}};
        const std::vector<Value> arguments{path, 0, 0, withoutWindow, false, 1};
        if (codeOf("ReadImageData", arguments) == 0) {
            const Store frames = call("ReadImageData", arguments).get<Store>();
            for (const NodeView node : frames) {
                append(samples, *node.cell().numericArray);
            }
        }
        return samples;
    }
    static void append(std::vector<int>& samples, const VelmoraNumericArray& array) {
        for (std::size_t index = 0; index < static_cast<std::size_t>(array.length); ++index) {
            samples.push_back(array.type == VNumericArray_U8
                                  ? static_cast<const std::uint8_t*>(array.data.get())[index]
                                  : static_cast<const std::uint16_t*>(array.data.get())[index]);
        }
    }
    void expectEqual(const Stream& stream, const std::vector<int>& found, const std::vector<int>& expected) {
        ASSERT_EQ(found.size(), expected.size()) << nameOf(stream);
        int largest = 0;
        for (std::size_t index = 0; index < found.size(); ++index) {
            largest = std::max(largest, std::abs(found[index] - expected[index]));
        }
        EXPECT_LE(largest, stream.near) << nameOf(stream);
    }

    TemporaryFolder folder{};
};

/// A segment with its marker, cut out of a stream.
std::string cutSegment(std::string& stream, const std::string& marker) {
    const std::size_t start = stream.find(marker);
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(stream[start + 2])) << 8 |
                        static_cast<unsigned char>(stream[start + 3]);
    const std::string segment = stream.substr(start, 2 + length);
    stream.erase(start, segment.size());
    return segment;
}

} // namespace

TEST_F(JpegLsStreams, OfAnyBitsInterleaveDeviationAndResetAreRead) {
    int count = 0;
    for (const int bits : {8, 10, 12, 16}) {
        for (const int near : {0, 3}) {
            for (const int reset : {0, 3, 31, 63, 64, 65, 200, 255, bits > 8 ? 1000 : 128}) {
                for (const Interleave interleave : {kNone, kLine, kSample}) {
                    for (const int components : {1, 3}) {
                        if ((components == 1 && interleave != kNone) ||
                            (interleave == kSample && reset != 0 && reset != 64)) { // which this encoder cannot do
                            continue;
                        }
                        const Stream stream{bits, components, interleave, near, reset, ++count};
                        const std::string path = write(stream, {even(encode(stream))});
                        const std::vector<int> found = read(path, components);
                        if (components == 3 && bits > 8) { // stretched to the range of its bits when it is rendered
                            EXPECT_FALSE(found.empty()) << nameOf(stream);
                        } else {
                            expectEqual(stream, found, samplesOf(stream));
                        }
                    }
                }
            }
        }
    }
    EXPECT_EQ(count, 4 * 2 * (9 * 3 + 2));
}

TEST_F(JpegLsStreams, WithTheirParametersBeforeTheFrameAreRead) {
    for (const int reset : {31, 64}) {
        const Stream stream{.reset = reset};
        std::string bytes = encode(stream);
        const std::string parameters = cutSegment(bytes, "\xFF\xF8");
        expectEqual(stream, read(write(stream, {even("\xFF\xD8" + parameters + bytes.substr(2))})), samplesOf(stream));
    }
}

TEST_F(JpegLsStreams, WithoutAnEndMarkerAreRead) {
    for (int seed = 1; seed <= 20; ++seed) {
        const Stream stream{.seed = seed};
        std::string bytes = encode(stream);
        bytes.resize(bytes.rfind("\xFF\xD9"));
        if (bytes.size() % 2 == 0) { // a byte that fills up a fragment may be one of the scan as well
            expectEqual(stream, read(write(stream, {bytes})), samplesOf(stream));
        }
    }
}

TEST_F(JpegLsStreams, OfThreeFramesInFragmentsOfAnyLengthAreRead) {
    std::vector<std::string> frames;
    std::vector<int> samples;
    for (int seed = 1; seed <= 3; ++seed) {
        const Stream stream{.reset = 31, .seed = seed};
        frames.push_back(even(encode(stream)));
        const auto more = samplesOf(stream);
        samples.insert(samples.end(), more.begin(), more.end());
    }
    for (const std::size_t length : {2U, 4U, 6U, 50U, 500U, 600U}) {
        std::vector<std::string> fragments;
        std::vector<Uint32> offsets;
        Uint32 offset = 0;
        std::size_t shortest = length;
        for (const std::string& frame : frames) {
            offsets.push_back(offset);
            for (std::size_t start = 0; start < frame.size(); start += length) {
                fragments.push_back(frame.substr(start, length));
                offset += static_cast<Uint32>(8 + fragments.back().size());
                shortest = std::min(shortest, fragments.back().size());
            }
        }
        expectEqual({}, read(write({}, fragments, 3, offsets)), samples);
        if (shortest >= 4) { // DCMTK looks for the starts of frames no further than a fragment of less
            expectEqual({}, read(write({}, fragments, 3)), samples);
            std::swap(offsets[1], offsets[2]);
            offsets[1] += 2;
            expectEqual({}, read(write({}, fragments, 3, offsets)), samples); // a table that is not true
        }
    }
}

TEST_F(JpegLsStreams, WhoseLargestSampleIsNotAllOnesAreRefused) {
    const Stream stream{.reset = 31};
    std::string bytes = encode(stream);
    const std::size_t parameters = bytes.find("\xFF\xF8");
    for (const int largest : {100, 254, 256, 65535}) {
        bytes[parameters + 5] = static_cast<char>(largest >> 8);
        bytes[parameters + 6] = static_cast<char>(largest & 0xFF);
        EXPECT_TRUE(read(write(stream, {even(bytes)})).empty()) << largest;
    }
}

TEST_F(JpegLsStreams, WithAResetThatCannotBeAreRefused) {
    const Stream stream{.reset = 31};
    std::string bytes = encode(stream);
    const std::size_t parameters = bytes.find("\xFF\xF8");
    for (const int reset : {1, 2, 256, 0x8000, 0xFFFF}) {
        bytes[parameters + 13] = static_cast<char>(reset >> 8);
        bytes[parameters + 14] = static_cast<char>(reset & 0xFF);
        EXPECT_TRUE(read(write(stream, {even(bytes)})).empty()) << reset;
    }
}

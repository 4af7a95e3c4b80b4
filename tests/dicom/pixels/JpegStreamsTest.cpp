// JPEG streams that other encoders made: everything legal is read, with the pixels that an independent decoder makes of
// them, or, without loss, with those that were compressed.

#include <algorithm>
#include <array>
#include <random>

#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrploss.h"
#include "tests/dicom/pixels/CompressedFileTest.h"
#include "tests/support/JpegStreams.h"
#include "tests/support/Process.h"

using namespace radvex::test;
using namespace velmora;

namespace {

using Size = std::pair<int, int>;

class JpegStreams : public CompressedFileTest {
  protected:
    /// Slopes, edges and noise.
    static std::vector<int> samplesOf(int rows, int columns, int components, int bits) {
        std::mt19937 random(static_cast<unsigned>(rows * 1000 + columns));
        const int most = (1 << bits) - 1;
        std::vector<int> samples;
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                for (int component = 0; component < components; ++component) {
                    const int slope = (row * 5 + column * 3 * (component + 1)) % (most + 1);
                    const int noise = static_cast<int>(random()) & most;
                    samples.push_back(row % 16 < 10 ? slope : row % 16 < 12 ? noise : column / 6 % 2 * most);
                }
            }
        }
        return samples;
    }
    static JpegSource source(int rows, int columns, int components) {
        const std::vector<int> samples = samplesOf(rows, columns, components, 8);
        return {
            .rows = rows, .columns = columns, .components = components, .samples = {samples.begin(), samples.end()}};
    }
    static E_TransferSyntax syntaxOf(JpegForm form) {
        return form == JpegForm::progressive ? EXS_JPEGProcess10_12
               : form == JpegForm::extended  ? EXS_JPEGProcess2_4
                                             : EXS_JPEGProcess1;
    }
    /// Reads what became of a source, and compares each sample with libjpeg's: both compute with the same whole
    /// numbers.
    void expectRead(const JpegSource& source, const std::string& stream, const std::string& model,
                    const std::string& what) {
        const std::string path = write({.syntax = syntaxOf(source.form),
                                        .rows = source.rows,
                                        .columns = source.columns,
                                        .components = source.components,
                                        .model = model,
                                        .fragments = {even(stream)}});
        const std::vector<int> found = read(path, source.components);
        ASSERT_EQ(found.size(), source.samples.size()) << what;
        EXPECT_EQ(found, decodedJpeg(stream, source)) << what;
    }
    void expectRead(const JpegSource& source, const std::string& model, const std::string& what) {
        expectRead(source, jpegStream(source), model, what);
    }
    /// A file whose samples are compressed without loss, and the same uncompressed.
    std::array<std::string, 2> writeLossless(const LosslessJpegSource& source, E_TransferSyntax syntax,
                                             const std::string& model) {
        const std::string path = write({.syntax = syntax,
                                        .rows = source.rows,
                                        .columns = source.columns,
                                        .components = source.components,
                                        .bits = source.bits,
                                        .model = model,
                                        .fragments = {even(losslessJpegStream(source))}});
        const std::string plain =
            writeImageFile(folder.file("plain.dcm"), {.rows = source.rows,
                                                      .columns = source.columns,
                                                      .samples = source.components,
                                                      .bitsAllocated = 16,
                                                      .bitsStored = source.bits,
                                                      .photometric = model,
                                                      .planarConfiguration = source.components == 1 ? -1 : 0,
                                                      .words = {source.samples.begin(), source.samples.end()}});
        return {path, plain};
    }
    /// The file as another build of DCMTK decodes it.
    std::string decodedByDcmdjpeg(const std::string& path) {
        std::string decoded = folder.file("decoded.dcm");
        const ProcessResult result = runProcess({"dcmdjpeg", path, decoded});
        EXPECT_EQ(result.status, 0) << result.errors;
        return decoded;
    }
    static std::vector<int> wordsOf(const std::string& path) {
        DcmFileFormat file;
        const Uint16* words = nullptr;
        unsigned long count = 0;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        EXPECT_TRUE(file.getDataset()->findAndGetUint16Array(DCM_PixelData, words, &count).good());
        return {words, words + count};
    }
};

/// Where the markers of a stream stand, but for the first one.
std::vector<std::size_t> markersOf(const std::string& stream) {
    const auto byte = [&](std::size_t offset) { return static_cast<unsigned char>(stream[offset]); };
    std::vector<std::size_t> markers;
    for (std::size_t offset = 2; offset + 1 < stream.size();) {
        const int kind = byte(offset + 1);
        if (byte(offset) != 0xFF || kind == 0) { // compressed data
            ++offset;
            continue;
        }
        markers.push_back(offset);
        const bool hasLength = kind < 0xD0 || kind > 0xD9;
        offset += hasLength ? 2 + (std::size_t{byte(offset + 2)} << 8 | byte(offset + 3)) : 2;
    }
    return markers;
}

std::ptrdiff_t restartsOf(const std::string& stream) {
    const auto markers = markersOf(stream);
    return std::count_if(markers.begin(), markers.end(),
                         [&](std::size_t offset) { return (stream[offset + 1] & 0xF8) == 0xD0; });
}

const std::vector<Size> kSizes{{37, 53}, {32, 32}, {1, 1}, {5, 3}, {64, 17}, {17, 64}, {1, 40}, {40, 1}};

} // namespace

TEST_F(JpegStreams, OfAnySubsamplingSizeAndMarkerAreRead) {
    for (const auto& [across, down] : {Size{1, 1}, {2, 1}, {2, 2}, {4, 1}, {1, 2}, {4, 2}}) {
        for (const auto& [rows, columns] : kSizes) {
            JpegSource picture = source(rows, columns, 3);
            picture.acrossShared = across;
            picture.downShared = down;
            for (const auto marker : {JpegColourMarker::jfif, JpegColourMarker::adobe, JpegColourMarker::none}) {
                picture.marker = marker;
                for (const std::string model : {"YBR_FULL_422", "YBR_FULL"}) {
                    expectRead(picture, model,
                               model + ", shared by " + std::to_string(across) + 'x' + std::to_string(down) + ", " +
                                   std::to_string(rows) + 'x' + std::to_string(columns) + ", marker " +
                                   std::to_string(static_cast<int>(marker)));
                }
            }
        }
    }
}

TEST_F(JpegStreams, OfRedGreenAndBlueStaySo) {
    for (const auto& [rows, columns] : kSizes) {
        JpegSource picture = source(rows, columns, 3);
        picture.staysRgb = true;
        picture.quality = 100;
        for (const auto marker : {JpegColourMarker::adobe, JpegColourMarker::none}) {
            picture.marker = marker;
            expectRead(picture, "RGB", std::to_string(rows) + 'x' + std::to_string(columns));
        }
    }
}

TEST_F(JpegStreams, WithRestartMarkersAreRead) {
    for (const JpegForm form : {JpegForm::baseline, JpegForm::scanEach, JpegForm::progressive}) {
        for (const int components : {1, 3}) {
            for (const int units : {1, 2, 7, 12}) {
                JpegSource picture = source(61, 83, components);
                picture.acrossShared = components == 3 ? 2 : 1;
                picture.restartUnits = units;
                picture.form = form;
                const std::string stream = jpegStream(picture);
                EXPECT_GE(restartsOf(stream), 3) << "or nothing is tested";
                expectRead(picture, stream, components == 3 ? "YBR_FULL_422" : "MONOCHROME2",
                           std::to_string(components) + " components, every " + std::to_string(units));
            }
        }
    }
}

TEST_F(JpegStreams, OfAnyFormAreRead) {
    for (const JpegForm form : {JpegForm::ownTables, JpegForm::scanEach, JpegForm::extended, JpegForm::progressive}) {
        for (const auto& [rows, columns] : kSizes) {
            for (const int components : {1, 3}) {
                JpegSource picture = source(rows, columns, components);
                picture.acrossShared = picture.downShared = components == 3 ? 2 : 1;
                picture.form = form;
                const std::string stream = jpegStream(picture);
                const std::string frame = form == JpegForm::extended      ? "\xFF\xC1"
                                          : form == JpegForm::progressive ? "\xFF\xC2"
                                                                          : "\xFF\xC0";
                EXPECT_NE(stream.find(frame), std::string::npos) << "another form is tested";
                expectRead(picture, stream, components == 3 ? "YBR_FULL" : "MONOCHROME2",
                           "form " + std::to_string(static_cast<int>(form)) + ", " + std::to_string(components) +
                               " components, " + std::to_string(rows) + 'x' + std::to_string(columns));
            }
        }
    }
}

TEST_F(JpegStreams, WithSegmentsOfOthersAreRead) {
    JpegSource picture = source(37, 53, 3);
    picture.acrossShared = 2;
    const std::string stream = jpegStream(picture);
    std::mt19937 random(static_cast<unsigned>(stream.size()));
    std::string anything(65'533, '\0');
    std::generate(anything.begin(), anything.end(), [&] { return static_cast<char>(random()); });
    anything.replace(1000, 21, jpegSegment('\xC4', '\x05' + std::string(16, '\0'))); // no table has such a number
    const std::string comments = jpegSegment('\xFE', "") + jpegSegment('\xFE', std::string(65'533, 'c'));
    std::string applications;
    for (int number = 1; number <= 15; ++number) {
        if (number != 14) { // Adobe's, which tells of colours
            applications += jpegSegment(static_cast<char>(0xE0 + number), anything);
        }
    }
    const std::string thumbnail = jpegSegment('\xE1', "Exif" + std::string(2, '\0') + jpegStream(source(160, 120, 3)));
    std::string all = comments;
    all.append(applications).append(thumbnail);
    for (const std::string& others : {comments, applications, thumbnail, all}) {
        expectRead(picture, stream.substr(0, 2) + others + stream.substr(2), "YBR_FULL_422", "behind the start");
        std::vector<std::size_t> markers = markersOf(stream);
        markers.pop_back(); // the end, which follows the compressed data at once
        for (const std::size_t offset : markers) {
            expectRead(picture, stream.substr(0, offset) + others + stream.substr(offset), "YBR_FULL_422",
                       "at " + std::to_string(offset));
        }
    }
}

TEST_F(JpegStreams, WithFilledMarkersAreRead) {
    for (const JpegForm form : {JpegForm::baseline, JpegForm::progressive}) {
        JpegSource picture = source(37, 53, 3);
        picture.restartUnits = 4;
        picture.form = form;
        const std::string stream = jpegStream(picture);
        const auto markers = markersOf(stream);
        ASSERT_GE(markers.size(), 12U);
        for (const std::size_t count : {1U, 2U, 3U, 64U, 1001U}) {
            std::string filled = stream;
            for (auto offset = markers.rbegin(); offset != markers.rend(); ++offset) {
                filled.insert(*offset, count, '\xFF');
            }
            expectRead(picture, filled, "YBR_FULL", std::to_string(count));
        }
    }
}

TEST_F(JpegStreams, WithoutLossOfAnyBitsPredictorAndRestartsAreRead) {
    for (const int bits : {8, 10, 12, 13, 16}) {
        for (int predictor = 1; predictor <= 7; ++predictor) {
            for (const int restartRows : {0, 1, 5}) {
                const LosslessJpegSource picture{.rows = 37,
                                                 .columns = 53,
                                                 .bits = bits,
                                                 .samples = samplesOf(37, 53, 1, bits),
                                                 .predictor = predictor,
                                                 .restartRows = restartRows};
                for (const E_TransferSyntax syntax : {EXS_JPEGProcess14, EXS_JPEGProcess14SV1}) {
                    if (predictor == 1 || syntax == EXS_JPEGProcess14) {
                        EXPECT_EQ(read(writeLossless(picture, syntax, "MONOCHROME2")[0]), picture.samples)
                            << bits << " bits, predictor " << predictor << ", restarts " << restartRows;
                    }
                }
            }
        }
    }
}

// Colour of more than 8 bits is spread over the range of its output, in the same way with and without compression.
TEST_F(JpegStreams, OfColourWithoutLossAreRead) {
    for (const int bits : {8, 12, 16}) {
        for (const int predictor : {1, 4, 7}) {
            for (const int restartRows : {0, 3}) {
                const LosslessJpegSource picture{.rows = 37,
                                                 .columns = 53,
                                                 .components = 3,
                                                 .bits = bits,
                                                 .samples = samplesOf(37, 53, 3, bits),
                                                 .predictor = predictor,
                                                 .restartRows = restartRows};
                const auto [path, plain] = writeLossless(picture, EXS_JPEGProcess14, "RGB");
                const std::vector<int> found = read(path, 3);
                ASSERT_EQ(found.size(), picture.samples.size());
                EXPECT_EQ(found, bits == 8 ? picture.samples : read(plain, 3))
                    << bits << " bits, predictor " << predictor << ", restarts " << restartRows;
            }
        }
    }
}

// The tables of the conversion have 4096 entries. Every sample that 12 bits allow has to find its own.
TEST_F(JpegStreams, OfYbrColourOfTwelveBitsWithoutLossAreConverted) {
    LosslessJpegSource picture{.rows = 96, .columns = 128, .components = 3, .bits = 12};
    for (int index = 0; index < picture.rows * picture.columns; ++index) {
        const auto spread = [index](int factor) { return (index * factor) & 0xFFF; };
        const std::array<int, 3> pixel{spread(1), spread(1237), spread(3001)}; // odd factors: all values in 4096 pixels
        picture.samples.insert(picture.samples.end(), pixel.begin(), pixel.end());
    }
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess14, EXS_JPEGProcess14SV1}) {
        const std::string path = writeLossless(picture, syntax, "YBR_FULL")[0];
        const std::string decoded = decodedByDcmdjpeg(path);
        const std::vector<int> words = wordsOf(decoded);
        ASSERT_EQ(words.size(), picture.samples.size());
        for (std::size_t index = 0; index < words.size(); index += 3) { // PS3.3 C.7.6.3.1.2
            const double luminance = picture.samples[index];
            const double blue = picture.samples[index + 1] - 2048.0;
            const double red = picture.samples[index + 2] - 2048.0;
            ASSERT_NEAR(words[index], std::clamp(luminance + 1.402 * red, 0.0, 4095.0), 1.0) << index;
            ASSERT_NEAR(words[index + 1], std::clamp(luminance - 0.34414 * blue - 0.71414 * red, 0.0, 4095.0), 1.0);
            ASSERT_NEAR(words[index + 2], std::clamp(luminance + 1.772 * blue, 0.0, 4095.0), 1.0) << index;
        }
        const std::vector<int> found = read(path, 3);
        ASSERT_EQ(found.size(), picture.samples.size());
        EXPECT_EQ(found, read(decoded, 3));
    }
}

// At the best quality a coefficient is off by no more than a half: over 64 of them a sample by 4, and 1 by rounding.
TEST_F(JpegStreams, OfTwelveBitsWithLossAreReadAsAnotherBuildReadsThem) {
    constexpr int kRows = 37;
    constexpr int kColumns = 53;
    std::vector<int> samples(std::size_t{kRows} * kColumns);
    for (int index = 0; index < kRows * kColumns; ++index) {
        samples[static_cast<std::size_t>(index)] = 1000 + index % kColumns * 40 + index / kColumns * 20;
    }
    samples[0] = 0; // the whole range, so that nothing is stretched
    samples[1] = 4095;
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess2_4, EXS_JPEGProcess10_12}) {
        DJEncoderRegistration::registerCodecs();
        const std::string path = writeImageFile(
            folder.file("plain.dcm"),
            {.rows = kRows, .columns = kColumns, .bitsStored = 12, .words = {samples.begin(), samples.end()}});
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(path.c_str()).good());
        const DJ_RPLossy quality(100);
        ASSERT_TRUE(file.getDataset()->chooseRepresentation(syntax, &quality).good());
        const std::string compressed = folder.file("compressed.dcm");
        ASSERT_TRUE(file.saveFile(compressed.c_str(), syntax).good());
        DJEncoderRegistration::cleanup();
        const std::vector<int> found = read(compressed);
        EXPECT_EQ(found, wordsOf(decodedByDcmdjpeg(compressed)));
        ASSERT_EQ(found.size(), samples.size());
        for (std::size_t index = 0; index < found.size(); ++index) {
            ASSERT_NEAR(found[index], samples[index], 5) << index;
        }
    }
}

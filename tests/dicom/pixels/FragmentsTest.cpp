// Frames in fragments as the standard allows them, with any offset table: each is read, with its own pixels.

#include <algorithm>
#include <random>

#include "dcmtk/dcmdata/dcvrov.h"
#include "guard/pixels/DecodingSafety.h"
#include "tests/dicom/pixels/CompressedFileTest.h"
#include "tests/support/JpegStreams.h"

using namespace radvex::test;
using namespace velmora;

namespace {

constexpr int kSeriesRows = 41;
constexpr int kSeriesColumns = 67;
constexpr int kSeriesFrames = 5;

/// What would be a table that decoders must not use, were it a segment: its number is too large.
const std::string kNoTable = jpegSegment('\xC4', '\x05' + std::string(16, '\0'));

enum class Table { right, empty, zeros };

std::string nameOf(Table table) {
    return table == Table::right ? "a right table" : table == Table::empty ? "an empty table" : "a table of zeros";
}

/// Frames of a file, each in its fragments, and the samples of all.
struct FrameSeries {
    E_TransferSyntax syntax;
    int bits;
    std::vector<std::vector<std::string>> frames{};
    std::vector<int> samples{};
};

std::vector<int> noise(unsigned seed, int count, int bits) {
    std::mt19937 random(seed);
    std::vector<int> samples(static_cast<std::size_t>(count));
    std::generate(samples.begin(), samples.end(), [&] { return static_cast<int>(random()) & ((1 << bits) - 1); });
    return samples;
}

std::string littleEndian(std::uint32_t number) {
    std::string bytes;
    for (int byte = 0; byte < 4; ++byte, number >>= 8) {
        bytes += static_cast<char>(number & 0xFF);
    }
    return bytes;
}

/// PS3.5 G.3: runs of up to 128 equal bytes, and bytes as they are; filled up to an even length.
std::string packed(const std::string& bytes, std::size_t lineLength) {
    std::string result;
    for (std::size_t line = 0; line < bytes.size(); line += lineLength) {
        const std::size_t lineEnd = line + lineLength;
        for (std::size_t start = line; start < lineEnd;) {
            const auto runEnd = [&](std::size_t from) {
                const std::size_t most = std::min(lineEnd, from + 128);
                return std::min(most, bytes.find_first_not_of(bytes[from], from));
            };
            std::size_t end = runEnd(start);
            if (end - start > 1) {
                result += static_cast<char>(1 - static_cast<int>(end - start));
                result += bytes[start];
            } else {
                while (end < lineEnd && end - start < 128 && runEnd(end) - end < 3) {
                    ++end;
                }
                result += static_cast<char>(end - start - 1) + bytes.substr(start, end - start);
            }
            start = end;
        }
    }
    result.resize((result.size() + 1) / 2 * 2);
    return result;
}

/// A frame of RLE (PS3.5 annex G): for each component its bytes, the highest first.
std::string rleFrame(const std::vector<int>& samples, int components, int bits) {
    std::string header;
    std::string segments;
    std::uint32_t count = 0;
    for (int component = 0; component < components; ++component) {
        for (int shift = bits - 8; shift >= 0; shift -= 8, ++count) {
            std::string bytes;
            for (auto index = static_cast<std::size_t>(component); index < samples.size();
                 index += static_cast<std::size_t>(components)) {
                bytes += static_cast<char>(samples[index] >> shift & 0xFF);
            }
            header += littleEndian(static_cast<std::uint32_t>(64 + segments.size()));
            segments += packed(bytes, kSeriesColumns);
        }
    }
    header.insert(0, littleEndian(count));
    header.resize(64);
    return header + segments;
}

class FramesInFragments : public CompressedFileTest {
  protected:
    static constexpr int kPixels = kSeriesRows * kSeriesColumns;

    /// Frames of grey, each one stream: noise of more and more bits, so that none has the length of another.
    static std::vector<std::string> streams(E_TransferSyntax syntax, std::vector<int>& samples) {
        std::vector<std::string> result;
        for (int frame = 0; frame < kSeriesFrames; ++frame) {
            std::vector<int> values = noise(static_cast<unsigned>(frame), kPixels, 4 + frame);
            if (syntax == EXS_JPEGProcess1) {
                const JpegSource source{
                    .rows = kSeriesRows, .columns = kSeriesColumns, .samples = {values.begin(), values.end()}};
                result.push_back(jpegStream(source));
                values = decodedJpeg(result.back(), source);
            } else {
                result.push_back(losslessJpegStream(
                    {.rows = kSeriesRows, .columns = kSeriesColumns, .samples = values, .predictor = 1 + frame % 7}));
            }
            samples.insert(samples.end(), values.begin(), values.end());
        }
        return result;
    }
    /// The fragments of a stream, each of a length but the last.
    static std::vector<std::string> cut(const std::string& stream, std::size_t length) {
        std::vector<std::string> fragments;
        for (std::size_t start = 0; start < stream.size(); start += length) {
            fragments.push_back(stream.substr(start, length));
        }
        return fragments;
    }
    static CompressedPicture pictureOf(const FrameSeries& series, Table table) {
        CompressedPicture picture{.syntax = series.syntax,
                                  .rows = kSeriesRows,
                                  .columns = kSeriesColumns,
                                  .bits = series.bits,
                                  .frames = static_cast<int>(series.frames.size())};
        Uint32 offset = 0;
        for (const auto& fragments : series.frames) {
            if (table != Table::empty) {
                picture.offsets.push_back(table == Table::right ? offset : 0);
            }
            for (const std::string& fragment : fragments) {
                offset += static_cast<Uint32>(8 + fragment.size());
                picture.fragments.push_back(fragment);
            }
        }
        return picture;
    }
    void expectRead(const FrameSeries& series, const std::string& what) {
        for (const Table table : {Table::right, Table::empty, Table::zeros}) {
            EXPECT_EQ(read(write(pictureOf(series, table))), series.samples) << what << ", with " << nameOf(table);
        }
    }
};

void putOffsets(DcmDataset& dataset, const DcmTagKey& key, const std::vector<Uint64>& numbers) {
    auto element = std::make_unique<DcmOther64bitVeryLong>(DcmTag(key));
    Uint64* values = nullptr;
    ASSERT_TRUE(element->createUint64Array(static_cast<Uint32>(numbers.size()), values).good());
    std::copy(numbers.begin(), numbers.end(), values);
    ASSERT_TRUE(dataset.insert(element.release(), OFTrue).good());
}

} // namespace

TEST_F(FramesInFragments, EachWithOneFrameOfJpegAreRead) {
    int oddStreams = 0;
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess1, EXS_JPEGProcess14, EXS_JPEGProcess14SV1}) {
        FrameSeries behind{syntax, 8};
        FrameSeries before{syntax, 8};
        for (const std::string& stream : streams(syntax, behind.samples)) {
            oddStreams += static_cast<int>(stream.size() % 2);
            behind.frames.push_back({even(stream)});
            std::string filled = stream;
            filled.insert(stream.size() - 2, stream.size() % 2, '\xFF');
            before.frames.push_back({filled});
        }
        before.samples = behind.samples;
        expectRead(behind, "filled up behind the end marker");
        expectRead(before, "filled up before the end marker");
    }
    EXPECT_GE(oddStreams, 3) << "or no stream was filled up";
}

TEST_F(FramesInFragments, EachWithAPartOfAFrameOfJpegAreRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess1, EXS_JPEGProcess14}) {
        std::vector<int> samples;
        const auto whole = streams(syntax, samples);
        for (const std::size_t length : {110U, 128U, 200U, 256U, 500U, 1024U, 2000U}) {
            FrameSeries series{syntax, 8, {}, samples};
            for (const std::string& stream : whole) {
                series.frames.push_back(cut(even(stream), length));
            }
            expectRead(series, "fragments of " + std::to_string(length));
        }
    }
}

// A fragment that ends between FF and the byte behind it goes on in the next one. What an application stored in a later
// frame is still no segment, whatever its bytes look like.
TEST_F(FramesInFragments, ThatEndWithHalfAMarkerAreReadWithAnyBytesOfAnApplication) {
    FrameSeries series{EXS_JPEGProcess1, 8};
    int cuts = 0;
    for (const std::string& stream : streams(EXS_JPEGProcess1, series.samples)) {
        const std::string whole = stream.substr(0, 2) + jpegSegment('\xE2', kNoTable) + stream.substr(2);
        const std::string stuffed("\xFF\0", 2);
        std::size_t half = whole.find(stuffed, whole.find("\xFF\xDA"));
        while (half != std::string::npos && half % 2 == 0) { // fragments have an even length
            half = whole.find(stuffed, half + 1);
        }
        cuts += half == std::string::npos ? 0 : 1;
        series.frames.push_back(half == std::string::npos ? std::vector<std::string>{even(whole)}
                                                          : std::vector<std::string>{whole.substr(0, half + 1),
                                                                                     even(whole.substr(half + 1))});
    }
    EXPECT_GE(cuts, 2) << "or no later frame is tested";
    expectRead(series, "cut behind FF");
}

TEST_F(FramesInFragments, ThatShareTheBytesOfAnApplicationAreRead) {
    for (const std::size_t behind : {30U, 100U, 170U, 180U}) {
        FrameSeries series{EXS_JPEGProcess1, 8};
        for (const std::string& stream : streams(EXS_JPEGProcess1, series.samples)) {
            const std::string application =
                jpegSegment('\xE2', std::string(160, 'p') + kNoTable + std::string(12, 'p'));
            const std::size_t scan = stream.find("\xFF\xDA");
            const std::string whole = stream.substr(0, scan) + application + stream.substr(scan);
            const std::size_t cut = (scan + behind) / 2 * 2;
            series.frames.push_back({whole.substr(0, cut), even(whole.substr(cut))});
        }
        expectRead(series, "cut " + std::to_string(behind) + " bytes behind its start");
    }
}

TEST_F(FramesInFragments, WithAnExtendedOffsetTableAreRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess1, EXS_JPEGProcess14, EXS_RLELossless}) {
        FrameSeries series{syntax, 8};
        std::vector<Uint64> offsets;
        std::vector<Uint64> lengths;
        Uint64 offset = 0;
        const auto whole = streams(syntax == EXS_RLELossless ? EXS_JPEGProcess14 : syntax, series.samples);
        for (std::size_t frame = 0; frame < whole.size(); ++frame) {
            const auto first = series.samples.begin() + static_cast<std::ptrdiff_t>(frame * kPixels);
            const std::string stream =
                syntax == EXS_RLELossless ? rleFrame({first, first + kPixels}, 1, 8) : even(whole[frame]);
            series.frames.push_back({stream});
            offsets.push_back(offset);
            lengths.push_back(stream.size());
            offset += 8 + stream.size();
        }
        CompressedPicture picture = pictureOf(series, Table::empty);
        picture.more = [&](DcmDataset& dataset) {
            putOffsets(dataset, DCM_ExtendedOffsetTable, offsets);
            putOffsets(dataset, DCM_ExtendedOffsetTableLengths, lengths);
        };
        const std::string path = write(picture);
        EXPECT_EQ(read(path), series.samples) << DcmXfer(syntax).getXferName();
        EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), kSeriesFrames);
    }
}

TEST_F(FramesInFragments, OfGreyRleAreRead) {
    for (const int bits : {8, 16}) {
        FrameSeries series{EXS_RLELossless, bits};
        for (int frame = 0; frame < kSeriesFrames; ++frame) {
            std::vector<int> values = noise(static_cast<unsigned>(frame), kPixels, bits - 2 * frame / 3);
            std::fill(values.begin() + 100, values.begin() + 900, 7 * frame); // runs of lines, and longer than one
            series.frames.push_back({rleFrame(values, 1, bits)});
            series.samples.insert(series.samples.end(), values.begin(), values.end());
        }
        expectRead(series, std::to_string(bits) + " bits");
    }
}

// DCMTK repeated the byte behind the code 129 times. PS3.5 G.3.2 lets it output nothing.
TEST_F(FramesInFragments, OfRlePassTheCodeThatOutputsNothing) {
    const std::vector<int> values = noise(3, kPixels, 8);
    std::string segment;
    for (const int value : values) {
        segment += std::string("\x80\0", 2); // nothing, then one byte as it is
        segment += static_cast<char>(value);
    }
    std::string header = littleEndian(1) + littleEndian(64);
    header.resize(64);
    CompressedPicture picture{.syntax = EXS_RLELossless, .rows = kSeriesRows, .columns = kSeriesColumns};
    picture.fragments = {header + even(segment + '\x80')};
    EXPECT_EQ(read(write(picture)), values);
}

TEST_F(FramesInFragments, OfColourRleAreReadByPixelAndByPlane) {
    for (const int planes : {0, 1}) {
        CompressedPicture picture{.syntax = EXS_RLELossless,
                                  .rows = kSeriesRows,
                                  .columns = kSeriesColumns,
                                  .components = 3,
                                  .model = "RGB",
                                  .planarConfiguration = planes,
                                  .frames = kSeriesFrames};
        std::vector<int> expected;
        for (int frame = 0; frame < kSeriesFrames; ++frame) {
            std::vector<int> values = noise(static_cast<unsigned>(frame), 3 * kPixels, 8 - frame);
            std::fill(values.begin() + 600, values.begin() + 1700, 99 + frame);
            picture.fragments.push_back(rleFrame(values, 3, 8));
            for (int component = 0; planes == 1 && component < 3; ++component) {
                for (auto index = static_cast<std::size_t>(component); index < values.size(); index += 3) {
                    expected.push_back(values[index]);
                }
            }
            if (planes == 0) {
                expected.insert(expected.end(), values.begin(), values.end());
            }
        }
        EXPECT_EQ(read(write(picture), 3), expected) << (planes == 1 ? "by plane" : "by pixel");
    }
}

// One more is refused: DCMTK looks for each picture from the first item on.
TEST_F(FramesInFragments, OfFiveThousandPicturesAreRead) {
    constexpr int kMostPictures = 5000; // with that of the file itself
    const std::vector<int> values = noise(1, kPixels, 8);
    for (const int pictures : {kMostPictures, kMostPictures + 1}) {
        CompressedPicture picture{.syntax = EXS_RLELossless, .rows = kSeriesRows, .columns = kSeriesColumns};
        picture.fragments = {rleFrame(values, 1, 8)};
        picture.more = [&](DcmDataset& dataset) {
            for (int index = 1; index < pictures; ++index) {
                DcmItem& icon = addItem(dataset, DCM_IconImageSequence);
                put(icon, {{DCM_SamplesPerPixel, "1"},
                           {DCM_PhotometricInterpretation, "MONOCHROME2"},
                           {DCM_Rows, "1"},
                           {DCM_Columns, std::to_string(kSeriesColumns)},
                           {DCM_BitsAllocated, "8"},
                           {DCM_BitsStored, "8"},
                           {DCM_HighBit, "7"},
                           {DCM_PixelRepresentation, "0"}});
                putFragments(icon, EXS_RLELossless, {rleFrame(std::vector<int>(kSeriesColumns, 7), 1, 8)});
            }
        };
        const std::string path = write(picture);
        EXPECT_EQ(read(path), pictures == kMostPictures ? values : std::vector<int>()) << pictures;
    }
}

#include "formats/pictures/Npy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/Session.h"
#include "tests/support/PictureFiles.h"

using radvex::UsageError;
using namespace radvex::cli;
using namespace radvex::formats;
using namespace radvex::test;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

namespace {

velmora::Image read(const std::string& bytes, const std::string& axes = "") {
    return readNpy("a.npy", spanOf(bytes), {.given = parseAxes(axes)});
}

std::string refusal(const std::string& bytes, const std::string& axes = "") {
    return refusalOf([&] { read(bytes, axes); });
}

/// Sizes as [slices, rows, columns, channels].
std::vector<vint> sizesOf(const velmora::Image& image) {
    const VelmoraImage& info = image.info();
    return {info.slices, info.rows, info.columns, info.channels};
}

/// Bytes that count from 0.
std::string counting(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t index = 0; index < count; ++index) {
        bytes[index] = static_cast<char>(index);
    }
    return bytes;
}

template <typename T>
std::vector<T> values(const velmora::Image& image) {
    const auto data = image.data<T>();
    return {data.begin(), data.end()};
}

} // namespace

TEST(NpyRead, KeepsTypeAndValues) {
    const auto u8 = read(npyFile("|u1", "(2, 3)", counting(6)));
    EXPECT_EQ(u8.info().type, VImage_U8);
    EXPECT_EQ(u8.info().rank, 2);
    EXPECT_THAT(sizesOf(u8), ElementsAre(1, 2, 3, 1));
    EXPECT_THAT(values<std::uint8_t>(u8), ElementsAre(0, 1, 2, 3, 4, 5));
    const std::vector<std::uint16_t> words{1, 256, 65535};
    EXPECT_THAT(values<std::uint16_t>(read(npyFile("<u2", "(1, 3)", bytesOf(words)))), ElementsAreArray(words));
    const std::vector<float> floats{-1.5F, 0.25F};
    EXPECT_THAT(values<float>(read(npyFile("<f4", "(2, 1)", bytesOf(floats)))), ElementsAreArray(floats));
    const std::vector<double> doubles{-1e300, 0.1};
    EXPECT_THAT(values<double>(read(npyFile("=f8", "(2, 1)", bytesOf(doubles)))), ElementsAreArray(doubles));
}

TEST(NpyRead, ABoolIsABitWhateverItsByte) {
    const auto image = read(npyFile("|b1", "(1, 4)", std::string("\x00\x01\x02\xFF", 4)));
    EXPECT_EQ(image.info().type, VImage_Bit);
    EXPECT_THAT(values<std::int8_t>(image), ElementsAre(0, 1, 1, 1));
}

TEST(NpyRead, TurnsBigEndianNumbersRound) {
    EXPECT_THAT(values<std::uint16_t>(read(npyFile(">u2", "(1, 2)", std::string("\x01\x02\xFF\x00", 4)))),
                ElementsAre(0x0102, 0xFF00));
    std::string bytes = bytesOf(std::vector<double>{-2.5});
    std::reverse(bytes.begin(), bytes.end());
    EXPECT_THAT(values<double>(read(npyFile(">f8", "(1, 1)", bytes))), ElementsAre(-2.5));
}

TEST(NpyRead, ThreeDimensionsAreFramesUnlessTheLastIsThree) {
    const auto frames = read(npyFile("|u1", "(3, 2, 5)", counting(30)));
    EXPECT_THAT(sizesOf(frames), ElementsAre(3, 2, 5, 1));
    EXPECT_EQ(frames.info().rank, 3);
    EXPECT_EQ(values<std::uint8_t>(frames)[10 + 5 + 2], 17);
    const auto colour = read(npyFile("|u1", "(4, 2, 3)", counting(24)));
    EXPECT_THAT(sizesOf(colour), ElementsAre(1, 4, 2, 3));
    EXPECT_EQ(colour.info().rank, 2);
    EXPECT_EQ(colour.info().colorSpace, VColorSpace_RGB);
    EXPECT_TRUE(colour.info().interleaved);
    EXPECT_THAT(sizesOf(read(npyFile("|u1", "(4, 2, 5, 3)", counting(120)))), ElementsAre(4, 2, 5, 3));
    EXPECT_THAT(sizesOf(read(npyFile("|u1", "(4, 2, 3, 1)", counting(24)))), ElementsAre(4, 2, 3, 1));
}

TEST(NpyRead, ThreeColumnsOfFramesAreGivenByTheirAxes) {
    const std::string file = npyFile("|u1", "(4, 2, 3)", counting(24));
    EXPECT_THAT(sizesOf(read(file, "frames,rows,columns")), ElementsAre(4, 2, 3, 1));
    const AxesRule never{.isNeverColour = true};
    EXPECT_THAT(sizesOf(readNpy("a.npy", spanOf(file), never)), ElementsAre(4, 2, 3, 1));
}

TEST(NpyRead, AxesInAnyOrderAreTurnedIntoTheImages) {
    // Elements are 6 * channel + 3 * row + column.
    const auto image = read(npyFile("|u1", "(3, 2, 3)", counting(18)), "channels,rows,columns");
    EXPECT_THAT(sizesOf(image), ElementsAre(1, 2, 3, 3));
    EXPECT_THAT(values<std::uint8_t>(image), ElementsAre(0, 6, 12, 1, 7, 13, 2, 8, 14, 3, 9, 15, 4, 10, 16, 5, 11, 17));
    // Elements are 6 * column + 2 * row + frame.
    const auto volume = read(npyFile("|u1", "(2, 3, 2)", counting(12)), "columns,rows,frames");
    EXPECT_THAT(values<std::uint8_t>(volume), ElementsAre(0, 6, 2, 8, 4, 10, 1, 7, 3, 9, 5, 11));
}

TEST(NpyRead, FortranOrderIsTurnedRound) {
    // The first index runs fastest: element [a][b] is at a + 2 * b.
    const auto image = read(npyFile("|u1", "(2, 3)", counting(6), true));
    EXPECT_THAT(values<std::uint8_t>(image), ElementsAre(0, 2, 4, 1, 3, 5));
    const auto frames = read(npyFile("|u1", "(2, 2, 2)", counting(8), true));
    EXPECT_THAT(values<std::uint8_t>(frames), ElementsAre(0, 4, 2, 6, 1, 5, 3, 7));
}

TEST(NpyRead, TakesEveryVersionAndSpellingOfTheHeader) {
    for (const int version : {1, 2, 3}) {
        const std::string header = "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 3), }   \n";
        EXPECT_THAT(sizesOf(read(npyBytes(header, counting(6), version))), ElementsAre(1, 2, 3, 1)) << version;
    }
    for (const char* header : {"{\"shape\":(2,3),\"descr\":\"|u1\",\"fortran_order\":False}",
                               "{'shape': (2L, 3L), 'fortran_order': False, 'descr': '|u1'}",
                               "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 3,),}"}) {
        EXPECT_THAT(sizesOf(read(npyBytes(header, counting(6)))), ElementsAre(1, 2, 3, 1)) << header;
    }
    EXPECT_EQ(refusal(npyBytes("", "", 4)), "a.npy has version 4 of the .npy format; 1 to 3 can be read.");
}

TEST(NpyRead, SaysThatAHeaderIsNone) {
    for (const char* header :
         {"", "{", "{}", "x", "{'descr': '|u1'}", "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 3)",
          "{'descr': '|u1', 'fortran_order': Maybe, 'shape': (2, 3)}",
          "{'descr': '|u1', 'fortran_order': False, 'shape': (2 3)}",
          "{'descr': '|u1', 'fortran_order': False, 'shape': (2, -3)}",
          "{'descr': '|u1', 'fortran_order': False, 'shape': (99999999999999999999, 3)}",
          "{'descr': '|u1' 'fortran_order': False, 'shape': (2, 3)}",
          "{'descr': '|u1', 'fortran_order': False, 'shape': (2, 3)} x",
          "{'descr': [('a', '|u1')], 'fortran_order': False, 'shape': (2, 3)}",
          "{'descr': '|O8', 'fortran_order': False, 'shape': (2, 3)}",
          "{'descr': '<U4', 'fortran_order': False, 'shape': (2, 3)}",
          "{'descr': '|u0', 'fortran_order': False, 'shape': (2, 3)}",
          "{'descr': '|u1x', 'fortran_order': False, 'shape': (2, 3)}"}) {
        EXPECT_THAT(refusal(npyBytes(header, counting(6))),
                    HasSubstr("a.npy has a header that does not describe an array of plain numbers: "))
            << header;
    }
}

TEST(NpyRead, OtherTypesAreNamed) {
    EXPECT_EQ(refusal(npyFile("<i2", "(1, 2)", counting(4))),
              "a.npy holds elements of type i2; bool, u1, u2, f4 and f8 can be written. NumPy's astype('f4') keeps "
              "signed values.");
    for (const auto& [type, size] : std::vector<std::pair<std::string, std::size_t>>{
             {"|i1", 2}, {"<u4", 8}, {"<i8", 16}, {"<f2", 4}, {"<f16", 32}, {"<c8", 16}}) {
        EXPECT_THAT(refusal(npyFile(type, "(1, 2)", counting(size))), HasSubstr("of type " + type.substr(1) + ";"));
    }
}

TEST(NpyRead, OtherDimensionsAreNamed) {
    EXPECT_EQ(refusal(npyFile("|u1", "()", counting(1))), "a.npy has 0 dimensions; a picture has 2 to 4.");
    EXPECT_EQ(refusal(npyFile("|u1", "(6,)", counting(6))), "a.npy has 1 dimensions; a picture has 2 to 4.");
    EXPECT_EQ(refusal(npyFile("|u1", "(1, 1, 1, 1, 1)", counting(1))), "a.npy has 5 dimensions; a picture has 2 to 4.");
    EXPECT_EQ(refusal(npyFile("|u1", "(2, 3)", counting(6)), "frames,rows,columns"),
              "a.npy has 2 dimensions, and --axes names 3.");
    for (const char* shape : {"(1, 2, 2, 2)", "(1, 2, 1, 4)"}) {
        EXPECT_THAT(refusal(npyFile("|u1", shape, counting(8))),
                    HasSubstr("channels; a picture has 1 (grey) or 3 (RGB)."));
    }
}

TEST(NpyRead, SizesAreCheckedAgainstTheFile) {
    EXPECT_EQ(refusal(npyFile("|u1", "(2, 3)", counting(5))),
              "a.npy has 5 bytes of data; type and shape of its header need 6.");
    EXPECT_EQ(refusal(npyFile("|u1", "(2, 3)", counting(7))),
              "a.npy has 7 bytes of data; type and shape of its header need 6.");
    EXPECT_EQ(refusal(npyFile("<f8", "(65535, 65535, 65535)", "")),
              "a.npy has 0 bytes of data; type and shape of its header need 2251696736043000.");
    EXPECT_EQ(refusal(npyFile("<f8", "(4294967296, 4294967296)", "")),
              "a.npy has 0 bytes of data; type and shape of its header need more than 64 bits can count.");
    EXPECT_EQ(refusal(npyFile("|u1", "(0, 4294967296, 4294967296)", "")), "a.npy holds no pixels.");
    EXPECT_EQ(refusal(npyFile("|u1", "(65536, 1)", std::string(65536, 'x'))),
              "a.npy has 65536 rows and 1 columns; a DICOM image has at most 65535 of each.");
    EXPECT_THAT(sizesOf(read(npyFile("|u1", "(1, 65535)", std::string(65535, 'x')))), ElementsAre(1, 1, 65535, 1));
}

TEST(NpyRead, EveryCutOfAFileIsRefused) {
    const std::string file = npyFile("<u2", "(2, 3)", counting(12));
    ASSERT_EQ(refusal(file), "");
    for (std::size_t length = 6; length < file.size(); ++length) {
        EXPECT_THAT(refusal(file.substr(0, length)), HasSubstr("a.npy ")) << length;
    }
    EXPECT_TRUE(refusal(file.substr(0, 9)).ends_with("is cut off in its header."));
}

TEST(NpyRead, EveryChangedByteGivesAnImageOrARefusal) {
    const std::string file = npyFile("<u2", "(2, 3)", counting(12));
    int refused = 0;
    for (std::size_t index = 6; index < file.size(); ++index) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string changed = file;
            changed[index] = static_cast<char>(changed[index] ^ (1 << bit));
            const std::string sentence = refusal(changed);
            refused += sentence.empty() ? 0 : 1;
            EXPECT_TRUE(sentence.empty() || sentence.starts_with("a.npy ")) << sentence;
        }
    }
    EXPECT_GT(refused, 300);
}

TEST(NpyRead, SaysWhichAxesThereAre) {
    for (const char* axes :
         {"rows", "rows,columns,depth", "rows,rows,columns", "frames,channels", ",", "rows columns"}) {
        EXPECT_THROW(parseAxes(axes), UsageError) << axes;
    }
    EXPECT_TRUE(parseAxes("").empty());
}

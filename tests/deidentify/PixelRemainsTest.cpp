#include "deidentify/pixels/PixelRemains.h"

#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::deidentify;

namespace {

std::string segment(char marker, const std::string& content) {
    const std::size_t length = content.size() + 2;
    return {std::string("\xFF") + marker + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) + content};
}

const std::string kStart = "\xFF\xD8";
const std::string kTable = segment('\xDB', "table, no text");
const std::string kScan = segment('\xDA', "scan") + "data \xFF" + std::string(1, '\0') + " data \xFF\xD0 data";
const std::string kEnd = "\xFF\xD9";

struct Cleared {
    std::string bytes;
    bool isWhole;
    bool areCleared;
};

Cleared clear(std::string bytes) {
    bool areCleared = false;
    const bool isWhole = clearStreamRemains({reinterpret_cast<Uint8*>(bytes.data()), bytes.size()}, areCleared);
    return {bytes, isWhole, areCleared};
}

std::string zeros(std::size_t count) { return std::string(count, '\0'); }

} // namespace

TEST(PixelRemains, CommentsAndWhatApplicationsStoredBecomeZerosOfTheSameLength) {
    const Cleared result = clear(kStart + segment('\xE1', "Exif Doe^Jane") + kTable + segment('\xFE', "for J. Doe") +
                                 kScan + segment('\xFE', "late") + kScan + kEnd);
    EXPECT_EQ(result.bytes, kStart + segment('\xE1', zeros(13)) + kTable + segment('\xFE', zeros(10)) + kScan +
                                segment('\xFE', zeros(4)) + kScan + kEnd);
    EXPECT_TRUE(result.isWhole);
    EXPECT_TRUE(result.areCleared);
}

TEST(PixelRemains, WhatDecodingNeedsStays) {
    const std::string needed = segment('\xE0', "JFIF" + zeros(1) + "\x01\x02\x01" + zeros(4) + zeros(2)) +
                               segment('\xEE', "Adobe" + zeros(6) + "\x01") + segment('\xE8', "mrfx\x03");
    const Cleared result = clear(kStart + needed + kTable + kScan + kEnd);
    EXPECT_EQ(result.bytes, kStart + needed + kTable + kScan + kEnd);
    EXPECT_FALSE(result.areCleared);
    EXPECT_EQ(clear(kStart + segment('\xE0', "JFIF" + zeros(8) + "\x01\x01" + "Doe") + kScan + kEnd).bytes,
              kStart + segment('\xE0', "JFIF" + zeros(8) + "\x01\x01" + zeros(3)) + kScan + kEnd)
        << "a thumbnail";
}

TEST(PixelRemains, BytesBehindTheEndOfAnImageGo) {
    EXPECT_EQ(clear(kStart + kTable + kScan + kEnd + "Doe^Jane").bytes, kStart + kTable + kScan + kEnd + zeros(8));
    EXPECT_EQ(clear(kStart + kTable + kScan + kEnd + "\xFF").bytes, kStart + kTable + kScan + kEnd + "\xFF")
        << "padding";
}

TEST(PixelRemains, CommentsOfJpeg2000GoAndTheirKindStays) {
    const std::string start = "\xFF\x4F" + segment('\x51', "size of the image");
    const std::string tile = segment('\x90', "tile") + "data";
    const Cleared result = clear(start + segment('\x64', std::string("\0\x01", 2) + "Doe") + tile);
    EXPECT_EQ(result.bytes, start + segment('\x64', std::string("\0\x01", 2) + zeros(3)) + tile);
    EXPECT_TRUE(result.isWhole);
}

TEST(PixelRemains, Jpeg2000HasNothingBesideItsPicture) {
    const std::string main = "\xFF\x4F" + segment('\x51', "size of the image");
    const std::string data = "\xFF\x93"
                             "data";
    const auto tilePart = [&](const std::string& comment) {
        const std::string header = comment.empty() ? "" : segment('\x64', std::string("\0\x01", 2) + comment);
        const auto length = static_cast<char>(12 + header.size() + data.size());
        return segment('\x90', std::string("\0\0\0\0\0", 5) + length + std::string("\0\x01", 2)) + header + data;
    };
    const std::string end = "\xFF\xD9";
    EXPECT_EQ(clear(main + tilePart("Doe") + tilePart("") + end).bytes, main + tilePart(zeros(3)) + tilePart("") + end);
    EXPECT_EQ(clear(main + tilePart("") + end + "Doe^Jane").bytes, main + tilePart("") + end + zeros(8));
    EXPECT_EQ(clear(main + tilePart("") + end + "\xFF").bytes, main + tilePart("") + end + "\xFF") << "padding";
    EXPECT_FALSE(clear(main + tilePart("") + "Doe^Jane").isWhole) << "nobody knows what that is";
    EXPECT_TRUE(clear(main + tilePart("") + '\0').isWhole);
    const std::string cut = main + tilePart("Doe");
    for (std::size_t size = main.size() + 12; size < cut.size(); ++size) {
        EXPECT_TRUE(clear(cut.substr(0, size)).isWhole) << "it goes on in another fragment";
    }
}

TEST(PixelRemains, BoxesOfAJp2FileGoThatNoDecoderNeeds) {
    const auto box = [](const std::string& kind, const std::string& content) {
        return std::string(3, '\0') + static_cast<char>(8 + content.size()) + kind + content;
    };
    const std::string codestream = "\xFF\x4F" + segment('\x51', "size") + segment('\x90', "tile") + "data";
    const std::string start = box("jP  ", "\r\n\x87\n") + box("ftyp", "jp2 ");
    const auto file = [&](const std::string& first, const std::string& inner, const std::string& last,
                          const std::string& behind) {
        return start + box("xml ", first) + box("jp2h", box("ihdr", "header") + box("uuid", inner)) +
               box("jp2c", codestream) + box("uinf", last) + behind;
    };
    const Cleared result = clear(file("Doe", "Jane", "19700101", "Roe"));
    EXPECT_EQ(result.bytes, file(zeros(3), zeros(4), zeros(8), zeros(3)));
    EXPECT_TRUE(result.isWhole);
    EXPECT_FALSE(clear(start + "codestream").isWhole);
    EXPECT_FALSE(clear(file("Doe", "", "", "").substr(0, start.size() + 20)).isWhole);
}

TEST(PixelRemains, HeadersThatEndInAnotherFragmentAreSaid) {
    const std::string whole = kStart + segment('\xFE', "for J. Doe") + kTable + kScan + kEnd;
    const std::size_t scan = whole.find("scan") + 4;
    for (std::size_t size = 4; size < whole.size(); ++size) {
        EXPECT_EQ(clear(whole.substr(0, size)).isWhole, size >= scan) << size;
    }
    EXPECT_TRUE(clear("data of a frame that began before").isWhole);
    EXPECT_TRUE(clear("").isWhole);
}

TEST(PixelRemains, BytesBehindTheLastFrameOfRawPixelsGoUnlessTheyAreAFrame) {
    for (const auto& [words, isProblem] : {std::pair<std::size_t, bool>{15, false}, {17, false}, {30, true}}) {
        TemporaryFolder folder;
        ImageFile image;
        image.rows = 3;
        image.columns = 5;
        image.words = std::vector<Uint16>(words, 0x4142);
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(writeImageFile(folder.file("image"), image).c_str()).good());
        const PixelRemains remains = clearPixelRemains(*file.getDataset());
        const Uint16* pixels = nullptr;
        unsigned long count = 0;
        ASSERT_TRUE(file.getDataset()->findAndGetUint16Array(DCM_PixelData, pixels, &count).good());
        EXPECT_EQ(count, words);
        EXPECT_EQ(std::count(pixels, pixels + 15, 0x4142), 15) << "pixels stay";
        EXPECT_EQ(remains.areCleared, words == 17);
        EXPECT_EQ(pixels[words - 1], words == 17 ? 0 : 0x4142);
        EXPECT_EQ(!remains.problem.empty(), isProblem);
    }
}

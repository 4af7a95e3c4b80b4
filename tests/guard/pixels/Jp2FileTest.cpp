#include "guard/pixels/Jp2File.h"

#include <gtest/gtest.h>

#include <string>

#include "guard/pixels/Jpeg2000Codestream.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;
using radvex::contentOfJp2;

namespace {

const std::string kStream = EmptyJpeg2000{}.stream();

std::string box(const std::string& kind, const std::string& content) {
    return bigEndian(static_cast<std::uint32_t>(8 + content.size()), 4) + kind + content;
}

/// Whose length has eight bytes.
std::string longBox(const std::string& kind, const std::string& content) {
    return bigEndian(1, 4) + kind + bigEndian(0, 4) + bigEndian(static_cast<std::uint32_t>(16 + content.size()), 4) +
           content;
}

/// That goes to the end.
std::string lastBox(const std::string& kind, const std::string& content) { return bigEndian(0, 4) + kind + content; }

const std::string kStart = box("jP  ", "\x0D\x0A\x87\x0A") + box("ftyp", std::string("jp2 \0\0\0\0jp2 ", 12));
const std::string kImageHeader = box("ihdr", std::string("\0\0\0\x10\0\0\0\x10\0\1\7\7\0\0", 14));

struct Content {
    std::string codestream{};
    bool rearrangesComponents = false;
};

Content contentOf(const std::string& bytes) {
    const auto found = contentOfJp2({reinterpret_cast<const Uint8*>(bytes.data()), bytes.size()});
    return {{found.codestream.begin(), found.codestream.end()}, found.rearrangesComponents};
}

/// A file with more boxes in its header.
std::string fileWith(const std::string& boxes) {
    return kStart + box("jp2h", kImageHeader + boxes) + box("jp2c", kStream);
}

/// A channel definition: its number, kind and colour, for each channel.
std::string channels(const std::vector<std::array<unsigned, 3>>& entries) {
    std::string content = bigEndian(static_cast<std::uint32_t>(entries.size()), 2);
    for (const auto& entry : entries) {
        for (const unsigned number : entry) {
            content += bigEndian(number, 2);
        }
    }
    return box("cdef", content);
}

std::string problemOfFile(const std::string& bytes) {
    return radvex::Jpeg2000Codestream({reinterpret_cast<const Uint8*>(bytes.data()), bytes.size()}).problem();
}

} // namespace

TEST(Jp2File, ACodestreamAloneIsGivenBack) {
    for (const std::string& bytes : {kStream, std::string(), std::string("\0\0\0\x0C", 4), std::string(100, 'x')}) {
        EXPECT_EQ(contentOf(bytes).codestream, bytes);
        EXPECT_FALSE(contentOf(bytes).rearrangesComponents);
    }
}

TEST(Jp2File, OpenJpegsFilesHoldTheirCodestream) {
    for (const int components : {1, 3}) {
        Jpeg2000Source source = jpeg2000Picture(9, 7, components);
        const std::string stream = jpeg2000Stream(source);
        source.isFile = true;
        const std::string file = jpeg2000Stream(source);
        ASSERT_GT(file.size(), stream.size());
        EXPECT_EQ(contentOf(file).codestream, stream);
        EXPECT_FALSE(contentOf(file).rearrangesComponents);
        EXPECT_EQ(problemOfFile(file), "");
    }
}

TEST(Jp2File, BoxesHaveLengthsOfAnyKind) {
    for (const std::string& header : {box("jp2h", kImageHeader), longBox("jp2h", kImageHeader)}) {
        EXPECT_EQ(contentOf(kStart + header + box("jp2c", kStream)).codestream, kStream);
        EXPECT_EQ(contentOf(kStart + header + longBox("jp2c", kStream)).codestream, kStream);
        EXPECT_EQ(contentOf(kStart + header + lastBox("jp2c", kStream)).codestream, kStream);
        EXPECT_EQ(contentOf(kStart + header + lastBox("jp2c", kStream + '\0')).codestream, kStream + '\0')
            << "with the padding of a fragment";
        EXPECT_EQ(contentOf(kStart + header + box("jp2c", kStream) + '\0').codestream, kStream);
        EXPECT_EQ(contentOf(kStart + header + box("xml ", "<a/>") + box("jp2c", kStream) + box("uuid", "1")).codestream,
                  kStream)
            << "between others";
    }
}

TEST(Jp2File, LengthsThatCannotBeAreNotFollowed) {
    const std::string header = box("jp2h", kImageHeader);
    for (const std::string& bytes :
         {kStart, kStart + header, kStart + header + bigEndian(0x7FFFFFFF, 4) + "jp2c" + kStream,
          kStart + header + bigEndian(7, 4) + "jp2c" + kStream, kStart + header + bigEndian(1, 4) + "jp2c",
          kStart + header + bigEndian(1, 4) + "jp2c" + bigEndian(0xFFFFFFFF, 4) + bigEndian(0xFFFFFFFF, 4) + kStream,
          kStart + header + bigEndian(1, 4) + "jp2c" + bigEndian(0, 4) + bigEndian(15, 4) + kStream,
          kStart + lastBox("jp2h", kImageHeader) + box("jp2c", kStream)}) {
        EXPECT_EQ(problemOfFile(bytes), "it has no JPEG 2000 codestream");
    }
}

TEST(Jp2File, IsWholeOrRefused) {
    const std::string file = fileWith("");
    ASSERT_EQ(problemOfFile(file), "");
    for (std::size_t size = 0; size < file.size(); ++size) {
        EXPECT_NE(problemOfFile(file.substr(0, size)), "") << size;
    }
}

TEST(Jp2File, ChannelsThatAreNotTheComponentsAreRefused) {
    const std::string kRefusal = "its JP2 file has channels of its own";
    const auto answer = [](const std::string& boxes) {
        const std::string file = fileWith(boxes);
        EXPECT_EQ(contentOf(file).codestream, kStream);
        EXPECT_EQ(contentOf(file).rearrangesComponents, !problemOfFile(file).empty());
        return problemOfFile(file);
    };
    EXPECT_EQ(answer(""), "");
    EXPECT_EQ(answer(box("colr", std::string("\1\0\0\0\0\0\x11", 7))), "");
    EXPECT_EQ(answer(box("pclr", std::string("\0\1\1\7\0", 5))), kRefusal) << "a palette";
    EXPECT_EQ(answer(box("cmap", std::string("\0\0\1\0", 4))), kRefusal);
    EXPECT_EQ(answer(channels({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}})), "") << "red, green, blue";
    EXPECT_EQ(answer(channels({{0, 0, 3}, {1, 0, 2}, {2, 0, 1}})), kRefusal) << "blue, green, red";
    EXPECT_EQ(answer(channels({{2, 0, 1}, {1, 0, 2}, {0, 0, 3}})), kRefusal);
    EXPECT_EQ(answer(channels({})), "");
    EXPECT_EQ(problemOfFile(kStart + box("jp2h", kImageHeader) + channels({{0, 0, 3}}) + box("jp2c", kStream)), "")
        << "it says something of the header only";
}

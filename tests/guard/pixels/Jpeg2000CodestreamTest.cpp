// What the headers of JPEG 2000 say, and which codestreams are refused: each refusal has a neighbour that is not.

#include "guard/pixels/Jpeg2000Codestream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;
using radvex::Jpeg2000Codestream;

namespace {

const std::string kCut = "its JPEG 2000 codestream ends too early";
const std::string kDamaged = "its JPEG 2000 codestream is damaged";
const std::string kOtherKinds = "its JPEG 2000 codestream has components of different kinds";

Jpeg2000Codestream codestreamOf(const std::string& bytes) {
    return Jpeg2000Codestream({reinterpret_cast<const Uint8*>(bytes.data()), bytes.size()});
}

std::string problemOf(const std::string& bytes) { return codestreamOf(bytes).problem(); }

/// A picture in tiles whose parts hold a resolution each.
Jpeg2000Source tiledPicture() {
    Jpeg2000Source source = jpeg2000Picture(21, 34);
    source.tileSize = 16;
    source.hasPartsOfResolutions = true;
    source.progression = Jpeg2000Progression::resolutions;
    return source;
}

/// With an entry of a header of a tile part: its tile, its number and the number of all, from 0 on.
std::string withTilePartNumber(std::string tilePart, std::size_t offset, int number) {
    tilePart[offset] = static_cast<char>(number);
    return tilePart;
}

constexpr std::size_t kPartOfTile = 10; // TPsot, in a tile part
constexpr std::size_t kPartsOfTile = 11;

/// What OpenJPEG gets to decode, and what it makes of it.
std::vector<int> decoded(const std::string& bytes) {
    const Jpeg2000Codestream codestream = codestreamOf(bytes);
    return decodedJpeg2000(std::string(codestream.bytes().begin(), codestream.bytes().end()) + "\xFF\xD9").samples;
}

/// A part that does not say how many there are.
std::string withoutCount(const std::string& tilePart) { return withTilePartNumber(tilePart, kPartsOfTile, 0); }

/// A part that goes up to the end of the codestream.
std::string withoutLength(std::string tilePart) { return tilePart.replace(6, 4, std::string(4, '\0')); }

/// Fails the test for a part of a codestream that passes and is another picture.
void expectNoPartIsAnotherPicture(const std::string& whole, const std::vector<int>& samples, const std::string& name) {
    ASSERT_EQ(problemOf(whole), "") << name;
    ASSERT_EQ(decoded(whole), samples) << name;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string cut = whole.substr(0, size);
        if (problemOf(cut).empty()) {
            EXPECT_EQ(decoded(cut), samples) << name << ", cut at " << size;
            EXPECT_GE(size + 2, whole.size()) << name << ": only its end mark may be missing";
        }
    }
}

} // namespace

TEST(Jpeg2000Codestream, SaysSizeComponentsAndSamples) {
    for (const bool isSigned : {false, true}) {
        Jpeg2000Source source = jpeg2000Picture(5, 3, 3, 12, isSigned);
        source.origin = {4, 2};
        const std::string stream = jpeg2000Stream(source);
        const Jpeg2000Codestream codestream = codestreamOf(stream);
        EXPECT_EQ(codestream.problem(), "");
        EXPECT_EQ(codestream.rows(), 5U);
        EXPECT_EQ(codestream.columns(), 3U);
        EXPECT_EQ(codestream.components(), 3U);
        EXPECT_EQ(codestream.precision(), 12);
        EXPECT_EQ(codestream.isSigned(), isSigned);
        EXPECT_EQ(codestream.bytes().size(), stream.size() - 2);
    }
    EXPECT_EQ(problemOf(htj2kStream()), "");
    EXPECT_EQ(codestreamOf(htj2kStream()).precision(), 12);
    EXPECT_EQ(codestreamOf(htj2kStream()).columns(), 5U);
}

TEST(Jpeg2000Codestream, SaysNothingOfWhatIsNone) {
    for (const std::string& bytes : {std::string(), std::string("\xFF"), std::string("\xFF\x4F"),
                                     std::string("\xFF\x4F\xFF\x51"), std::string("\xFF\xD8\xFF\xE0\0\x10JFIF", 10)}) {
        const Jpeg2000Codestream codestream = codestreamOf(bytes);
        EXPECT_EQ(codestream.problem(), "it has no JPEG 2000 codestream");
        EXPECT_EQ(codestream.rows(), 0U);
        EXPECT_EQ(codestream.columns(), 0U);
        EXPECT_EQ(codestream.components(), 0U);
        EXPECT_EQ(codestream.precision(), 0);
        EXPECT_FALSE(codestream.isSigned());
    }
}

TEST(Jpeg2000Codestream, IsWholeOrRefused) {
    Jpeg2000Source source = jpeg2000Picture(13, 17);
    expectNoPartIsAnotherPicture(jpeg2000Stream(source), source.samples, "one tile");
    source.layers = 3;
    expectNoPartIsAnotherPicture(jpeg2000Stream(source), source.samples, "layers");
    expectNoPartIsAnotherPicture(htj2kStream(), htj2kSamples(), "HTJ2K");
    const Jpeg2000Source tiled = tiledPicture();
    expectNoPartIsAnotherPicture(jpeg2000Stream(tiled), tiled.samples, "tiles in parts");
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(tiled));
    parts.tileParts.back() = withoutLength(parts.tileParts.back());
    expectNoPartIsAnotherPicture(parts.joined(), tiled.samples, "the last part has no length");
}

TEST(Jpeg2000Codestream, IsRefusedWhereAPartOfATileIsMissing) {
    const Jpeg2000Parts whole = partsOf(jpeg2000Stream(tiledPicture()));
    ASSERT_EQ(whole.tileParts.size(), 6U * 3);
    ASSERT_EQ(problemOf(whole.joined()), "");
    for (std::size_t missing = 0; missing < whole.tileParts.size(); ++missing) {
        Jpeg2000Parts parts = whole;
        parts.tileParts.erase(parts.tileParts.begin() + static_cast<std::ptrdiff_t>(missing));
        EXPECT_EQ(problemOf(parts.joined()), missing % 3 == 2 ? kCut : kDamaged) << missing;
    }
    for (std::size_t tile = 0; tile < 6; ++tile) {
        Jpeg2000Parts parts = whole;
        const auto first = parts.tileParts.begin() + static_cast<std::ptrdiff_t>(3 * tile);
        parts.tileParts.erase(first, first + 3);
        EXPECT_EQ(problemOf(parts.joined()), kCut) << tile;
    }
}

TEST(Jpeg2000Codestream, PartsOfTilesMayBeInterleaved) {
    const Jpeg2000Source source = tiledPicture();
    const Jpeg2000Parts whole = partsOf(jpeg2000Stream(source));
    Jpeg2000Parts parts = whole;
    parts.tileParts.clear();
    for (std::size_t part = 0; part < 3; ++part) {
        for (std::size_t tile = 0; tile < 6; ++tile) {
            parts.tileParts.push_back(whole.tileParts[3 * tile + part]);
        }
    }
    EXPECT_EQ(problemOf(parts.joined()), "");
    EXPECT_EQ(decoded(parts.joined()), source.samples);
    std::swap(parts.tileParts[0], parts.tileParts[6]);
    EXPECT_EQ(problemOf(parts.joined()), kDamaged) << "but those of one tile follow each other";
}

// The standard leaves the number of parts open, in all of them if an encoder likes. Then the mark of the end tells.
TEST(Jpeg2000Codestream, PartsThatAreNotCountedEndWithTheMark) {
    const Jpeg2000Source source = tiledPicture();
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(source));
    std::transform(parts.tileParts.begin(), parts.tileParts.end(), parts.tileParts.begin(), withoutCount);
    EXPECT_EQ(problemOf(parts.joined()), "");
    EXPECT_EQ(decoded(parts.joined()), source.samples);
    const std::string whole = parts.joined();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(problemOf(whole.substr(0, size)), "") << size;
    }
    EXPECT_EQ(problemOf(whole + '\0'), "") << "with padding";
}

TEST(Jpeg2000Codestream, TheCountOfPartsMayBeInAnyOfThem) {
    const Jpeg2000Source source = tiledPicture();
    const Jpeg2000Parts whole = partsOf(jpeg2000Stream(source));
    for (const std::size_t counted : {0U, 1U, 2U}) {
        Jpeg2000Parts parts = whole;
        for (std::size_t index = 0; index < parts.tileParts.size(); ++index) {
            parts.tileParts[index] =
                index % 3 == counted ? parts.tileParts[index] : withoutCount(parts.tileParts[index]);
        }
        EXPECT_EQ(problemOf(parts.joined()), "") << counted;
        EXPECT_EQ(decoded(parts.joined()), source.samples) << counted;
    }
}

// OpenJPEG stops at the number of parts that it was told first, and leaves the others out.
TEST(Jpeg2000Codestream, CountsOfPartsAgree) {
    const Jpeg2000Parts whole = partsOf(jpeg2000Stream(tiledPicture()));
    for (const int count : {1, 2, 4}) {
        for (const std::size_t part : {0U, 1U, 2U, 15U, 17U}) {
            Jpeg2000Parts parts = whole;
            parts.tileParts[part] = withTilePartNumber(parts.tileParts[part], kPartsOfTile, count);
            EXPECT_EQ(problemOf(parts.joined()), kDamaged) << part << " of " << count;
        }
    }
}

// Some encoders count the parts from 0: OpenJPEG corrects this, but only if it is so in all tiles.
TEST(Jpeg2000Codestream, AllCountsOfPartsMayBeTooLowByOne) {
    const Jpeg2000Source source = tiledPicture();
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(source));
    for (std::string& part : parts.tileParts) {
        part = withTilePartNumber(part, kPartsOfTile, 2);
    }
    EXPECT_EQ(problemOf(parts.joined()), "");
    EXPECT_EQ(decoded(parts.joined()), source.samples);
    for (std::size_t part = 9; part < 12; ++part) {
        parts.tileParts[part] = withTilePartNumber(parts.tileParts[part], kPartsOfTile, 3);
    }
    EXPECT_EQ(problemOf(parts.joined()), kDamaged);
    for (std::string& part : parts.tileParts) {
        part = withTilePartNumber(part, kPartsOfTile, 1);
    }
    EXPECT_EQ(problemOf(parts.joined()), kDamaged) << "by two";
}

TEST(Jpeg2000Codestream, PartsOfATileAreNumbered) {
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(tiledPicture()));
    parts.tileParts[4] = withTilePartNumber(parts.tileParts[4], kPartOfTile, 0);
    EXPECT_EQ(problemOf(parts.joined()), kDamaged);
}

TEST(Jpeg2000Codestream, ATilePartWithoutALengthEndsWithTheMark) {
    const Jpeg2000Source source = jpeg2000Picture(13, 17);
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(source));
    parts.tileParts[0] = withoutLength(parts.tileParts[0]);
    for (const std::size_t padding : {0U, 1U, 2U, 5U}) {
        const std::string padded = parts.joined() + std::string(padding, '\0');
        EXPECT_EQ(problemOf(padded), "") << padding;
        EXPECT_EQ(decoded(padded), source.samples) << padding;
    }
    parts.end.clear();
    EXPECT_EQ(problemOf(parts.joined()), kCut);
    EXPECT_EQ(problemOf(parts.joined() + '\xFF'), kCut);
}

// The zero that makes a fragment even would stand for the byte that was cut off.
TEST(Jpeg2000Codestream, WithoutTheMarkAZeroIsNoEnd) {
    const Jpeg2000Source source = jpeg2000Picture(13, 17);
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(source));
    parts.end.clear();
    const std::string data = parts.joined();
    ASSERT_NE(data.back(), '\0');
    EXPECT_EQ(problemOf(data), "");
    EXPECT_EQ(decoded(data), source.samples);
    EXPECT_EQ(problemOf(data + '\0'), "") << "behind the last byte";
    EXPECT_EQ(problemOf(data.substr(0, data.size() - 1) + '\0'), kCut);
}

TEST(Jpeg2000Codestream, ATilePartHasItsLength) {
    EmptyJpeg2000 source;
    const std::string whole = source.stream();
    const std::size_t length = partsOf(whole).header.size() + 9; // its last byte
    ASSERT_EQ(whole[length], 15);
    const auto withLength = [&](char value) {
        std::string changed = whole;
        changed[length] = value;
        return problemOf(changed);
    };
    EXPECT_EQ(withLength(15), "");
    EXPECT_EQ(withLength(13), kDamaged) << "shorter than its header";
    EXPECT_EQ(withLength(12), kDamaged);
    EXPECT_EQ(withLength(1), kDamaged);
    EXPECT_EQ(withLength(18), kCut) << "longer than what is there";
}

TEST(Jpeg2000Codestream, ATilePartIsOfATileThatThereIs) {
    EmptyJpeg2000 source{.tileColumns = 8, .tiles = 2};
    EXPECT_EQ(problemOf(source.stream()), "");
    source.tiles = 3;
    EXPECT_EQ(problemOf(source.stream()), kDamaged);
    source.tiles = 1;
    EXPECT_EQ(problemOf(source.stream()), kCut);
    std::string longer = EmptyJpeg2000{}.stream(); // the length of the segment SOT is always the same
    longer[partsOf(longer).header.size() + 3] = 11;
    EXPECT_EQ(problemOf(longer), kDamaged);
}

TEST(Jpeg2000Codestream, ComponentsAreAlike) {
    EmptyJpeg2000 source;
    const auto problem = [&](std::vector<std::array<int, 3>> components) {
        source.components = std::move(components);
        source.bytesOfTile = source.components.size();
        return problemOf(source.stream());
    };
    const std::array<int, 3> byte{7, 1, 1};
    EXPECT_EQ(problem({byte, byte, byte, byte}), "");
    EXPECT_EQ(problem({byte, byte, byte, byte, byte}), "its JPEG 2000 codestream has more components than a picture");
    EXPECT_EQ(problem(std::vector<std::array<int, 3>>(16384, byte)),
              "its JPEG 2000 codestream has more components than a picture");
    EXPECT_EQ(problem({}), kDamaged);
    EXPECT_EQ(problem({byte, byte, {7, 2, 1}}), kOtherKinds) << "half as wide";
    EXPECT_EQ(problem({byte, byte, {7, 1, 2}}), kOtherKinds);
    EXPECT_EQ(problem({{7, 2, 2}}), kOtherKinds) << "also where they are all the same";
    EXPECT_EQ(problem({{7, 0, 1}}), kOtherKinds);
    EXPECT_EQ(problem({byte, {8, 1, 1}}), kOtherKinds) << "more bits";
    EXPECT_EQ(problem({byte, {0x87, 1, 1}}), kOtherKinds) << "with a sign";
    EXPECT_EQ(problem({{0x8B, 1, 1}, {0x8B, 1, 1}}), "");
}

TEST(Jpeg2000Codestream, SamplesHaveUpTo16Bits) {
    EmptyJpeg2000 source;
    for (const int sign : {0, 0x80}) {
        for (const int bits : {1, 8, 16, 17, 38, 128}) {
            source.components = {{sign + bits - 1, 1, 1}};
            const std::string stream = source.stream();
            EXPECT_EQ(problemOf(stream), bits <= 16 ? "" : "its JPEG 2000 codestream has samples of over 16 bits");
            EXPECT_EQ(codestreamOf(stream).precision(), bits);
        }
    }
}

TEST(Jpeg2000Codestream, TheFirstTileHoldsTheFirstPixel) {
    const auto problem = [](const EmptyJpeg2000& source) { return problemOf(source.stream()); };
    EXPECT_EQ(problem({.left = 3, .tileColumns = 13, .tileLeft = 3}), "");
    EXPECT_EQ(problem({.left = 3, .tileColumns = 12, .tileLeft = 4}), kDamaged);
    EXPECT_EQ(problem({.top = 3, .tileRows = 13, .tileTop = 3}), "");
    EXPECT_EQ(problem({.top = 3, .tileRows = 12, .tileTop = 4}), kDamaged);
    EXPECT_EQ(problem({.left = 5, .tileColumns = 6, .tiles = 3}), "");
    EXPECT_EQ(problem({.left = 5, .tileColumns = 5, .tiles = 3}), kDamaged) << "it ends in front of it";
    EXPECT_EQ(problem({.top = 5, .tileRows = 6, .tiles = 3}), "");
    EXPECT_EQ(problem({.top = 5, .tileRows = 5, .tiles = 3}), kDamaged);
    EXPECT_EQ(problem({.left = 15}), "");
    EXPECT_EQ(problem({.left = 16, .tileColumns = 32}), kDamaged) << "no pixels";
    EXPECT_EQ(problem({.top = 16, .tileRows = 32}), kDamaged);
    EXPECT_EQ(problem({.left = 17, .tileColumns = 32}), kDamaged) << "less than none";
}

TEST(Jpeg2000Codestream, ATileMayBeLargerThanNumbersGo) {
    const auto problem = [](const EmptyJpeg2000& source) { return problemOf(source.stream()); };
    EXPECT_EQ(problem({.tileColumns = 0xFFFFFFFF, .tileRows = 0xFFFFFFFF}), "");
    EXPECT_EQ(problem({.left = 3, .tileColumns = 0xFFFFFFFF, .tileRows = 0xFFFFFFFF, .tileLeft = 3}), "");
    EXPECT_EQ(problem({.columns = 0xFFFFFFFF, .left = 0xFFFFFFF0, .tileColumns = 32, .tileLeft = 0xFFFFFFF0}), "");
    EXPECT_EQ(problem({.columns = 0xFFFFFFFF, .left = 0xFFFFFFFF, .tileColumns = 32, .tileLeft = 0xFFFFFFFF}),
              kDamaged);
}

TEST(Jpeg2000Codestream, TheSegmentOfTheSizeHasItsLength) {
    const std::string stream = EmptyJpeg2000{}.stream();
    const auto withSizeOf = [&](std::size_t length) {
        std::string changed = stream;
        return changed.replace(4, 2, bigEndian(static_cast<std::uint32_t>(length), 2));
    };
    EXPECT_EQ(problemOf(withSizeOf(41)), "");
    EXPECT_EQ(problemOf(withSizeOf(40)), kDamaged);
    EXPECT_EQ(problemOf(withSizeOf(42)), kDamaged);
    EXPECT_EQ(problemOf(withSizeOf(2)), kDamaged);
    EXPECT_EQ(problemOf(withSizeOf(1)), kCut);
    EXPECT_EQ(problemOf(withSizeOf(0xFFFF)), kCut);
}

TEST(Jpeg2000Codestream, TheCodingIsSaidAndPossible) {
    const auto problem = [](const std::string& coding) { // in place of that of the header
        EmptyJpeg2000 source;
        std::string stream = source.stream();
        const std::string former = jpeg2000Segment(0x52, source.coding());
        return problemOf(stream.replace(stream.find(former), former.size(), coding));
    };
    // The style, order, layers, colour transformation, levels, sizes of code blocks, their style, transformation.
    const std::string usual("\0\0\0\1\0\0\4\4\0\1", 10);
    const auto changed = [&](std::size_t offset, char value) {
        std::string content = usual;
        content[offset] = value;
        return jpeg2000Segment(0x52, content);
    };
    EXPECT_EQ(problem(jpeg2000Segment(0x52, usual)), "");
    EXPECT_EQ(problem(""), kDamaged);
    EXPECT_EQ(problem(jpeg2000Segment(0x52, usual.substr(0, 9))), kDamaged);
    EXPECT_EQ(problem(jpeg2000Segment(0x52, "")), kDamaged);
    EXPECT_EQ(problem(changed(3, '\0')), kDamaged) << "no layers";
    EXPECT_EQ(problem(changed(5, '\x21')), kDamaged) << "33 levels";
    EXPECT_EQ(problem(changed(6, '\x05')), kDamaged) << "blocks of 8192 samples";
    EXPECT_EQ(problem(jpeg2000Segment(0x52, std::string("\1\0\0\1\0\0\4\4\0\1\xFF", 11))), "");
    EXPECT_EQ(problem(jpeg2000Segment(0x52, std::string("\1\0\0\1\0\0\4\4\0\1", 10))), kDamaged)
        << "precincts without their sizes";
    EXPECT_EQ(problem(jpeg2000Segment(0x53, std::string("\0\0\0\4\4\0\1", 7))), kDamaged) << "of a component alone";
    const auto ofComponent = [&](const std::string& content) {
        return problemOf(EmptyJpeg2000{.moreHeader = jpeg2000Segment(0x53, content)}.stream());
    };
    EXPECT_EQ(ofComponent(std::string("\0\0\0\4\4\0\1", 7)), "");
    EXPECT_EQ(ofComponent(std::string("\1\0\0\4\4\0\1", 7)), kDamaged) << "there is no second one";
    EXPECT_EQ(ofComponent(std::string("\0\0\0\4\4\0", 6)), kDamaged);
}

TEST(Jpeg2000Codestream, SegmentsOfTheHeaderAreFollowed) {
    const auto problem = [](const std::string& more) { return problemOf(EmptyJpeg2000{.moreHeader = more}.stream()); };
    EXPECT_EQ(problem(jpeg2000Segment(0x64, "a comment")), "");
    EXPECT_EQ(problem(jpeg2000Segment(0x64, "")), "");
    EXPECT_EQ(problem(std::string("\xFF\x64\0\1", 4)), kCut) << "shorter than its length";
    EXPECT_EQ(problem(std::string("\xFF\x64\x7F\xFF", 4)), kCut);
    EXPECT_EQ(problem(std::string("\0\x64\0\2", 4)), kDamaged) << "no marker";
    EXPECT_EQ(problem(std::string("\xFF\x30\0\2", 4)), kDamaged) << "a marker that has no segment";
    EXPECT_EQ(problem(std::string("\xFF\xD9\0\2", 4)), kDamaged) << "the end";
    EXPECT_EQ(problem(std::string("\xFF\x93\0\2", 4)), kDamaged) << "data";
    const std::string inTile = EmptyJpeg2000{.tileHeader = jpeg2000Segment(0x64, "a comment")}.stream();
    EXPECT_EQ(problemOf(inTile), "");
    EXPECT_EQ(problemOf(EmptyJpeg2000{.tileHeader = std::string("\xFF\x90\0\2", 4)}.stream()), kDamaged);
}

// OpenJPEG looks behind an unknown marker for the next one that it knows, whatever the length of its segment is.
TEST(Jpeg2000Codestream, NothingIsHiddenBehindAnUnknownMarker) {
    const EmptyJpeg2000 most{.layers = 65535};
    const std::string hidden = jpeg2000Segment(0x52, most.coding());
    const std::string kUnknown = "its JPEG 2000 codestream has an unknown segment";
    const auto problem = [](unsigned kind, const std::string& content) {
        return problemOf(EmptyJpeg2000{.moreHeader = jpeg2000Segment(kind, content)}.stream());
    };
    for (const unsigned kind : {0x01U, 0x50U, 0x56U, 0x59U, 0x65U, 0x7AU, 0xEEU}) {
        EXPECT_EQ(problem(kind, "abcdef"), "") << kind;
        EXPECT_EQ(problem(kind, "ab" + hidden), kUnknown) << kind;
        EXPECT_EQ(problem(kind, hidden), kUnknown) << kind;
        EXPECT_EQ(problem(kind, "abcde"), kUnknown) << kind << ": it looks at every second byte";
        EXPECT_EQ(problem(kind, "a\xFF"
                                "bc"),
                  "")
            << kind << ": and only there";
    }
    EXPECT_EQ(problem(0x64, "abcde" + hidden), "") << "a comment";
    EXPECT_EQ(problem(0x64, "abcdef" + hidden), "");
}

// An assertion of Debian's OpenJPEG would end the process.
TEST(Jpeg2000Codestream, NoCodeBlockOfHtj2kBeginsWithAMarker) {
    constexpr unsigned kHtj2k = 0x40;
    const auto problem = [](unsigned blockStyle, const std::string& data) {
        return problemOf(EmptyJpeg2000{.blockStyle = blockStyle, .moreData = data}.stream());
    };
    for (const std::string& data : {std::string("\xFF\x8F"), std::string("\xFF\0\xFF\x7F", 4), std::string("\x90")}) {
        EXPECT_EQ(problem(kHtj2k, data), "");
        EXPECT_EQ(problem(0, data), "");
    }
    for (const std::string& data : {std::string("\xFF\x90"), std::string("\xFF\0\xFF\xFF\0", 5), std::string("\xFF")}) {
        EXPECT_EQ(problem(kHtj2k, data), kDamaged);
        EXPECT_EQ(problem(0, data), "") << "others have no such assertion";
    }
    Jpeg2000Parts parts = partsOf(EmptyJpeg2000{.blockStyle = kHtj2k, .moreData = "\xFF\x90"}.stream());
    parts.tileParts[0] = withoutLength(parts.tileParts[0]);
    EXPECT_EQ(problemOf(parts.joined()), kDamaged);
    parts = partsOf(EmptyJpeg2000{.blockStyle = kHtj2k, .moreData = "\xFF\x8F"}.stream());
    parts.tileParts[0] = withoutLength(parts.tileParts[0]);
    EXPECT_EQ(problemOf(parts.joined()), "");
    const auto inTile = [](const std::string& segment) {
        return problemOf(EmptyJpeg2000{.tileHeader = segment, .moreData = "\xFF\x90"}.stream());
    };
    EXPECT_EQ(inTile(jpeg2000Segment(0x52, EmptyJpeg2000{}.coding())), "");
    EXPECT_EQ(inTile(jpeg2000Segment(0x52, EmptyJpeg2000{.blockStyle = kHtj2k}.coding())), kDamaged);
    EXPECT_EQ(inTile(jpeg2000Segment(0x53, std::string("\0\0\0\4\4\x40\1", 7))), kDamaged);
}

TEST(Jpeg2000Codestream, CodeBlocksOfHtj2kAreInOnePiece) {
    const std::string kInPieces = "its HTJ2K codestream has layers or markers in its data";
    for (const unsigned blockStyle : {0U, 0x40U}) {
        const std::string answer = blockStyle == 0 ? "" : kInPieces;
        EXPECT_EQ(problemOf(EmptyJpeg2000{.blockStyle = blockStyle}.stream()), "");
        EXPECT_EQ(problemOf(EmptyJpeg2000{.layers = 2, .blockStyle = blockStyle}.stream()), answer);
        EXPECT_EQ(problemOf(EmptyJpeg2000{.style = 2, .blockStyle = blockStyle}.stream()), answer);
        EXPECT_EQ(problemOf(EmptyJpeg2000{.style = 4, .blockStyle = blockStyle}.stream()), answer);
    }
}

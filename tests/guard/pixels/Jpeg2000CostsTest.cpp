// What a codestream of JPEG 2000 may cost: both sides of each limit.

#include <gtest/gtest.h>

#include <string>

#include "guard/pixels/Jpeg2000Codestream.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;

namespace {

const std::string kTooManyPackets = "its JPEG 2000 codestream announces more packets than it has bytes";
constexpr std::size_t kEndMark = 2; // bytes
const std::string kTooManyParts = "its JPEG 2000 codestream has too many parts for its size";

std::string problemOfBytes(const std::string& bytes) {
    return radvex::Jpeg2000Codestream({reinterpret_cast<const Uint8*>(bytes.data()), bytes.size()}).problem();
}

std::string costProblem(const EmptyJpeg2000& source) { return problemOfBytes(source.stream()); }

/// The coding of a picture as a segment.
std::string codingSegment(const EmptyJpeg2000& source) { return jpeg2000Segment(0x52, source.coding()); }

/// The coding of the first component, with no more levels than the smallest, and precincts of one size.
std::string componentSegment(unsigned precinct) {
    return jpeg2000Segment(0x53, std::string("\0\1\0\4\4\0\1", 7) + static_cast<char>(precinct));
}

} // namespace

TEST(Jpeg2000Costs, EveryPacketTakesAByte) {
    EmptyJpeg2000 source{.bytesOfTile = 1000};
    const auto size = static_cast<unsigned>(source.stream().size() - kEndMark);
    source.layers = 1000;
    EXPECT_EQ(costProblem(source), "");
    EXPECT_EQ(decodedJpeg2000(source.stream()).samples, std::vector<int>(256, 128));
    source.layers = size;
    EXPECT_EQ(costProblem(source), "") << "which bytes are headers does not matter";
    source.layers = size + 1;
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.layers = 65535;
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source = {.layers = 30, .levels = 2, .bytesOfTile = 100}; // 90 packets, of the tile and of each component
    EXPECT_EQ(costProblem(source), "");
    source.components = {{7, 1, 1}, {7, 1, 1}, {7, 1, 1}};
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source = {.tileColumns = 4, .layers = 200, .tiles = 4, .bytesOfTile = 200};
    EXPECT_EQ(costProblem(source), "");
    source.layers = 300;
    EXPECT_EQ(costProblem(source), kTooManyPackets);
}

TEST(Jpeg2000Costs, PrecinctsOfOneSampleTakeAPacketEach) {
    EmptyJpeg2000 source{.precincts = {0x00}, .bytesOfTile = 256};
    EXPECT_EQ(costProblem(source), "");
    EXPECT_EQ(decodedJpeg2000(source.stream()).samples, std::vector<int>(256, 128));
    source.columns = 4096;
    source.rows = 4096;
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.precincts = {0xFF};
    EXPECT_EQ(costProblem(source), "");
    source.precincts = {};
    EXPECT_EQ(costProblem(source), "") << "the same as that";
}

// 16 x 16 samples in two resolutions, whose precincts are counted on their own grids: 64 of 1 x 1, 16 of 4 x 4.
TEST(Jpeg2000Costs, PrecinctsAreThoseOfEachResolution) {
    const EmptyJpeg2000 header{.levels = 1, .precincts = {0x00, 0x22}, .bytesOfTile = 0};
    const auto shortest = header.stream().size() - kEndMark;
    EmptyJpeg2000 source = header;
    source.layers = 20;
    source.bytesOfTile = 20 * (64 + 16) - shortest;
    EXPECT_EQ(costProblem(source), "");
    --source.bytesOfTile;
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.left = 1; // no column of the larger resolution goes into the first precinct of the smaller one
    source.columns = 17;
    source.tileColumns = 17;
    EXPECT_EQ(costProblem(source), kTooManyPackets) << "20 precincts of 4 x 4";
    source.bytesOfTile = 20 * (64 + 20) - shortest;
    EXPECT_EQ(costProblem(source), "");
}

TEST(Jpeg2000Costs, ThereAreUpTo65535Tiles) {
    EmptyJpeg2000 source{.columns = 65535, .rows = 1, .tileColumns = 1, .tiles = 65535};
    EXPECT_EQ(costProblem(source), kTooManyParts) << "each costs more than all of this picture";
    source.columns = 65536;
    EXPECT_EQ(costProblem(source), "its JPEG 2000 codestream is damaged");
    source = {.columns = 0xFFFFFFFF, .rows = 0xFFFFFFFF, .tileColumns = 1, .tileRows = 1};
    EXPECT_EQ(costProblem(source), "its JPEG 2000 codestream is damaged");
    source = {.columns = 65535, .rows = 1, .tileColumns = 1, .tiles = 1000};
    EXPECT_EQ(costProblem(source), "its JPEG 2000 codestream ends too early");
}

TEST(Jpeg2000Costs, TilesThatHoldSomethingMayBeMany) {
    EmptyJpeg2000 source{.columns = 100, .rows = 100, .tileColumns = 1, .tileRows = 1, .tiles = 10000};
    EXPECT_EQ(costProblem(source), "");
    source = {.columns = 200, .rows = 200, .tileColumns = 1, .tileRows = 1, .tiles = 40000};
    EXPECT_EQ(costProblem(source), kTooManyParts);
    source = {.columns = 200 * 32, .rows = 200 * 32, .tileColumns = 32, .tileRows = 32, .tiles = 40000};
    EXPECT_EQ(costProblem(source), "");
}

// Millions of precincts of one sample: their headers are there, but each takes hundreds of bytes in memory.
TEST(Jpeg2000Costs, PrecinctsTakeMemory) {
    EmptyJpeg2000 source{.columns = 300, .rows = 300, .precincts = {0x00}, .bytesOfTile = 300 * 300};
    EXPECT_EQ(costProblem(source), "");
    source = {.columns = 1000, .rows = 1000, .precincts = {0x00}, .bytesOfTile = 1000 * 1000};
    EXPECT_EQ(costProblem(source), kTooManyParts);
}

TEST(Jpeg2000Costs, TheLastCodingCounts) {
    const EmptyJpeg2000 most{.layers = 65535};
    const EmptyJpeg2000 one{};
    EXPECT_EQ(costProblem({.moreHeader = codingSegment(most)}), kTooManyPackets);
    EXPECT_EQ(costProblem({.moreHeader = codingSegment(most) + codingSegment(one)}), "");
    EmptyJpeg2000 source{.layers = 65535, .moreHeader = codingSegment(one)};
    EXPECT_EQ(costProblem(source), "");
    source.moreHeader = codingSegment(one) + codingSegment(most);
    EXPECT_EQ(costProblem(source), kTooManyPackets);
}

TEST(Jpeg2000Costs, AComponentMayHaveACodingOfItsOwn) {
    EmptyJpeg2000 source{.columns = 2048, .rows = 2048, .moreHeader = componentSegment(0xFF)};
    EXPECT_EQ(costProblem(source), "");
    source.moreHeader = componentSegment(0x00);
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.moreHeader = componentSegment(0x00) + componentSegment(0xFF);
    EXPECT_EQ(costProblem(source), "") << "the last one counts";
    source.moreHeader = componentSegment(0x00) + codingSegment(source);
    EXPECT_EQ(costProblem(source), "") << "and one of all components is one of each";
}

TEST(Jpeg2000Costs, ATileMayHaveACodingOfItsOwn) {
    const EmptyJpeg2000 most{.layers = 65535};
    EmptyJpeg2000 source{.tileHeader = codingSegment(most)};
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.tileHeader = codingSegment(EmptyJpeg2000{.layers = 2});
    EXPECT_EQ(costProblem(source), "");
    source.layers = 65535; // of tiles that have none of their own
    EXPECT_EQ(costProblem(source), "");
    source.tileHeader.clear();
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source = {.columns = 2048, .rows = 2048, .tileHeader = componentSegment(0x00)};
    EXPECT_EQ(costProblem(source), kTooManyPackets);
    source.tileHeader = componentSegment(0xFF);
    EXPECT_EQ(costProblem(source), "");
    source.tileHeader = jpeg2000Segment(0x52, "");
    EXPECT_EQ(costProblem(source), "its JPEG 2000 codestream is damaged");
}

namespace {

/// Two resolutions, one of narrow and one of flat precincts: few packets, but some may begin at every sample.
EmptyJpeg2000 crossedPrecincts(Jpeg2000Progression progression, std::uint32_t size) {
    return {.columns = size,
            .rows = size,
            .progression = progression,
            .levels = 1,
            .precincts = {0xF0, 0x0F},
            .bytesOfTile = std::size_t{3} * size};
}

} // namespace

TEST(Jpeg2000Costs, OrdersByPositionLookAtEveryPlace) {
    for (const auto progression : {Jpeg2000Progression::layers, Jpeg2000Progression::resolutions}) {
        EXPECT_EQ(costProblem(crossedPrecincts(progression, 60000)), "");
    }
    for (const auto progression : {Jpeg2000Progression::resolutionsByPosition, Jpeg2000Progression::positions,
                                   Jpeg2000Progression::components}) {
        EXPECT_EQ(costProblem(crossedPrecincts(progression, 60000)), kTooManyParts);
        EXPECT_EQ(costProblem(crossedPrecincts(progression, 2000)), "");
        EmptyJpeg2000 usual{
            .columns = 60000, .rows = 60000, .progression = progression, .levels = 5, .bytesOfTile = 500};
        EXPECT_EQ(costProblem(usual), "");
    }
}

TEST(Jpeg2000Costs, EveryChangeOfTheOrderLooksAgain) {
    // From resolution 0 and component 0 on, up to layer 1, resolution 2 and component 1, by position.
    const std::string change("\0\0\0\1\2\1\2", 7);
    const auto changes = [&](int count) {
        std::string content;
        for (int index = 0; index < count; ++index) {
            content += change;
        }
        return jpeg2000Segment(0x5F, content);
    };
    EmptyJpeg2000 source = crossedPrecincts(Jpeg2000Progression::layers, 60000);
    source.moreHeader = changes(1);
    EXPECT_EQ(costProblem(source), kTooManyParts) << "an order by position comes up later";
    source = crossedPrecincts(Jpeg2000Progression::layers, 10000);
    source.moreHeader = changes(1);
    EXPECT_EQ(costProblem(source), "");
    source.moreHeader = changes(31);
    EXPECT_EQ(costProblem(source), kTooManyParts);
    source.moreHeader = changes(15) + changes(16);
    EXPECT_EQ(costProblem(source), kTooManyParts);
    source.moreHeader.clear();
    source.tileHeader = changes(31);
    EXPECT_EQ(costProblem(source), kTooManyParts);
    Jpeg2000Source picture = jpeg2000Picture(40, 30);
    picture.changesProgression = true;
    EXPECT_EQ(problemOfBytes(jpeg2000Stream(picture)), "");
    EXPECT_EQ(decodedJpeg2000(jpeg2000Stream(picture)).samples, picture.samples);
}

// Whatever OpenJPEG's encoder makes is far from all limits.
TEST(Jpeg2000Costs, OrdinaryPicturesAreNotRefused) {
    for (const auto progression :
         {Jpeg2000Progression::layers, Jpeg2000Progression::resolutions, Jpeg2000Progression::resolutionsByPosition,
          Jpeg2000Progression::positions, Jpeg2000Progression::components}) {
        for (const int components : {1, 3}) {
            Jpeg2000Source source = jpeg2000Picture(45, 70, components, 12);
            source.progression = progression;
            source.resolutions = 4;
            source.layers = 4;
            source.precinctSize = 32;
            EXPECT_EQ(problemOfBytes(jpeg2000Stream(source)), "");
            EXPECT_EQ(decodedJpeg2000(jpeg2000Stream(source)).samples, source.samples);
            source.tileSize = 33;
            EXPECT_EQ(problemOfBytes(jpeg2000Stream(source)), "");
        }
    }
}

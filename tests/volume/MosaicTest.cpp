#include "volume/slices/Mosaic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

#include "tests/support/CsaHeaders.h"
#include "tests/support/HostTest.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::test::CsaEntry;
using radvex::test::csaHeader;
using radvex::test::littleEndian;
using testing::ElementsAre;
using testing::HasSubstr;
using velmora::Value;

namespace {

const std::vector<CsaEntry> kFive{{"EchoLinePosition", {"32"}},
                                  {"NumberOfImagesInMosaic", {"5       "}},
                                  {"SliceNormalVector", {"0.00000000", "0.00000000", "1.00000000"}},
                                  {"ProtocolSliceNumber", {"0"}},
                                  {"MosaicRefAcqTimes", {}}};

/// Parses a copy of exactly that size, so that a sanitizer or valgrind sees every step outside.
std::optional<std::vector<CsaField>> parse(const std::string& bytes) {
    const std::vector<char> copy(bytes.begin(), bytes.end());
    return parseCsaHeader({copy.data(), copy.size()});
}

void overwrite(std::string& bytes, std::size_t at, std::int64_t number) { bytes.replace(at, 4, littleEndian(number)); }

/// A mosaic of six rows and nine columns.
SliceRecord mosaic() {
    SliceRecord picture;
    picture.file = "M";
    picture.rows = 6;
    picture.columns = 9;
    picture.position = Vector3{9.25, 19, 30};
    picture.orientation = Orientation{{1, 0, 0}, {0, 1, 0}};
    picture.pixelSpacing = PixelSpacing{0.5, 0.25};
    picture.spacingBetweenSlices = 2.5;
    return picture;
}

/// Verdicts need values of the host.
class Mosaic : public radvex::test::ServicesTest {
  protected:
    static Value header(const std::vector<CsaEntry>& entries) { return value(csaHeader(entries)); }
    static Value value(const std::string& bytes) {
        std::vector<vint> numbers;
        for (const char byte : bytes) {
            numbers.push_back(static_cast<unsigned char>(byte));
        }
        return velmora::Tensor({static_cast<vint>(numbers.size())}, numbers);
    }
    /// Fields of which some have other values. Without values, a field is left out.
    static std::vector<CsaEntry> fiveBut(const CsaEntry& other) {
        std::vector<CsaEntry> entries = kFive;
        std::erase_if(entries, [&](const CsaEntry& entry) { return entry.name == other.name; });
        if (!other.values.empty()) {
            entries.push_back(other);
        }
        return entries;
    }
    static std::string problem(const SliceRecord& picture, const MosaicAttributes& attributes) {
        return tilingOf(picture, attributes).problem;
    }
    static std::string problem(const CsaEntry& other, const SliceRecord& picture = mosaic()) {
        return problem(picture, {{vint{5}}, {header(fiveBut(other))}});
    }
};

/// Samples of a type, as if one file had them.
template <typename T>
StoredSlices stored(std::vector<T>& samples) {
    StoredSlices slices;
    slices.wanted.add(ModalityRule{.bitsStored = std::numeric_limits<T>::digits},
                      {0, static_cast<double>(std::numeric_limits<T>::max())});
    slices.sliceSamples = samples.size();
    slices.count = 1;
    slices.samples = reinterpret_cast<std::byte*>(samples.data());
    return slices;
}

} // namespace

TEST_F(Mosaic, HeadersOfBothFormatsAreRead) {
    for (const bool isOld : {false, true}) {
        const auto fields = parse(csaHeader(kFive, isOld));
        ASSERT_TRUE(fields) << isOld;
        ASSERT_EQ(fields->size(), kFive.size());
        EXPECT_EQ((*fields)[1].name, "NumberOfImagesInMosaic");
        EXPECT_THAT((*fields)[1].values, ElementsAre("5"));
        EXPECT_THAT((*fields)[2].values, ElementsAre("0.00000000", "0.00000000", "1.00000000"));
        EXPECT_TRUE((*fields)[4].values.empty());
    }
}

TEST_F(Mosaic, UnusedItemsOfTheOldFormatMayHaveNoLength) {
    const std::vector<CsaEntry> entries{{"First", {"1"}}};
    std::string bytes = csaHeader(entries, true);
    overwrite(bytes, bytes.size() - 16, 0); // less than what all lengths exceed theirs by
    ASSERT_TRUE(parse(bytes));
    EXPECT_THAT(parse(bytes)->front().values, ElementsAre("1"));
    overwrite(bytes, 8 + 84, 0); // now the value has none
    EXPECT_FALSE(parse(bytes));
}

TEST_F(Mosaic, AHeaderThatIsCutAnywhereIsNone) {
    for (const bool isOld : {false, true}) {
        const std::string bytes = csaHeader(kFive, isOld);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            EXPECT_FALSE(parse(bytes.substr(0, length))) << length << " bytes";
        }
    }
}

TEST_F(Mosaic, AbsurdNumbersAreNeverFollowed) {
    for (const bool isOld : {false, true}) {
        const std::string bytes = csaHeader(kFive, isOld);
        for (const std::int64_t number : {0LL, -1LL, 0x7FFFFFFFLL, -0x80000000LL, 1LL << 24, 1000LL}) {
            for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
                std::string changed = bytes;
                overwrite(changed, at, number);
                const auto fields = parse(changed);
                if (fields) {
                    EXPECT_LE(fields->size(), kFive.size()) << number << " at " << at;
                }
            }
        }
        const std::size_t start = isOld ? 0 : 8;
        for (const std::int64_t number : {0LL, -1LL, 0x7FFFFFFFLL, 6LL}) {
            std::string changed = bytes;
            overwrite(changed, start, number); // fields
            EXPECT_FALSE(parse(changed)) << number;
            if (number != 6) {
                changed = bytes;
                overwrite(changed, start + 8 + 76, number == 0 ? 1 << 20 : number); // items of the first one
                EXPECT_FALSE(parse(changed)) << number;
            }
        }
    }
    EXPECT_FALSE(parse("Notes about the scan, long enough to be taken for a header, but of any other kind at all."));
}

TEST_F(Mosaic, TheAttributesGiveTheTiles) {
    const TilingVerdict verdict = tilingOf(mosaic(), {{vint{5}}, {header(kFive)}});
    EXPECT_EQ(verdict.problem, "");
    EXPECT_EQ(verdict.tiling.count, 5);
    EXPECT_EQ(verdict.tiling.tilesPerSide, 3);
    const auto tiles = tilesOf(mosaic(), verdict.tiling);
    ASSERT_EQ(tiles.size(), 5U);
    for (std::size_t index = 0; index < tiles.size(); ++index) {
        EXPECT_EQ(tiles[index].name(), "M frame " + std::to_string(index + 1));
        EXPECT_EQ(tiles[index].rows, 2);
        EXPECT_EQ(tiles[index].columns, 3);
        EXPECT_THAT(*tiles[index].position, ElementsAre(10, 20, 30 + 2.5 * static_cast<double>(index)));
    }
    EXPECT_EQ(problem(mosaic(), {{}, {header(kFive)}}), "") << "one of the two counts suffices";
    EXPECT_EQ(problem({"NumberOfImagesInMosaic", {}}), "");
    EXPECT_EQ(problem({"SliceNormalVector", {"0.0005", "0", "0.9999"}}), "");
    EXPECT_EQ(problem({"ProtocolSliceNumber", {}}), "");
    EXPECT_EQ(problem({"ProtocolSliceNumber", {"1"}}), "");
}

TEST_F(Mosaic, WhatTheAttributesDoNotGiveIsSaid) {
    EXPECT_THAT(problem(mosaic(), {{vint{5}}, {}}), HasSubstr("the CSA image header, private attribute (0029,xx10) of "
                                                              "SIEMENS CSA HEADER, is missing"));
    EXPECT_THAT(problem(mosaic(), {{vint{5}}, {header(kFive), header(kFive)}}), HasSubstr("occurs several times"));
    EXPECT_THAT(problem(mosaic(), {{vint{5}}, {Value("SV10")}}), HasSubstr("is malformed"));
    EXPECT_THAT(problem(mosaic(), {{vint{5}}, {value("SV10")}}), HasSubstr("is malformed"));
    EXPECT_THAT(problem(mosaic(), {{}, {header(fiveBut({"NumberOfImagesInMosaic", {}}))}}),
                HasSubstr("NumberOfImagesInMosaic is missing"));
    EXPECT_THAT(problem({"SliceNormalVector", {}}), HasSubstr("SliceNormalVector of the CSA image header is missing"));
    EXPECT_THAT(problem({"SliceNormalVector", {"0", "1"}}), HasSubstr("is missing or unusable"));
    EXPECT_THAT(problem({"SliceNormalVector", {"0", "nan", "1"}}), HasSubstr("is missing or unusable"));
    auto twice = kFive;
    twice.push_back(kFive[2]);
    EXPECT_THAT(problem(mosaic(), {{vint{5}}, {header(twice)}}), HasSubstr("SliceNormalVector"));
    const auto without = [](auto member) {
        SliceRecord picture = mosaic();
        (picture.*member).reset();
        return picture;
    };
    const CsaEntry none{"none", {}};
    EXPECT_THAT(problem(none, without(&SliceRecord::position)), HasSubstr("ImagePositionPatient is missing"));
    EXPECT_THAT(problem(none, without(&SliceRecord::orientation)), HasSubstr("ImageOrientationPatient is missing"));
    EXPECT_THAT(problem(none, without(&SliceRecord::pixelSpacing)), HasSubstr("PixelSpacing is missing"));
    EXPECT_THAT(problem(none, without(&SliceRecord::spacingBetweenSlices)),
                HasSubstr("SpacingBetweenSlices is missing"));
}

TEST_F(Mosaic, ContradictionsAreSaid) {
    EXPECT_THAT(problem({"NumberOfImagesInMosaic", {"6"}}), HasSubstr("contradicts itself: 5 and 6"));
    EXPECT_THAT(problem(mosaic(), {{vint{5}, vint{4}}, {header(kFive)}}), HasSubstr("contradicts itself: 5 and 4"));
    for (const char* const count : {"0", "-5", "5.5", "five", "99999999999"}) {
        EXPECT_THAT(problem({"NumberOfImagesInMosaic", {count}}), HasSubstr("is no number of slices")) << count;
    }
    EXPECT_THAT(problem(mosaic(), {{Value("5")}, {header(kFive)}}), HasSubstr("is no number of slices"));
    for (const char* const count : {"10", "2", "2147483647"}) {
        const std::vector<CsaEntry> entries = fiveBut({"NumberOfImagesInMosaic", {count}});
        EXPECT_THAT(problem(mosaic(), {{}, {header(entries)}}), HasSubstr("6 and 9, cannot be divided")) << count;
    }
    EXPECT_THAT(problem({"SliceNormalVector", {"0", "0", "-1"}}), HasSubstr("points against the normal"));
    EXPECT_THAT(problem({"SliceNormalVector", {"0.002", "0", "1"}}), HasSubstr("is not the normal"));
    EXPECT_THAT(problem({"SliceNormalVector", {"0", "0", "2"}}), HasSubstr("is not the normal"));
    for (const char* const number : {"-1", "2", "4", "first"}) {
        EXPECT_THAT(problem({"ProtocolSliceNumber", {number}}), HasSubstr("may be numbered backwards")) << number;
    }
    SliceRecord four = mosaic();
    four.columns = 8;
    EXPECT_THAT(problem(four, {{}, {header({{"NumberOfImagesInMosaic", {"2"}}, {"ProtocolSliceNumber", {"1"}}})}}),
                HasSubstr("may be numbered backwards"))
        << "the last of two";
    SliceRecord several = mosaic();
    several.frames = 2;
    EXPECT_THAT(problem({"none", {}}, several), HasSubstr("several frames"));
}

TEST_F(Mosaic, TilesLieAlongAnyOrientation) {
    const double cosine = std::cos(0.3);
    const double sine = std::sin(0.3);
    const Orientation oblique{{cosine, sine, 0}, {0, 0, -1}};
    const Vector3 normal{-sine, cosine, 0};
    const Vector3 first{-12, 34, 5};
    SliceRecord picture = mosaic();
    picture.rows = 8;
    picture.columns = 6;
    picture.orientation = oblique;
    // Tiles of 4 x 3 pixels: their centre and that of the mosaic, in the plane of the first slice, are the same point.
    const auto centre = [&](double rows, double columns) {
        return (columns - 1) / 2 * 0.25 * oblique.alongColumns + (rows - 1) / 2 * 0.5 * oblique.alongRows;
    };
    picture.position = first + centre(4, 3) - centre(8, 6);
    const auto tiles = tilesOf(picture, {.count = 3, .tilesPerSide = 2});
    ASSERT_EQ(tiles.size(), 3U);
    for (std::size_t index = 0; index < tiles.size(); ++index) {
        const Vector3 expected = first + 2.5 * static_cast<double>(index) * normal;
        EXPECT_LT(length(*tiles[index].position - expected), 1e-12) << index;
    }
}

TEST_F(Mosaic, TheTimeTellsMosaicsApartIfThereIsOne) {
    SliceRecord picture = mosaic();
    picture.traits.set(Trait::acquisitionNumber, "7");
    EXPECT_EQ(tilesOf(picture, {5, 3})[4].traits[Trait::acquisitionNumber], "7");
    picture.traits.set(Trait::acquisitionTime, "36000");
    EXPECT_EQ(tilesOf(picture, {5, 3})[4].traits[Trait::acquisitionNumber], "");
    EXPECT_EQ(tilesOf(picture, {5, 3})[4].traits[Trait::acquisitionTime], "36000");
}

TEST_F(Mosaic, SamplesFollowTileByTile) {
    // Each sample is 10 times its tile plus its place in there.
    std::vector<std::uint16_t> words{0,  1,  10, 11, 2,  3,  12, 13, 4,  5,  14, 15,
                                     20, 21, 30, 31, 22, 23, 32, 33, 24, 25, 34, 35};
    StoredSlices samples = stored(words);
    unpackTiles(samples, 6, 4, {.count = 3, .tilesPerSide = 2});
    EXPECT_EQ(samples.count, 3U);
    EXPECT_EQ(samples.sliceSamples, 6U);
    words.resize(18);
    EXPECT_THAT(words, ElementsAre(0, 1, 2, 3, 4, 5, 10, 11, 12, 13, 14, 15, 20, 21, 22, 23, 24, 25));
    // Red, green and blue of two columns and four rows; tiles have one column and two rows.
    std::vector<std::uint8_t> colours(24);
    std::iota(colours.begin(), colours.end(), std::uint8_t{0});
    samples = stored(colours);
    unpackTiles(samples, 4, 2, {.count = 2, .tilesPerSide = 2});
    EXPECT_EQ(samples.sliceSamples, 6U);
    colours.resize(12);
    EXPECT_THAT(colours, ElementsAre(0, 1, 2, 6, 7, 8, 3, 4, 5, 9, 10, 11));
}

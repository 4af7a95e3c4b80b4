#include "volume/preview/VolumePreview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>

#include "formats/pictures/Png.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/volume/PreviewVolumes.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::test::headerOf;
using radvex::test::readFile;
using radvex::test::TemporaryFolder;
using radvex::test::TestVolume;

namespace {

using Rgb = std::array<int, 3>;

constexpr Rgb kBackground{13, 12, 20};
constexpr Rgb kBar{235, 240, 250};
constexpr Rgb kPurple{90, 20, 110};

/// A preview as it is read back. Only voxels are grey: nothing else on the page has three equal parts.
class Page {
  public:
    explicit Page(const std::string& png) {
        const auto image = readPng("preview.png", std::as_bytes(std::span(png)));
        EXPECT_EQ(image.info().channels, 3);
        EXPECT_EQ(image.info().type, VImage_U8);
        rows = image.info().rows;
        columns = image.info().columns;
        const auto data = image.data<std::uint8_t>();
        mBytes.assign(data.begin(), data.end());
    }

    Rgb at(int row, int column) const {
        const std::size_t first =
            (static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + static_cast<std::size_t>(column)) * 3;
        return {mBytes[first], mBytes[first + 1], mBytes[first + 2]};
    }
    bool isGrey(int row, int column) const {
        const Rgb pixel = at(row, column);
        return pixel[0] == pixel[1] && pixel[1] == pixel[2];
    }
    /// Pixels of an area that have the colour.
    int count(const Rgb& colour, int left, int top, int right, int bottom) const {
        int found = 0;
        for (int row = std::max(top, 0); row < std::min(bottom, rows); ++row) {
            for (int column = std::max(left, 0); column < std::min(right, columns); ++column) {
                found += at(row, column) == colour ? 1 : 0;
            }
        }
        return found;
    }
    int count(const Rgb& colour) const { return count(colour, 0, 0, columns, rows); }

    int rows = 0;
    int columns = 0;

  private:
    std::vector<std::uint8_t> mBytes{};
};

/// Where the voxels of a panel are on a page; right and bottom lie behind the last pixel.
struct Area {
    int left;
    int top;
    int right;
    int bottom;
};

/// The areas of grey, from left to right; columns without any lie between them.
std::vector<Area> areasOf(const Page& page) {
    std::vector<Area> areas;
    bool isInside = false;
    for (int column = 0; column < page.columns; ++column) {
        bool isFound = false;
        for (int row = 0; row < page.rows; ++row) {
            if (page.isGrey(row, column)) {
                if (!isInside && !isFound) {
                    areas.push_back({column, row, column, row});
                }
                isFound = true;
                Area& area = areas.back();
                area = {area.left, std::min(area.top, row), column + 1, std::max(area.bottom, row + 1)};
            }
        }
        isInside = isFound;
    }
    return areas;
}

/// The grey at a part of the width and height of an area.
int shadeAt(const Page& page, const Area& area, double across, double down) {
    return page.at(area.top + static_cast<int>(down * (area.bottom - area.top)),
                   area.left + static_cast<int>(across * (area.right - area.left)))[0];
}

/// Pixels at the four edges of an area that are not background: left, right, top, bottom.
std::array<int, 4> inkAround(const Page& page, const Area& area) {
    constexpr int kSpace = 30;
    constexpr int kHalf = 14;
    const int across = (area.left + area.right) / 2;
    const int down = (area.top + area.bottom) / 2;
    const auto ink = [&](int left, int top, int right, int bottom) {
        return (right - left) * (bottom - top) - page.count(kBackground, left, top, right, bottom);
    };
    return {ink(area.left - kSpace, down - kHalf, area.left - 2, down + kHalf),
            ink(area.right + 2, down - kHalf, area.right + kSpace, down + kHalf),
            ink(across - kHalf, area.top - kSpace, across + kHalf, area.top - 2),
            ink(across - kHalf, area.bottom + 2, across + kHalf, area.bottom + kSpace)};
}

/// The longest row of pixels that have exactly this colour, in an area.
int longestRun(const Page& page, const Rgb& colour, const Area& area) {
    int longest = 0;
    for (int row = area.top; row < std::min(area.bottom, page.rows); ++row) {
        int run = 0;
        for (int column = area.left; column < std::min(area.right, page.columns); ++column) {
            run = page.at(row, column) == colour ? run + 1 : 0;
            longest = std::max(longest, run);
        }
    }
    return longest;
}

template <typename T>
std::string pngBytes(const TestVolume<T>& volume, const PreviewText& text = {}, std::size_t slicesEach = 1) {
    const TemporaryFolder folder;
    const std::string path = folder.file("preview.png");
    writePreview(path, volume.header, volume.pieces(slicesEach), text);
    return readFile(path);
}

template <typename T>
Page pageOf(const TestVolume<T>& volume, const PreviewText& text = {}) {
    return Page(pngBytes(volume, text));
}

TestVolume<std::uint8_t> ramp(const VolumeHeader& header) {
    return {header, [](vint column, vint row, vint, vint) { return static_cast<std::uint8_t>(column + row); }};
}

constexpr int kMarkLeft = 85;
constexpr int kMarkFront = 170;
constexpr int kMarkHead = 255;

/// 40 x 50 x 30 voxels of 0 with blocks of other values, in the middle of the other two directions: 85 at the left end
/// of the patient, 170 at the front and 255 at the head. Together they are less than 1 %, so that all values are shown.
TestVolume<std::uint8_t> markedVolume() {
    const VolumeHeader header = headerOf(VNumericArray_U8, 40, 50, 30);
    return {header, [](vint column, vint row, vint slice, vint) {
                const auto isIn = [](vint index, vint first) { return index >= first && index < first + 4; };
                const bool isMiddle[] = {isIn(column, 18), isIn(row, 23), isIn(slice, 13)};
                const int value = isIn(column, 35) && isMiddle[1] && isMiddle[2]  ? kMarkLeft
                                  : isMiddle[0] && isIn(row, 3) && isMiddle[2]    ? kMarkFront
                                  : isMiddle[0] && isMiddle[1] && isIn(slice, 24) ? kMarkHead
                                                                                  : 0;
                return static_cast<std::uint8_t>(value);
            }};
}

Finding finding(bool isError, const std::string& sentence) { return {FindingKind::tilt, isError, sentence, {}}; }

} // namespace

TEST(VolumePreview, BlocksAppearWhereThePatientHasThem) {
    const Page page = pageOf(markedVolume());
    const auto areas = areasOf(page);
    ASSERT_EQ(areas.size(), 3U);
    // Parts of the width and height where the centre of a block is expected.
    const double left = 37.0 / 40;
    const double front = 5.0 / 50;
    const double head = 1 - 26.0 / 30;
    EXPECT_EQ(shadeAt(page, areas[0], left, 0.5), kMarkLeft) << "axial: left is on the right";
    EXPECT_EQ(shadeAt(page, areas[0], 0.5, front), kMarkFront) << "axial: front is up";
    EXPECT_EQ(shadeAt(page, areas[1], left, 0.5), kMarkLeft) << "coronal: left is on the right";
    EXPECT_EQ(shadeAt(page, areas[1], 0.5, head), kMarkHead) << "coronal: head is up";
    EXPECT_EQ(shadeAt(page, areas[2], front, 0.5), kMarkFront) << "sagittal: front is on the left";
    EXPECT_EQ(shadeAt(page, areas[2], 0.5, head), kMarkHead) << "sagittal: head is up";
    for (const Area& area : areas) {
        EXPECT_EQ(shadeAt(page, area, 0.5, 0.9), 0);
        EXPECT_EQ(shadeAt(page, area, &area == &areas[2] ? 0.9 : 0.1, 0.5), 0);
    }
}

TEST(VolumePreview, PanelsHaveTheProportionsOfThePatient) {
    VolumeHeader header = headerOf(VNumericArray_U8, 64, 32, 10);
    header.geometry.columnStep = {0.5, 0, 0};
    header.geometry.rowStep = {0, 2, 0};
    header.geometry.sliceStep = {0, 0, 3};
    const Page page = pageOf(ramp(header));
    const auto areas = areasOf(page); // 32 mm to the left, 64 to the back, 30 to the head
    ASSERT_EQ(areas.size(), 3U);
    const double proportions[] = {32.0 / 64, 32.0 / 30, 64.0 / 30};
    for (std::size_t index = 0; index < 3; ++index) {
        const int columns = areas[index].right - areas[index].left;
        const int rows = areas[index].bottom - areas[index].top;
        EXPECT_NEAR(columns, proportions[index] * rows, 1) << index;
        EXPECT_GE(std::max(rows, columns), 320);
        EXPECT_LE(std::max(rows, columns), 480);
    }
}

TEST(VolumePreview, BarsHaveARoundLength) {
    VolumeHeader header = headerOf(VNumericArray_U8, 64, 32, 10);
    header.geometry.columnStep = {0.5, 0, 0};
    header.geometry.rowStep = {0, 2, 0};
    header.geometry.sliceStep = {0, 0, 3};
    const auto volume = ramp(header);
    const auto barsOf = [&](const Page& page) {
        std::vector<double> lengths;
        for (const Area& area : areasOf(page)) {
            const int below = page.rows - 30; // the findings have another colour
            lengths.push_back(longestRun(page, kBar, {area.left, area.bottom + 10, area.right, below}));
        }
        return lengths;
    };
    // 480 pixels are 64 mm, and 320 are 32 mm: 10 mm are 75 and 100 pixels.
    EXPECT_THAT(barsOf(pageOf(volume)), testing::ElementsAre(75, 100, 75));
    const Finding unknown{FindingKind::noPixelSpacing, false, "No slice has a usable PixelSpacing.", {}};
    EXPECT_THAT(barsOf(pageOf(volume, {.findings = {unknown}})), testing::Each(testing::Lt(10)));
}

TEST(VolumePreview, LettersNeedAPositionInSpace) {
    VolumeHeader header = headerOf(VNumericArray_U8, 50, 50, 50);
    const Page known = pageOf(ramp(header));
    for (const Area& area : areasOf(known)) {
        EXPECT_THAT(inkAround(known, area), testing::Each(testing::Gt(20)));
    }
    header.geometry.hasPosition = false;
    const Page unknown = pageOf(ramp(header));
    ASSERT_EQ(areasOf(unknown).size(), 3U);
    for (const Area& area : areasOf(unknown)) {
        EXPECT_THAT(inkAround(unknown, area), testing::Each(0));
    }
}

TEST(VolumePreview, TheHounsfieldWindowRunsFromBlackToWhite) {
    const TestVolume<std::int16_t> volume(headerOf(VNumericArray_S16, 8, 8, 8), [](vint column, vint, vint, vint) {
        const int values[] = {-1000, -1000, -160, -160, 40, 40, 240, 1500};
        return static_cast<std::int16_t>(values[column]);
    });
    const Page page = pageOf(volume, {.unit = "HU"});
    const Area area = areasOf(page).at(0);
    EXPECT_EQ(shadeAt(page, area, 0.1, 0.5), 0);
    EXPECT_EQ(shadeAt(page, area, 3.0 / 8, 0.5), 0) << "-160";
    EXPECT_NEAR(shadeAt(page, area, 5.0 / 8, 0.5), 127.5, 1) << "40";
    EXPECT_EQ(shadeAt(page, area, 6.5 / 8, 0.5), 255) << "240";
}

TEST(VolumePreview, FindingsMakeThePageHigher) {
    const auto volume = ramp(headerOf(VNumericArray_U8, 20, 20, 20));
    const auto heightWith = [&](std::vector<Finding> findings) {
        return pageOf(volume, {.findings = std::move(findings)}).rows;
    };
    std::string longText;
    for (int word = 0; word < 40; ++word) {
        longText += "several words ";
    }
    const int one = heightWith({finding(false, "Short.")});
    const int two = heightWith({finding(false, "Short."), finding(true, "Other.")});
    const int line = two - one;
    EXPECT_GE(line, 12);
    EXPECT_GE(heightWith({finding(false, longText)}), one + line) << "several lines";
    const int many = heightWith(std::vector<Finding>(5000, finding(true, longText + longText + longText + longText)));
    EXPECT_LT(many, 4000);
    EXPECT_GT(many, two);
}

TEST(VolumePreview, ErrorsAreMarked) {
    constexpr Rgb kError{255, 115, 105};
    constexpr Rgb kWarning{255, 200, 90};
    const auto volume = ramp(headerOf(VNumericArray_U8, 20, 20, 20));
    const Page none = pageOf(volume);
    EXPECT_EQ(none.count(kError) + none.count(kWarning), 0);
    const Page error = pageOf(volume, {.findings = {finding(true, "Slices are missing.")}});
    EXPECT_GT(error.count(kError), 20);
    EXPECT_EQ(error.count(kWarning), 0);
    const Page warning = pageOf(volume, {.findings = {finding(false, "The slices are tilted.")}});
    EXPECT_GT(warning.count(kWarning), 20);
    EXPECT_EQ(warning.count(kError), 0);
}

TEST(VolumePreview, ATiltIsTold) {
    VolumeHeader header = headerOf(VNumericArray_U8, 20, 20, 20);
    const int straight = pageOf(ramp(header)).rows;
    header.geometry.sliceStep = {0, 0.2, 1};
    EXPECT_GT(pageOf(ramp(header)).rows, straight);
    header.geometry.sliceStep = {0, 0.001, 1};
    EXPECT_EQ(pageOf(ramp(header)).rows, straight);
}

TEST(VolumePreview, TextsOfAllKindsAreDrawn) {
    const auto volume = ramp(headerOf(VNumericArray_U8, 20, 20, 20));
    const std::string odd = "\xE6\xBC\xA2\xE5\xAD\x97 \xD0\x96 \xFF\xFE \x01\n\t \xD7\xA9 \xF0\x9F\xA6\xB4";
    const Page plain = pageOf(volume);
    const Page page = pageOf(volume, {.title = odd, .unit = odd, .findings = {finding(true, odd)}});
    EXPECT_GT(page.rows, plain.rows);
    const std::string endless(200000, 'W');
    const Page large = pageOf(volume, {.title = endless, .unit = endless, .findings = {finding(true, endless)}});
    EXPECT_LT(large.rows, 1200);
    EXPECT_LT(large.columns, 2000);
}

TEST(VolumePreview, ColourStaysColour) {
    VolumeHeader header = headerOf(VNumericArray_U8, 20, 20, 4);
    header.channels = 3;
    const TestVolume<std::uint8_t> bytes(header, [](vint column, vint, vint, vint channel) {
        const int left[] = {200, 30, 5};
        const int right[] = {1, 2, 250};
        return static_cast<std::uint8_t>(column < 10 ? left[channel] : right[channel]);
    });
    const Page page = pageOf(bytes);
    EXPECT_GT(page.count({200, 30, 5}), 480 * 200);
    EXPECT_GT(page.count({1, 2, 250}), 480 * 200);
    header.type = VNumericArray_U16;
    const TestVolume<std::uint16_t> words(header, [](vint, vint, vint, vint channel) {
        const int parts[] = {65535, 0, 257 * 100};
        return static_cast<std::uint16_t>(parts[channel]);
    });
    EXPECT_GT(pageOf(words).count({255, 0, 100}), 480 * 480);
}

TEST(VolumePreview, WhatIsNoNumberIsPurple) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const TestVolume<float> volume(headerOf(VNumericArray_F32, 40, 40, 40), [&](vint column, vint row, vint, vint) {
        return column < 10 ? nan : column < 12 ? (row < 20 ? infinity : -infinity) : static_cast<float>(row);
    });
    const Page page = pageOf(volume);
    EXPECT_NEAR(page.count(kPurple), 2 * 480 * 480 / 4, 2 * 480 * 12);
    const Area area = areasOf(page).at(0); // begins with the infinite values
    EXPECT_EQ(shadeAt(page, area, 0.03, 0.1), 255);
    EXPECT_EQ(shadeAt(page, area, 0.03, 0.9), 0);
    EXPECT_NEAR(shadeAt(page, area, 0.8, 0.5), 127, 10);
    EXPECT_EQ(pageOf(ramp(headerOf(VNumericArray_U8, 20, 20, 20))).count(kPurple), 0);
}

TEST(VolumePreview, VolumesOfOneSliceRowOrColumnAreShown) {
    constexpr vint kLong = 30000;
    const std::vector<std::array<vint, 3>> sizes{{40, 40, 1}, {40, 1, 40},   {1, 40, 40},   {1, 1, 1},
                                                 {2, 1, 1},   {kLong, 1, 1}, {1, kLong, 1}, {1, 1, kLong}};
    for (const auto& [columns, rows, slices] : sizes) {
        const Page page = pageOf(ramp(headerOf(VNumericArray_U8, columns, rows, slices)));
        EXPECT_EQ(areasOf(page).size(), 3U) << columns << " x " << rows << " x " << slices;
        EXPECT_LT(page.columns, 2000);
        EXPECT_LT(page.rows, 1000);
    }
}

TEST(VolumePreview, JoinedSlicesGiveTheSamePicture) {
    const auto volume = markedVolume();
    const std::string each = pngBytes(volume);
    EXPECT_EQ(pngBytes(volume, {}, 7), each);
    EXPECT_EQ(pngBytes(volume, {}, 30), each);
}

TEST(VolumePreview, RefusesOtherBytesThanTheHeaderSays) {
    const TemporaryFolder folder;
    const auto volume = markedVolume();
    auto pieces = volume.pieces(1);
    pieces.pop_back();
    EXPECT_THROW(writePreview(folder.file("preview.png"), volume.header, pieces, {}), VolumeError);
    EXPECT_FALSE(std::filesystem::exists(folder.file("preview.png")));
    EXPECT_THROW(writePreview(folder.file("missing/preview.png"), volume.header, volume.pieces(1), {}),
                 radvex::FileError);
}

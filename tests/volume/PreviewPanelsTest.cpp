#include "volume/preview/PreviewPanels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "tests/volume/PreviewVolumes.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::test::headerOf;
using radvex::test::TestVolume;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Letters at the left, right, top and bottom edge.
std::vector<std::string> lettersOf(const PreviewPanel& panel) {
    return {panel.left, panel.right, panel.top, panel.bottom};
}

/// The value at a part of the width and of the height.
double valueAt(const PreviewPanel& panel, double across, double down) {
    const auto column = static_cast<std::size_t>(across * panel.columns);
    const auto row = static_cast<std::size_t>(down * panel.rows);
    return panel.values[row * static_cast<std::size_t>(panel.columns) + column];
}

std::vector<PreviewPanel> panelsOf(const VolumeHeader& header) {
    const TestVolume<std::uint8_t> volume(header, [](vint, vint, vint, vint) { return 7; });
    return previewPanels(volume.reader(), header.geometry);
}

/// How the axes of a volume run along those of the patient: columns, rows and slices.
struct Arrangement {
    std::array<std::size_t, 3> along; ///< 0 left, 1 back, 2 head
    std::array<bool, 3> isBackwards;  ///< towards right, front, feet
};

std::vector<Arrangement> arrangements() {
    std::vector<Arrangement> all;
    std::array<std::size_t, 3> along{0, 1, 2};
    do {
        for (unsigned signs = 0; signs < 8; ++signs) {
            all.push_back({along, {(signs & 1) != 0, (signs & 2) != 0, (signs & 4) != 0}});
        }
    } while (std::ranges::next_permutation(along).found);
    return all;
}

/// A cube whose value is 1 in the half that lies to the left, 2 to the back, 4 to the head, added up.
TestVolume<std::uint8_t> octants(const Arrangement& arrangement) {
    constexpr vint kSize = 21; // the middle voxel counts as the far half
    VolumeHeader header = headerOf(VNumericArray_U8, kSize, kSize, kSize);
    Vector3* const steps[] = {&header.geometry.columnStep, &header.geometry.rowStep, &header.geometry.sliceStep};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        *steps[axis] = {};
        (*steps[axis])[arrangement.along[axis]] = arrangement.isBackwards[axis] ? -1 : 1;
    }
    return {header, [&](vint column, vint row, vint slice, vint) {
                const vint index[] = {column, row, slice};
                unsigned value = 0;
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    const bool isFar = index[axis] >= kSize / 2;
                    value += isFar != arrangement.isBackwards[axis] ? 1U << arrangement.along[axis] : 0U;
                }
                return static_cast<std::uint8_t>(value);
            }};
}

/// Whether the voxels at a part of the panel lie to the left (0), back (1) or head (2).
bool liesTo(const PreviewPanel& panel, double across, double down, unsigned end) {
    return (static_cast<unsigned>(std::lround(valueAt(panel, across, down))) >> end & 1U) != 0;
}

/// The letter of an end; the opposite one is the letter of its opposite.
const char* const kEnds[3] = {"L", "P", "S"};
const char* const kOpposites[3] = {"R", "A", "I"};

/// That the letters at the edges say where the voxels lie that are shown there.
void expectTrueLetters(const PreviewPanel& panel) {
    for (unsigned end = 0; end < 3; ++end) {
        const auto isEnd = [&](const std::string& letter, double across, double down) {
            if (letter == kEnds[end] || letter == kOpposites[end]) {
                EXPECT_EQ(letter == kEnds[end], liesTo(panel, across, down, end)) << panel.caption;
            }
        };
        isEnd(panel.left, 0.1, 0.3);
        isEnd(panel.right, 0.9, 0.3);
        isEnd(panel.top, 0.3, 0.1);
        isEnd(panel.bottom, 0.3, 0.9);
    }
}

/// That a plane across this direction of the patient is turned as radiologists look at it.
void expectSeenUsually(const PreviewPanel& panel, std::size_t across) {
    const std::vector<std::vector<std::string>> letters{
        {"A", "P", "S", "I"}, {"R", "L", "S", "I"}, {"R", "L", "A", "P"}};
    const char* const names[] = {"sagittal, ", "coronal, ", "axial, "};
    EXPECT_EQ(lettersOf(panel), letters[across]);
    EXPECT_THAT(panel.caption, StartsWith(names[across]));
}

} // namespace

TEST(OrientationLetters, NameTheEndsOfThePatient) {
    EXPECT_EQ(orientationLetters({1, 0, 0}), "L");
    EXPECT_EQ(orientationLetters({-3, 0, 0}), "R");
    EXPECT_EQ(orientationLetters({0, 0.5, 0}), "P");
    EXPECT_EQ(orientationLetters({0, -1, 0}), "A");
    EXPECT_EQ(orientationLetters({0, 0, 1}), "S");
    EXPECT_EQ(orientationLetters({0, 0, -1}), "I");
}

TEST(OrientationLetters, ALargeSecondPartIsNamedToo) {
    const auto turned = [](double degrees) {
        const double angle = degrees * std::acos(-1.0) / 180;
        return Vector3{std::cos(angle), -std::sin(angle), 0};
    };
    EXPECT_EQ(orientationLetters(turned(23)), "L") << "sine 0.391";
    EXPECT_EQ(orientationLetters(turned(24)), "LA") << "sine 0.407";
    EXPECT_EQ(orientationLetters(turned(66)), "AL");
    EXPECT_EQ(orientationLetters(turned(67)), "A");
    EXPECT_EQ(orientationLetters({-0.5, 0.1, 0.8}), "SR");
}

TEST(OrientationLetters, NoDirectionHasNone) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(orientationLetters({0, 0, 0}), "");
    EXPECT_EQ(orientationLetters({nan, 0, 1}), "");
    EXPECT_EQ(orientationLetters({std::numeric_limits<double>::infinity(), 0, 1}), "");
}

TEST(PreviewPanels, TheSliceIsAsStoredAndTheOthersAsRadiologistsLook) {
    for (const Arrangement& arrangement : arrangements()) {
        const auto volume = octants(arrangement);
        const auto panels = previewPanels(volume.reader(), volume.header.geometry);
        const auto letterOf = [&](std::size_t axis, bool isFarEnd) {
            const std::size_t along = arrangement.along[axis];
            return std::string(isFarEnd != arrangement.isBackwards[axis] ? kEnds[along] : kOpposites[along]);
        };
        EXPECT_THAT(lettersOf(panels[0]),
                    ElementsAre(letterOf(0, false), letterOf(0, true), letterOf(1, false), letterOf(1, true)));
        expectSeenUsually(panels[1], arrangement.along[1]); // across the middle row
        expectSeenUsually(panels[2], arrangement.along[0]); // across the middle column
        std::ranges::for_each(panels, expectTrueLetters);
    }
}

TEST(PreviewPanels, ObliquePlanesHaveTwoLetters) {
    VolumeHeader header = headerOf(VNumericArray_U8, 10, 10, 10);
    header.geometry.columnStep = {0.8, -0.6, 0};
    header.geometry.rowStep = {0.6, 0.8, 0};
    const auto panels = panelsOf(header);
    EXPECT_THAT(lettersOf(panels[0]), ElementsAre("RP", "LA", "AR", "PL"));
    EXPECT_EQ(panels[0].caption, "axial, slice 6 of 10");
    EXPECT_THAT(lettersOf(panels[1]), ElementsAre("RP", "LA", "S", "I"));
    EXPECT_EQ(panels[1].caption, "oblique, mainly coronal, row 6 of 10");
}

TEST(PreviewPanels, WithoutPositionThereAreNoLettersAndNoTurns) {
    VolumeHeader header = headerOf(VNumericArray_U8, 9, 9, 9);
    header.geometry.hasPosition = false;
    const TestVolume<std::uint8_t> volume(header, [](vint column, vint row, vint slice, vint) {
        return static_cast<std::uint8_t>(column + row + slice);
    });
    for (const PreviewPanel& panel : previewPanels(volume.reader(), header.geometry)) {
        EXPECT_THAT(lettersOf(panel), ElementsAre("", "", "", ""));
        EXPECT_THAT(panel.caption, HasSubstr(" 5 of 9"));
        EXPECT_LT(valueAt(panel, 0.1, 0.5), valueAt(panel, 0.9, 0.5));
        EXPECT_LT(valueAt(panel, 0.5, 0.1), valueAt(panel, 0.5, 0.9));
    }
}

TEST(PreviewPanels, AMillimetreIsSquare) {
    VolumeHeader header = headerOf(VNumericArray_U8, 64, 32, 10);
    header.geometry.columnStep = {0.5, 0, 0};
    header.geometry.rowStep = {0, 2, 0};
    header.geometry.sliceStep = {0, 0, 3};
    const auto panels = panelsOf(header); // 32 x 64 x 30 mm
    EXPECT_EQ(panels[0].columns, 240);
    EXPECT_EQ(panels[0].rows, 480);
    EXPECT_DOUBLE_EQ(panels[0].pixelsPerMm, 7.5);
    EXPECT_EQ(panels[1].columns, 320) << "larger, to be seen";
    EXPECT_EQ(panels[1].rows, 300);
    EXPECT_DOUBLE_EQ(panels[1].pixelsPerMm, 10);
    EXPECT_EQ(panels[2].columns, 480);
    EXPECT_EQ(panels[2].rows, 225);
    for (const PreviewPanel& panel : panels) {
        EXPECT_FALSE(panel.isWider || panel.isHigher);
    }
}

TEST(PreviewPanels, ThinSidesAreDrawnWiderAndSaySo) {
    const auto panels = panelsOf(headerOf(VNumericArray_U8, 1, 30000, 1));
    ASSERT_EQ(panels.size(), 3U);
    EXPECT_EQ(panels[0].rows, 480);
    EXPECT_EQ(panels[0].columns, 24);
    EXPECT_TRUE(panels[0].isWider);
    EXPECT_FALSE(panels[0].isHigher);
    for (const PreviewPanel& panel : panels) {
        EXPECT_LE(std::max(panel.rows, panel.columns), 480);
        EXPECT_GE(std::min(panel.rows, panel.columns), 24);
        EXPECT_TRUE(std::ranges::all_of(panel.values, [](double value) { return std::abs(value - 7) < 1e-9; }));
    }
}

TEST(PreviewPanels, StepsThatCannotBeDrawnCountAsOneMillimetre) {
    for (const double bad :
         {0.0, 1e-300, 1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        VolumeHeader header = headerOf(VNumericArray_U8, 10, 10, 10);
        header.geometry.sliceStep = {0, 0, bad};
        for (const PreviewPanel& panel : panelsOf(header)) {
            EXPECT_EQ(panel.rows, 480) << bad;
            EXPECT_EQ(panel.columns, 480) << bad;
        }
    }
}

TEST(PreviewPanels, AveragesNumbersOnly) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const TestVolume<float> volume(headerOf(VNumericArray_F32, 960, 480, 1), [&](vint column, vint, vint, vint) {
        return column < 480 ? nan : column % 2 == 0 ? 10.0F : nan;
    });
    const auto panel = previewPanels(volume.reader(), volume.header.geometry)[0];
    ASSERT_EQ(panel.columns, 480); // two voxels for each
    EXPECT_TRUE(std::isnan(valueAt(panel, 0.2, 0.5)));
    EXPECT_DOUBLE_EQ(valueAt(panel, 0.8, 0.5), 10);
}

TEST(PreviewPanels, EveryElementTypeIsRead) {
    const auto middleOf = [](auto volume) {
        return valueAt(previewPanels(volume.reader(), volume.header.geometry)[0], 0.5, 0.5);
    };
    const auto volumeOf = [](auto value, vint type) {
        return TestVolume<decltype(value)>(headerOf(type, 2, 2, 2), [=](vint, vint, vint, vint) { return value; });
    };
    EXPECT_EQ(middleOf(volumeOf(std::int8_t{-100}, VNumericArray_S8)), -100);
    EXPECT_EQ(middleOf(volumeOf(std::uint8_t{200}, VNumericArray_U8)), 200);
    EXPECT_EQ(middleOf(volumeOf(std::int16_t{-30000}, VNumericArray_S16)), -30000);
    EXPECT_EQ(middleOf(volumeOf(std::uint16_t{60000}, VNumericArray_U16)), 60000);
    EXPECT_EQ(middleOf(volumeOf(std::int32_t{-2000000000}, VNumericArray_S32)), -2e9);
    EXPECT_EQ(middleOf(volumeOf(std::uint32_t{4000000000}, VNumericArray_U32)), 4e9);
    EXPECT_EQ(middleOf(volumeOf(0.25F, VNumericArray_F32)), 0.25);
    EXPECT_EQ(middleOf(volumeOf(-1e200, VNumericArray_F64)), -1e200);
}

TEST(VoxelReader, TakesSlicesInAnyPieces) {
    const TestVolume<std::int16_t> volume(headerOf(VNumericArray_S16, 3, 2, 5), [](vint c, vint r, vint s, vint) {
        return static_cast<std::int16_t>(100 * s + 10 * r + c);
    });
    for (const std::size_t slicesEach : {1U, 2U, 5U}) {
        const VoxelReader voxels(volume.header, volume.pieces(slicesEach));
        EXPECT_EQ(voxels.at({0, 0, 0}, 0), 0);
        EXPECT_EQ(voxels.at({2, 1, 3}, 0), 312);
        EXPECT_EQ(voxels.at({1, 0, 4}, 0), 401);
    }
}

TEST(VoxelReader, OtherBytesThanTheHeaderSaysAreRefused) {
    const TestVolume<std::int16_t> volume(headerOf(VNumericArray_S16, 3, 2, 5),
                                          [](vint, vint, vint, vint) { return std::int16_t{1}; });
    const auto whole = volume.pieces(5).front();
    const auto refuses = [&](const VolumeHeader& header, const std::vector<SliceBytes>& pieces) {
        EXPECT_THROW((VoxelReader{header, pieces}), VolumeError);
    };
    refuses(volume.header, {});
    refuses(volume.header, {whole.first(whole.size() - 1)});
    refuses(volume.header, {whole.first(48)});
    refuses(volume.header, {whole, whole.first(12)});
    refuses(volume.header, {whole.first(6), whole.subspan(6)});
    refuses(headerOf(VNumericArray_S16, 3, 0, 5), {});
    refuses(headerOf(VNumericArray_S16, 3, 2, 0), {});
    refuses(headerOf(VNumericArray_S16, -3, -2, 5), {whole});
    refuses(headerOf(99, 3, 2, 5), {whole});
}

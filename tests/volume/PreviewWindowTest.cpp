#include "volume/preview/PreviewWindow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/volume/PreviewVolumes.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::test::headerOf;
using radvex::test::TestVolume;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

template <typename T>
PreviewWindow windowOf(const TestVolume<T>& volume, const std::string& unit = "") {
    const VoxelReader voxels = volume.reader();
    return previewWindow(voxels, previewPanels(voxels, volume.header.geometry), unit);
}

/// A volume of 10 x 10 x 10 with a value for each number from 0 to 999.
TestVolume<float> thousand(const std::function<float(int)>& valueOf) {
    return {headerOf(VNumericArray_F32, 10, 10, 10),
            [&](vint column, vint row, vint slice, vint) { return valueOf(100 * slice + 10 * row + column); }};
}

} // namespace

TEST(PreviewWindow, ShowsAllButOnePercentAtEachEnd) {
    const PreviewWindow window = windowOf(thousand([](int number) { return static_cast<float>(number); }));
    EXPECT_EQ(window.lowest, 10);
    EXPECT_EQ(window.highest, 989);
    EXPECT_EQ(window.text, "window 10 to 989 (centre 499.5, width 979)");
}

TEST(PreviewWindow, OutliersDoNotCount) {
    const auto volume = thousand([](int number) {
        const float odd[] = {kNan, kInfinity, -kInfinity, 1e30F, -1e30F};
        return number < 5 ? odd[number] : static_cast<float>(number % 100);
    });
    const PreviewWindow window = windowOf(volume, "Gy");
    EXPECT_NEAR(window.lowest, 0.5, 0.6);
    EXPECT_NEAR(window.highest, 98.5, 0.6);
    EXPECT_NE(window.text.find(" Gy ("), std::string::npos) << window.text;
}

TEST(PreviewWindow, HounsfieldUnitsShowSoftTissue) {
    const auto ct = thousand([](int number) { return static_cast<float>(2 * number - 1000); });
    EXPECT_EQ(windowOf(ct, "HU").text, "window -160 to 240 HU (centre 40, width 400)");
    EXPECT_EQ(windowOf(ct, "HU").lowest, -160);
    EXPECT_EQ(windowOf(ct, "HU").highest, 240);
    EXPECT_EQ(windowOf(ct, "").lowest, -980) << "no unit, no tissue";
    const auto dense = thousand([](int number) { return static_cast<float>(number); });
    EXPECT_EQ(windowOf(dense, "HU").text, "window 10 to 989 HU (centre 499.5, width 979)") << "nothing below -160";
}

TEST(PreviewWindow, ARareValueIsStillShown) {
    const PreviewWindow window = windowOf(thousand([](int number) { return number == 555 ? 40.0F : 0.0F; }));
    EXPECT_EQ(window.lowest, 0);
    EXPECT_EQ(window.highest, 40);
}

TEST(PreviewWindow, OneValueHasAWindowAroundIt) {
    for (const float value : {0.0F, 7.0F, -1e30F, 3e38F}) {
        const PreviewWindow window = windowOf(thousand([&](int) { return value; }));
        EXPECT_LT(window.lowest, value);
        EXPECT_GT(window.highest, value);
    }
}

TEST(PreviewWindow, NoFiniteValueIsSaid) {
    for (const float value : {kNan, kInfinity}) {
        const PreviewWindow window = windowOf(thousand([&](int) { return value; }));
        EXPECT_LT(window.lowest, window.highest);
        EXPECT_EQ(window.text, "no voxel that was looked at has a finite value");
    }
}

TEST(PreviewWindow, TheLargestRangeHasAFiniteWidth) {
    const double largest = std::numeric_limits<double>::max();
    const TestVolume<double> volume(headerOf(VNumericArray_F64, 10, 10, 10),
                                    [&](vint column, vint, vint, vint) { return column < 5 ? -largest : largest; });
    const PreviewWindow window = windowOf(volume);
    EXPECT_TRUE(std::isfinite(window.highest - window.lowest));
    EXPECT_GT(window.highest - window.lowest, 1e307);
}

TEST(PreviewWindow, ManyVoxelsAreSampledEvenly) {
    const TestVolume<std::uint16_t> volume(
        headerOf(VNumericArray_U16, 256, 256, 8), [](vint column, vint row, vint, vint) {
            return static_cast<std::uint16_t>(column * 10 + (row % 2) * 5000); // regular, to tempt a regular sample
        });
    const PreviewWindow window = windowOf(volume);
    EXPECT_NEAR(window.lowest, 50, 20) << "1 % of all values lie below 50";
    EXPECT_NEAR(window.highest, 7500, 20) << "1 % of all values lie above 7500";
}

TEST(PreviewWindow, ColourHasTheRangeOfItsType) {
    VolumeHeader header = headerOf(VNumericArray_U16, 2, 2, 2);
    header.channels = 3;
    const PreviewWindow window =
        windowOf(TestVolume<std::uint16_t>(header, [](vint, vint, vint, vint) { return std::uint16_t{9}; }), "HU");
    EXPECT_EQ(window.lowest, 0);
    EXPECT_EQ(window.highest, 65535);
    EXPECT_EQ(window.text, "colour, without a window");
}

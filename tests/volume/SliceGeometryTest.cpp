#include "volume/SliceGeometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numbers>

#include "volume/SliceJudge.h"

using namespace radvex::formats;
using namespace radvex::volume;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Orientation kAxial{{1, 0, 0}, {0, 1, 0}};

/// Slices a, b, c ... with InstanceNumber 1, 2, 3 ... at these positions, 2 mm between rows and 3 between columns.
std::vector<SliceRecord> stack(const std::vector<Vector3>& positions, const Orientation& orientation = kAxial) {
    std::vector<SliceRecord> slices;
    for (const Vector3& position : positions) {
        SliceRecord slice;
        slice.file = std::string(1, static_cast<char>('a' + slices.size()));
        slice.instanceNumber = static_cast<vint>(slices.size()) + 1;
        slice.position = position;
        slice.orientation = orientation;
        slice.pixelSpacing = PixelSpacing{2, 3};
        slices.push_back(slice);
    }
    return slices;
}

std::vector<SliceRecord> axialStack(const std::vector<double>& heights) {
    std::vector<Vector3> positions;
    for (const double height : heights) {
        positions.push_back({10, 20, height});
    }
    return stack(positions);
}

std::vector<std::string> kinds(const Verdict& verdict) {
    std::vector<std::string> names;
    for (const Finding& finding : verdict.findings) {
        names.emplace_back(std::string(findingName(finding.kind)) + (finding.isError ? "!" : ""));
    }
    return names;
}

void expectVector(const Vector3& found, const Vector3& expected, double tolerance = 1e-12) {
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_NEAR(found[index], expected[index], tolerance) << "part " << index;
    }
}

VolumeGeometry byInstance(const std::vector<SliceRecord>& slices) {
    const Verdict verdict = judgeSlices(slices);
    return geometryOf(slices, verdict, verdict.byInstance);
}

} // namespace

TEST(SliceGeometry, AnEvenStackHasNothingToSay) {
    const auto slices = axialStack({5, 7.5, 10, 12.5});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), IsEmpty());
    EXPECT_THAT(verdict.byInstance, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(verdict.byPosition, ElementsAre(0, 1, 2, 3));
    const VolumeGeometry geometry = geometryOf(slices, verdict, verdict.byInstance);
    EXPECT_TRUE(geometry.hasPosition);
    expectVector(geometry.origin, {10, 20, 5});
    expectVector(geometry.columnStep, {3, 0, 0});
    expectVector(geometry.rowStep, {0, 2, 0});
    expectVector(geometry.sliceStep, {0, 0, 2.5});
}

TEST(SliceGeometry, ADescendingStackKeepsItsDirection) {
    const auto slices = axialStack({30, 20, 10});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), IsEmpty());
    EXPECT_THAT(verdict.byPosition, ElementsAre(2, 1, 0));
    expectVector(geometryOf(slices, verdict, verdict.byInstance).sliceStep, {0, 0, -10});
    const VolumeGeometry sorted = geometryOf(slices, verdict, verdict.byPosition);
    expectVector(sorted.sliceStep, {0, 0, 10});
    expectVector(sorted.origin, {10, 20, 10});
}

TEST(SliceGeometry, SagittalCoronalAndObliqueStacksFollowTheirNormal) {
    const Orientation sagittal{{0, 1, 0}, {0, 0, -1}}; // normal to the right: -x
    const VolumeGeometry first = byInstance(stack({{50, 0, 0}, {46, 0, 0}, {42, 0, 0}}, sagittal));
    EXPECT_TRUE(first.hasPosition);
    expectVector(first.columnStep, {0, 3, 0});
    expectVector(first.rowStep, {0, 0, -2});
    expectVector(first.sliceStep, {-4, 0, 0});

    const Orientation coronal{{1, 0, 0}, {0, 0, -1}}; // normal to the back: +y
    expectVector(byInstance(stack({{0, 1, 0}, {0, 6, 0}}, coronal)).sliceStep, {0, 5, 0});

    const double half = std::numbers::sqrt2 / 2;
    const Orientation oblique{{half, half, 0}, {0, 0, -1}}; // normal (-half, half, 0)
    const auto slices = stack({{0, 0, 9}, {-half, half, 9}, {-2 * half, 2 * half, 9}}, oblique);
    EXPECT_THAT(kinds(judgeSlices(slices)), IsEmpty());
    expectVector(byInstance(slices).sliceStep, {-half, half, 0});
}

TEST(SliceGeometry, OneSliceTakesTheDistanceThatItSays) {
    auto slices = axialStack({5});
    EXPECT_THAT(kinds(judgeSlices(slices)), IsEmpty());
    expectVector(byInstance(slices).sliceStep, {0, 0, 1});
    slices[0].sliceThickness = 4;
    expectVector(byInstance(slices).sliceStep, {0, 0, 4});
    slices[0].spacingBetweenSlices = 6;
    EXPECT_TRUE(byInstance(slices).hasPosition);
    expectVector(byInstance(slices).sliceStep, {0, 0, 6});
}

TEST(SliceGeometry, TwoSlicesLieAtTheirDistance) {
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 7}))), IsEmpty());
    expectVector(byInstance(axialStack({0, 7})).sliceStep, {0, 0, 7});
}

TEST(SliceGeometry, AnOrderOfNumbersThatIsNoOrderInSpaceIsToldAndHasNoPosition) {
    const auto slices = axialStack({0, 10, 5, 15});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("instanceOrder"));
    EXPECT_THAT(verdict.byPosition, ElementsAre(0, 2, 1, 3));
    const VolumeGeometry geometry = geometryOf(slices, verdict, verdict.byInstance);
    EXPECT_FALSE(geometry.hasPosition);
    EXPECT_NEAR(length(geometry.sliceStep), 5, 1e-12);
    EXPECT_TRUE(geometryOf(slices, verdict, verdict.byPosition).hasPosition);
}

TEST(SliceGeometry, UnevenDistancesAreToldAndGiveTheMeanStep) {
    const auto slices = axialStack({0, 5, 10, 16, 21});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("unevenSpacing"));
    EXPECT_EQ(verdict.findings[0].sentence,
              "The spacing is uneven: neighbours lie 5 to 6 mm apart, most of them 5: d.");
    expectVector(byInstance(slices).sliceStep, {0, 0, 5.25});
}

TEST(SliceGeometry, AHoleOfAWholeMultipleIsMissingSlices) {
    const auto slices = axialStack({0, 5, 10, 25, 30});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("missingSlices!"));
    EXPECT_TRUE(verdict.hasErrors());
    EXPECT_EQ(verdict.findings[0].sentence,
              "2 slices are missing: neighbours lie up to 15 mm apart instead of 5: c, d.");
    EXPECT_THAT(verdict.findings[0].files, ElementsAre("c", "d"));
    expectVector(byInstance(slices).sliceStep, {0, 0, 5}); // what most slices have
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 5, 15}))), ElementsAre("missingSlices!"));
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 5, 12.5, 17.5}))), ElementsAre("unevenSpacing")) << "one and a half";
}

TEST(SliceGeometry, SlicesAtOnePositionAreDoubled) {
    const auto slices = axialStack({0, 5, 5, 10});
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("duplicatePosition!"));
    EXPECT_THAT(verdict.findings[0].files, ElementsAre("b", "c"));
    EXPECT_FALSE(byInstance(slices).hasPosition);
    EXPECT_THAT(kinds(judgeSlices(axialStack({3, 3}))), ElementsAre("duplicatePosition!"));
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 5, 5.004, 10}))), ElementsAre("duplicatePosition!")) << "rounded";
}

TEST(SliceGeometry, TwoStacksAtTheSamePositionsAreNamed) {
    const Verdict echoes = judgeSlices(axialStack({0, 5, 10, 0, 5, 10}));
    ASSERT_THAT(kinds(echoes), ElementsAre("duplicatePosition!", "instanceOrder"));
    EXPECT_TRUE(echoes.findings[0].sentence.starts_with("Each of the 3 positions holds 2 slices"))
        << echoes.findings[0].sentence;
    const Verdict rounded = judgeSlices(axialStack({0, 5, 10, 0.001, 5.001, 10.001}));
    EXPECT_TRUE(rounded.findings[0].sentence.starts_with("Each of the 3 positions holds 2 slices"));
}

TEST(SliceGeometry, ALocalizerAmongAxialSlicesIsTheOneThatDiffers) {
    auto slices = axialStack({0, 0, 5, 10});
    slices[0].orientation = Orientation{{0, 1, 0}, {0, 0, -1}};
    const Verdict verdict = judgeSlices(slices);
    ASSERT_THAT(kinds(verdict), ElementsAre("differentOrientation!"));
    EXPECT_THAT(verdict.findings[0].files, ElementsAre("a"));
    EXPECT_THAT(verdict.byPosition, ElementsAre(1, 2, 3, 0));
    EXPECT_FALSE(byInstance(slices).hasPosition);
}

TEST(SliceGeometry, DirectionsThatDifferByRoundingAreTheSame) {
    auto slices = axialStack({0, 5, 10});
    slices[1].orientation = orientationOf("0.9999999\\0.0004\\0\\-0.0004\\0.9999999\\0");
    EXPECT_THAT(kinds(judgeSlices(slices)), IsEmpty());
    slices[1].orientation = orientationOf("0.99999\\0.0045\\0\\-0.0045\\0.99999\\0");
    EXPECT_THAT(kinds(judgeSlices(slices)), ElementsAre("differentOrientation!"));
}

TEST(SliceGeometry, PixelSpacingsThatDifferAreAnError) {
    auto slices = axialStack({0, 5, 10});
    slices[2].pixelSpacing = PixelSpacing{2, 3.01};
    const Verdict verdict = judgeSlices(slices);
    ASSERT_THAT(kinds(verdict), ElementsAre("differentPixelSpacing!"));
    EXPECT_THAT(verdict.findings[0].files, ElementsAre("c"));
    EXPECT_FALSE(byInstance(slices).hasPosition);
    slices[2].pixelSpacing = PixelSpacing{2, 3.000001};
    EXPECT_THAT(kinds(judgeSlices(slices)), IsEmpty());
}

TEST(SliceGeometry, AGantryTiltIsToldInDegreesAndKept) {
    const double shift = std::tan(15 * std::numbers::pi / 180) * 5; // sideways for each slice of 5 mm
    const auto slices = stack({{0, 0, 0}, {0, shift, 5}, {0, 2 * shift, 10}});
    const Verdict verdict = judgeSlices(slices);
    ASSERT_THAT(kinds(verdict), ElementsAre("tilt"));
    ASSERT_TRUE(verdict.tiltDegrees);
    EXPECT_NEAR(*verdict.tiltDegrees, 15, 1e-9);
    const VolumeGeometry geometry = byInstance(slices);
    EXPECT_TRUE(geometry.hasPosition);
    expectVector(geometry.sliceStep, {0, shift, 5});
}

TEST(SliceGeometry, AStackThatShiftsSidewaysWithoutALineDrifts) {
    EXPECT_THAT(kinds(judgeSlices(stack({{0, 0, 0}, {1, 0, 5}, {-1, 0, 10}, {0, 0, 15}}))), ElementsAre("drift"));
    EXPECT_THAT(kinds(judgeSlices(stack({{0, 0, 0}, {0.1, 0, 5}, {-0.1, 0, 10}, {0, 0, 15}}))), IsEmpty())
        << "under a tenth of a pixel of 2 mm";
}

TEST(SliceGeometry, RoundingOfPositionsIsNoFinding) {
    std::vector<Vector3> positions;
    for (int index = 0; index < 100; ++index) {
        const double height = -123.456789 + 0.625 * index;
        positions.push_back({-158.135803, -179.035797, std::round(height * 100) / 100}); // two decimals
    }
    EXPECT_THAT(kinds(judgeSlices(stack(positions))), IsEmpty());
}

TEST(SliceGeometry, StacksOfAMicroscopeAreMeasuredInTheirOwnSize) {
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 0.005, 0.01, 0.015}))), IsEmpty());
    EXPECT_THAT(kinds(judgeSlices(axialStack({0, 0.005, 0.01, 0.02}))), ElementsAre("missingSlices!"));
}

TEST(SliceGeometry, WithoutPositionsThereAreSpacingsOnly) {
    auto slices = axialStack({0, 5, 10});
    for (SliceRecord& slice : slices) {
        slice.position.reset();
        slice.spacingBetweenSlices = 4;
    }
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("noPosition"));
    EXPECT_FALSE(verdict.hasPositions);
    const VolumeGeometry geometry = geometryOf(slices, verdict, verdict.byInstance);
    EXPECT_FALSE(geometry.hasPosition);
    EXPECT_EQ(length(geometry.columnStep), 3);
    EXPECT_EQ(length(geometry.sliceStep), 4);
}

TEST(SliceGeometry, SomeSlicesWithoutAPositionAmongOthersAreAnError) {
    auto slices = axialStack({0, 5, 10});
    slices[0].orientation.reset();
    const Verdict verdict = judgeSlices(slices);
    EXPECT_THAT(kinds(verdict), ElementsAre("noPosition!"));
    EXPECT_THAT(verdict.findings[0].files, ElementsAre("a"));
    EXPECT_THAT(verdict.byPosition, ElementsAre(1, 2, 0));
    EXPECT_FALSE(byInstance(slices).hasPosition);
}

TEST(SliceGeometry, SpacingThatNobodySaysIsOneAndTold) {
    auto slices = axialStack({0, 5});
    slices[0].pixelSpacing.reset();
    slices[1].pixelSpacing.reset();
    EXPECT_THAT(kinds(judgeSlices(slices)), ElementsAre("noPixelSpacing"));
    expectVector(byInstance(slices).columnStep, {1, 0, 0});
}

TEST(SliceGeometry, AbsentAndSharedInstanceNumbersAreTold) {
    auto slices = axialStack({0, 5, 10});
    slices[1].instanceNumber = 1;
    const Verdict shared = judgeSlices(slices);
    ASSERT_THAT(kinds(shared), ElementsAre("duplicateInstanceNumber"));
    EXPECT_EQ(shared.findings[0].sentence,
              "2 files have InstanceNumber 1; which of them comes first is not defined: a, b.");
    EXPECT_FALSE(shared.hasOneNumberEach);
    slices[1].instanceNumber = 2;
    slices[2].instanceNumber.reset();
    const Verdict absent = judgeSlices(slices);
    ASSERT_THAT(kinds(absent), ElementsAre("noInstanceNumber", "instanceOrder"));
    EXPECT_THAT(absent.byInstance, ElementsAre(2, 0, 1)) << "it counts as 0";
    EXPECT_TRUE(absent.hasOneNumberEach);
}

TEST(SliceGeometry, FramesOfOneFileShareItsNumberOfCourse) {
    auto slices = axialStack({0, 5, 10});
    for (std::size_t index = 0; index < 3; ++index) {
        slices[index].file = "multi";
        slices[index].frames = 3;
        slices[index].frame = static_cast<vint>(index) + 1;
        slices[index].instanceNumber = 7;
    }
    EXPECT_THAT(kinds(judgeSlices(slices)), IsEmpty());
}

TEST(SliceGeometry, LongListsOfFilesAreCutInSentences) {
    EXPECT_EQ(namesOf({"a", "b"}), "a, b");
    EXPECT_EQ(namesOf({"a", "b", "c", "d", "e", "f", "g", "h"}), "a, b, c, d, e, f and 2 more");
}

#include "volume/geometry/SliceGeometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numbers>

#include "formats/volumes/VolumeFile.h"
#include "volume/geometry/VolumePlan.h"

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

/// What is said about a series, errors with a mark.
std::vector<std::string> kinds(const VolumePlan& plan) {
    std::vector<std::string> names;
    const auto add = [&](const std::vector<Finding>& findings) {
        for (const Finding& finding : findings) {
            names.emplace_back(std::string(findingName(finding.kind)) + (finding.isError ? "!" : ""));
        }
    };
    add(plan.findings);
    for (const PlannedVolume& volume : plan.volumes) {
        add(volume.findings);
    }
    return names;
}

std::vector<std::string> kinds(const std::vector<SliceRecord>& slices) { return kinds(planVolumes(slices, {})); }

/// The only volume of a series.
PlannedVolume only(const std::vector<SliceRecord>& slices, const PlanOptions& options = {}) {
    VolumePlan plan = planVolumes(slices, options);
    EXPECT_EQ(plan.volumes.size(), 1U);
    return plan.volumes.front();
}

constexpr PlanOptions::Sort kByInstance = PlanOptions::Sort::instance;
constexpr PlanOptions::Sort kByPosition = PlanOptions::Sort::position;

void expectVector(const Vector3& found, const Vector3& expected, double tolerance = 1e-12) {
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_NEAR(found[index], expected[index], tolerance) << "part " << index;
    }
}

VolumeGeometry geometry(const std::vector<SliceRecord>& slices) { return only(slices).geometry; }

} // namespace

TEST(SliceGeometry, AnEvenStackHasNothingToSay) {
    const auto slices = axialStack({5, 7.5, 10, 12.5});
    EXPECT_THAT(kinds(slices), IsEmpty());
    const PlannedVolume volume = only(slices);
    EXPECT_THAT(volume.order, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(volume.label, "");
    EXPECT_TRUE(volume.geometry.hasPosition);
    expectVector(volume.geometry.origin, {10, 20, 5});
    expectVector(volume.geometry.columnStep, {3, 0, 0});
    expectVector(volume.geometry.rowStep, {0, 2, 0});
    expectVector(volume.geometry.sliceStep, {0, 0, 2.5});
}

TEST(SliceGeometry, ADescendingStackKeepsItsDirection) {
    const auto slices = axialStack({30, 20, 10});
    EXPECT_THAT(kinds(slices), IsEmpty());
    expectVector(geometry(slices).sliceStep, {0, 0, -10});
    const PlannedVolume sorted = only(slices, {.sort = kByPosition});
    EXPECT_THAT(sorted.order, ElementsAre(2, 1, 0));
    expectVector(sorted.geometry.sliceStep, {0, 0, 10});
    expectVector(sorted.geometry.origin, {10, 20, 10});
}

TEST(SliceGeometry, SagittalCoronalAndObliqueStacksFollowTheirNormal) {
    const Orientation sagittal{{0, 1, 0}, {0, 0, -1}}; // normal to the right: -x
    const VolumeGeometry first = geometry(stack({{50, 0, 0}, {46, 0, 0}, {42, 0, 0}}, sagittal));
    EXPECT_TRUE(first.hasPosition);
    expectVector(first.columnStep, {0, 3, 0});
    expectVector(first.rowStep, {0, 0, -2});
    expectVector(first.sliceStep, {-4, 0, 0});

    const Orientation coronal{{1, 0, 0}, {0, 0, -1}}; // normal to the back: +y
    expectVector(geometry(stack({{0, 1, 0}, {0, 6, 0}}, coronal)).sliceStep, {0, 5, 0});

    const double half = std::numbers::sqrt2 / 2;
    const Orientation oblique{{half, half, 0}, {0, 0, -1}}; // normal (-half, half, 0)
    const auto slices = stack({{0, 0, 9}, {-half, half, 9}, {-2 * half, 2 * half, 9}}, oblique);
    EXPECT_THAT(kinds(slices), IsEmpty());
    expectVector(geometry(slices).sliceStep, {-half, half, 0});
}

TEST(SliceGeometry, OneSliceTakesTheDistanceThatItSays) {
    auto slices = axialStack({5});
    EXPECT_THAT(kinds(slices), IsEmpty());
    expectVector(geometry(slices).sliceStep, {0, 0, 1});
    slices[0].sliceThickness = 4;
    expectVector(geometry(slices).sliceStep, {0, 0, 4});
    slices[0].spacingBetweenSlices = 6;
    EXPECT_TRUE(geometry(slices).hasPosition);
    expectVector(geometry(slices).sliceStep, {0, 0, 6});
}

TEST(SliceGeometry, TwoSlicesLieAtTheirDistance) {
    EXPECT_THAT(kinds(axialStack({0, 7})), IsEmpty());
    expectVector(geometry(axialStack({0, 7})).sliceStep, {0, 0, 7});
}

TEST(SliceGeometry, AnOrderOfNumbersThatIsNoOrderInSpaceIsMendedByPosition) {
    const auto slices = axialStack({0, 10, 5, 15});
    EXPECT_THAT(kinds(slices), ElementsAre("instanceOrder"));
    const PlannedVolume volume = only(slices);
    EXPECT_THAT(volume.order, ElementsAre(0, 2, 1, 3));
    EXPECT_TRUE(volume.geometry.hasPosition);
    const VolumePlan asked = planVolumes(slices, {.sort = kByInstance});
    EXPECT_THAT(kinds(asked), ElementsAre("instanceOrder!"));
    EXPECT_THAT(asked.volumes[0].order, ElementsAre(0, 1, 2, 3));
    EXPECT_FALSE(asked.volumes[0].geometry.hasPosition);
    EXPECT_NEAR(length(asked.volumes[0].geometry.sliceStep), 5, 1e-12);
}

TEST(SliceGeometry, UnevenDistancesHaveAPositionWithinATenthOfTheSpacing) {
    const auto nearly = axialStack({0, 5, 10.4, 15, 20});
    EXPECT_THAT(kinds(nearly), ElementsAre("unevenSpacing"));
    EXPECT_EQ(only(nearly).findings[0].sentence,
              "The spacing is uneven: neighbours lie 4.6 to 5.4 mm apart, most of them 5: c, d.");
    EXPECT_TRUE(geometry(nearly).hasPosition);
    expectVector(geometry(nearly).sliceStep, {0, 0, 5});
    EXPECT_THAT(kinds(axialStack({0, 5, 10.6, 15, 20})), ElementsAre("unevenSpacing!"));
    EXPECT_FALSE(geometry(axialStack({0, 5, 10.6, 15, 20})).hasPosition);
}

TEST(SliceGeometry, SmallDifferencesThatAddUpAreUnevenToo) {
    std::vector<double> heights{0};
    for (int index = 0; index < 60; ++index) {
        heights.push_back(heights.back() + (index < 30 ? 1.0 : 1.009)); // each within 0.01 mm of the usual one
    }
    EXPECT_THAT(kinds(axialStack(heights)), ElementsAre("unevenSpacing!")) << "0.135 spacings off in the middle";
    heights.resize(41);
    EXPECT_THAT(kinds(axialStack(heights)), IsEmpty()) << "0.0675";
}

TEST(SliceGeometry, UnevenStacksAreResampledOnRequest) {
    const auto slices = axialStack({0, 5, 11.5, 16.5, 21.5});
    EXPECT_THAT(kinds(slices), ElementsAre("unevenSpacing!"));
    const PlannedVolume volume = only(slices, {.isResampled = true});
    EXPECT_FALSE(volume.hasErrors());
    EXPECT_THAT(volume.findings[0].sentence, testing::Not(testing::HasSubstr("--resample"))) << "it was done";
    EXPECT_TRUE(volume.geometry.hasPosition);
    expectVector(volume.geometry.sliceStep, {0, 0, 21.5 / 4}); // nearest to the usual 5 that ends at the last slice
    EXPECT_THAT(volume.heights, ElementsAre(0, 5, 11.5, 16.5, 21.5));
    const auto gap = axialStack({0, 5, 11.5, 16.5, 26.5, 31.5});
    EXPECT_TRUE(only(gap, {.isResampled = true}).hasErrors()) << "slices that are missing are not invented";
    EXPECT_TRUE(only(axialStack({0, 5, 10}), {.isResampled = true}).heights.empty()) << "it is even";
}

TEST(SliceGeometry, AHoleOfOverOneAndAHalfIsMissingSlices) {
    const auto slices = axialStack({0, 5, 10, 25, 30});
    EXPECT_THAT(kinds(slices), ElementsAre("missingSlices!"));
    EXPECT_EQ(only(slices).findings[0].sentence,
              "2 slices are missing: neighbours lie up to 15 mm apart instead of 5: c, d.");
    EXPECT_THAT(only(slices).findings[0].files, ElementsAre("c", "d"));
    EXPECT_FALSE(geometry(slices).hasPosition);
    expectVector(geometry(slices).sliceStep, {0, 0, 5}); // what most slices have
    EXPECT_THAT(kinds(axialStack({0, 5, 15})), ElementsAre("missingSlices!"));
    EXPECT_THAT(kinds(axialStack({0, 5, 12.6, 17.6})), ElementsAre("missingSlices!"));
    EXPECT_THAT(kinds(axialStack({0, 5, 12.5, 17.5})), ElementsAre("unevenSpacing!")) << "one and a half";
    EXPECT_THAT(kinds(axialStack({0, 1, 2, 3, 103, 104, 105, 106})), ElementsAre("missingSlices!")) << "two blocks";
}

TEST(SliceGeometry, SlicesAtOnePositionThatNothingTellsApartAreAnError) {
    const auto slices = axialStack({0, 5, 5, 10});
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_TRUE(plan.hasErrors());
    EXPECT_EQ(plan.findings[0].kind, FindingKind::duplicatePosition);
    EXPECT_THAT(plan.findings[0].files, ElementsAre("b", "c"));
    EXPECT_THAT(plan.findings[0].sentence, testing::StartsWith("2 slices lie at one position, and nothing tells"));
    EXPECT_THAT(plan.findings[0].sentence, testing::HasSubstr("EchoTime, InversionTime, FlipAngle, KVP"));
    EXPECT_FALSE(plan.volumes[0].geometry.hasPosition);
    EXPECT_THAT(plan.volumes[0].findings, IsEmpty()) << "it is said once";
    EXPECT_TRUE(planVolumes(axialStack({3, 3}), {}).hasErrors());
    EXPECT_TRUE(planVolumes(axialStack({0, 5, 5.004, 10}), {}).hasErrors()) << "rounded";
}

TEST(SliceGeometry, SlicesBesideEachOtherAreNotAtOnePosition) {
    const VolumePlan plan = planVolumes(stack({{0, 0, 0}, {0, 0, 5}, {10, 0, 5}, {0, 0, 10}}), {});
    EXPECT_THAT(kinds(plan), ElementsAre("drift!"));
    EXPECT_EQ(plan.volumes[0].findings[0].sentence, "Slices at one height lie 10 mm apart sideways: b, c.");
}

TEST(SliceGeometry, ALocalizerAmongAxialSlicesIsTheOneThatDiffers) {
    auto slices = axialStack({0, 0, 5, 10});
    slices[0].orientation = Orientation{{0, 1, 0}, {0, 0, -1}};
    const VolumePlan plan = planVolumes(slices, {.isForced = true});
    ASSERT_THAT(kinds(plan), ElementsAre("differentOrientation!"));
    EXPECT_THAT(plan.findings[0].files, ElementsAre("a"));
    EXPECT_THAT(plan.findings[0].sentence, testing::HasSubstr("--largest writes the largest stack only"));
    ASSERT_EQ(plan.volumes.size(), 1U);
    EXPECT_EQ(plan.volumes[0].order.size(), 4U);
    EXPECT_FALSE(plan.volumes[0].geometry.hasPosition);
    EXPECT_EQ(length(plan.volumes[0].geometry.sliceStep), 5) << "measured in the majority";
}

TEST(SliceGeometry, StrangersAreLeftOutOrSplitOff) {
    auto slices = axialStack({0, 0, 5, 10});
    slices[0].orientation = Orientation{{0, 1, 0}, {0, 0, -1}};
    slices[0].rows = 7; // the size of the first slice is not the measure
    const VolumePlan largest = planVolumes(slices, {.strangers = PlanOptions::Strangers::leaveOut});
    EXPECT_THAT(kinds(largest), ElementsAre("differentSize", "differentOrientation", "leftOut"));
    ASSERT_EQ(largest.volumes.size(), 1U);
    EXPECT_THAT(largest.volumes[0].order, ElementsAre(1, 2, 3));
    EXPECT_TRUE(largest.volumes[0].geometry.hasPosition);
    const VolumePlan split = planVolumes(slices, {.strangers = PlanOptions::Strangers::split});
    EXPECT_THAT(kinds(split), IsEmpty());
    ASSERT_EQ(split.volumes.size(), 2U);
    EXPECT_EQ(split.volumes[0].label, "-part1");
    EXPECT_THAT(split.volumes[0].order, ElementsAre(1, 2, 3));
    EXPECT_EQ(split.volumes[1].label, "-part2");
    EXPECT_THAT(split.volumes[1].order, ElementsAre(0));
    EXPECT_THROW(planVolumes(slices, {.isForced = true}), VolumeError) << "no volume has two sizes";
}

TEST(SliceGeometry, TwoFramesOfReferenceAreAnError) {
    auto slices = axialStack({0, 5, 10, 15});
    for (SliceRecord& slice : slices) {
        slice.frameOfReferenceUid = "1.2.3";
    }
    EXPECT_THAT(kinds(slices), IsEmpty());
    slices[3].frameOfReferenceUid = "1.2.4";
    EXPECT_THAT(kinds(slices), ElementsAre("differentFrameOfReference!"));
    slices[3].frameOfReferenceUid.clear();
    EXPECT_THAT(kinds(slices), IsEmpty()) << "it does not say another one";
}

TEST(SliceGeometry, DirectionsThatDifferByRoundingAreTheSame) {
    auto slices = axialStack({0, 5, 10});
    slices[1].orientation = orientationOf("0.9999999\\0.0004\\0\\-0.0004\\0.9999999\\0");
    EXPECT_THAT(kinds(slices), IsEmpty());
    slices[1].orientation = orientationOf("0.99999\\0.0045\\0\\-0.0045\\0.99999\\0");
    EXPECT_THAT(kinds(slices), ElementsAre("differentOrientation!"));
}

TEST(SliceGeometry, AnUnknownFrameOfReferenceDoesNotJoinTwoOthers) {
    auto slices = axialStack({0, 5, 10, 15, 20});
    for (std::size_t index = 1; index < slices.size(); ++index) {
        slices[index].frameOfReferenceUid = index < 4 ? "1.2.3" : "1.2.4";
    }
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_THAT(kinds(plan), ElementsAre("differentFrameOfReference!"));
    EXPECT_THAT(plan.findings[0].files, ElementsAre("e"));
}

TEST(SliceGeometry, DirectionsAreComparedAtTheFarEdgeOfThePicture) {
    auto slices = axialStack({0, 5, 10});
    slices[1].orientation = orientationOf("0.9999999\\0.0004\\0\\-0.0004\\0.9999999\\0");
    for (SliceRecord& slice : slices) {
        slice.rows = slice.columns = 512; // 0.2 pixels off at the last column
    }
    EXPECT_THAT(kinds(slices), ElementsAre("differentOrientation!"));
}

TEST(SliceGeometry, FourThousandKindsOfSlicesAreComparedAndNoMore) {
    std::vector<SliceRecord> slices(4001);
    Indices all(slices.size());
    for (std::size_t index = 0; index < slices.size(); ++index) {
        slices[index].rows = static_cast<vint>(index) + 1;
        all[index] = index;
    }
    EXPECT_THROW(stacksOf(slices, all), VolumeError);
    all.pop_back();
    EXPECT_EQ(stacksOf(slices, all).size(), 4000U);
}

TEST(SliceGeometry, FourThousandSlicesMayLieBesideEachOther) {
    std::vector<Vector3> beside;
    for (int index = 0; index < 4001; ++index) {
        beside.push_back({static_cast<double>(index), 0, 0});
    }
    auto slices = stack(beside);
    Indices all(slices.size());
    for (std::size_t index = 0; index < all.size(); ++index) {
        all[index] = index;
    }
    EXPECT_THROW(positionsOf(slices, all), VolumeError);
    all.pop_back();
    EXPECT_EQ(positionsOf(slices, all).size(), 4000U);
}

TEST(SliceGeometry, PixelSpacingsThatDifferAreAnError) {
    auto slices = axialStack({0, 5, 10});
    slices[2].pixelSpacing = PixelSpacing{2, 3.01};
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_THAT(kinds(plan), ElementsAre("differentPixelSpacing!"));
    EXPECT_THAT(plan.findings[0].files, ElementsAre("c"));
    EXPECT_FALSE(geometry(slices).hasPosition);
    slices[2].pixelSpacing = PixelSpacing{2, 3.000001};
    EXPECT_THAT(kinds(slices), IsEmpty());
}

TEST(SliceGeometry, AGantryTiltIsToldInDegreesAndKept) {
    const double shift = std::tan(15 * std::numbers::pi / 180) * 5; // sideways for each slice of 5 mm
    const auto slices = stack({{0, 0, 0}, {0, shift, 5}, {0, 2 * shift, 10}});
    ASSERT_THAT(kinds(slices), ElementsAre("tilt"));
    const PlannedVolume volume = only(slices);
    ASSERT_TRUE(volume.tiltDegrees);
    EXPECT_NEAR(*volume.tiltDegrees, 15, 1e-9);
    EXPECT_TRUE(volume.geometry.hasPosition);
    expectVector(volume.geometry.sliceStep, {0, shift, 5});
}

TEST(SliceGeometry, AStackThatShiftsSidewaysWithoutALineDrifts) {
    EXPECT_THAT(kinds(stack({{0, 0, 0}, {1, 0, 5}, {-1, 0, 10}, {0, 0, 15}})), ElementsAre("drift!"));
    EXPECT_THAT(kinds(stack({{0, 0, 0}, {0.1, 0, 5}, {-0.1, 0, 10}, {0, 0, 15}})), IsEmpty())
        << "under a tenth of a pixel of 2 mm";
}

TEST(SliceGeometry, RoundingOfPositionsIsNoFinding) {
    std::vector<Vector3> positions;
    for (int index = 0; index < 100; ++index) {
        const double height = -123.456789 + 0.625 * index;
        positions.push_back({-158.135803, -179.035797, std::round(height * 100) / 100}); // two decimals
    }
    EXPECT_THAT(kinds(stack(positions)), IsEmpty());
}

TEST(SliceGeometry, StacksOfAMicroscopeAreMeasuredInTheirOwnSize) {
    EXPECT_THAT(kinds(axialStack({0, 0.005, 0.01, 0.015})), IsEmpty());
    EXPECT_THAT(kinds(axialStack({0, 0.005, 0.01, 0.02})), ElementsAre("missingSlices!"));
}

TEST(SliceGeometry, WithoutPositionsThereAreSpacingsOnly) {
    auto slices = axialStack({0, 5, 10});
    for (SliceRecord& slice : slices) {
        slice.position.reset();
        slice.spacingBetweenSlices = 4;
    }
    EXPECT_THAT(kinds(slices), ElementsAre("noPosition"));
    EXPECT_FALSE(geometry(slices).hasPosition);
    EXPECT_EQ(length(geometry(slices).columnStep), 3);
    EXPECT_EQ(length(geometry(slices).sliceStep), 4);
    EXPECT_THROW(planVolumes(slices, {.sort = kByPosition}), VolumeError);
    for (SliceRecord& slice : slices) {
        slice.spacingBetweenSlices.reset();
        slice.sliceThickness = 3;
    }
    EXPECT_THAT(kinds(slices), ElementsAre("noPosition", "assumedSpacing"));
    EXPECT_EQ(only(slices).findings[1].sentence,
              "Nothing says how far apart the slices lie; 3 mm, their thickness, is assumed.");
}

TEST(SliceGeometry, SomeSlicesWithoutAPositionAmongOthersAreAnError) {
    auto slices = axialStack({0, 5, 10});
    slices[0].orientation.reset();
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_THAT(kinds(plan), ElementsAre("noPosition!"));
    EXPECT_THAT(plan.findings[0].files, ElementsAre("a"));
    EXPECT_FALSE(geometry(slices).hasPosition);
}

TEST(SliceGeometry, SpacingThatNobodySaysIsOneAndToldAndGivesNoPosition) {
    auto slices = axialStack({0, 5});
    slices[0].pixelSpacing.reset();
    slices[1].pixelSpacing.reset();
    EXPECT_THAT(kinds(slices), ElementsAre("noPixelSpacing"));
    expectVector(geometry(slices).columnStep, {1, 0, 0});
    EXPECT_FALSE(geometry(slices).hasPosition);
}

TEST(SliceGeometry, AbsentAndSharedInstanceNumbersAreToldWhereTheOrderRestsOnThem) {
    auto slices = axialStack({0, 5, 10});
    slices[1].instanceNumber = 1;
    EXPECT_THAT(kinds(slices), IsEmpty()) << "positions tell the order";
    const VolumePlan shared = planVolumes(slices, {.sort = kByInstance});
    ASSERT_THAT(kinds(shared), ElementsAre("duplicateInstanceNumber"));
    EXPECT_EQ(shared.volumes[0].findings[0].sentence,
              "2 files have InstanceNumber 1; which of them comes first is not defined: a, b.");
    slices[1].instanceNumber = 2;
    slices[2].instanceNumber.reset();
    const VolumePlan absent = planVolumes(slices, {.sort = kByInstance});
    ASSERT_THAT(kinds(absent), ElementsAre("noInstanceNumber", "instanceOrder!"));
    EXPECT_THAT(absent.volumes[0].order, ElementsAre(2, 0, 1)) << "it counts as 0";
    EXPECT_THAT(only(slices).order, ElementsAre(0, 1, 2));
}

TEST(SliceGeometry, FramesOfOneFileShareItsNumberOfCourse) {
    auto slices = axialStack({0, 5, 10});
    for (std::size_t index = 0; index < 3; ++index) {
        slices[index].file = "multi";
        slices[index].frames = 3;
        slices[index].frame = static_cast<vint>(index) + 1;
        slices[index].instanceNumber = 7;
    }
    EXPECT_THAT(kinds(planVolumes(slices, {.sort = kByInstance})), IsEmpty());
}

TEST(SliceGeometry, LongListsOfFilesAreCutInSentences) {
    EXPECT_EQ(namesOf({"a", "b"}), "a, b");
    EXPECT_EQ(namesOf({"a", "b", "c", "d", "e", "f", "g", "h"}), "a, b, c, d, e, f and 2 more");
}

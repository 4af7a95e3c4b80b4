#include "volume/geometry/SliceGroups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "volume/geometry/VolumePlan.h"

using namespace radvex::volume;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

using Values = std::vector<std::pair<Trait, std::string>>;

/// A slice at a height, with these traits.
SliceRecord sliceAt(double height, const Values& traits) {
    SliceRecord slice;
    slice.rows = slice.columns = 2;
    slice.position = radvex::formats::Vector3{0, 0, height};
    slice.orientation = Orientation{{1, 0, 0}, {0, 1, 0}};
    slice.pixelSpacing = PixelSpacing{1, 1};
    for (const auto& [trait, text] : traits) {
        slice.traits.set(trait, text);
    }
    return slice;
}

/// A volume of three slices for each set of traits. Files are named after volume and height.
std::vector<SliceRecord> volumesOf(const std::vector<Values>& all) {
    std::vector<SliceRecord> slices;
    for (std::size_t volume = 0; volume < all.size(); ++volume) {
        for (const int height : {0, 2, 4}) {
            slices.push_back(sliceAt(height, all[volume]));
            slices.back().file = std::to_string(volume) + "@" + std::to_string(height);
            slices.back().instanceNumber = static_cast<vint>(slices.size());
        }
    }
    return slices;
}

std::vector<std::string> labelsOf(const VolumePlan& plan) {
    std::vector<std::string> labels;
    for (const PlannedVolume& volume : plan.volumes) {
        labels.push_back(volume.label);
    }
    return labels;
}

std::vector<std::string> filesOf(const std::vector<SliceRecord>& slices, const PlannedVolume& volume) {
    return namesAt(slices, volume.order);
}

VolumePlan planOf(const std::vector<Values>& all) { return planVolumes(volumesOf(all), {}); }

} // namespace

TEST(SliceGroups, EchoesBecomeVolumesInTheOrderOfTheirTimes) {
    const auto slices = volumesOf({{{Trait::echoTime, "100"}}, {{Trait::echoTime, "20"}}});
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_FALSE(plan.hasErrors());
    ASSERT_THAT(labelsOf(plan), ElementsAre("-echo1", "-echo2"));
    EXPECT_THAT(plan.volumes[0].traits, ElementsAre(Pair("EchoTime", "20")));
    EXPECT_THAT(filesOf(slices, plan.volumes[0]), ElementsAre("1@0", "1@2", "1@4"));
    EXPECT_TRUE(plan.volumes[0].geometry.hasPosition);
    EXPECT_FALSE(plan.isInTime);
    EXPECT_TRUE(plan.isOneStack);
}

TEST(SliceGroups, BValuesAndDirectionsNameThem) {
    const VolumePlan plan = planOf({{{Trait::diffusionBValue, "0"}},
                                    {{Trait::diffusionBValue, "1000"}, {Trait::diffusionDirection, "1\\0\\0"}},
                                    {{Trait::diffusionBValue, "1000"}, {Trait::diffusionDirection, "0\\1\\0"}}});
    EXPECT_THAT(labelsOf(plan), ElementsAre("-b0", "-b1000-dir1", "-b1000-dir2"));
}

TEST(SliceGroups, ComponentsAreNamed) {
    EXPECT_THAT(labelsOf(planOf({{{Trait::imageType, "ORIGINAL\\PRIMARY\\M\\ND"}},
                                 {{Trait::imageType, "ORIGINAL\\PRIMARY\\P\\ND"}}})),
                ElementsAre("-magnitude", "-phase"));
    EXPECT_THAT(labelsOf(planOf({{{Trait::complexComponent, "REAL"}}, {{Trait::complexComponent, "IMAGINARY"}}})),
                ElementsAre("-real", "-imaginary"));
    EXPECT_THAT(labelsOf(planOf(
                    {{{Trait::imageType, "DERIVED\\PRIMARY\\WATER"}}, {{Trait::imageType, "DERIVED\\PRIMARY\\FAT"}}})),
                ElementsAre("-water", "-fat"));
}

TEST(SliceGroups, PointsInTimeAreInTheirOrder) {
    const VolumePlan plan =
        planOf({{{Trait::triggerTime, "90"}}, {{Trait::triggerTime, "10"}}, {{Trait::triggerTime, "50"}}});
    EXPECT_THAT(labelsOf(plan), ElementsAre("-time1", "-time2", "-time3"));
    EXPECT_TRUE(plan.isInTime);
    EXPECT_EQ(plan.volumes[1].seconds, 0.05);
}

TEST(SliceGroups, TimesThatDifferFromSliceToSliceAreRanked) {
    std::vector<SliceRecord> slices;
    for (int volume = 0; volume < 3; ++volume) {
        for (int position = 0; position < 4; ++position) { // positions are acquired one after the other
            slices.push_back(sliceAt(position, {{Trait::acquisitionTime, std::to_string(100 * position + volume)}}));
            slices.back().file = std::to_string(volume) + "@" + std::to_string(position);
        }
    }
    std::swap(slices[1], slices[9]);
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_FALSE(plan.hasErrors());
    ASSERT_THAT(labelsOf(plan), ElementsAre("-time1", "-time2", "-time3"));
    EXPECT_THAT(filesOf(slices, plan.volumes[2]), ElementsAre("2@0", "2@1", "2@2", "2@3"));
}

TEST(SliceGroups, ATimeNeverMixesEchoes) {
    // At one position the second echo comes first.
    std::vector<SliceRecord> slices;
    for (int position = 0; position < 3; ++position) {
        for (const char* const echo : {"10", "20"}) {
            const bool isFirst = (echo[0] == '1') == (position != 1);
            slices.push_back(
                sliceAt(position, {{Trait::echoTime, echo},
                                   {Trait::acquisitionTime, std::to_string(10 * position + (isFirst ? 0 : 1))}}));
            slices.back().file = echo;
        }
    }
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_THAT(labelsOf(plan), ElementsAre("-echo1", "-echo2"));
    EXPECT_THAT(filesOf(slices, plan.volumes[0]), ElementsAre("10", "10", "10"));
}

TEST(SliceGroups, EchoesInTimeHaveBothNames) {
    std::vector<Values> all;
    for (const char* const echo : {"10", "20"}) {
        for (const char* const time : {"1", "2"}) {
            all.push_back({{Trait::echoTime, echo}, {Trait::temporalIndex, time}});
        }
    }
    EXPECT_THAT(labelsOf(planOf(all)), ElementsAre("-echo1-time1", "-echo1-time2", "-echo2-time1", "-echo2-time2"));
}

TEST(SliceGroups, ValuesThatNearlyAgreeAreOneUnlessTheyStandSideBySide) {
    auto slices = volumesOf({{{Trait::echoTime, "2.460"}}, {{Trait::echoTime, "7.38"}}});
    slices[1].traits.set(Trait::echoTime, "2.461");
    EXPECT_THAT(labelsOf(planVolumes(slices, {})), ElementsAre("-echo1", "-echo2"));
    EXPECT_THAT(
        labelsOf(planOf({{{Trait::echoTime, "2.46"}}, {{Trait::echoTime, "2.47"}}, {{Trait::echoTime, "2.48"}}})),
        ElementsAre("-echo1", "-echo2", "-echo3"));
    EXPECT_THAT(labelsOf(planOf({{{Trait::diffusionBValue, "995"}, {Trait::diffusionDirection, "1\\0\\0"}},
                                 {{Trait::diffusionBValue, "1000"}, {Trait::diffusionDirection, "0\\1\\0"}}})),
                ElementsAre("-b995", "-b1000"));
}

TEST(SliceGroups, AStackThatAlternatesBetweenContrastsIsAnError) {
    for (const Trait trait : {Trait::echoTime, Trait::diffusionBValue, Trait::complexComponent}) {
        std::vector<SliceRecord> slices;
        for (int height = 0; height < 6; ++height) {
            slices.push_back(sliceAt(height, {{trait, height % 2 == 0 ? "20" : "90"}}));
        }
        const VolumePlan plan = planVolumes(slices, {});
        ASSERT_TRUE(plan.volumes.at(0).hasErrors());
        EXPECT_EQ(plan.volumes[0].findings[0].kind, FindingKind::differentContrast);
    }
    std::vector<SliceRecord> inversion; // one inversion for all slices
    for (int height = 0; height < 6; ++height) {
        inversion.push_back(sliceAt(height, {{Trait::inversionTime, std::to_string(100 + 50 * height)}}));
    }
    EXPECT_THAT(planVolumes(inversion, {}).volumes.at(0).findings, IsEmpty());
}

TEST(SliceGroups, AFewSlicesOfDifferentEchoesAreNoStack) {
    EXPECT_TRUE(planVolumes({sliceAt(0, {{Trait::echoTime, "20"}}), sliceAt(1, {{Trait::echoTime, "90"}})}, {})
                    .volumes.at(0)
                    .hasErrors());
}

TEST(SliceGroups, LabelsAreNeverTheSame) {
    EXPECT_THAT(labelsOf(planOf({{{Trait::stack, "A-1"}}, {{Trait::stack, "A1"}}})),
                ElementsAre("-stackA1", "-stackA1-2"));
}

TEST(SliceGroups, VolumesOfOneStackRunTheSameWay) {
    auto slices = volumesOf({{{Trait::temporalIndex, "1"}}, {{Trait::temporalIndex, "2"}}});
    std::swap(slices[3].instanceNumber, slices[5].instanceNumber); // the second runs against the first
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_THAT(filesOf(slices, plan.volumes.at(1)), ElementsAre("1@0", "1@2", "1@4"));
}

TEST(SliceGroups, UnnumberedContrastsStandInTheOrderOfTheirInstances) {
    auto slices = volumesOf({{{Trait::diffusionDirection, "1\\0\\0"}}, {{Trait::diffusionDirection, "0\\1\\0"}}});
    for (SliceRecord& slice : slices) {
        *slice.instanceNumber = 10 - *slice.instanceNumber;
    }
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_THAT(plan.volumes.at(0).traits, ElementsAre(Pair("DiffusionGradientOrientation", "0\\1\\0")));
}

TEST(SliceGroups, AMissingPositionIsNamed) {
    auto slices =
        volumesOf({{{Trait::temporalIndex, "1"}}, {{Trait::temporalIndex, "2"}}, {{Trait::temporalIndex, "3"}}});
    slices.erase(slices.begin() + 5); // the last slice of the second: a gap that no distance shows
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_TRUE(plan.hasErrors());
    EXPECT_EQ(plan.findings[0].kind, FindingKind::incompleteSet);
    EXPECT_EQ(plan.findings[0].sentence,
              "The volumes of the series have different positions: time2 has 2 of 3 and lacks 0\\0\\4.");
    EXPECT_THAT(plan.findings[0].files, ElementsAre("1@0", "1@2"));
}

TEST(SliceGroups, AnEchoWithoutAPositionIsAnErrorToo) {
    auto slices = volumesOf({{{Trait::echoTime, "1"}}, {{Trait::echoTime, "2"}}});
    slices.erase(slices.begin());
    EXPECT_EQ(planVolumes(slices, {}).findings.at(0).kind, FindingKind::incompleteSet);
}

TEST(SliceGroups, StacksAndAcquisitionsMayHavePositionsOfTheirOwn) {
    for (const Trait trait : {Trait::stack, Trait::acquisitionNumber}) {
        std::vector<SliceRecord> slices;
        for (int height = 0; height < 6; ++height) {
            slices.push_back(sliceAt(height, {{trait, "1"}}));
        }
        for (int height = 4; height < 9; ++height) {
            slices.push_back(sliceAt(height, {{trait, "2"}}));
        }
        const VolumePlan plan = planVolumes(slices, {});
        EXPECT_FALSE(plan.hasErrors());
        EXPECT_FALSE(plan.isOneStack);
        ASSERT_EQ(plan.volumes.size(), 2U);
        EXPECT_EQ(plan.volumes[0].order.size(), 6U);
        EXPECT_EQ(plan.volumes[1].order.size(), 5U);
    }
}

TEST(SliceGroups, AnAcquisitionNumberForEachSliceTellsNothing) {
    auto slices = volumesOf({{}, {}});
    for (SliceRecord& slice : slices) {
        slice.traits.set(Trait::acquisitionNumber, std::to_string(*slice.instanceNumber));
    }
    EXPECT_EQ(planVolumes(slices, {}).findings.at(0).kind, FindingKind::duplicatePosition);
}

TEST(SliceGroups, CopiesOfOneInstanceAreDropped) {
    auto slices = volumesOf({{}});
    for (SliceRecord& slice : slices) {
        slice.sopInstanceUid = "1.2." + slice.file;
    }
    slices.push_back(slices[1]);
    slices.back().file = "again";
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_FALSE(plan.hasErrors());
    ASSERT_EQ(plan.findings.size(), 1U);
    EXPECT_EQ(plan.findings[0].kind, FindingKind::copies);
    EXPECT_THAT(plan.findings[0].files, ElementsAre("again"));
    EXPECT_EQ(plan.volumes.at(0).order.size(), 3U);
    const VolumePlan differing = planVolumes(slices, {.hasSameSamples = [](auto, auto) { return false; }});
    EXPECT_TRUE(differing.hasErrors()) << "one UID, two pictures";
}

TEST(SliceGroups, DimensionsTellApartWhatNothingElseDoes) {
    // The first index is that of the position, which tells nothing.
    std::vector<SliceRecord> slices;
    for (const char* const second : {"1", "2"}) {
        for (int position = 0; position < 3; ++position) {
            slices.push_back(
                sliceAt(position, {{Trait::dimension1, std::to_string(position)}, {Trait::dimension2, second}}));
        }
    }
    const VolumePlan plan = planVolumes(slices, {});
    EXPECT_FALSE(plan.hasErrors());
    EXPECT_THAT(labelsOf(plan), ElementsAre("-dim1", "-dim2"));
}

TEST(SliceTraits, TimesAreSeconds) {
    EXPECT_EQ(secondsOfTime("010203.5"), 3723.5);
    EXPECT_EQ(secondsOfTime("0102 "), 3720);
    EXPECT_EQ(secondsOfTime("01"), 3600);
    EXPECT_EQ(secondsOfTime(""), std::nullopt);
    EXPECT_EQ(secondsOfTime("ab"), std::nullopt);
    EXPECT_EQ(secondsOfDateTime("20240102030405.5+0100"), 19724 * 86400.0 + 11045.5); // days since 1970
    EXPECT_EQ(secondsOfDateTime("20240102"), 19724 * 86400.0);
    EXPECT_EQ(secondsOfDateTime("2024"), std::nullopt);
    EXPECT_EQ(secondsOfDateTime("20241302"), std::nullopt);
}

TEST(SliceGroups, TimesAcrossMidnightAreNotRanked) {
    const auto across = [](const char* first, const char* second) {
        return planOf({{{Trait::contentTime, first}}, {{Trait::contentTime, second}}});
    };
    EXPECT_EQ(across("86390", "10").findings.at(0).kind, FindingKind::duplicatePosition);
    EXPECT_EQ(across("10", "1700000000").findings.at(0).kind, FindingKind::duplicatePosition) << "one has a date";
    EXPECT_THAT(labelsOf(across("1700000000", "1700000100")), ElementsAre("-time1", "-time2"));
    EXPECT_THAT(labelsOf(across("100", "10")), ElementsAre("-time1", "-time2"));
}

TEST(SliceGroups, TubeVoltagesAreNeverMixedByTime) {
    std::vector<SliceRecord> slices;
    for (int position = 0; position < 4; ++position) {
        for (int time = 0; time < 2; ++time) { // the first voltage of a position alternates
            slices.push_back(sliceAt(position, {{Trait::tubeVoltage, (time + position) % 2 == 0 ? "80" : "140"},
                                                {Trait::acquisitionTime, std::to_string(10 * position + time)}}));
            slices.back().file = slices.back().traits[Trait::tubeVoltage];
        }
    }
    const VolumePlan plan = planVolumes(slices, {});
    ASSERT_THAT(labelsOf(plan), ElementsAre("-kvp1", "-kvp2"));
    EXPECT_THAT(filesOf(slices, plan.volumes[0]), ElementsAre("80", "80", "80", "80"));
}

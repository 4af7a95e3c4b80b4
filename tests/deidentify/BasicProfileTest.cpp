#include "deidentify/rewriting/BasicProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "dcmtk/dcmdata/dcdeftag.h"

using namespace radvex::deidentify;
using testing::Contains;
using testing::Not;

namespace {

std::string valueOf(const Profile& profile, const std::string& keyword) {
    const auto rule = std::find_if(profile.rules.begin(), profile.rules.end(),
                                   [&](const ProfileRule& candidate) { return candidate.keyword == keyword; });
    return rule == profile.rules.end() ? "(none)" : rule->value;
}

} // namespace

TEST(BasicProfile, EmptiesWhatMayBeEmptyAndGivesDummiesOfTheirType) {
    const Profile profile = basicProfileRules();
    EXPECT_EQ(valueOf(profile, "PatientName"), "");
    EXPECT_EQ(valueOf(profile, "StudyDate"), "");
    EXPECT_EQ(valueOf(profile, "PatientComments"), ""); // the profile removes it
    EXPECT_EQ(valueOf(profile, "ContentDate"), "19000101");
    EXPECT_EQ(valueOf(profile, "AcquisitionTime"), "000000");
    EXPECT_EQ(valueOf(profile, "InstitutionName"), "ANONYMIZED");
    EXPECT_EQ(valueOf(profile, "RETIRED_OtherPatientIDs"), "");
}

TEST(BasicProfile, LeavesIdentifiersToTheirNewValues) {
    const Profile profile = basicProfileRules();
    for (const char* keyword : {"PatientID", "StudyID", "StudyInstanceUID", "SOPInstanceUID"}) {
        EXPECT_EQ(valueOf(profile, keyword), "(none)") << keyword;
    }
}

TEST(BasicProfile, NamesWhatNewValuesCannotExpress) {
    const Profile profile = basicProfileRules();
    EXPECT_THAT(profile.notExpressible, Contains("OtherPatientIDsSequence"));
    EXPECT_THAT(profile.notExpressible, Contains("private attributes"));
    EXPECT_THAT(profile.notExpressible, Not(Contains("PatientName")));
    EXPECT_EQ(valueOf(profile, "OtherPatientIDsSequence"), "(none)");
}

TEST(ConfidentialAttributes, StandInTheOrderOfTheirTags) {
    const auto attributes = confidentialAttributes();
    EXPECT_TRUE(std::is_sorted(attributes.begin(), attributes.end(),
                               [](const auto& left, const auto& right) { return left.key < right.key; }));
}

TEST(ConfidentialAttributes, CurvesAndOverlaysCountInEachOfTheirGroups) {
    EXPECT_TRUE(isConfidential({0x6002, 0x3000}));
    EXPECT_TRUE(isConfidential({0x60FE, 0x4000}));
    EXPECT_FALSE(isConfidential({0x6000, 0x0010}));
    EXPECT_TRUE(isConfidential({0x5004, 0x3000}));
    EXPECT_TRUE(isConfidential(DCM_PatientName));
    EXPECT_FALSE(isConfidential(DCM_Rows));
    EXPECT_FALSE(isConfidential(DCM_PatientID)); // told by its value
}

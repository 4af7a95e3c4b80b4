#include "deidentify/pixels/MaskRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::put;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// The sentence of the error; empty when the rules are read.
std::string errorOf(const std::string& text) {
    try {
        (void)MaskRules::parse(text, "rules.json");
        return "";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// A list of one rule.
std::string rule(const std::string& content) { return '[' + ('{' + content + "}]"); }

bool matches(const std::string& match, DcmItem& dataset) {
    const MaskRules rules = MaskRules::parse(rule(R"("match": {)" + match + R"(}, "outsideRegions": true)"), "r");
    return rules.matching(dataset).size() == 1;
}

DcmDataset ultrasound() {
    DcmDataset dataset;
    put(dataset, {{DCM_Modality, "US "},
                  {DCM_Manufacturer, "Makers of Things"},
                  {DCM_ImageType, "DERIVED\\SECONDARY\\SCREEN SAVE"},
                  {DCM_PixelSpacing, "0.50\\0.25"}});
    dataset.putAndInsertUint16(DCM_Rows, 480);
    return dataset;
}

} // namespace

TEST(MaskRules, ReadsEveryKey) {
    const MaskRules rules =
        MaskRules::parse(rule(R"("match": {"Rows": 480}, "rectangles": [[1, 2, 3, 4], [-5, -6, 7, 8]],
             "outsideRegions": true, "fill": 7, "burnedIn": "NO")"),
                         "r");
    ASSERT_EQ(rules.rules().size(), 1U);
    const MaskRule& read = rules.rules()[0];
    ASSERT_EQ(read.rectangles.size(), 2U);
    EXPECT_EQ(read.rectangles[0].x, 1);
    EXPECT_EQ(read.rectangles[0].y, 2);
    EXPECT_EQ(read.rectangles[0].width, 3);
    EXPECT_EQ(read.rectangles[0].height, 4);
    EXPECT_EQ(read.rectangles[1].x, -5);
    EXPECT_EQ(read.rectangles[1].y, -6);
    EXPECT_TRUE(read.isOutsideRegions);
    EXPECT_EQ(read.fill, 7.0);
    EXPECT_TRUE(read.claimsNoText);
    EXPECT_TRUE(MaskRules::parse("[]", "r").empty());
}

TEST(MaskRules, ComparesTextWithoutCaseAndPadding) {
    DcmDataset dataset = ultrasound();
    EXPECT_TRUE(matches(R"("Modality": "us")", dataset));
    EXPECT_TRUE(matches(R"("Modality": " US ", "Rows": 480)", dataset));
    EXPECT_FALSE(matches(R"("Modality": "US", "Rows": 481)", dataset));
    EXPECT_FALSE(matches(R"("Modality": "U")", dataset));
    EXPECT_TRUE(matches("", dataset));
}

TEST(MaskRules, AStarStandsForAnyText) {
    DcmDataset dataset = ultrasound();
    for (const char* pattern : {"MAKERS*", "*things", "*of*", "m*s*t*s", "*", "Makers of Things*"}) {
        EXPECT_TRUE(matches(R"("Manufacturer": ")" + std::string(pattern) + '"', dataset)) << pattern;
    }
    for (const char* pattern : {"MAKERS", "*thing", "of*", "m*x*s"}) {
        EXPECT_FALSE(matches(R"("Manufacturer": ")" + std::string(pattern) + '"', dataset)) << pattern;
    }
}

TEST(MaskRules, ComparesEachOfSeveralValuesAndAllOfThem) {
    DcmDataset dataset = ultrasound();
    EXPECT_TRUE(matches(R"("ImageType": "SCREEN SAVE")", dataset));
    EXPECT_TRUE(matches(R"("ImageType": "derived\\secondary*")", dataset));
    EXPECT_FALSE(matches(R"("ImageType": "SCREEN")", dataset));
    EXPECT_TRUE(matches(R"("PixelSpacing": 0.5)", dataset));
    EXPECT_FALSE(matches(R"("PixelSpacing": 0.3)", dataset));
}

TEST(MaskRules, AnAbsentAttributeIsAnEmptyText) {
    DcmDataset dataset = ultrasound();
    EXPECT_TRUE(matches(R"("StationName": "")", dataset));
    EXPECT_FALSE(matches(R"("StationName": "A*")", dataset));
    EXPECT_FALSE(matches(R"("Columns": 0)", dataset));
}

TEST(MaskRules, AllRulesThatMatchApplyInTheirOrder) {
    const MaskRules rules = MaskRules::parse(R"([{"match": {"Modality": "US"}, "rectangles": [[0, 0, 1, 1]]},
        {"match": {"Modality": "CT"}, "rectangles": [[0, 0, 1, 1]]}, {"rectangles": [[0, 0, 2, 2]]}])",
                                             "r");
    DcmDataset dataset = ultrasound();
    const auto matching = rules.matching(dataset);
    ASSERT_EQ(matching.size(), 2U);
    EXPECT_EQ(matching[0]->number, 1U);
    EXPECT_EQ(matching[1]->number, 3U);
}

TEST(MaskRules, AnErrorNamesTheFileThePlaceAndAnExample) {
    EXPECT_THAT(
        errorOf(R"([{"rectangles": [[0, 0, 1, 1]]}, {"rectangle": [[0, 0, 1, 1]]}])"),
        AllOf(HasSubstr("rules.json: rule 2: "), HasSubstr("\"rectangle\" is unknown"), HasSubstr("For example: [{")));
    EXPECT_THAT(errorOf("[{"), AllOf(HasSubstr("rules.json: "), HasSubstr("at byte 3")));
}

TEST(MaskRules, TheExampleInAnErrorIsReadAsRules) {
    const std::string error = errorOf("{}");
    const std::size_t example = error.find("For example: ");
    ASSERT_NE(example, std::string::npos) << error;
    EXPECT_EQ(errorOf(error.substr(example + 13)), "");
}

TEST(MaskRules, RefusesWhatCannotBeMeant) {
    const std::pair<std::string, std::string> wrong[] = {
        {"{}", "not a list of rules"},
        {"[1]", "not an object"},
        {rule(R"("rectangles": [])"), "blanks nothing"},
        {rule(R"("outsideRegions": false)"), "blanks nothing"},
        {rule(R"("outsideRegions": "yes")"), "neither true nor false"},
        {rule(R"("rectangles": [[0, 0, 1]])"), "rectangle 1 is not a list of four"},
        {rule(R"("rectangles": [[0, 0, 1, 1], [0, 0, 1.5, 1]])"), "rectangle 2 holds something other than whole"},
        {rule(R"("rectangles": [[0, 0, 1e30, 1]])"), "other than whole"},
        {rule(R"("rectangles": [[0, 0, "1", 1]])"), "other than whole"},
        {rule(R"("rectangles": [[0, 0, 0, 1]])"), "below 1"},
        {rule(R"("rectangles": [[0, 0, 1, -1]])"), "below 1"},
        {rule(R"("rectangles": 5)"), "\"rectangles\" is not a list"},
        {rule(R"("match": [], "outsideRegions": true)"), "\"match\" is not an object"},
        {rule(R"("match": {"NoSuchKeyword": "1"}, "outsideRegions": true)"), "no keyword"},
        {rule(R"("match": {"Modality": true}, "outsideRegions": true)"), "neither a text nor a number"},
        {rule(R"("match": {"ReferencedImageSequence": "1"}, "outsideRegions": true)"), "no text to compare"},
        {rule(R"("match": {"PixelData": "1"}, "outsideRegions": true)"), "no text to compare"},
        {rule(R"("fill": "black", "outsideRegions": true)"), "\"fill\" is not a number"},
        {rule(R"("burnedIn": "YES", "outsideRegions": true)"), "\"burnedIn\" is not \"NO\""},
        {rule(R"("fill": 0, "fill": 1, "outsideRegions": true)"), "\"fill\" occurs twice"},
    };
    for (const auto& [text, reason] : wrong) {
        EXPECT_THAT(errorOf(text), HasSubstr(reason)) << text;
    }
}

TEST(MaskRules, NumbersBeyondEveryImageAreTakenAsFarAway) {
    const MaskRules rules = MaskRules::parse(
        rule(R"("rectangles": [[-9223372036854775808, 0, 18446744073709551615, 9223372036854775807]])"), "r");
    const MaskRectangle& rectangle = rules.rules()[0].rectangles[0];
    EXPECT_LT(rectangle.x, -65536);
    EXPECT_GT(rectangle.width, 65536);
    EXPECT_GT(rectangle.height, 65536);
    EXPECT_GT(rectangle.width + rectangle.width, rectangle.width) << "sums must not overflow";
}

#include "cli/arguments/Suggestions.h"

#include <gtest/gtest.h>

using radvex::cli::didYouMean;
using radvex::cli::nearest;

namespace {

const std::vector<std::string> kNames{"PatientName", "PatientID", "Rows", "Columns", "StudyDate", "StudyTime"};

} // namespace

TEST(Suggestions, SwappedMissingAddedAndWrongLettersAreOneMistakeEach) {
    for (const char* typed : {"PatientNmae", "PatientNme", "PattientName", "PatientNane"}) {
        EXPECT_EQ(nearest(typed, kNames), "PatientName") << typed;
    }
}

TEST(Suggestions, TheCaseOfLettersIsNoMistake) {
    EXPECT_EQ(nearest("studydate", kNames), "StudyDate");
    EXPECT_EQ(nearest("ROWZ", kNames), "Rows");
}

TEST(Suggestions, ThreeMistakesInNineLettersAreStillNearAndFourAreNot) {
    EXPECT_EQ(nearest("PatxxxtID", kNames), "PatientID");
    EXPECT_EQ(nearest("PxxxxxtID", kNames), "");
    EXPECT_EQ(nearest("xxxxentID", kNames), "");
}

TEST(Suggestions, TheNearestWinsAndOfEquallyNearOnesTheFirst) {
    EXPECT_EQ(nearest("StudyDaet", kNames), "StudyDate");
    EXPECT_EQ(nearest("ab", {"ax", "xb"}), "ax");
}

TEST(Suggestions, WordsWithNothingInCommonSuggestNothing) {
    EXPECT_EQ(nearest("", kNames), "");
    EXPECT_EQ(nearest("x", {"y", ""}), "");
    EXPECT_EQ(nearest("Rows", {}), "");
    EXPECT_EQ(nearest(std::string(100000, 'P'), kNames), "") << "and takes no time";
}

TEST(Suggestions, TheEndOfASentenceIsAQuestionOrAFullStop) {
    EXPECT_EQ(didYouMean("Collumns", kNames), "; did you mean Columns?");
    EXPECT_EQ(didYouMean("Weather", kNames), ".");
}

#include "dicom/metadata/RegexFilter.h"

#include "tests/dicom/DicomTest.h"
#include "tests/support/SmallStack.h"

using namespace radvex;
using radvex::test::onSmallStack;

namespace {

bool matches(const std::string& pattern, const std::string& value) { return ValuePattern(pattern).matches(value); }

std::string times(const char* text, int count) {
    std::string all;
    for (int number = 0; number < count; ++number) {
        all += text;
    }
    return all;
}

} // namespace

TEST(ValuePattern, MatchesTheWholeValueOnly) {
    EXPECT_FALSE(matches("1.2", "1.2.3"));
    EXPECT_TRUE(matches("1.2", "1x2")) << "a dot stands for any character";
    EXPECT_TRUE(matches("1\\.2", "1.2"));
    EXPECT_FALSE(matches("1\\.2", "1x2"));
    EXPECT_FALSE(matches("abc", "ABC"));
    EXPECT_FALSE(matches("", "a"));
    EXPECT_TRUE(matches("", ""));
}

TEST(ValuePattern, AnythingMatchesAllButTheEndsOfALine) {
    EXPECT_TRUE(matches(".*", ""));
    EXPECT_TRUE(matches(".*", std::string(100000, 'a')));
    EXPECT_FALSE(matches(".*", "a\nb"));
    EXPECT_FALSE(matches(".*", "a\r"));
}

TEST(ValuePattern, ALongValueCostsNoCallStack) {
    EXPECT_TRUE(matches("(a|b)*", std::string(200000, 'a')));
    EXPECT_FALSE(matches("(a|b)*c", std::string(200000, 'a')));
}

TEST(ValuePattern, APatternThatBacktracksForeverElsewhereAnswersAtOnce) {
    EXPECT_FALSE(matches("(a*)*(a*)*(a*)*b", std::string(2000, 'a')));
}

// A group has three states, a character one, and a repetition one: these are six, and the reference.
TEST(ValuePattern, ABackReferenceWorksOnValuesUpToTheMostStatesByThePatterns) {
    EXPECT_TRUE(matches("(.*)\\1", "abab"));
    EXPECT_FALSE(matches("(.*)\\1", "abac"));
    EXPECT_TRUE(matches("(.*)\\1", std::string(232, 'a')));
    EXPECT_FALSE(matches("(.*)\\1", std::string(234, 'a'))) << "1400 / 6 = 233";
}

TEST(ValuePattern, ABackReferenceThatWouldTakeForeverIsGivenUp) {
    EXPECT_THROW((void)matches("(a*)*(a*)*(a*)*\\1b", std::string(60, 'a')), std::regex_error);
    EXPECT_TRUE(matches("(a*)(a*)\\1", std::string(100, 'a')));
    EXPECT_FALSE(matches("(a*)b(a*)\\1c", std::string(100, 'a')));
}

// There are 2 to the power of 30, or of 60, ways through these patterns that look at no character.
TEST(ValuePattern, WaysThatLookAtNoCharacterAreCountedToo) {
    EXPECT_THROW((void)matches("()" + times("(|)", 30) + "\\1x", ""), std::regex_error);
    EXPECT_THROW((void)matches("(?!(z))" + times("(?:|)", 60) + "\\1x", ""), std::regex_error);
    EXPECT_THROW((void)matches("(?!(z))(?:|){60}\\1x", "a"), std::regex_error);
}

TEST(ValuePattern, CountsStates) {
    EXPECT_EQ(radvex::statesOf(""), 0U);
    EXPECT_EQ(radvex::statesOf("ab."), 3U);
    EXPECT_EQ(radvex::statesOf("a*b+c?"), 6U);
    EXPECT_EQ(radvex::statesOf("(a|b)"), 3U + 1 + 2 + 1);
    EXPECT_EQ(radvex::statesOf("[a(){9}|*]"), 1U) << "characters in brackets";
    EXPECT_EQ(radvex::statesOf("[[:alpha:](]a"), 2U);
    EXPECT_EQ(radvex::statesOf("[\\](]a"), 2U);
    EXPECT_EQ(radvex::statesOf("\\(a\\{9}"), 5U) << "escaped";
    EXPECT_GE(radvex::statesOf("a{20}"), 20U);
    EXPECT_GE(radvex::statesOf("a{2,20}"), 20U);
    EXPECT_GE(radvex::statesOf("a{20,}"), 21U);
    EXPECT_GE(radvex::statesOf("(a{20}b{30}){10}"), 500U);
    EXPECT_GE(radvex::statesOf("a{20}{10}"), 200U) << "of each other";
    EXPECT_LT(radvex::statesOf("([0-9]{1,3}\\.){3}[0-9]{1,3}"), 100U);
    EXPECT_EQ(radvex::statesOf("(a{99999999999}){99999999999}"), 100'000U);
}

TEST(ValuePattern, ABackReferenceIsOneOnlyBehindABackslashOfItsOwn) {
    EXPECT_TRUE(matches("(a)\\\\1\\1", "a\\1a"));
    EXPECT_FALSE(matches("(a)\\\\1\\1", "a\\1b"));
    EXPECT_TRUE(matches("(a|b)\\1+", "bbb"));
    EXPECT_FALSE(matches("(a|b)\\1+", "bba"));
}

TEST(ValuePattern, RefusesMalformedAndVeryLongPatterns) {
    EXPECT_THROW(ValuePattern("("), std::regex_error);
    EXPECT_THROW(ValuePattern("[z-a]"), std::regex_error);
    EXPECT_THROW(ValuePattern(std::string(1025, 'a')), std::regex_error);
    EXPECT_NO_THROW(ValuePattern(std::string(1024, 'a')));
}

// Each of these used up 256 KiB, and the alternatives with a back-reference even 8 MiB.
TEST(ValuePattern, NoPatternUsesUpASmallStack) {
    const std::string value(256, 'a');
    onSmallStack([&] {
        EXPECT_THROW(ValuePattern(times("(", 1024)), std::regex_error);
        EXPECT_THROW(ValuePattern(times("(a", 512)), std::regex_error);
        EXPECT_THROW(ValuePattern(times("(?=", 341)), std::regex_error);
        EXPECT_THROW(ValuePattern(times("(", 65) + times(")", 65)), std::regex_error);
        EXPECT_TRUE(matches(times("(", 64) + times(")", 64), ""));
        EXPECT_TRUE(matches(times("(|", 64) + times(")", 64), ""));
        EXPECT_TRUE(matches(times("()", 340), "")) << "one after the other";
        EXPECT_FALSE(matches(times("a|", 512), value));
        EXPECT_TRUE(matches(times("a*", 512), value));
        EXPECT_TRUE(matches("(a*)\\1", value.substr(0, 232)));
        EXPECT_TRUE(matches("(a)(" + times("|a", 3) + ")*\\1", value.substr(0, 60)));
        EXPECT_FALSE(matches("(a)(" + times("|a", 3) + ")*\\1", value));
        EXPECT_FALSE(matches("(a)(" + times("|a", 400) + ")*\\1", value));
        EXPECT_THROW(matches("(a)(" + times("|a", 500) + ")*\\1", value), std::regex_error);
        // A pattern with a count is compiled that many times.
        EXPECT_TRUE(matches("(){300}", ""));
        EXPECT_THROW(ValuePattern("(){1200}"), std::regex_error);
        EXPECT_THROW(ValuePattern(times("(", 60) + times("){2}", 60)), std::regex_error);
        EXPECT_FALSE(matches(times("(", 60) + "a" + times(")", 60) + "*\\1", value));
        EXPECT_TRUE(matches("(" + times("(", 20) + "a" + times(")", 20) + ")*\\1", value.substr(0, 18)));
    });
}

TEST(RegexFilter, CompilesItsPatternsInOrder) {
    EXPECT_THROW(RegexFilter("(", ".*", ".*"), std::regex_error);
    EXPECT_THROW(RegexFilter(".*", ".*", "("), std::regex_error);
}

TEST(MatchingProperty, TestsAllValuesOfAnAttributeAsOneText) {
    DcmItem item;
    item.putAndInsertString(DCM_ImageType, "ORIGINAL\\PRIMARY");
    EXPECT_TRUE(matchingProperty(DCM_ImageType, ValuePattern("ORIGINAL\\\\PRIMARY"))(&item));
    EXPECT_FALSE(matchingProperty(DCM_ImageType, ValuePattern("ORIGINAL"))(&item));
    EXPECT_TRUE(matchingProperty(DCM_PatientID, ValuePattern(""))(&item)) << "an absent attribute is the empty text";
}

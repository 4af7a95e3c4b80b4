#include "RegexFilter.h"

#include <gtest/gtest.h>

#include "SmallStack.h"
#include "dcmtk/dcmdata/dctk.h"

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

TEST(ValuePattern, ABackReferenceWorksOnValuesUpTo256Bytes) {
    EXPECT_TRUE(matches("(.*)\\1", "abab"));
    EXPECT_FALSE(matches("(.*)\\1", "abac"));
    EXPECT_TRUE(matches("(.*)\\1", std::string(256, 'a')));
    EXPECT_FALSE(matches("(.*)\\1", std::string(258, 'a')));
}

TEST(ValuePattern, ABackReferenceThatWouldTakeForeverIsGivenUp) {
    EXPECT_THROW((void)matches("(a*)*(a*)*(a*)*\\1b", std::string(200, 'a')), std::regex_error);
    EXPECT_TRUE(matches("(a*)(a*)\\1", std::string(256, 'a')));
    EXPECT_FALSE(matches("(a*)b(a*)\\1c", std::string(256, 'a')));
}

// The ways through these are taken without looking at a character, and there are 2 to the power of 60 of them.
TEST(ValuePattern, WaysThatLookAtNoCharacterAreCountedToo) {
    EXPECT_THROW((void)matches("()" + times("(|)", 60) + "\\1x", ""), std::regex_error);
    EXPECT_THROW((void)matches("(?!(z))" + times("(?:|)", 60) + "\\1x", ""), std::regex_error);
    EXPECT_THROW((void)matches("(?!(z))(?:|){60}\\1x", "a"), std::regex_error);
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
        EXPECT_TRUE(matches("(a*)\\1", value));
        EXPECT_TRUE(matches("(a)(" + times("|a", 3) + ")*\\1", value.substr(0, 64)));
        EXPECT_FALSE(matches("(a)(" + times("|a", 3) + ")*\\1", value.substr(0, 65)));
        EXPECT_FALSE(matches("(a)(" + times("|a", 500) + ")*\\1", value));
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

#include "formats/json/Text.h"

#include <gtest/gtest.h>

using namespace radvex::formats;

TEST(Printable, ReplacesBytesThatAreNoUtf8AndShowsControlCharacters) {
    EXPECT_EQ(printable("caf\xE9"), "caf\xEF\xBF\xBD");
    EXPECT_EQ(printable("a\nb\x1B[31m"), "a\\u000Ab\\u001B[31m");
    EXPECT_EQ(printable("M\xC3\xBCller \xE6\xBC\xA2"), "M\xC3\xBCller \xE6\xBC\xA2");
}

TEST(ValidUtf8, RefusesOverlongFormsAndSurrogates) {
    EXPECT_TRUE(isValidUtf8("\xF0\x9F\x98\x80"));
    EXPECT_FALSE(isValidUtf8("\xC0\x80"));
    EXPECT_FALSE(isValidUtf8("\xE0\x80\x80"));
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));
    EXPECT_FALSE(isValidUtf8("\xC3"));
}

TEST(WithColumn, PadsShortTextAndPutsAColonBehindLongText) {
    EXPECT_EQ(withColumn("abc", 5), "abc  ");
    EXPECT_EQ(withColumn("abcd", 5), "abcd ");
    EXPECT_EQ(withColumn("abcde", 5), "abcde: ");
    EXPECT_EQ(withColumn("abcdef", 5), "abcdef: ");
}

TEST(Shortened, CutsLongTextAndSaysHowLongItIs) {
    EXPECT_EQ(shortened("short", 8), "short");
    EXPECT_EQ(shortened("0123456789", 4), "0123... (10 bytes)");
    EXPECT_EQ(shortened("ab\xC3\xBC\xC3\xBC", 3), "ab... (6 bytes)") << "never inside a character";
}

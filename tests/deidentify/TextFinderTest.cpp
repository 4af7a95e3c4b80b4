#include "deidentify/rewriting/TextFinder.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

using radvex::deidentify::TextFinder;
using radvex::test::TemporaryFolder;

namespace {

TextFinder finderOf(const std::vector<std::string>& texts) {
    TextFinder finder;
    for (const std::string& text : texts) {
        finder.add(text);
    }
    return finder;
}

} // namespace

TEST(TextFinder, FindsEveryOccurrenceOfEveryText) {
    const TextFinder finder = finderOf({"abcdefghijkl", "1.2.3.4.5.6.7.8"});
    const auto finds = finder.findAll("abcdefghijkl 1.2.3.4.5.6.7.8 xabcdefghijklx");
    ASSERT_EQ(finds.size(), 3U);
    EXPECT_EQ(finds[0].begin, 0U);
    EXPECT_EQ(finds[1].begin, 13U);
    EXPECT_EQ(finds[1].text, "1.2.3.4.5.6.7.8");
    EXPECT_EQ(finds[2].begin, 30U);
}

TEST(TextFinder, TakesTheLongestOfTextsThatEndAlike) {
    const TextFinder finder = finderOf({"123456789012", "00123456789012", "99123456789012"});
    const auto finds = finder.findAll("00123456789012");
    ASSERT_EQ(finds.size(), 1U);
    EXPECT_EQ(finds[0].text, "00123456789012");
    EXPECT_EQ(finds[0].begin, 0U);
}

TEST(TextFinder, LeavesOutTextsOfFewerThanTwelveBytes) {
    TextFinder finder;
    finder.add("12345678901");
    EXPECT_TRUE(finder.isEmpty());
    finder.add("123456789012");
    EXPECT_EQ(finder.findAll("12345678901").size(), 0U);
    EXPECT_EQ(finder.findAll("123456789012").size(), 1U);
}

TEST(TextFinder, FindsATextOnTheSeamOfTwoPieces) {
    const TemporaryFolder folder;
    const TextFinder finder = finderOf({"MRN-000000000042"});
    const std::size_t piece = std::size_t{1} << 20;
    for (std::size_t begin = piece - 17; begin <= piece + 1; ++begin) {
        std::string bytes(2 * piece, '\xA5');
        bytes.replace(begin, 16, "MRN-000000000042");
        EXPECT_TRUE(finder.isIn(folder.write("a", bytes))) << begin;
        bytes[begin + 15] = '3';
        EXPECT_FALSE(finder.isIn(folder.write("a", bytes))) << begin;
    }
    EXPECT_THROW((void)finder.isIn(folder.file("missing")), std::runtime_error);
}

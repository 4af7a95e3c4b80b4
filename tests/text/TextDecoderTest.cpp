#include "text/TextDecoder.h"

#include <gtest/gtest.h>

#include "dcmtk/oflog/oflog.h"

using namespace radvex::text;

namespace {

const bool kIsQuiet =
    (OFLog::configure(OFLogger::OFF_LOG_LEVEL), true); // DCMTK complains of what these tests are about

const std::string kYamada = "\u5C71\u7530";
const std::string kNothing = "(nothing)";

/// As the conversion of a dataset makes it.
std::string converted(const std::string& bytes, const std::string& set, DcmEVR vr = EVR_PN) {
    return TextDecoder().converted(bytes, vr, set).value_or(kNothing);
}

/// As listings show it.
std::string shown(const std::string& bytes, const std::string& set, DcmEVR vr = EVR_PN) {
    return TextDecoder().utf8(bytes, vr, set);
}

struct OneByteSet {
    std::string number;
    std::string escape;
    std::string byte;
    std::string letter;
};

const std::vector<OneByteSet> kOneByteSets{
    {"100", "-A", "\xE9", "\u00E9"}, {"101", "-B", "\xAB", "\u0164"}, {"109", "-C", "\xAB", "\u011E"},
    {"110", "-D", "\xAB", "\u0122"}, {"144", "-L", "\xAB", "\u040B"}, {"127", "-G", "\xAC", "\u060C"},
    {"126", "-F", "\xE1", "\u03B1"}, {"138", "-H", "\xE0", "\u05D0"}, {"148", "-M", "\xFD", "\u0131"},
    {"166", "-T", "\xA1", "\u0E01"}, {"203", "-b", "\xA4", "\u20AC"}, {"13", ")I", "\xB1", "\uFF71"},
};

} // namespace

TEST(ConvertedText, IsOfTheSetAloneOrOfOneThatItChangesTo) {
    for (const OneByteSet& set : kOneByteSets) {
        EXPECT_EQ(converted(set.byte, "ISO_IR " + set.number), set.letter) << set.number;
        EXPECT_EQ(converted(set.byte, "ISO 2022 IR " + set.number + "\\ISO 2022 IR 87"), set.letter) << set.number;
        const std::string changed = "a^b\x1B" + set.escape + set.byte;
        EXPECT_EQ(converted(changed, "\\ISO 2022 IR " + set.number), "a^b" + set.letter) << set.number;
        EXPECT_EQ(converted(changed, "\\ISO 2022 IR 87\\ISO 2022 IR " + set.number), "a^b" + set.letter) << set.number;
    }
}

TEST(ConvertedText, MayHaveCharactersOfTwoBytes) {
    EXPECT_EQ(converted("\xD4\xCF\xC0\xDE=\x1B$B;3ED\x1B(J^a", "ISO 2022 IR 13\\ISO 2022 IR 87"),
              "\uFF94\uFF8F\uFF80\uFF9E=" + kYamada + "^a");
    EXPECT_EQ(converted("\x1B$(D\x30\x21\x1B(B", "\\ISO 2022 IR 87\\ISO 2022 IR 159"), "\u4E02");
    EXPECT_EQ(converted("\x1B$)C\xB1\xE8\xC8\xF1\xC1\xDF", "\\ISO 2022 IR 149"), "\uAE40\uD76C\uC911");
    EXPECT_EQ(converted("\x1B$)A\xD0\xA1\xB6\xAB", "\\ISO 2022 IR 58"), "\u5C0F\u4E1C");
    EXPECT_EQ(converted("\xCD\xF5^\xD0\xA1", "GB18030"), "\u738B^\u5C0F");
    EXPECT_EQ(converted("\x1B$B;3\x1B(B \x1B$)C\xB1\xE8 \x1B-F\xE1\x1B$BED\x1B(B.",
                        "\\ISO 2022 IR 87\\ISO 2022 IR 149\\ISO 2022 IR 126", EVR_LT),
              "\u5C71 \uAE40 \u03B1\u7530.");
}

TEST(ConvertedText, HasTheSignsOfTheStandardAndNotThoseOfAVendor) {
    EXPECT_EQ(converted("\x1B$B!A!B!]!q!r\"L\x1B(B", "\\ISO 2022 IR 87"), "\u301C\u2016\u2212\u00A2\u00A3\u00AC");
    EXPECT_EQ(converted("\x1B$)A\xA3\xA7", "\\ISO 2022 IR 58\\ISO 2022 IR 87"), "\uFF07");
}

TEST(ConvertedText, IsInTheFirstSetAgainBehindADelimiter) {
    const std::string sets = "ISO 2022 IR 100\\ISO 2022 IR 126\\ISO 2022 IR 87";
    for (const std::string delimiter : {"^", "=", "\\", "\r\n", "\f", "\t"}) {
        EXPECT_EQ(converted("\x1B-F\xE1" + delimiter + "\xE9", sets), "\u03B1" + delimiter + "\u00E9") << delimiter;
    }
    EXPECT_EQ(converted("\x1B-F\xE1^\xE1\\\xE9", sets, EVR_LO), "\u03B1^\u03B1\\\u00E9") << "^ is one in names only";
    EXPECT_EQ(converted("\x1B-F\xE1\\\xE1", sets, EVR_LT), "\u03B1\\\u03B1") << "one text has no values";
}

TEST(ConvertedText, TakesNoHalfOfACharacterForADelimiter) {
    EXPECT_EQ(converted("\x1B$B\x21\x5C\x30\x5E\x30\x3D\x1B(B^a", "\\ISO 2022 IR 87"), "\uFF0B\u7DEF\u7DBE^a");
    EXPECT_EQ(converted("\xD5\x5C\\\x8A\x5C", "GBK", EVR_LO), "\u8AA0\\\u596C") << "the second byte is a backslash";
    EXPECT_EQ(converted("\xD5\x5C\\\x81\x30\x81\x30", "GB18030", EVR_LO), "\u8AA0\\\xC2\x80");
}

TEST(ConvertedText, LeavesEscapesThatAnAsciiFileDoesNotAnnounceAsDcmtkDoes) {
    EXPECT_EQ(converted("Yamada=\x1B$B;3ED\x1B(B", ""), "Yamada=\x1B$B;3ED\x1B(B");
    EXPECT_EQ(shown("Yamada=\x1B$B;3ED\x1B(B", ""), "Yamada=" + kYamada) << "a listing wants to be read";
}

TEST(ConvertedText, FollowsEscapesThatAFileWithSeveralSetsDoesNotAnnounce) {
    EXPECT_EQ(converted("\x1B$B;3ED\x1B(B", "\\ISO 2022 IR 149"), kYamada);
}

TEST(ConvertedText, CountsOnWhereDcmtkTakesAnEscapeForHalfOfACharacter) {
    EXPECT_EQ(converted("\x1B$)A\xD0\xA1"
                        "a\x1B$)A\xB6\xAB",
                        "\\ISO 2022 IR 58"),
              "\u5C0F"
              "a\u4E1C");
}

TEST(ConvertedText, MayBeOfASetWithAMistakeInItsName) {
    EXPECT_EQ(converted("\xE9", "ISO-IR 100"), "\u00E9");
    EXPECT_EQ(converted("\xE9", "iso_ir_100"), "\u00E9");
    EXPECT_EQ(converted("\xE9", "ISO 2022 IR 100"), "\u00E9") << "without others";
    EXPECT_EQ(converted("\x1B$B;3ED\x1B(B\xE9", "ISO_IR 100\\ISO 2022 IR 87"), kYamada + "\u00E9");
    EXPECT_EQ(converted("\xB1\xE8", "ISO 2022 IR 149"), "\uAE40");
    EXPECT_EQ(converted("\u00E9", "ISO_IR 192\\ISO 2022 IR 58"), "\u00E9");
    EXPECT_EQ(converted("\xE9", "NO SUCH SET"), kNothing);
    EXPECT_FALSE(TextDecoder().isKnown("NO SUCH SET"));
    EXPECT_FALSE(TextDecoder().isKnown("\\ISO 2022 IR 87\\ISO 2022 IR 14")) << "no value of the attribute";
    EXPECT_TRUE(TextDecoder().isKnown("\\ISO_2022_IR 87"));
}

TEST(ConvertedText, IsNothingWhenAByteIsInNoSet) {
    for (const char* bytes :
         {"a\xE9", "\x1B$B;", "\x1B$B;3E", "\x1B$B\x7E\x7E\x1B(B", "\x1B$B;\xB3\x1B(B", "\x1B$)C\xB1", "\x1B$)C\xB1^",
          "\x1B", "a\x1B$", "a\x1B(Zb", "\x1B$(", "\x1B)I\xE0", "\x1B-F\xAE"}) {
        EXPECT_EQ(converted(bytes, "\\ISO 2022 IR 87\\ISO 2022 IR 149"), kNothing)
            << testing::PrintToString(std::string(bytes));
    }
    EXPECT_EQ(converted("\x1B$)C\xC9\xA1", "\\ISO 2022 IR 87\\ISO 2022 IR 149"), kNothing) << "for private use";
    EXPECT_EQ(converted("\xC3", "ISO_IR 192"), kNothing);
    EXPECT_EQ(converted("\x81", "GBK"), kNothing);
}

TEST(ShownText, HasAReplacementForEachCharacterThatIsNone) {
    const std::string sets = "\\ISO 2022 IR 87\\ISO 2022 IR 149";
    EXPECT_EQ(shown("\x1B$B;3\x7E\x7E"
                    "ED\x1B(B",
                    sets),
              "\u5C71\uFFFD\u7530");
    EXPECT_EQ(shown("\x1B$B;3E", sets), "\u5C71\uFFFD") << "cut in the middle";
    EXPECT_EQ(shown("\x1B$)C\xB1^\xB1", sets), "\uFFFD^\u00B1") << "and a delimiter is none of it";
    EXPECT_EQ(shown("\x1B-F\xAE\xE1", sets), "\uFFFD\u03B1");
    EXPECT_EQ(shown("a\x1B(Zb\x1B", sets), "a(Zb") << "escapes of no set are left out";
}

TEST(TextWithReplacements, GuessesNothing) {
    const auto replaced = [](const std::string& bytes, const std::string& set, DcmEVR vr = EVR_PN) {
        return TextDecoder().withReplacements(bytes, vr, set);
    };
    EXPECT_EQ(replaced("J\xF6rg", ""), "J\uFFFDrg");
    EXPECT_EQ(replaced("J\xF6rg", "ISO_IR 999"), "J\uFFFDrg");
    EXPECT_EQ(replaced("J\xF6rg", "ISO_IR 100"), "J\u00F6rg") << "and replaces nothing that has a meaning";
    EXPECT_EQ(replaced("a\xA1"
                       "b\xC7",
                       "ISO_IR 127"),
              "a\uFFFDb\u0627");
    EXPECT_EQ(replaced("J\xC3\xB6rg\xFF^\xE5\xB1", "ISO_IR 192"), "J\u00F6rg\uFFFD^\uFFFD\uFFFD");
    EXPECT_EQ(replaced("\xCD\xF5\xFF\xD0\xA1", "GB18030"), "\u738B\uFFFD\u5C0F");
    EXPECT_EQ(replaced("\x1B$B;3\x7E\x7E"
                       "ED\x1B(B",
                       "\\ISO 2022 IR 87"),
              "\u5C71\uFFFD\u7530");
    EXPECT_EQ(replaced("1\xFF"
                       "2",
                       "ISO_IR 100", EVR_DS),
              "1\uFFFD"
              "2")
        << "has no character set";
    const std::string bytes(16UL * 1024, '\xFF');
    for (const char* set : {"", "ISO_IR 192", "GB18030", "ISO_IR 127", "\\ISO 2022 IR 87"}) {
        EXPECT_EQ(replaced(bytes, set, EVR_UT).size(), 3 * bytes.size()) << set;
    }
}

TEST(ConvertedText, TakesHostileTexts) {
    const std::string sets = "\\ISO 2022 IR 87\\ISO 2022 IR 149";
    std::string escapes;
    std::string changes;
    std::string letters;
    while (escapes.size() < 1024U * 1024U) {
        escapes += "\x1B$B\x1B$)C";
        changes += "\x1B$B;3\x1B$)C\xB1\xE8\x1B(B";
        letters += "\u5C71\uAE40";
    }
    EXPECT_EQ(converted(escapes, sets, EVR_UT), "");
    EXPECT_EQ(converted(changes, sets, EVR_UT), letters);
    EXPECT_EQ(converted(std::string(1024UL * 1024, '\x1B'), sets, EVR_UT), kNothing);
    EXPECT_EQ(converted(std::string(1024UL * 1024, '\xFF'), sets, EVR_UT), kNothing);
    EXPECT_TRUE(shown(std::string(1024UL * 1024, '\x1B'), sets, EVR_UT).empty());
    EXPECT_EQ(shown("\x1B$)C" + std::string(1024UL * 1024, '\xFE'), sets, EVR_UT).size(), 3 * 512UL * 1024);
}

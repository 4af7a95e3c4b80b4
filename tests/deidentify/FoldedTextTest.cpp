#include "deidentify/identifiers/FoldedText.h"

#include <gtest/gtest.h>

using radvex::deidentify::folded;
using radvex::deidentify::FoldedText;
using radvex::deidentify::withDigraphs;

TEST(FoldedText, SpellingsThatPeopleTakeForTheSameAreTheSame) {
    EXPECT_EQ(folded("MUELLER 12"), "mueller 12");
    EXPECT_EQ(folded("M\u00DCLLER"), "muller");
    EXPECT_EQ(folded("Mu\u0308ller"), "muller") << "with a mark of its own";
    EXPECT_EQ(folded("Stra\u00DFe"), "strasse");
    EXPECT_EQ(folded("STRA\u1E9EE"), "strasse");
    EXPECT_EQ(folded("Wa\u0142\u0119sa"), "walesa");
    EXPECT_EQ(folded("S\u00F8ren \u00C6r\u00F8"), "soren aero");
    EXPECT_EQ(folded("\u0130stanbul"), "istanbul");
    EXPECT_EQ(folded("\u0410\u041D\u041D\u0410"), "\u0430\u043D\u043D\u0430");
    EXPECT_EQ(folded("\u03A3\u03AF\u03C3\u03C5\u03C6\u03BF\u03C2"), "\u03C3\u03B9\u03C3\u03C5\u03C6\u03BF\u03C3");
    EXPECT_EQ(folded("\uFF21\uFF42\uFF13"), "ab3") << "of full width";
    EXPECT_EQ(folded("\uFF94\uFF8F\uFF80\uFF9E"), "\u30E4\u30DE\u30C0") << "katakana of half width";
    EXPECT_EQ(folded("Mil\u00ADler"), "miller") << "with a hyphen that nobody sees";
}

TEST(FoldedText, OtherLettersStayOthers) {
    EXPECT_NE(folded("\u304B"), folded("\u304C")) << "ka and ga";
    EXPECT_NE(folded("\u0E01\u0E34"), folded("\u0E01\u0E35")) << "vowels of Thai are marks";
    EXPECT_NE(folded("\uAC00"), folded("\uAC01"));
    EXPECT_NE(folded("o"), folded("oe"));
}

TEST(FoldedText, KnowsWhereEachByteCameFrom) {
    const FoldedText text("a\u00DFu\u0308z"); // bytes 0, 1-2, 3 with 4-5, 6
    ASSERT_EQ(text.text(), "assuz");
    const std::size_t begins[] = {0, 1, 1, 3, 6};
    const std::size_t ends[] = {1, 3, 3, 6, 7};
    for (std::size_t offset = 0; offset < 5; ++offset) {
        EXPECT_EQ(text.beginOf(offset), begins[offset]) << offset;
        EXPECT_EQ(text.endOf(offset), ends[offset]) << offset;
    }
}

TEST(FoldedText, EachByteOfInvalidTextIsACharacterOfItsOwn) {
    const std::string replacement = "\uFFFD";
    EXPECT_EQ(folded("\xFF"), replacement);
    EXPECT_EQ(folded("A\xC3"), "a" + replacement) << "cut";
    EXPECT_EQ(folded("\xE3\x81z"), replacement + replacement + "z") << "cut";
    EXPECT_EQ(folded("\xC0\xAF"), replacement + replacement) << "longer than needed";
    EXPECT_EQ(folded("\xED\xA0\x80"), replacement + replacement + replacement) << "half of a pair";
    EXPECT_EQ(folded("\xF4\x90\x80\x80").size(), 4 * replacement.size()) << "beyond Unicode";
    const FoldedText text("\xFF\xFEz");
    ASSERT_EQ(text.text().size(), 7U);
    EXPECT_EQ(text.beginOf(6), 2U);
    EXPECT_EQ(text.beginOf(5), 1U);
    EXPECT_EQ(text.endOf(5), 2U);
}

TEST(FoldedText, AnyBytesFoldAndKeepTheirPlaces) {
    unsigned state = 12345;
    for (int round = 0; round < 2000; ++round) {
        std::string bytes;
        for (int index = 0; index < 40; ++index) {
            state = state * 1664525U + 1013904223U;
            bytes += static_cast<char>(state >> 24U);
        }
        const FoldedText text(bytes);
        for (std::size_t offset = 0; offset < text.text().size(); ++offset) {
            ASSERT_LT(text.beginOf(offset), text.endOf(offset));
            ASSERT_LE(text.endOf(offset), bytes.size());
            ASSERT_GE(text.beginOf(offset), offset == 0 ? 0 : text.beginOf(offset - 1));
        }
    }
}

TEST(FoldedText, EmptyAndHugeTextsFold) {
    EXPECT_EQ(folded(""), "");
    EXPECT_EQ(folded(std::string(std::size_t{4} << 20, 'A')), std::string(std::size_t{4} << 20, 'a'));
    std::string marks = "a";
    for (int count = 0; count < 100000; ++count) {
        marks += "\u0301";
    }
    EXPECT_EQ(folded(marks), "a");
}

TEST(FoldedText, UmlautsAreSpelledWithTwoLetters) {
    EXPECT_EQ(withDigraphs("M\u00FCller \u00C4rger"), "Mueller Aerger");
    EXPECT_EQ(withDigraphs("Mu\u0308ller"), "Mueller");
    EXPECT_EQ(withDigraphs("S\u00F8ren"), "Soeren");
    EXPECT_EQ(withDigraphs("Muller \xFF"), "Muller \xFF");
}

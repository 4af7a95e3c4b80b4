// Text that is not well formed, and the arguments of the text functions.

#include <climits>

#include "tests/tether/Encodings.h"

using namespace tether::test;

namespace {

struct Malformed {
    const char* name;
    Encoding encoding;
    Units units;
};

class MalformedText : public LoopbackTest, public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedText, IsRefusedAndPutsNothing) {
    const auto& [name, encoding, units] = GetParam();
    expectFailure(putText(link, encoding, units), link, TTE_ENCODING);
    Units between = units;
    between.insert(between.begin(), 'a');
    between.push_back('b');
    expectFailure(putText(link, encoding, between), link, TTE_ENCODING);
    expectNothingLeft(link);
}

TEST_P(MalformedText, IsNotTheArgumentThatAFunctionWaitsFor) {
    const auto& [name, encoding, units] = GetParam();
    EXPECT_NE(TTPutFunction(link, "f", 1), 0);
    expectFailure(putText(link, encoding, units), link, TTE_ENCODING);
    expectFailure(TTEndPacket(link), link, TTE_SEQUENCE);
    EXPECT_NE(TTPutString(link, "well formed"), 0);
    EXPECT_NE(TTEndPacket(link), 0);
}

INSTANTIATE_TEST_SUITE_P(Texts, MalformedText,
                         ::testing::Values(
                             // UTF-8: a character is written in as few bytes as hold it
                             Malformed{"OverlongSlashInTwo", Encoding::utf8, {0xC0, 0xAF}},
                             Malformed{"OverlongZeroInTwo", Encoding::utf8, {0xC0, 0x80}},
                             Malformed{"OverlongLastOfOneByte", Encoding::utf8, {0xC1, 0xBF}},
                             Malformed{"OverlongSlashInThree", Encoding::utf8, {0xE0, 0x80, 0xAF}},
                             Malformed{"OverlongLastOfTwoBytes", Encoding::utf8, {0xE0, 0x9F, 0xBF}},
                             Malformed{"OverlongSlashInFour", Encoding::utf8, {0xF0, 0x80, 0x80, 0xAF}},
                             Malformed{"OverlongLastOfThreeBytes", Encoding::utf8, {0xF0, 0x8F, 0xBF, 0xBF}},
                             Malformed{"FirstSurrogateInUTF8", Encoding::utf8, {0xED, 0xA0, 0x80}},
                             Malformed{"LastSurrogateInUTF8", Encoding::utf8, {0xED, 0xBF, 0xBF}},
                             Malformed{"SurrogatePairInUTF8", Encoding::utf8, {0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}},
                             Malformed{"FirstBeyondUnicodeInUTF8", Encoding::utf8, {0xF4, 0x90, 0x80, 0x80}},
                             Malformed{"LeadOfFourBytesBeyond", Encoding::utf8, {0xF5, 0x80, 0x80, 0x80}},
                             Malformed{"LeadOfFiveBytes", Encoding::utf8, {0xF8, 0x88, 0x80, 0x80, 0x80}},
                             Malformed{"ByteThatNeverOccurs", Encoding::utf8, {0xFF}},
                             Malformed{"LoneContinuation", Encoding::utf8, {0x80}},
                             Malformed{"TruncatedTwo", Encoding::utf8, {0xC3}},
                             Malformed{"TruncatedThree", Encoding::utf8, {0xE2, 0x82}},
                             Malformed{"TruncatedFour", Encoding::utf8, {0xF0, 0x9F, 0x98}},
                             Malformed{"LeadInPlaceOfAContinuation", Encoding::utf8, {0xE2, 0xC3, 0xA9}},
                             Malformed{"OverlongInNative", Encoding::native, {0xC0, 0xAF}},
                             Malformed{"SurrogateInNative", Encoding::native, {0xED, 0xA0, 0x80}},
                             Malformed{"TruncatedInNative", Encoding::native, {0xF0, 0x9F, 0x98}},
                             Malformed{"BeyondUnicodeInNative", Encoding::native, {0xF4, 0x90, 0x80, 0x80}},
                             // 16 bits: surrogates stand in pairs, high before low, and not at all in UCS2
                             Malformed{"LoneHighSurrogate", Encoding::utf16, {0xD83D}},
                             Malformed{"LoneLowSurrogate", Encoding::utf16, {0xDE00}},
                             Malformed{"SurrogatesTheWrongWayRound", Encoding::utf16, {0xDE00, 0xD83D}},
                             Malformed{"TwoHighSurrogates", Encoding::utf16, {0xD83D, 0xD83D, 0xDE00}},
                             Malformed{"HighSurrogateInUCS2", Encoding::ucs2, {0xD800}},
                             Malformed{"LowSurrogateInUCS2", Encoding::ucs2, {0xDFFF}},
                             Malformed{"SurrogatePairInUCS2", Encoding::ucs2, {0xD83D, 0xDE00}},
                             // 32 bits
                             Malformed{"FirstSurrogateInUTF32", Encoding::utf32, {0xD800}},
                             Malformed{"LastSurrogateInUTF32", Encoding::utf32, {0xDFFF}},
                             Malformed{"FirstBeyondUnicodeInUTF32", Encoding::utf32, {0x110000}},
                             Malformed{"LargestUnit", Encoding::utf32, {0xFFFFFFFF}}),
                         [](const auto& tested) { return std::string(tested.param.name); });

using Text = LoopbackTest;

TEST_F(Text, EmptyTextMayComeFromNull) {
    EXPECT_NE(TTPutByteString(link, nullptr, 0), 0);
    EXPECT_NE(TTPutUTF8String(link, nullptr, 0), 0);
    EXPECT_NE(TTPutUTF16String(link, nullptr, 0), 0);
    EXPECT_NE(TTPutUCS2String(link, nullptr, 0), 0);
    EXPECT_NE(TTPutUTF32String(link, nullptr, 0), 0);
    for (int index = 0; index < 5; ++index) {
        expectString(link, "");
    }
    expectNothingLeft(link);
}

TEST_F(Text, NullWithALengthIsRefused) {
    expectFailure(TTPutString(link, nullptr), link, TTE_NULL);
    expectFailure(TTPutByteString(link, nullptr, 1), link, TTE_NULL);
    expectFailure(TTPutUTF8String(link, nullptr, 2), link, TTE_NULL);
    expectFailure(TTPutUTF16String(link, nullptr, 3), link, TTE_NULL);
    expectFailure(TTPutUCS2String(link, nullptr, 4), link, TTE_NULL);
    expectFailure(TTPutUTF32String(link, nullptr, INT_MAX), link, TTE_NULL);
    expectNothingLeft(link);
}

TEST_F(Text, ANegativeLengthIsRefused) {
    const unsigned char bytes[] = {'a', 0};
    const std::uint16_t shorts[] = {'a', 0};
    const std::uint32_t words[] = {'a', 0};
    expectFailure(TTPutByteString(link, bytes, -1), link, TTE_SEQUENCE);
    expectFailure(TTPutUTF8String(link, bytes, INT_MIN), link, TTE_SEQUENCE);
    expectFailure(TTPutUTF16String(link, shorts, -1), link, TTE_SEQUENCE);
    expectFailure(TTPutUCS2String(link, shorts, -2), link, TTE_SEQUENCE);
    expectFailure(TTPutUTF32String(link, words, -1), link, TTE_SEQUENCE);
    expectNothingLeft(link);
}

TEST_F(Text, NullTargetsConsumeNothing) {
    EXPECT_NE(TTPutString(link, "stays"), 0);
    const unsigned char* bytes = nullptr;
    const std::uint16_t* shorts = nullptr;
    int length = 0;
    expectFailure(TTGetString(link, nullptr), link, TTE_NULL);
    expectFailure(TTGetByteString(link, nullptr, &length), link, TTE_NULL);
    expectFailure(TTGetUTF8String(link, &bytes, nullptr), link, TTE_NULL);
    expectFailure(TTGetUTF16String(link, &shorts, nullptr), link, TTE_NULL);
    expectFailure(TTGetUCS2String(link, nullptr, &length), link, TTE_NULL);
    expectFailure(TTGetUTF32String(link, nullptr, nullptr), link, TTE_NULL);
    expectString(link, "stays");
}

TEST_F(Text, IsNotReadFromAnotherTypeOrFromNothing) {
    for (const Encoding encoding : kEncodings) {
        SCOPED_TRACE(nameOf(encoding));
        EXPECT_FALSE(getText(link, encoding));
        expectFailure(0, link, TTE_EMPTY);
        EXPECT_NE(TTPutSymbol(link, "x"), 0);
        EXPECT_FALSE(getText(link, encoding));
        expectFailure(0, link, TTE_TYPE);
        expectSymbol(link, "x");
    }
}

TEST_F(Text, LengthsCountUnits) {
    EXPECT_NE(putText(link, Encoding::utf32, {0x1F600, 0xE9}), 0);
    const TTMark mark = TTCreateMark(link);
    const std::pair<Encoding, std::size_t> lengths[] = {
        {Encoding::utf8, 6}, {Encoding::utf16, 3}, {Encoding::utf32, 2}};
    for (const auto& [encoding, length] : lengths) {
        EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
        EXPECT_EQ(getText(link, encoding).value_or(Units{}).size(), length) << nameOf(encoding);
    }
    TTDestroyMark(link, mark);
}

TEST_F(Text, TheLengthEndsItAndNotAZero) {
    const unsigned char bytes[] = {'a', 'b', 0, 'c', 'd'};
    EXPECT_NE(TTPutUTF8String(link, bytes, 4), 0);
    EXPECT_NE(TTPutUTF8String(link, bytes, 1), 0);
    EXPECT_FALSE(getText(link, Encoding::native)) << "its text would end at the zero";
    expectFailure(0, link, TTE_ENCODING);
    EXPECT_EQ(getText(link, Encoding::byte), (Units{'a', 'b', 0, 'c'}));
    expectString(link, "a");
}

} // namespace

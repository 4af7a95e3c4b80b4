// Each text is put in one encoding and read in another, which gives it or refuses what it cannot hold.

#include <algorithm>

#include "tests/tether/Encodings.h"

using namespace tether::test;

namespace {

/// One text in the encodings that can hold it, written out by hand.
struct Sample {
    const char* name;
    Units utf8;
    Units utf16;
    std::optional<Units> ucs2;
    Units utf32;
    std::optional<Units> byte;

    bool hasZero() const { return std::find(utf32.begin(), utf32.end(), 0U) != utf32.end(); }
    std::optional<Units> in(Encoding encoding) const {
        switch (encoding) {
        case Encoding::native: return hasZero() ? std::nullopt : std::optional(utf8);
        case Encoding::byte: return byte;
        case Encoding::utf8: return utf8;
        case Encoding::utf16: return utf16;
        case Encoding::ucs2: return ucs2;
        case Encoding::utf32: return utf32;
        }
        return std::nullopt;
    }
};

constexpr std::nullopt_t kCannot = std::nullopt;

const std::vector<Sample>& samples() {
    static const std::vector<Sample> all{
        {"Empty", {}, {}, Units{}, {}, Units{}},
        {"ASCII",
         {0x41, 0x7A, 0x7F},
         {0x41, 0x7A, 0x7F},
         Units{0x41, 0x7A, 0x7F},
         {0x41, 0x7A, 0x7F},
         Units{0x41, 0x7A, 0x7F}},
        {"LatinLetters", {0x63, 0xC3, 0xA9}, {0x63, 0xE9}, Units{0x63, 0xE9}, {0x63, 0xE9}, Units{0x63, 0xE9}},
        {"FirstAndLastOfTwoBytes", {0xC2, 0x80, 0xDF, 0xBF}, {0x80, 0x7FF}, Units{0x80, 0x7FF}, {0x80, 0x7FF}, kCannot},
        {"LastByteCharacter", {0xC3, 0xBF}, {0xFF}, Units{0xFF}, {0xFF}, Units{0xFF}},
        {"FirstBeyondBytes", {0xC4, 0x80}, {0x100}, Units{0x100}, {0x100}, kCannot},
        {"EuroSign", {0x31, 0xE2, 0x82, 0xAC}, {0x31, 0x20AC}, Units{0x31, 0x20AC}, {0x31, 0x20AC}, kCannot},
        {"FirstOfThreeBytes", {0xE0, 0xA0, 0x80}, {0x800}, Units{0x800}, {0x800}, kCannot},
        {"AroundTheSurrogates",
         {0xED, 0x9F, 0xBF, 0xEE, 0x80, 0x80},
         {0xD7FF, 0xE000},
         Units{0xD7FF, 0xE000},
         {0xD7FF, 0xE000},
         kCannot},
        {"ByteOrderMarkIsACharacter",
         {0xEF, 0xBB, 0xBF, 0x61},
         {0xFEFF, 0x61},
         Units{0xFEFF, 0x61},
         {0xFEFF, 0x61},
         kCannot},
        {"LastOfThreeBytes", {0xEF, 0xBF, 0xBF}, {0xFFFF}, Units{0xFFFF}, {0xFFFF}, kCannot},
        {"FirstOfFourBytes", {0xF0, 0x90, 0x80, 0x80}, {0xD800, 0xDC00}, kCannot, {0x10000}, kCannot},
        {"GrinningFace",
         {0x61, 0xF0, 0x9F, 0x98, 0x80, 0x62},
         {0x61, 0xD83D, 0xDE00, 0x62},
         kCannot,
         {0x61, 0x1F600, 0x62},
         kCannot},
        {"LastCodePoint", {0xF4, 0x8F, 0xBF, 0xBF}, {0xDBFF, 0xDFFF}, kCannot, {0x10FFFF}, kCannot},
        {"ZeroInside",
         {0x61, 0x00, 0xC3, 0xA9},
         {0x61, 0x00, 0xE9},
         Units{0x61, 0x00, 0xE9},
         {0x61, 0x00, 0xE9},
         Units{0x61, 0x00, 0xE9}},
    };
    return all;
}

class EveryEncoding : public LoopbackTest, public ::testing::WithParamInterface<Sample> {};

TEST_P(EveryEncoding, GivesWhatItCanHoldAndRefusesTheRest) {
    const Sample& sample = GetParam();
    for (const Encoding put : kEncodings) {
        if (!sample.in(put)) {
            continue;
        }
        for (const Encoding get : kEncodings) {
            SCOPED_TRACE(std::string(nameOf(put)) + " to " + nameOf(get));
            EXPECT_NE(putText(link, put, *sample.in(put)), 0);
            const std::optional<Units> units = getText(link, get);
            EXPECT_EQ(units, sample.in(get));
            if (!units) {
                EXPECT_EQ(TTError(link), TTE_ENCODING);
                TTClearError(link);
                EXPECT_EQ(getText(link, Encoding::utf32), sample.utf32) << "the text that was refused is gone";
            }
        }
    }
    expectNothingLeft(link);
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryEncoding, ::testing::ValuesIn(samples()),
                         [](const auto& tested) { return std::string(tested.param.name); });

class EveryCodePoint : public LoopbackTest {};

TEST_F(EveryCodePoint, GoesThroughTheEncodingsThatHoldAllAndBack) {
    for (const auto& [first, last] : {std::pair<std::uint32_t, std::uint32_t>{0, 0xD7FF}, {0xE000, 0x10FFFF}}) {
        Units all;
        for (std::uint32_t codePoint = first; codePoint <= last; ++codePoint) {
            all.push_back(codePoint);
        }
        Units units = all;
        Encoding from = Encoding::utf32;
        for (const Encoding to : {Encoding::utf8, Encoding::utf16, Encoding::utf32}) {
            EXPECT_NE(putText(link, from, units), 0);
            units = getText(link, to).value_or(Units{});
            from = to;
        }
        EXPECT_TRUE(units == all);
    }
}

} // namespace

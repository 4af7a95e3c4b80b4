#include "guard/pixels/JpegSegments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using radvex::JpegSegments;

namespace {

JpegSegments segmentsOf(const std::vector<std::string>& fragments) {
    JpegSegments segments;
    for (const std::string& fragment : fragments) {
        segments.add({reinterpret_cast<const Uint8*>(fragment.data()), fragment.size()});
    }
    segments.finish();
    return segments;
}

bool isImpossible(const std::vector<std::string>& fragments) { return !segmentsOf(fragments).problem().empty(); }

std::string segment(char kind, const std::string& content) {
    const std::size_t length = 2 + content.size();
    return {std::string("\xFF") + kind + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) + content};
}

const std::string kStart = "\xFF\xD8";
const std::string kFrame = segment('\xC0', std::string("\x08\0\x10\0\x10\x01\x01\x11\0", 9)); // 16 x 16, one component
const std::string kTable = segment('\xC4', std::string(17, '\0'));
const std::string kComment = segment('\xFE', std::string(40, 'c'));
const std::string kBadTable = segment('\xC4', '\x05' + std::string(16, '\0')); // of a number that there is not
const std::string kEnd = "\xFF\xD9";
const std::string kRest = "compressed data, " + std::string(40, 'x');

} // namespace

TEST(JpegSegments, TellsTheMemoryOfTheLargestFrame) {
    EXPECT_EQ(segmentsOf({kStart + kFrame + kRest}).largestFrame(), 16.0 * 16 * 2);
    EXPECT_FALSE(isImpossible({kStart + kTable + kComment + kFrame + kRest}));
}

TEST(JpegSegments, TellTheMostBitsOfASample) {
    const auto frame = [](char bits) { return segment('\xC1', bits + std::string("\0\x10\0\x10\x01\x01\x11\0", 8)); };
    EXPECT_EQ(segmentsOf({kStart + kFrame + kRest}).mostBits(), 8);
    EXPECT_EQ(segmentsOf({kStart + kFrame + kRest, kStart + frame(12) + kRest}).mostBits(), 12);
}

TEST(JpegSegments, DifferencesOfSixteenBitsAreForLosslessFramesOnly) {
    const auto table = [](char bits) { return segment('\xC4', '\0' + ('\x01' + std::string(15, '\0')) + bits); };
    const auto frame = [](char kind) { return segment(kind, std::string("\x08\0\x10\0\x10\x01\x01\x11\0", 9)); };
    EXPECT_FALSE(isImpossible({kStart + table('\x10') + frame('\xC3') + kRest}));
    EXPECT_TRUE(isImpossible({kStart + table('\x11') + frame('\xC3') + kRest}));
    for (const char kind : {'\xC0', '\xC1', '\xC2'}) {
        EXPECT_FALSE(isImpossible({kStart + table('\x0F') + frame(kind) + kRest}));
        EXPECT_TRUE(isImpossible({kStart + table('\x10') + frame(kind) + kRest}));
        EXPECT_TRUE(isImpossible({kStart + frame(kind) + table('\x10') + kRest})) << "in the other order";
    }
}

TEST(JpegSegments, ManyScansOfALargeFrameAreGivenUp) {
    const std::string large = segment('\xC2', std::string("\x08\x27\x10\x27\x10\x01\x01\x11\0", 9)); // 10,000 x 10,000
    const std::string scan = segment('\xDA', std::string("\x01\x01\0\0\0\0", 6));
    std::string scans;
    for (int number = 0; number < 16; ++number) {
        scans += scan;
    }
    EXPECT_FALSE(isImpossible({kStart + large + scans + kRest}));
    EXPECT_TRUE(isImpossible({kStart + large + scans + scan + kRest}));
    EXPECT_FALSE(isImpossible({kStart + kFrame + scans + scan + kRest})) << "a small frame";
    EXPECT_FALSE(isImpossible({kStart + large + scans, kStart + large + scans})) << "of two frames";
}

TEST(JpegSegments, TablesAndFramesMayGoOnInOneFragmentButNoMore) {
    for (const std::string& whole : {kTable, kFrame}) {
        for (std::size_t first = 1; first < whole.size(); ++first) {
            EXPECT_FALSE(isImpossible({kStart + whole.substr(0, first), whole.substr(first) + kRest})) << first;
            for (std::size_t second = first + 1; second < whole.size(); ++second) {
                EXPECT_TRUE(isImpossible({kStart + whole.substr(0, first), whole.substr(first, second - first),
                                          whole.substr(second) + kRest}))
                    << first << ' ' << second;
            }
        }
    }
    EXPECT_FALSE(isImpossible({kStart + kComment.substr(0, 20), kComment.substr(20) + kTable, kFrame, kRest}));
}

TEST(JpegSegments, WhatIsSkippedInAnotherFragmentMustNotEndWithIt) {
    EXPECT_FALSE(isImpossible({kStart + kComment, kFrame + kRest})) << "its own fragment";
    for (std::size_t cut = 4; cut < kComment.size(); ++cut) {
        const std::string first = kStart + kComment.substr(0, cut);
        const std::string last = kComment.substr(cut);
        EXPECT_TRUE(isImpossible({first, last})) << cut;
        EXPECT_TRUE(isImpossible({first, last, kFrame + kRest})) << cut;
        EXPECT_FALSE(isImpossible({first, last + kFrame, kRest})) << cut;
    }
    EXPECT_TRUE(isImpossible({kStart + kComment.substr(0, 20), kComment.substr(20, 5), kComment.substr(25), kRest}));
    EXPECT_FALSE(isImpossible({kStart + kComment.substr(0, 20), kComment.substr(20, 5), kComment.substr(25) + kRest}));
    EXPECT_TRUE(isImpossible({kStart + kComment.substr(0, 3), kComment.substr(3, 1), kComment.substr(4) + kRest}))
        << "its length in two, and more";
}

TEST(JpegSegments, AreFollowedThroughManyFragments) {
    // More than what is looked at in one go, so that what is left over is looked at with what follows.
    std::vector<std::string> fragments{kStart + kComment.substr(0, 20), kComment.substr(20) + kRest};
    for (int number = 0; number < 40; ++number) {
        fragments.push_back(std::string(100'000, 'x') + kTable.substr(0, 7));
        fragments.push_back(kTable.substr(7) + kRest);
    }
    EXPECT_FALSE(isImpossible(fragments));
    fragments.push_back(kTable.substr(0, 7));
    fragments.push_back(kTable.substr(7, 2));
    fragments.push_back(kTable.substr(9));
    EXPECT_TRUE(isImpossible(fragments));
}

TEST(JpegSegments, ManyThatOverlapAreGivenUp) {
    std::string overlapping;
    while (overlapping.size() < 900'000) {
        overlapping += "\xFF\xC4\xFF\xF0" + std::string(16, '\0');
    }
    EXPECT_TRUE(isImpossible({kStart + kTable.substr(0, 7), kTable.substr(7) + overlapping}));
}

TEST(JpegSegments, WhatIsSkippedIsNotInspectedInAnotherFragmentEither) {
    const std::string bytes = std::string(14, 'p') + kBadTable + std::string(10, 'p');
    for (const char kind : {'\xE0', '\xE2', '\xEF', '\xFE'}) {
        const std::string skipped = segment(kind, bytes);
        for (std::size_t cut = 18; cut < skipped.size(); ++cut) {
            const std::string first = kStart + skipped.substr(0, cut);
            const std::string last = skipped.substr(cut);
            EXPECT_FALSE(isImpossible({first, last + kFrame + kRest})) << cut;
            EXPECT_TRUE(isImpossible({first, last + kBadTable + kRest})) << cut << ", a table behind it";
            EXPECT_TRUE(isImpossible({first, last, kFrame + kRest})) << cut << ", to the end of a fragment";
            EXPECT_TRUE(isImpossible({kEnd + skipped.substr(0, cut), kBadTable + skipped})) << cut << ", another frame";
        }
        const std::string third = skipped.substr(40);
        EXPECT_FALSE(isImpossible({kStart + skipped.substr(0, 20), skipped.substr(20, 20), third + kFrame + kRest}));
        EXPECT_TRUE(isImpossible({kStart + skipped.substr(0, 20), skipped.substr(20, 20), third, kFrame + kRest}));
    }
}

// An offset table may say that a frame begins there.
TEST(JpegSegments, AFrameThatBeginsAmongSkippedBytesIsInspected) {
    const std::string skipped = segment('\xE2', std::string(20, 'p') + kStart + kBadTable + std::string(30, 'p'));
    EXPECT_FALSE(isImpossible({kStart + skipped + kFrame + kRest}));
    EXPECT_FALSE(isImpossible({kStart + skipped.substr(0, 23), skipped.substr(23) + kFrame + kRest}));
    EXPECT_TRUE(isImpossible({kStart + skipped.substr(0, 24), skipped.substr(24) + kFrame + kRest}));
    const std::string plain = segment('\xE2', std::string(20, 'p') + kStart + std::string(30, 'p'));
    EXPECT_TRUE(isImpossible({kStart + plain.substr(0, 24), plain.substr(24, 10), plain.substr(34), kRest}))
        << "and the segment still ends with a fragment";
}

TEST(JpegSegments, MayStartWithTheLastByteOfAFragment) {
    const std::string application = segment('\xE2', kBadTable);
    EXPECT_TRUE(isImpossible({kStart + kBadTable.substr(0, 1), kBadTable.substr(1) + kRest}));
    EXPECT_TRUE(isImpossible({kStart + "\xFF", kBadTable + kRest})) << "filled";
    for (const std::string& next : {std::string(1, '\0'), std::string("\xD0")}) {
        const std::string end = kStart + kFrame + kRest + "\xFF";
        EXPECT_FALSE(isImpossible({end, next + kRest + kEnd, kStart + application + kFrame + kRest}));
        EXPECT_TRUE(isImpossible({end, next + kRest + kEnd, kStart + kBadTable + kFrame + kRest}));
        EXPECT_TRUE(isImpossible({end, next + kBadTable + kRest}));
    }
}

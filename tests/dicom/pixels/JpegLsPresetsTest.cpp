#include "dicom/pixels/JpegLsPresets.h"

#include <gtest/gtest.h>

#include <string>

using radvex::JpegLsPresets;

namespace {

bool areImpossible(const std::vector<std::string>& fragments) {
    JpegLsPresets presets;
    for (const std::string& fragment : fragments) {
        presets.add({reinterpret_cast<const Uint8*>(fragment.data()), fragment.size()});
    }
    return presets.areImpossible();
}

std::string word(unsigned number) { return {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)}; }

std::string frameOf(char bits) { return std::string("\xFF\xD8\xFF\xF7\0\x0B", 6) + bits + std::string(8, '\0'); }

std::string presetOf(unsigned highest, unsigned reset) {
    return std::string("\xFF\xF8\0\x0D\x01", 5) + word(highest) + word(3) + word(7) + word(21) + word(reset);
}

const std::string kCoded(40, 'x');

} // namespace

TEST(JpegLsPresets, ArePossibleWithTheUsualResetAndSamplesOfTheirBits) {
    EXPECT_FALSE(areImpossible({frameOf(8) + kCoded}));
    EXPECT_FALSE(areImpossible({frameOf(8) + presetOf(0, 0) + kCoded}));
    EXPECT_FALSE(areImpossible({frameOf(8) + presetOf(255, 64) + kCoded}));
    EXPECT_FALSE(areImpossible({frameOf(16) + presetOf(65535, 64) + kCoded}));
    EXPECT_TRUE(areImpossible({frameOf(8) + presetOf(256, 64) + kCoded}));
    EXPECT_TRUE(areImpossible({frameOf(12) + presetOf(4096, 64) + kCoded}));
    for (const unsigned reset : {1U, 63U, 65U, 256U, 32768U, 65535U}) {
        EXPECT_TRUE(areImpossible({frameOf(8) + presetOf(255, reset) + kCoded})) << reset;
    }
}

TEST(JpegLsPresets, AreFoundInAnyFragments) {
    const std::string stream = frameOf(8) + presetOf(255, 63) + kCoded;
    const std::string possible = frameOf(8) + presetOf(255, 64) + kCoded;
    for (std::size_t first = 0; first <= stream.size(); ++first) {
        EXPECT_TRUE(areImpossible({stream.substr(0, first), stream.substr(first)})) << first;
        EXPECT_FALSE(areImpossible({possible.substr(0, first), possible.substr(first)})) << first;
    }
    std::vector<std::string> single;
    for (const char byte : stream) {
        single.emplace_back(1, byte);
    }
    EXPECT_TRUE(areImpossible(single));
}

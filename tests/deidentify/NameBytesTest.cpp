#include "deidentify/identifiers/NameBytes.h"

#include <gtest/gtest.h>

#include <random>

#include "deidentify/identifiers/ByteSearch.h"
#include "deidentify/identifiers/IdentifierFinder.h"

using namespace radvex::deidentify;

namespace {

using Kind = IdentifierKind;

const std::string kYamadaInShiftJis = "\x8E\x52\x93\x63";
const std::string kKimInEucKr = "\xB1\xE8\xC8\xF1\xC1\xDF";
const std::string kYamadaInJis = ";3ED";
const std::string kPetrovInIso5 = "\xBF\xD5\xE2\xE0\xDE\xD2";
const std::string kIvanInIso5 = "\xB8\xD2\xD0\xDD";

IdentifierFinder finderOf(const std::string& bytes, bool isUnspaced) {
    KnownIdentifiers known;
    known.add(NameBytes{Kind::PatientName, bytes, isUnspaced});
    return IdentifierFinder(known);
}

/// Whether the name is found in bytes that are too many for a text, behind some that no text has.
bool isInLongBytes(const std::string& name, bool isUnspaced, const std::string& bytes) {
    const std::string noText(5000, '\x01');
    return finderOf(name, isUnspaced).findInBytes(noText + bytes + noText).has_value();
}

bool isInText(const std::string& name, bool isUnspaced, const std::string& text) {
    return finderOf(name, isUnspaced).findNameBytesIn(text).has_value();
}

} // namespace

TEST(NameBytes, OfAScriptWithoutSpacesAreFoundBesideAnything) {
    EXPECT_TRUE(isInText(kYamadaInShiftJis, true, "CT" + kYamadaInShiftJis + "\x97\x6C"));
    EXPECT_TRUE(isInText(kKimInEucKr, true, kKimInEucKr + "\xB4\xD4"));
    EXPECT_TRUE(isInLongBytes(kKimInEucKr, true, "CT" + kKimInEucKr + "\xB4\xD4"));
    EXPECT_FALSE(isInText(kKimInEucKr, true, kKimInEucKr.substr(0, 5)));
    EXPECT_FALSE(isInText(kKimInEucKr, true, "\xB1\xE8\xC8\xF1\xC1\xDE"));
}

TEST(NameBytes, OfAnotherScriptAreWholeWords) {
    EXPECT_TRUE(isInText(kPetrovInIso5, false, "CT " + kPetrovInIso5 + ", x"));
    EXPECT_TRUE(isInText(kPetrovInIso5, false, kPetrovInIso5));
    EXPECT_TRUE(isInLongBytes(kPetrovInIso5, false, kPetrovInIso5));
    for (const std::string& other : {kPetrovInIso5 + "\xD0", "\xD0" + kPetrovInIso5, kPetrovInIso5 + "s"}) {
        EXPECT_FALSE(isInText(kPetrovInIso5, false, other)) << other;
        EXPECT_FALSE(isInLongBytes(kPetrovInIso5, false, other)) << other;
    }
}

TEST(NameBytes, AFewBytesAmongPixelsNeedSeparatorsOnBothSides) {
    for (const bool isUnspaced : {false, true}) {
        const std::string name = isUnspaced ? kYamadaInShiftJis : kIvanInIso5;
        for (const std::string& before : std::vector<std::string>{" ", "^", std::string(1, '\0')}) {
            EXPECT_TRUE(isInLongBytes(name, isUnspaced, before + name + " ")) << before;
            EXPECT_TRUE(isInLongBytes(name, isUnspaced, before + name + "\x08" + std::string(1, '\0'))) << before;
            EXPECT_FALSE(isInLongBytes(name, isUnspaced, before + name)) << "a byte of no text follows";
            EXPECT_FALSE(isInLongBytes(name, isUnspaced, before + name + "\xA5")) << before;
        }
        EXPECT_FALSE(isInLongBytes(name, isUnspaced, name + " "));
    }
}

TEST(NameBytes, OfAsciiAreFoundBehindAnEscapeSequence) {
    EXPECT_TRUE(isInText(kYamadaInJis, true, "CT \x1B$B;3ED\x1B(B"));
    EXPECT_TRUE(isInText(kYamadaInJis, true, "\x1B$B\x34\x35;3EDMM\x1B(B"));
    EXPECT_TRUE(isInText(kYamadaInJis, true, "\x1B$(D;3ED"));
    EXPECT_TRUE(isInLongBytes(kYamadaInJis, true, "\x1B$B;3ED\x1B(B"));
    EXPECT_FALSE(isInText(kYamadaInJis, true, "CT ;3ED"));
    EXPECT_FALSE(isInText(kYamadaInJis, true, "\x1B$B\x34\x35\x1B(B;3ED")) << "behind the way back to ASCII";
    EXPECT_FALSE(isInText(kYamadaInJis, true, "\x1B$B\x34\x35\n;3ED")) << "another line";
    EXPECT_TRUE(isInText(";3EDB@O:", true, "CT ;3EDB@O:")) << "long enough to be no chance";
}

TEST(NameBytes, AreFoundAcrossTheSeamsOfPieces) {
    const IdentifierFinder finder = finderOf(kYamadaInShiftJis, true);
    const std::size_t block = std::size_t{1} << 16;
    for (std::size_t begin = block - 6; begin < block + 6; ++begin) {
        std::string bytes(3 * block, '\xA5');
        bytes.replace(begin, 6, " " + kYamadaInShiftJis + " ");
        for (const std::size_t size : {std::size_t{1000}, block, bytes.size()}) {
            ByteSearch search(finder);
            bool isFound = false;
            for (std::size_t from = 0; from < bytes.size(); from += size) {
                isFound = search.add(std::string_view(bytes).substr(from, size)).has_value() || isFound;
            }
            EXPECT_TRUE(isFound || search.finish().has_value()) << begin << ' ' << size;
        }
        bytes[begin + 5] = '\xA5';
        EXPECT_FALSE(finder.findInBytes(bytes).has_value()) << begin;
    }
    // Where the bytes that are kept between two blocks begin and end.
    for (std::size_t begin = block + 1024 - 8; begin < block + 1024 + 8; ++begin) {
        std::string bytes(3 * block, '\xA5');
        bytes.replace(begin, 6, " " + kYamadaInShiftJis + " ");
        EXPECT_TRUE(finder.findInBytes(bytes).has_value()) << begin;
        bytes[begin + 5] = '\xA5';
        EXPECT_FALSE(finder.findInBytes(bytes).has_value()) << begin;
    }
}

TEST(NameBytes, AreNotInNoise) {
    KnownIdentifiers known;
    std::mt19937 random(7);
    const auto any = [&](std::size_t size) {
        std::string bytes;
        for (std::size_t index = 0; index < size; ++index) {
            bytes += static_cast<char>(0x81 + random() % 0x7C);
        }
        return bytes;
    };
    for (int number = 0; number < 500; ++number) {
        known.add(NameBytes{Kind::PatientName, any(4), true});
        known.add(NameBytes{Kind::PatientName, any(6), true});
    }
    known.add(NameBytes{Kind::PatientName, kKimInEucKr, true});
    const IdentifierFinder finder(known);
    for (int round = 0; round < 16; ++round) {
        std::string bytes(std::size_t{1} << 19, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random() & 0xFFU);
        }
        EXPECT_FALSE(finder.findInBytes(bytes).has_value()) << round;
        bytes.replace(static_cast<std::size_t>(30011 * round + round), kKimInEucKr.size(), kKimInEucKr);
        EXPECT_TRUE(finder.findInBytes(bytes).has_value()) << round;
    }
}

TEST(NameBytes, OfVeryManyShortNamesAreNotLookedForAmongPixels) {
    KnownIdentifiers known;
    for (unsigned number = 0; number < 2000; ++number) {
        const std::string bytes{'\x90', static_cast<char>(0x81 + number / 100), '\x90',
                                static_cast<char>(0x81 + number % 100)};
        known.add(NameBytes{Kind::PatientName, bytes, true});
    }
    const IdentifierFinder finder(known);
    const std::string name = " \x90\x82\x90\x83 ";
    EXPECT_TRUE(finder.findInBytes(name).has_value()) << "a text";
    EXPECT_FALSE(finder.findInBytes(std::string(5000, '\x01') + name + std::string(5000, '\x01')).has_value());
}

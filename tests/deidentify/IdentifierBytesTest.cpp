#include <gtest/gtest.h>

#include <random>

#include "deidentify/identifiers/ByteSearch.h"
#include "deidentify/identifiers/IdentifierFinder.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::deidentify;
using radvex::test::TemporaryFolder;

namespace {

using Kind = IdentifierKind;

IdentifierFinder finderOf(Kind kind, const std::string& text) {
    KnownIdentifiers known;
    known.add(kind, text);
    return IdentifierFinder(known);
}

/// UTF-16 of a text whose characters are all below U+0100.
std::string wide(const std::string& latin1, bool isBigEndian) {
    std::string bytes;
    for (const char byte : latin1) {
        bytes += isBigEndian ? std::string(1, '\0') + byte : std::string(1, byte) + '\0';
    }
    return bytes;
}

std::string noise(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0xFFU);
    }
    return bytes;
}

/// Whether a text is found at each of some places in bytes that are no text.
bool isFoundEverywhere(const IdentifierFinder& finder, const std::string& encoded) {
    for (std::size_t begin = 100; begin < 130; ++begin) {
        std::string bytes(300, '\x01');
        bytes.replace(begin, encoded.size(), encoded);
        if (!finder.findInBytes(bytes).has_value()) {
            return false;
        }
    }
    return true;
}

bool isIn(Kind kind, const std::string& identifier, const std::string& bytes) {
    return finderOf(kind, identifier).findInBytes(bytes).has_value();
}

} // namespace

TEST(IdentifierBytes, FindsEveryEncodingAtEveryOffset) {
    const IdentifierFinder finder = finderOf(Kind::PatientName, "M\u00FCller-\u00C5berg^Hans");
    for (const std::string text : {"M\xFCller\x2D\xC5"
                                   "berg",
                                   "M\xDCLLER HANS", "Hans M\xFCller"}) {
        EXPECT_TRUE(isFoundEverywhere(finder, text)) << text;
        EXPECT_TRUE(isFoundEverywhere(finder, wide(text, false))) << text;
        EXPECT_TRUE(isFoundEverywhere(finder, wide(text, true))) << text;
    }
    for (const std::string text : {"M\u00FCller-\u00C5berg", "MUELLER", "mulleraberghans", "Muller, Hans"}) {
        EXPECT_TRUE(isFoundEverywhere(finder, text)) << text;
    }
    const IdentifierFinder plain = finderOf(Kind::PatientId, "AB123456");
    for (const std::string text : {"AB123456", "ab123456"}) {
        EXPECT_TRUE(isFoundEverywhere(plain, text)) << text;
        EXPECT_TRUE(isFoundEverywhere(plain, wide(text, false))) << text;
        EXPECT_TRUE(isFoundEverywhere(plain, wide(text, true))) << text;
    }
    EXPECT_FALSE(isFoundEverywhere(plain, "AB123457"));
    EXPECT_FALSE(isFoundEverywhere(plain, wide("AB123457", true)));
}

TEST(IdentifierBytes, FindsOtherScripts) {
    const IdentifierFinder finder = finderOf(Kind::PatientName, "\u5C71\u7530^\u592A\u90CE");
    EXPECT_TRUE(isFoundEverywhere(finder, "\u5C71\u7530\u592A\u90CE"));
    EXPECT_TRUE(isFoundEverywhere(finder, "\x71\x5C\x30\x75\x2A\x59\xCE\x90"));
    EXPECT_TRUE(isFoundEverywhere(finder, "\x5C\x71\x75\x30\x59\x2A\x90\xCE"));
    EXPECT_FALSE(isFoundEverywhere(finder, "\u5C71\u7530")) << "two characters may be chance";
    const IdentifierFinder cyrillic =
        finderOf(Kind::PatientName, "\u0418\u0432\u0430\u043D\u043E\u0432^\u0418\u0433\u043E\u0440\u044C");
    EXPECT_TRUE(isFoundEverywhere(cyrillic, "\u0418\u0412\u0410\u041D\u041E\u0412"));
}

TEST(IdentifierBytes, LooksOnlyForWhatIsNoChance) {
    EXPECT_TRUE(isIn(Kind::PatientId, "12345678",
                     "\x01"
                     "12345678\x01"));
    EXPECT_FALSE(isIn(Kind::PatientId, "1234567",
                      "\x01"
                      "1234567\x01"));
    EXPECT_TRUE(isIn(Kind::PatientName, "Schmidt", "\x01schmidt\x01"));
    EXPECT_FALSE(isIn(Kind::PatientName, "Schmid^X", "\x01schmid\x01"));
    EXPECT_TRUE(isIn(Kind::PatientName, "Lee^Ann", "Ann Lee"));
    EXPECT_FALSE(isIn(Kind::PatientName, "Lee^Ann", "Ann or Lee"));
    for (const std::string spelling : {"mcdonald", "MCDONALD", "Mcdonald", "McDonald", "JMcdonald"}) {
        EXPECT_TRUE(isIn(Kind::PatientName, "McDonald^James", spelling)) << spelling;
    }
    for (const std::string spelling : {"mcDonald", "McDonalD", "MCdONALD", "MCdoNald"}) {
        EXPECT_FALSE(isIn(Kind::PatientName, "McDonald^James", spelling)) << spelling;
    }
    for (const std::string date : {"1970-03-05", "1970.03.05", "05.03.1970", "05-03-1970"}) {
        EXPECT_TRUE(isIn(Kind::BirthDate, "19700305", "\x01" + date + "\x01")) << date;
        EXPECT_FALSE(isIn(Kind::OtherDate, "19700305", "\x01" + date + "\x01")) << date;
    }
    EXPECT_FALSE(isIn(Kind::BirthDate, "19700305",
                      "\x01"
                      "19700305\x01"));
    EXPECT_TRUE(isIn(Kind::Telephone, "030 1234567", "(030) 123 45 67"));
    EXPECT_FALSE(isIn(Kind::Telephone, "1234567", "1234567"));
    EXPECT_TRUE(isIn(Kind::Address, "Main Street 5\nBern", "at main street 5."));
    EXPECT_TRUE(isIn(Kind::Organization, "Praxis am Ring", "PRAXIS AM RING"));
    EXPECT_FALSE(isIn(Kind::Organization, "Curavita", "Curavital"));
}

TEST(IdentifierBytes, FindsWholeWordsOnly) {
    EXPECT_TRUE(
        isIn(Kind::Uid, "1.2.840.77", "UI\x0A" + std::string(1, '\0') + "1.2.840.77" + std::string(1, '\0') + "x"));
    EXPECT_FALSE(isIn(Kind::Uid, "1.2.840.77", "1.2.840.77.1"));
    EXPECT_FALSE(isIn(Kind::Uid, "1.2.840.77", "1.2.840.778"));
    EXPECT_FALSE(isIn(Kind::PatientName, "Schmidt", "Schmidtke"));
    EXPECT_FALSE(isIn(Kind::PatientName, "Schmidt", wide("Schmidtke", false)));
}

TEST(IdentifierBytes, FindsAcrossTheSeamsOfPieces) {
    const IdentifierFinder finder = finderOf(Kind::PatientId, "MRN-00000042");
    const std::string encoded = wide("MRN-00000042", false);
    std::string bytes(200, '\x02');
    bytes.replace(90, encoded.size(), encoded);
    for (std::size_t piece = 1; piece < 40; ++piece) {
        ByteSearch search(finder);
        bool isFound = false;
        for (std::size_t begin = 0; begin < bytes.size(); begin += piece) {
            isFound = search.add(std::string_view(bytes).substr(begin, piece)).has_value() || isFound;
        }
        EXPECT_TRUE(isFound || search.finish().has_value()) << piece;
    }
}

TEST(IdentifierBytes, FindsWholeWordsAtTheEndsOfBlocksOfAFile) {
    const TemporaryFolder folder;
    const IdentifierFinder finder = finderOf(Kind::PatientId, "MRN-00000042");
    const std::size_t block = std::size_t{1} << 16;
    for (std::size_t begin = block - 14; begin < block + 3; ++begin) {
        std::string bytes(2 * block + 5000, '\xA5');
        bytes.replace(begin, 12, "MRN-00000042");
        EXPECT_TRUE(finder.findInFile(folder.write("a", bytes)).has_value()) << begin;
        bytes[begin + 12] = '3';
        EXPECT_FALSE(finder.findInFile(folder.write("a", bytes)).has_value()) << begin;
        bytes[begin + 12] = '\xA5';
        bytes[begin - 1] = 'x';
        EXPECT_FALSE(finder.findInFile(folder.write("a", bytes)).has_value()) << begin;
    }
    // Where the bytes that are kept between two blocks end.
    for (std::size_t begin = block + 1024 + 4 * 12 - 14; begin < block + 1024 + 4 * 12 + 3; ++begin) {
        std::string bytes(2 * block + 5000, '\xA5');
        bytes.replace(begin, 12, "MRN-00000042");
        EXPECT_TRUE(finder.findInFile(folder.write("a", bytes)).has_value()) << begin;
        bytes[begin + 12] = '3';
        EXPECT_FALSE(finder.findInFile(folder.write("a", bytes)).has_value()) << begin;
    }
    EXPECT_THROW((void)finder.findInFile(folder.file("missing")), std::runtime_error);
}

TEST(IdentifierBytes, FindsNothingInNoiseAndEverythingPlantedInIt) {
    KnownIdentifiers known;
    for (int number = 0; number < 3000; ++number) {
        known.add(Kind::PatientName, "Name" + std::to_string(number) + "^Bo");
        known.add(Kind::PatientId, "ID" + std::to_string(1000000 + number));
    }
    known.add(Kind::Telephone, "030 1234567");
    known.add(Kind::BirthDate, "19700305");
    const IdentifierFinder finder(known);
    for (unsigned seed = 0; seed < 40; ++seed) {
        std::string bytes = noise(std::size_t{1} << 18, seed);
        EXPECT_FALSE(finder.findInBytes(bytes).has_value()) << seed;
        const std::string planted = std::string(2, '\0') + wide("ID1000017", seed % 2 == 0) + std::string(2, '\0');
        bytes.replace(1000 * seed + seed, planted.size(), planted);
        EXPECT_TRUE(finder.findInBytes(bytes).has_value()) << seed;
    }
}

TEST(IdentifierBytes, FindsNothingInOrOfNothing) {
    EXPECT_FALSE(IdentifierFinder(KnownIdentifiers{}).findInBytes("Schmidt").has_value());
    EXPECT_FALSE(isIn(Kind::PatientName, "Schmidt", ""));
    EXPECT_FALSE(isIn(Kind::PatientName, "Schmidt", "S"));
    EXPECT_TRUE(isIn(Kind::PatientName, "Schmidt", "Schmidt")) << "at both ends";
}

#include <gtest/gtest.h>

#include <chrono>

#include "tests/deidentify/FoundTexts.h"

using namespace radvex::deidentify;
using radvex::test::finderOf;
using radvex::test::found;
using radvex::test::name;
using radvex::test::Texts;

namespace {

using Kind = IdentifierKind;

Texts id(const std::string& identifier, const std::string& text) { return found(Kind::PatientId, identifier, text); }

} // namespace

TEST(GluedWords, FindsAnIdWithAndWithoutSeparatorsBetweenLettersAndDigits) {
    EXPECT_EQ(id("AB123", "AB-123, AB 123; ab_123 Ab123 AB.123"),
              (Texts{"AB-123", "AB 123", "ab_123", "Ab123", "AB.123"}));
    EXPECT_EQ(id("AB-12345", "AB12345 ab12345.dcm"), (Texts{"AB12345", "ab12345"}));
    EXPECT_EQ(id("12AB-345C", "12AB345C 12-AB-345-C"), (Texts{"12AB345C", "12-AB-345-C"}));
    EXPECT_EQ(found(Kind::Device, "SN-4711", "sn4711"), Texts{"sn4711"});
    EXPECT_EQ(id("AB123", "A-B123 AB1-23 AB-1234 CAB-123 AB 12 3 AB, 123 AB-123x AB123x xAB123 AB-0123"), Texts{});
    EXPECT_EQ(id("A:12#345", "A12#345 A:12345"), Texts{}) << "separators that belong to the ID";
}

TEST(GluedWords, NeverPartsDigits) {
    EXPECT_EQ(id("12-34567", "1234567"), Texts{});
    EXPECT_EQ(id("1234567", "12-34567 12 34567"), Texts{});
}

TEST(GluedWords, FindsALongNumberBesideLetters) {
    for (const std::string identifier : {"12345", "0012345"}) {
        EXPECT_EQ(id(identifier, "ID12345 MRN12345 P12345X x12345y.dcm pat_12345a"), Texts(5, "12345"));
        EXPECT_EQ(id(identifier, "ID123456 ID112345 1.2.12345.3 x12345.6 1.12345x 6.12345 ID1234 ID012345"), Texts{});
    }
    EXPECT_EQ(id("0012345", "ID0012345"), Texts{"0012345"});
    EXPECT_EQ(id("1234", "ID1234 1234X MRN1234"), Texts{}) << "four digits are many numbers";
    EXPECT_EQ(id("0001234", "ID1234"), Texts{});
    EXPECT_EQ(id("AB12345", "AB12345X"), Texts{"AB12345"});
    EXPECT_EQ(id("AB12345", "CAB12345 AB123456"), Texts{});
}

TEST(GluedWords, LeavesUidsWhole) {
    EXPECT_EQ(found(Kind::Uid, "1.2.34567", "x1.2.34567 1.2.34567x 1.2-34567"), Texts{});
}

TEST(GluedWords, LeavesShortAndMeaninglessIdsAsTheyAre) {
    EXPECT_EQ(id("AB12", "AB-12"), Texts{});
    EXPECT_EQ(id("AB12", "AB12"), Texts{"AB12"});
    EXPECT_EQ(id("PATIENT12", "patient 12"), Texts{});
    EXPECT_EQ(id("PATIENT12", "patient12"), Texts{"patient12"});
    EXPECT_EQ(id("PATIENT123", "patient 123"), Texts{"patient 123"});
}

TEST(GluedWords, FindsANameBesideDigits) {
    EXPECT_EQ(name("Smith^John", "SMITH2020 Smith2 John2 2smith 12john34 smith1.5"),
              (Texts{"SMITH", "Smith", "John", "smith", "john", "smith"}));
    EXPECT_EQ(name("Berg^Eva", "berg2019"), Texts{"berg"});
    EXPECT_EQ(name("M\u00FCller^X", "MUELLER2020 m\u00FCller1"), (Texts{"MUELLER", "m\u00FCller"}));
    EXPECT_EQ(name("Smith^John", "smithjohn2020 jsmith1"), (Texts{"smithjohn", "jsmith"}));
    EXPECT_EQ(name("Smith^John", "blacksmith2 smiths2 Johnson1 2smithy"), Texts{});
    EXPECT_EQ(name("Lee^Eva", "lee2020 eva2"), Texts{}) << "three letters are a part of much else";
    EXPECT_EQ(name("Phantom^Test", "phantom2 test1"), Texts{});
}

TEST(GluedWords, FindsAShortNameThatIsRunTogether) {
    EXPECT_EQ(name("Xu^Li", "XuLi lixu XULI2"), (Texts{"XuLi", "lixu", "XULI"}));
    EXPECT_EQ(name("Xu^Li", "Xu li1 xulia axuli xul"), Texts{});
    EXPECT_EQ(name("Berg^Li", "BergLi LiBerg"), (Texts{"BergLi", "LiBerg"}));
    EXPECT_EQ(name("von Berg^Anna Li", "BergLi LiBerg VonBergAnnaLi"), (Texts{"BergLi", "LiBerg", "VonBergAnnaLi"}));
    EXPECT_EQ(name("Fin^D", "find dfin"), Texts{}) << "an initial makes other words";
    EXPECT_EQ(name("Ca^Se", "case"), Texts{}) << "a word that says nothing about a person";
    EXPECT_EQ(name("\u041B\u0438^\u042F\u043D", "\u041B\u0438\u042F\u043D"), Texts{"\u041B\u0438\u042F\u043D"});
}

TEST(GluedWords, TakesLinearTimeForALongWord) {
    std::string nested;
    for (int count = 0; count < 120; ++count) {
        nested += "12345a";
    }
    std::vector<Identifier> identifiers{{Kind::PatientId, nested + "b1"}};
    for (int number = 0; number < 5000; ++number) {
        identifiers.push_back({Kind::PatientId, "A" + std::to_string(100000 + number)});
    }
    const IdentifierFinder finder = finderOf(identifiers);
    std::string text;
    for (int count = 0; count < 200; ++count) {
        text += nested;
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(finder.findAll(text).empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

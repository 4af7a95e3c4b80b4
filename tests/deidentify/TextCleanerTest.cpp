#include "deidentify/rewriting/TextCleaner.h"

#include <gtest/gtest.h>

using namespace radvex::deidentify;

namespace {

using Known = std::vector<std::pair<IdentifierKind, std::string>>;

const Known kJane{{IdentifierKind::PatientName, "Doe^Jane"}, {IdentifierKind::PatientId, "HOSP-550137"}};

IdentifierFinder finderOf(const Known& identifiers) {
    KnownIdentifiers known;
    for (const auto& [kind, text] : identifiers) {
        known.add(kind, text);
    }
    return IdentifierFinder(known);
}

/// "(nothing)" when nothing is to be replaced.
std::string cleaned(const Known& known, const std::string& text, DcmEVR vr = EVR_UT,
                    Cleaning cleaning = Cleaning::Descriptions) {
    const IdentifierFinder finder = finderOf(known);
    const TextCleaner cleaner(finder, [](const Identifier& identifier, std::string_view) {
        return identifier.kind == IdentifierKind::PatientId ? std::string("P1") : std::string(kRemovedText);
    });
    return cleaner.clean(text, vr, cleaning).value_or("(nothing)");
}

std::string times(std::size_t count, const std::string& text) {
    std::string result;
    while (count-- > 0) {
        result += text;
    }
    return result;
}

} // namespace

TEST(TextCleaner, ReplacesEveryIdentifierAndNothingElse) {
    EXPECT_EQ(cleaned(kJane, "Jane (HOSP-550137) lay still"), "[removed] (P1) lay still");
    EXPECT_EQ(cleaned(kJane, "T2 AX 5mm"), "(nothing)");
    EXPECT_EQ(cleaned(kJane, ""), "(nothing)");
}

TEST(TextCleaner, OfAKnownAndASuspiciousPartThatBeginTogetherBothGo) {
    const std::string after = cleaned(kJane, "Name: Doe, Quirina, supine");
    EXPECT_EQ(after.find("Quirina"), std::string::npos) << after;
    EXPECT_EQ(after.find("Doe"), std::string::npos) << after;
    EXPECT_NE(after.find("supine"), std::string::npos) << after;
}

TEST(TextCleaner, OfTwoPartsThatOverlapBothGo) {
    const Known known{{IdentifierKind::OtherId, "550137"}};
    const std::string after = cleaned(known, "call 12-550137-99 now");
    EXPECT_EQ(after, "call [removed] now");
}

TEST(TextCleaner, LooksForSuspiciousPartsInDescriptionsOnly) {
    for (const Cleaning cleaning : {Cleaning::Identifiers, Cleaning::Vocabulary, Cleaning::Patient}) {
        EXPECT_EQ(cleaned(kJane, "seen 2024-02-29", EVR_LO, cleaning), "(nothing)");
    }
    EXPECT_EQ(cleaned(kJane, "seen 2024-02-29", EVR_LO), "seen [removed]");
}

TEST(TextCleaner, LeavesAVocabularyTheSingleWordOfAName) {
    const Known stone{{IdentifierKind::PatientName, "Stone^Jane"}};
    EXPECT_EQ(cleaned(stone, "Kidney Stone", EVR_LO, Cleaning::Vocabulary), "(nothing)");
    EXPECT_EQ(cleaned(stone, "Kidney Stone", EVR_LO, Cleaning::Identifiers), "Kidney [removed]");
    const std::string both = cleaned(stone, "of Stone, Jane", EVR_LO, Cleaning::Vocabulary);
    EXPECT_EQ(both.find("Stone"), std::string::npos) << both;
}

TEST(TextCleaner, TakesOnlyWhatTellsThePatientWhereAnOptionKeepsTheRest) {
    const Known known{{IdentifierKind::Organization, "Elbe Clinic"}, {IdentifierKind::PatientName, "Doe^Jane"}};
    EXPECT_EQ(cleaned(known, "Elbe Clinic, Jane", EVR_LO, Cleaning::Patient), "Elbe Clinic, [removed]");
}

TEST(TextCleaner, LeavesNoUidInWhatAnOptionKeeps) {
    const Known known{{IdentifierKind::Uid, "1.2.826.0.1.99.5"}};
    EXPECT_EQ(cleaned(known, "of 1.2.826.0.1.99.5", EVR_LO, Cleaning::Patient), "of [removed]");
}

TEST(TextCleaner, AnIdentifierOfFewCharactersCountsInDescriptionsOnly) {
    const Known one{{IdentifierKind::OtherId, "1"}};
    EXPECT_EQ(cleaned(one, "1", EVR_SH, Cleaning::Identifiers), "(nothing)");
    EXPECT_EQ(cleaned(one, "1", EVR_SH, Cleaning::Descriptions), "[removed]");
}

TEST(TextCleaner, WritesLessWhereTheTypeHasNoRoom) {
    EXPECT_EQ(cleaned(kJane, "Doe", EVR_SH), "[removed]");
    EXPECT_EQ(cleaned(kJane, "Doe 34567890123", EVR_SH), "_ _") << "the number is suspicious too";
    EXPECT_EQ(cleaned(kJane, "abcdefghijkl Doe", EVR_SH), "abcdefghijkl _");
    EXPECT_EQ(cleaned(kJane, "abc Doe", EVR_SH), "abc [removed]") << "13 characters";
    EXPECT_EQ(cleaned(kJane, "abcdef Doe", EVR_SH), "abcdef [removed]") << "16 characters";
    EXPECT_EQ(cleaned(kJane, "abcdefg Doe", EVR_SH), "abcdefg _") << "17 would be too many";
}

TEST(TextCleaner, CountsCharactersAndNotBytes) {
    const std::string umlauts = times(54, "\xC3\xBC");
    EXPECT_EQ(cleaned(kJane, umlauts + " Doe", EVR_LO), umlauts + " [removed]") << "64 characters, 118 bytes";
    EXPECT_EQ(cleaned(kJane, umlauts + "\xC3\xBC Doe", EVR_LO), umlauts + "\xC3\xBC _");
}

TEST(TextCleaner, CutsNoCharacterInTwo) {
    const std::string kanji = "\xE5\xB1\xB1";
    EXPECT_EQ(cleaned(kJane, "Doe " + times(70, kanji), EVR_LO), "_ " + times(62, kanji));
    EXPECT_EQ(cleaned(kJane, "Doe " + times(1100, kanji), EVR_ST), "_ " + times(1022, kanji));
}

TEST(TextCleaner, MeasuresEachOfSeveralValues) {
    const std::string sixty(60, 'x');
    EXPECT_EQ(cleaned(kJane, sixty + "\\Doe\\" + sixty, EVR_LO), sixty + "\\[removed]\\" + sixty);
    EXPECT_EQ(cleaned(kJane, sixty + " Doe\\y", EVR_LO), sixty + " _\\y");
    EXPECT_EQ(cleaned(kJane, "Doe\\" + std::string(70, 'x') + "\\y", EVR_LO), "_\\" + std::string(64, 'x') + "\\y");
}

TEST(TextCleaner, TakesABackslashForTextWhereTheTypeHasOneValue) {
    const std::string text = std::string(1000, 'x') + '\\';
    EXPECT_EQ(cleaned(kJane, text + std::string(23, 'y') + " Doe", EVR_ST).size(), 1024U);
}

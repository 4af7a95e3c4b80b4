#include "deidentify/profile/ConfidentialityTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deidentify/profile/AttributeTypes.h"

using namespace radvex::deidentify;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kComputedRadiography = "1.2.840.10008.5.1.4.1.1.1";

ProfileOptions choosing(std::initializer_list<ProfileOption> chosen) {
    ProfileOptions options;
    for (const ProfileOption option : chosen) {
        options.choose(option);
    }
    return options;
}

ConfidentialityRow rowWith(std::string_view letters, std::vector<Action> basic) {
    ConfidentialityRow row;
    row.basicLetters = letters;
    row.basic = std::move(basic);
    return row;
}

void set(ConfidentialityRow& row, ProfileOption option, std::string_view letter) {
    row.optional[static_cast<std::size_t>(option)] = letter;
}

Action basicOf(const ConfidentialityRow& row, int type) { return decide(row, {}, type).action; }

Decision decisionFor(std::uint16_t group, std::uint16_t element, std::initializer_list<ProfileOption> chosen) {
    const ConfidentialityRow* row = ConfidentialityTable::instance().find(group, element);
    return row == nullptr ? Decision{Action::Keep, "no row"} : decide(*row, choosing(chosen), 0);
}

} // namespace

TEST(ConfidentialityTable, KeepingStandsAboveCleaningAndThatAboveTheBasicProfile) {
    ConfidentialityRow row = rowWith("X", {Action::Remove});
    set(row, ProfileOption::Uids, "C"); // the column of the cleaning stands before that of the keeping
    set(row, ProfileOption::Graphics, "K");
    using enum ProfileOption;
    EXPECT_EQ(decide(row, choosing({Uids, Graphics}), 1).action, Action::Keep);
    EXPECT_EQ(decide(row, choosing({Uids}), 1).action, Action::Clean);
    EXPECT_EQ(decide(row, choosing({Device}), 1).action, Action::Remove);
    EXPECT_EQ(decide(row, {}, 1).action, Action::Remove);
}

TEST(ConfidentialityTable, ADecisionNamesTheColumnAndTheLetters) {
    EXPECT_EQ(decisionFor(0x0008, 0x103E, {ProfileOption::Descriptors}).rule, "clean descriptors C");
    EXPECT_EQ(decisionFor(0x0018, 0x1000, {ProfileOption::Device}).rule, "retain device identity K");
    EXPECT_EQ(decisionFor(0x0018, 0x1000, {}).rule, "basic X/Z/D");
    EXPECT_EQ(decisionFor(0x0008, 0x1140, {}).rule, "basic X/Z/U*");
}

TEST(ConfidentialityTable, OfSeveralLettersTheTypeDecides) {
    const ConfidentialityRow row = rowWith("X/Z/D", {Action::Remove, Action::Empty, Action::Dummy});
    EXPECT_EQ(basicOf(row, 1), Action::Dummy);
    EXPECT_EQ(basicOf(row, 2), Action::Empty);
    EXPECT_EQ(basicOf(row, 3), Action::Remove);
    EXPECT_EQ(basicOf(row, 0), Action::Dummy) << "a type that is not known may be 1";
}

TEST(ConfidentialityTable, ALetterThatIsNotThereIsNotChosen) {
    const ConfidentialityRow removedOrEmpty = rowWith("X/Z", {Action::Remove, Action::Empty});
    EXPECT_EQ(basicOf(removedOrEmpty, 0), Action::Empty);
    EXPECT_EQ(basicOf(removedOrEmpty, 2), Action::Empty);
    EXPECT_EQ(basicOf(removedOrEmpty, 3), Action::Remove);
    const ConfidentialityRow removedOrDummy = rowWith("X/D", {Action::Remove, Action::Dummy});
    EXPECT_EQ(basicOf(removedOrDummy, 2), Action::Dummy) << "an attribute of type 2 has to be there";
    EXPECT_EQ(basicOf(removedOrDummy, 3), Action::Remove);
    const ConfidentialityRow removed = rowWith("X", {Action::Remove});
    EXPECT_EQ(basicOf(removed, 1), Action::Remove);
}

TEST(ConfidentialityTable, ReferencesGetNewUidsWhateverTheirType) {
    const ConfidentialityRow row = rowWith("X/Z/U*", {Action::Remove, Action::Empty, Action::NewUid});
    for (int type = 0; type <= 3; ++type) {
        EXPECT_EQ(basicOf(row, type), Action::NewUid) << type;
    }
}

TEST(ConfidentialityTable, HoldsTheRowsOfTheStandard) {
    using enum ProfileOption;
    EXPECT_EQ(decisionFor(0x0010, 0x0010, {}).action, Action::Empty);
    EXPECT_EQ(
        decisionFor(0x0010, 0x0010, {Uids, Device, Institution, PatientCharacteristics, FullDates, Descriptors}).action,
        Action::Empty)
        << "no option keeps a name";
    EXPECT_EQ(decisionFor(0x0008, 0x0018, {}).action, Action::NewUid);
    EXPECT_EQ(decisionFor(0x0008, 0x0018, {Uids}).action, Action::Keep);
    EXPECT_EQ(decisionFor(0x0010, 0x0040, {PatientCharacteristics}).action, Action::Keep);
    EXPECT_EQ(decisionFor(0x0008, 0x0020, {FullDates}).action, Action::Keep);
    EXPECT_EQ(decisionFor(0x0008, 0x0020, {ModifiedDates}).action, Action::Clean);
    EXPECT_EQ(decisionFor(0x0040, 0xA730, {StructuredContent}).action, Action::Clean);
    EXPECT_EQ(decisionFor(0x0028, 0x0010, {}).rule, "no row") << "Rows identifies nobody";
}

TEST(ConfidentialityTable, RepeatingGroupsHaveTheRowOfTheirPattern) {
    const ConfidentialityTable& table = ConfidentialityTable::instance();
    const auto letters = [&](std::uint16_t group, std::uint16_t element) {
        const ConfidentialityRow* row = table.find(group, element);
        return row == nullptr ? std::string_view("none") : row->basicLetters;
    };
    for (const std::uint16_t group : std::initializer_list<std::uint16_t>{0x5000, 0x501E, 0x50FE}) {
        EXPECT_EQ(letters(group, 0x0010), "X") << group;
        EXPECT_EQ(letters(group, 0x3000), "X") << group;
    }
    for (const std::uint16_t group : std::initializer_list<std::uint16_t>{0x6000, 0x601E}) {
        EXPECT_EQ(letters(group, 0x3000), "X") << group;
        EXPECT_EQ(letters(group, 0x4000), "X") << group;
        EXPECT_EQ(letters(group, 0x0010), "none") << "rows of an overlay";
    }
    EXPECT_EQ(letters(0x4FFE, 0x3000), "none");
    EXPECT_EQ(letters(0x5100, 0x3000), "none");
    EXPECT_EQ(letters(0x5FFE, 0x3000), "none");
    EXPECT_EQ(letters(0x6100, 0x3000), "none");
    EXPECT_EQ(letters(0x5001, 0x3000), "X") << "an odd group is private";
}

TEST(ConfidentialityTable, EveryOddGroupIsPrivate) {
    for (const std::uint16_t group : std::initializer_list<std::uint16_t>{0x0009, 0x0019, 0x6001, 0x7FE1, 0xFFFF}) {
        EXPECT_EQ(decisionFor(group, 0x1001, {}).action, Action::Remove) << group;
        EXPECT_EQ(decisionFor(group, 0x1001, {ProfileOption::SafePrivate}).action, Action::Clean) << group;
    }
}

TEST(ConfidentialityTable, IsThatOfItsEdition) {
    EXPECT_EQ(kProfileEdition, "2024b");
    EXPECT_EQ(ProfileOptions{}.describe(), "basic profile 2024b");
    EXPECT_GT(ConfidentialityTable::instance().tags().size(), 500U);
}

TEST(AttributeTypes, DependOnTheClassWhereTheTableSaysSo) {
    EXPECT_EQ(attributeType(0x0010, 0x0020, kComputedRadiography), 2) << "PatientID is of type 2";
    EXPECT_EQ(attributeType(0x0010, 0x0020, ""), 2);
    EXPECT_EQ(attributeType(0x0018, 0x1000, kComputedRadiography), 3) << "in the module of general equipment";
    EXPECT_EQ(attributeType(0x0018, 0x1000, "1.2.840.10008.5.1.4.1.1.4.1"), 1) << "in that of enhanced equipment";
    EXPECT_EQ(attributeType(0x0018, 0x700A, kComputedRadiography), 0) << "nothing is known of it there";
    EXPECT_EQ(attributeType(0x0018, 0x700A, "1.2.840.10008.5.1.4.1.1.1.1"), 3);
}

TEST(AttributeTypes, AreNotKnownOfOthers) {
    EXPECT_EQ(attributeType(0x0028, 0x0010, kComputedRadiography), 0);
    EXPECT_EQ(attributeType(0xFFFF, 0xFFFF, kComputedRadiography), 0);
}

TEST(ProfileOptions, AreReadFromSeveralListsOfWords) {
    using enum ProfileOption;
    const auto [options, unknown] = parseProfileOptions({"uids,device", "dates"}, {Uids, Device, FullDates});
    EXPECT_THAT(options, ElementsAre(Uids, Device, FullDates));
    EXPECT_EQ(unknown, "");
}

TEST(ProfileOptions, NameTheFirstWordThatIsNoneOfThoseAllowed) {
    using enum ProfileOption;
    EXPECT_EQ(parseProfileOptions({"uids,colour,size"}, {Uids}).second, "colour");
    EXPECT_EQ(parseProfileOptions({"graphics"}, {Uids}).second, "graphics") << "an option, but not of this list";
    EXPECT_EQ(parseProfileOptions({"Uids"}, {Uids}).second, "Uids");
    EXPECT_THAT(parseProfileOptions({"uids,colour"}, {Uids}).first, IsEmpty());
    for (const char* list : {"", "uids,", ",uids", "uids,,uids"}) {
        EXPECT_EQ(parseProfileOptions({list}, {Uids}).second, "(nothing)") << list;
    }
}

TEST(ProfileOptions, StandInTheOrderOfTheirNumbers) {
    for (std::size_t index = 0; index < kProfileOptionCount; ++index) {
        const ProfileOptionNames& names = profileOptionNames()[index];
        EXPECT_EQ(static_cast<std::size_t>(names.option), index) << names.word;
        EXPECT_EQ(namesOf(names.option).word, names.word);
    }
}

TEST(ProfileOptions, RemoveDatesUnlessTheyKeepOrMoveThem) {
    EXPECT_TRUE(choosing({ProfileOption::Uids}).removesDates());
    EXPECT_FALSE(choosing({ProfileOption::FullDates}).removesDates());
    EXPECT_FALSE(choosing({ProfileOption::ModifiedDates}).removesDates());
}

#include "deidentify/rewriting/NameSpelling.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace radvex::deidentify;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

/// The bytes that are learnt of a name, and whether each may stand beside anything.
using Learnt = std::vector<std::pair<std::string, bool>>;

Learnt learn(const std::string& bytes, const std::string& characterSet) {
    TextDecoder decoder;
    KnownIdentifiers identifiers;
    learnNameBytes(IdentifierKind::PatientName, bytes, characterSet, decoder, identifiers);
    Learnt learnt;
    for (const NameBytes& name : identifiers.nameBytes()) {
        EXPECT_EQ(name.kind, IdentifierKind::PatientName);
        learnt.emplace_back(name.bytes, name.isUnspaced);
    }
    return learnt;
}

} // namespace

TEST(NameSpelling, KeepsThePartsInTheirOwnSet) {
    EXPECT_THAT(learn("Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B", "\\ISO 2022 IR 87"),
                UnorderedElementsAre(std::pair(";3ED", true), std::pair("B@O:", true), std::pair(";3EDB@O:", true),
                                     std::pair("B@O:;3ED", true)));
    EXPECT_THAT(learn("\x1B$)C\xB1\xE8\xC8\xF1^\x1B$)C\xC1\xDF", "\\ISO 2022 IR 149"),
                UnorderedElementsAre(std::pair("\xB1\xE8\xC8\xF1", true), std::pair("\xB1\xE8\xC8\xF1\xC1\xDF", true),
                                     std::pair("\xC1\xDF\xB1\xE8\xC8\xF1", true)));
    EXPECT_THAT(
        learn("\xBF\xD5\xE2\xE0\xDE\xD2^\xB8\xD2\xD0\xDD", "ISO_IR 144"),
        UnorderedElementsAre(std::pair("\xBF\xD5\xE2\xE0\xDE\xD2", false), std::pair("\xB8\xD2\xD0\xDD", false)));
    EXPECT_THAT(learn("\xE5\xB1\xB1\xE7\x94\xB0", "ISO_IR 192"),
                UnorderedElementsAre(std::pair("\xE5\xB1\xB1\xE7\x94\xB0", true)));
}

TEST(NameSpelling, KeepsThePartsOfASetThatTheFileDoesNotName) {
    for (const std::string set : {"", "ISO_IR 100", "ISO_IR 144", "NO SUCH SET"}) {
        EXPECT_THAT(learn("\x8E\x52\x93\x63^\x91\xBE\x98\x59", set), // Shift JIS
                    testing::IsSupersetOf({std::pair<std::string, bool>("\x8E\x52\x93\x63", true),
                                           std::pair<std::string, bool>("\x91\xBE\x98\x59", true),
                                           std::pair<std::string, bool>("\x8E\x52\x93\x63\x91\xBE\x98\x59", true)}))
            << set;
    }
    EXPECT_THAT(learn("\xB3\xAF^\xA9\xC9\xA7\x67", ""),
                Contains(std::pair<std::string, bool>("\xA9\xC9\xA7\x67", true)))
        << "Big5";
    // The second byte of a character may be a caret or a backslash: GBK, "\xD5\x5C" and "\x91\xA9".
    EXPECT_THAT(learn("\xD5\x5C\x91\xA9^\x90\x5E\x90\x5C", ""),
                Contains(std::pair<std::string, bool>("\xD5\x5C\x91\xA9", true)));
    // Code page 866, of which some letters are none in Latin 1.
    EXPECT_THAT(learn("\x8F\xA5\xE2\xE0\xAE\xA2\xA0", ""),
                UnorderedElementsAre(std::pair("\x8F\xA5\xE2\xE0\xAE\xA2\xA0", false)));
}

TEST(NameSpelling, SeparatesAtWideSpaces) {
    EXPECT_THAT(learn("\x8E\x52\x93\x63\x81\x40\x91\xBE\x98\x59", ""),
                Contains(std::pair<std::string, bool>("\x91\xBE\x98\x59", true)));
    EXPECT_THAT(learn("\x1B$B;3ED!!B@O:\x1B(B", "\\ISO 2022 IR 87"),
                Contains(std::pair<std::string, bool>("B@O:", true)));
}

TEST(NameSpelling, LeavesOutWhatIsReadAnywayAndWhatSaysNothing) {
    EXPECT_THAT(learn("Doe^Jane", ""), IsEmpty());
    EXPECT_THAT(learn("Gr\xFCn^J\xF6rg", "ISO_IR 100"), IsEmpty()) << "else \"Gr\xFCn\" of a finding would be a name";
    EXPECT_THAT(learn("Gr\xC3\xBCn^J\xC3\xB6rg", "ISO_IR 192"), IsEmpty());
    EXPECT_THAT(learn("Gr\xC3\xBCn^J\xC3\xB6rg", "ISO_IR 100"), IsEmpty());
    EXPECT_THAT(learn("\xE5\x85\x88\xE7\x94\x9F", "ISO_IR 192"), IsEmpty()) << "a title";
    EXPECT_THAT(learn("\xB8\xD2", "ISO_IR 144"), IsEmpty()) << "too short";
    EXPECT_THAT(learn("\x1B", ""), IsEmpty());
    EXPECT_THAT(learn("\x1B$", "\\ISO 2022 IR 87"), IsEmpty());
}

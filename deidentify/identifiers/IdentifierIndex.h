#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "deidentify/identifiers/GluedWords.h"
#include "deidentify/identifiers/KnownIdentifiers.h"
#include "deidentify/identifiers/NameForms.h"
#include "deidentify/identifiers/TelephoneNumbers.h"
#include "deidentify/identifiers/TextWords.h"
#include "deidentify/identifiers/WordTree.h"

namespace radvex::deidentify {

/// Where an identifier may stand in a text. Several candidates may overlap.
struct Candidate {
    std::size_t begin = 0; ///< bytes of the folded text
    std::size_t end = 0;
    std::uint32_t number = 0; ///< of the identifier
    std::uint32_t words = 0;  ///< that it is made of
};

/// All identifiers by their words. Looking a text up takes a time that does not depend on their number.
class IdentifierIndex {
  public:
    explicit IdentifierIndex(const KnownIdentifiers& known);

    const Identifier& operator[](std::uint32_t number) const { return mIdentifiers[number]; }
    const std::vector<Identifier>& all() const { return mIdentifiers; }

    /// Every place of a text where an identifier may stand as whole words.
    std::vector<Candidate> candidatesIn(const TextWords& words) const;
    /// Places where an identifier may begin or end inside a word, in a text and not in bytes, in which letters stand
    /// beside digits by chance.
    std::vector<Candidate> gluedCandidatesIn(const TextWords& words) const;

    /// Whether a find is one that bytes which are no text do not show by chance: enough characters of a certain kind.
    /// @param original  the text of the words as it was before it was folded
    bool isTelling(const Candidate& find, const TextWords& words, std::string_view original) const;

    /// Words of which at least one, folded, is in every telling find but telephone numbers.
    const std::vector<std::string>& anchors() const { return mAnchors; }
    bool hasTelephones() const { return !mTelephones.isEmpty(); }

  private:
    /// Which characters may stand between the words of an identifier.
    enum Spacing : WordTree::Node {
        Code,   ///< the same as in the identifier, or what file names have instead
        Name,   ///< what stands between the parts of a name
        Phrase, ///< spaces and punctuation
        kSpacings
    };
    struct Link {
        std::uint32_t number = 0;
        bool isTelling = false;
    };

    void add(std::uint32_t number);
    void addCode(std::uint32_t number);
    void addWords(Spacing spacing, const TextWords& words, std::uint32_t number);
    void addPhrase(std::string_view text, std::uint32_t number);
    void addAddress(std::string_view text, std::uint32_t number);
    void addName(std::uint32_t number);
    void addSequence(const std::vector<std::string>& sequence, std::uint32_t number);
    void addDate(std::uint32_t number);

    WordTree::Node nextAfterGap(Spacing spacing, WordTree::Node node, std::string_view gap) const;
    /// A text whose words have been looked up.
    struct Reading {
        const TextWords& words;
        std::vector<WordTree::Symbol> symbols{};
    };
    const Link* linkBetween(const Reading& text, std::size_t second) const;
    bool isNameWord(WordTree::Symbol symbol) const;

    void collectWalks(const Reading& text, std::size_t first, std::vector<Candidate>& found) const;
    void collectNames(const Reading& text, std::vector<Candidate>& found) const;
    void collectDates(const TextWords& words, std::size_t first, std::vector<Candidate>& found) const;
    void collectWhole(const TextWords& words, std::vector<Candidate>& found) const;

    std::vector<Identifier> mIdentifiers;
    WordTree mTree{kSpacings};
    std::unordered_map<std::uint64_t, Link> mLinks{};          ///< by the symbols of two words
    std::unordered_map<std::string, std::uint32_t> mWhole{};   ///< short ones, which must be the whole text
    std::unordered_map<int, std::uint32_t> mDates{};           ///< by YYYYMMDD
    std::unordered_map<int, std::uint32_t> mShortBirthDates{}; ///< by YYMMDD
    std::unordered_map<int, std::uint32_t> mShortDates{};      ///< the same of all dates
    TelephoneNumbers mTelephones{};
    GluedWords mGlued{};
    std::size_t mNameCount = 0;
    std::vector<std::string> mAnchors{};
};

} // namespace radvex::deidentify

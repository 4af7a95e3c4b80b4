#include "deidentify/identifiers/IdentifierIndex.h"

#include <algorithm>
#include <array>

#include "deidentify/identifiers/DateSpellings.h"
#include "deidentify/identifiers/MeaninglessWords.h"

namespace radvex::deidentify {

namespace {

constexpr std::size_t kShortestCode = 4;
constexpr std::size_t kShortestPart = 5;
constexpr std::size_t kShortestOrganization = 4;
constexpr std::size_t kMostWords = 256; ///< of one identifier; nobody writes longer ones again

bool isMadeOf(std::string_view gap, std::string_view characters, std::size_t most) {
    return gap.size() <= most && gap.find_first_not_of(characters) == std::string_view::npos;
}

std::uint64_t linkKey(WordTree::Symbol first, WordTree::Symbol second) { return std::uint64_t{first} << 32U | second; }

bool isAllMeaningless(const TextWords& words) {
    for (std::size_t index = 0; index < words.count(); ++index) {
        if (!isMeaningless(words.wordAt(index))) {
            return false;
        }
    }
    return true;
}

std::size_t charactersIn(const TextWords& words) {
    std::size_t count = 0;
    for (std::size_t index = 0; index < words.count(); ++index) {
        count += words[index].characters + (index == 0 ? 0 : words.gapBefore(index).size());
    }
    return count;
}

/// Whether the capitals of a word are where people put them: "smith", "SMITH", "Smith", "JSmith", "McDonald".
bool isPlausibleWord(std::string_view word) {
    const auto capitalCount = std::count_if(word.begin(), word.end(), isCapital);
    const auto firstSmall =
        std::find_if(word.begin(), word.end(), [](char byte) { return byte >= 'a' && byte <= 'z'; });
    const bool isCapitalsFirst = std::none_of(firstSmall, word.end(), isCapital);
    return isCapitalsFirst || (capitalCount == 2 && isCapital(word.front()) && !isCapital(word.back()));
}

/// Letters that noise shows by chance have capitals anywhere.
bool isPlausibleCase(std::string_view spelling) {
    const std::vector<std::string_view> words = partsOf(spelling, " ,.-_^=/'");
    return std::all_of(words.begin(), words.end(), isPlausibleWord);
}

std::string_view longestWordOf(const TextWords& words) {
    std::string_view longest;
    for (std::size_t index = 0; index < words.count(); ++index) {
        longest = words.wordAt(index).size() > longest.size() ? words.wordAt(index) : longest;
    }
    return longest;
}

} // namespace

IdentifierIndex::IdentifierIndex(const KnownIdentifiers& known) : mIdentifiers(known.all().begin(), known.all().end()) {
    for (std::uint32_t number = 0; number < mIdentifiers.size(); ++number) {
        add(number);
    }
}

void IdentifierIndex::add(std::uint32_t number) {
    const std::string& text = mIdentifiers[number].text;
    switch (mIdentifiers[number].kind) {
    case IdentifierKind::Uid:
    case IdentifierKind::PatientId:
    case IdentifierKind::OtherId:
    case IdentifierKind::Device: addCode(number); break;
    case IdentifierKind::PatientName:
    case IdentifierKind::OtherName: addName(number); break;
    case IdentifierKind::BirthDate:
    case IdentifierKind::OtherDate: addDate(number); break;
    case IdentifierKind::Address: addAddress(text, number); break;
    case IdentifierKind::Telephone: mTelephones.add(text, number); break;
    case IdentifierKind::Organization:
        if (charactersIn(TextWords(text)) >= kShortestOrganization) {
            addPhrase(text, number);
        }
        break;
    }
}

void IdentifierIndex::addCode(std::uint32_t number) {
    const TextWords words(trimmed(mIdentifiers[number].text));
    const bool isUid = mIdentifiers[number].kind == IdentifierKind::Uid;
    if (words.count() == 0 || (!isUid && charactersIn(words) < kShortestCode)) {
        mWhole.try_emplace(std::string(words.text()), number);
        return;
    }
    addWords(Code, words, number);
    if (!isUid) {
        mGlued.addCode(words, number);
    }
    const std::string_view text = words.text();
    const std::size_t digits = std::min(text.find_first_not_of('0'), text.size());
    if (!isUid && digits > 0 && isNumber(text) && text.size() - digits >= kShortestCode) {
        const TextWords rest(text.substr(digits));
        addWords(Code, rest, number);
        mGlued.addCode(rest, number);
    }
}

/// Adds a sequence of words. One that is made of words that mean nothing is left out.
void IdentifierIndex::addWords(Spacing spacing, const TextWords& words, std::uint32_t number) {
    if (isAllMeaningless(words)) {
        return;
    }
    WordTree::Node node = spacing;
    for (std::size_t index = 0; index < std::min(words.count(), kMostWords); ++index) {
        if (index > 0 && nextAfterGap(spacing, node, words.gapBefore(index)) != node) {
            node = mTree.grow(node, mTree.symbolFor(words.gapBefore(index)));
        }
        node = mTree.grow(node, mTree.symbolFor(words.wordAt(index)));
    }
    mTree.mark(node, number);
    mAnchors.emplace_back(longestWordOf(words));
}

void IdentifierIndex::addPhrase(std::string_view text, std::uint32_t number) {
    for (const std::string& spelling : spellingsOf(text)) {
        addWords(Phrase, TextWords(spelling), number);
    }
}

void IdentifierIndex::addAddress(std::string_view text, std::uint32_t number) {
    addPhrase(text, number);
    for (const std::string_view part : partsOf(text, ",;^\r\n\\=")) {
        const TextWords words(part);
        const bool hasDigit = std::any_of(part.begin(), part.end(), isDigit);
        if (charactersIn(words) >= kShortestPart && (hasDigit || words.count() >= 2)) {
            addPhrase(part, number);
        }
    }
}

void IdentifierIndex::addName(std::uint32_t number) {
    ++mNameCount;
    const NameForms forms = formsOfName(mIdentifiers[number].text);
    for (const std::string& word : forms.words) {
        mTree.mark(mTree.grow(Name, mTree.symbolFor(word)), number);
        mGlued.addName(word, number);
        mAnchors.push_back(word);
    }
    for (const NameForms::Link& link : forms.links) {
        Link& known =
            mLinks.try_emplace(linkKey(mTree.symbolFor(link.first), mTree.symbolFor(link.second)), Link{number, false})
                .first->second;
        known.isTelling = known.isTelling || link.isTelling;
        if (link.isTelling) {
            mAnchors.push_back(link.first.size() > link.second.size() ? link.first : link.second);
        }
    }
    for (const std::vector<std::string>& sequence : forms.sequences) {
        addSequence(sequence, number);
    }
}

void IdentifierIndex::addSequence(const std::vector<std::string>& sequence, std::uint32_t number) {
    WordTree::Node node = Name;
    for (const std::string& character : sequence) {
        node = mTree.grow(node, mTree.symbolFor(character));
    }
    mTree.mark(node, number);
}

void IdentifierIndex::addDate(std::uint32_t number) {
    constexpr int kCentury = 1000000;
    const std::optional<int> date = numberOfDate(mIdentifiers[number].text);
    if (!date.has_value()) {
        addCode(number); // no date, but whatever it is stood where one should
        return;
    }
    mDates.try_emplace(*date, number);
    mShortDates.try_emplace(*date % kCentury, number);
    if (mIdentifiers[number].kind != IdentifierKind::BirthDate) {
        return;
    }
    mShortBirthDates.try_emplace(*date % kCentury, number);
    const std::string digits = std::to_string(kCentury * 100 + *date).substr(1);
    const std::string year = digits.substr(0, 4);
    const std::string month = digits.substr(4, 2);
    const std::string day = digits.substr(6, 2);
    mAnchors.insert(mAnchors.end(), {year, year + '.' + month + '.' + day, day + '.' + month + '.' + year});
}

/// The node after the characters between two words: the same one when nobody minds them, `kNone` when none follows.
WordTree::Node IdentifierIndex::nextAfterGap(Spacing spacing, WordTree::Node node, std::string_view gap) const {
    constexpr std::size_t kLongestGap = 3;
    const bool isMiddleDot = gap == "\u30FB"; // between the parts of a name in Japanese
    switch (spacing) {
    case Code: return isCodeGap(gap) ? node : mTree.next(node, mTree.symbolOf(gap));
    case Name: return isMiddleDot || isMadeOf(gap, " ,.-_^=/'", kLongestGap) ? node : WordTree::kNone;
    default: return node;
    }
}

std::vector<Candidate> IdentifierIndex::candidatesIn(const TextWords& words) const {
    Reading text{words};
    text.symbols.reserve(words.count());
    for (std::size_t index = 0; index < words.count(); ++index) {
        text.symbols.push_back(mTree.symbolOf(words.wordAt(index)));
    }
    std::vector<Candidate> found;
    for (std::size_t index = 0; index < words.count(); ++index) {
        collectWalks(text, index, found);
        collectDates(words, index, found);
    }
    collectNames(text, found);
    collectWhole(words, found);
    mTelephones.findIn(words.text(), [&](std::size_t begin, std::size_t end, std::uint32_t number) {
        found.push_back({begin, end, number, 1});
    });
    return found;
}

std::vector<Candidate> IdentifierIndex::gluedCandidatesIn(const TextWords& words) const {
    std::vector<Candidate> found;
    mGlued.findIn(words, [&](std::size_t begin, std::size_t end, std::uint32_t number) {
        found.push_back({begin, end, number, 1});
    });
    return found;
}

void IdentifierIndex::collectWalks(const Reading& text, std::size_t first, std::vector<Candidate>& found) const {
    const TextWords& words = text.words;
    for (const Spacing spacing : {Code, Name, Phrase}) {
        WordTree::Node node = mTree.next(spacing, text.symbols[first]);
        for (std::size_t last = first; node != WordTree::kNone; ++last) {
            if (const std::uint32_t number = mTree.numberAt(node); number != WordTree::kNone) {
                const auto count = static_cast<std::uint32_t>(last - first + 1);
                found.push_back({words[first].begin, words[last].end, number, count});
            }
            if (last + 1 >= words.count()) {
                break;
            }
            node = nextAfterGap(spacing, node, words.gapBefore(last + 1));
            node = node == WordTree::kNone ? node : mTree.next(node, text.symbols[last + 1]);
        }
    }
}

/// How a word and the one before it stand beside each other in a name; null when they do not.
const IdentifierIndex::Link* IdentifierIndex::linkBetween(const Reading& text, std::size_t second) const {
    const WordTree::Symbol one = text.symbols[second - 1];
    const WordTree::Symbol other = text.symbols[second];
    if (one == WordTree::kNone || other == WordTree::kNone) {
        return nullptr;
    }
    const auto found = mLinks.find(linkKey(one, other));
    const bool isBeside = nextAfterGap(Name, Name, text.words.gapBefore(second)) != WordTree::kNone;
    return found == mLinks.end() || !isBeside ? nullptr : &found->second;
}

/// Whether the word is found by itself as a part of a name.
bool IdentifierIndex::isNameWord(WordTree::Symbol symbol) const {
    const WordTree::Node node = mTree.next(Name, symbol);
    return node != WordTree::kNone && mTree.numberAt(node) != WordTree::kNone;
}

/// Collects words of names that stand beside each other, when they tell more than a few initials.
void IdentifierIndex::collectNames(const Reading& text, std::vector<Candidate>& found) const {
    constexpr std::size_t kFewestLetters = 3;
    const TextWords& words = text.words;
    for (std::size_t first = 0; !mLinks.empty() && first < words.count();) {
        bool isName = false;
        std::uint32_t number = 0;
        std::size_t last = first;
        for (; last + 1 < words.count(); ++last) {
            const Link* link = linkBetween(text, last + 1);
            if (link == nullptr) {
                break;
            }
            const std::size_t letters = words[last].characters + words[last + 1].characters;
            isName = isName || (link->isTelling && letters >= kFewestLetters) || isNameWord(text.symbols[last]) ||
                     isNameWord(text.symbols[last + 1]);
            number = last == first ? link->number : number;
        }
        if (isName) {
            const auto count = static_cast<std::uint32_t>(last - first + 1);
            found.push_back({words[first].begin, words[last].end, number, count});
        }
        first = last + 1;
    }
}

void IdentifierIndex::collectDates(const TextWords& words, std::size_t first, std::vector<Candidate>& found) const {
    if (mDates.empty()) {
        return;
    }
    readDates(words, first, [&](const SpelledDate& date) {
        const auto& dates = date.isShort ? mShortBirthDates : date.hasTwoDigits ? mShortDates : mDates;
        if (const auto known = dates.find(date.number()); known != dates.end()) {
            found.push_back({date.begin, date.end, known->second, 1});
        }
    });
}

void IdentifierIndex::collectWhole(const TextWords& words, std::vector<Candidate>& found) const {
    const std::string_view whole = words.text();
    const std::string_view text = trimmed(whole);
    if (const auto known = mWhole.find(std::string(text)); !text.empty() && known != mWhole.end()) {
        const auto begin = static_cast<std::size_t>(text.data() - whole.data());
        found.push_back({begin, begin + text.size(), known->second, 1});
    }
}

bool IdentifierIndex::isTelling(const Candidate& find, const TextWords& words, std::string_view original) const {
    constexpr std::size_t kShortest = 8;
    const std::string_view text = words.text().substr(find.begin, find.end - find.begin);
    const auto isAsciiWord = [](char byte) { return isDigit(byte) || (byte >= 'a' && byte <= 'z'); };
    const auto isOther = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0xC0U; };
    const std::ptrdiff_t ascii = std::count_if(text.begin(), text.end(), isAsciiWord);
    const std::ptrdiff_t others = std::count_if(text.begin(), text.end(), isOther); // a byte of each
    // A letter beyond ASCII is at least two bytes where there is nothing else. Punctuation between words is one byte.
    const auto letters = static_cast<std::size_t>(ascii == 0 ? 2 * others : ascii + others);
    const std::size_t size = letters + find.words - 1;
    switch (mIdentifiers[find.number].kind) {
    case IdentifierKind::Uid: return text.size() >= kShortest;
    case IdentifierKind::PatientName:
    case IdentifierKind::OtherName: {
        constexpr std::size_t kFewNames = 1000; // so few that short ones are no chance
        const bool isLong = size >= (find.words == 1 || mNameCount <= kFewNames ? kShortest - 1 : kShortest);
        const std::size_t begin = words.folded().beginOf(find.begin);
        const std::string_view spelling = original.substr(begin, words.folded().endOf(find.end - 1) - begin);
        return isLong && isPlausibleCase(spelling);
    }
    case IdentifierKind::BirthDate: {
        constexpr std::size_t kSpelledDate = 10;
        return text.size() == kSpelledDate && (text.find('-') != text.npos || text.find('.') != text.npos);
    }
    case IdentifierKind::OtherDate: return false;
    default: return size >= kShortest;
    }
}

} // namespace radvex::deidentify

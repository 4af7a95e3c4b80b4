#include "deidentify/identifiers/NameForms.h"
#include "deidentify/identifiers/AsciiText.h"

#include <algorithm>

#include "deidentify/identifiers/KnownIdentifiers.h"
#include "deidentify/identifiers/MeaninglessWords.h"
#include "deidentify/identifiers/TextWords.h"

namespace radvex::deidentify {

namespace {

/// A name of more words is a text; each pair of its words would be remembered.
constexpr std::size_t kMostWords = 12;
constexpr std::size_t kShortestStrong = 3;
constexpr std::size_t kShortestRunTogether = 5;
constexpr std::size_t kShortestWholeName = 4; ///< run together of parts that are no initials
constexpr std::size_t kShortestBesideInitial = 4;

struct NameWord {
    std::string text{};
    std::size_t component = 0; ///< 0: family, 1: given, 2: middle, 3: prefix, 4: suffix
    std::size_t characters = 0;
    bool hasLetter = false;

    /// Whether the word tells who it is by itself.
    bool isStrong() const {
        const std::size_t shortest = hasLetter ? kShortestStrong : kShortestBesideInitial;
        return component < 3 && characters >= shortest && !isParticle(text);
    }
    std::string initial() const { return text.substr(0, characterAt(text, 0).size); }
};

using NameWords = std::vector<NameWord>;

/// The components of one group. A name without '^' has the family at one of its ends, as everybody writes it.
std::vector<std::string_view> componentsOf(std::string_view group) {
    std::vector<std::string_view> components;
    for (std::size_t begin = 0; begin <= group.size();) {
        const std::size_t end = std::min(group.find('^', begin), group.size());
        components.push_back(group.substr(begin, end - begin));
        begin = end + 1;
    }
    return components;
}

std::string joined(const NameWords& words, bool (*isWanted)(const NameWord&)) {
    std::string text;
    for (const NameWord& word : words) {
        text += isWanted(word) ? word.text : std::string{};
    }
    return text;
}

bool isFamily(const NameWord& word) { return word.component == 0; }
bool isGiven(const NameWord& word) { return word.component == 1; }
bool isGivenOrMiddle(const NameWord& word) { return word.component == 1 || word.component == 2; }

void addRunTogether(std::string word, std::size_t shortest, NameForms& forms) {
    if (charactersIn(word) >= shortest && !isMeaningless(word)) {
        forms.words.push_back(std::move(word));
    }
}

void addBothOrders(const std::string& one, const std::string& other, std::size_t shortest, NameForms& forms) {
    const bool hasInitial = charactersIn(one) < 2 || charactersIn(other) < 2;
    shortest = hasInitial ? kShortestRunTogether : shortest;
    addRunTogether(one + other, shortest, forms);
    addRunTogether(other + one, shortest, forms);
}

/// "bergli" for "von Berg^Anna Li": a word of the family and a given one, as many are called.
void addPairsRunTogether(const NameWords& words, NameForms& forms) {
    for (const NameWord& family : words) {
        for (const NameWord& given : words) {
            const bool isPair = isFamily(family) && isGivenOrMiddle(given);
            if (isPair && !isParticle(family.text) && !isParticle(given.text)) {
                addBothOrders(family.text, given.text, kShortestRunTogether, forms);
            }
        }
    }
}

/// "smithjohn", "jsmith", "johns": as in names of files and of accounts.
void addRunTogether(const NameWords& words, NameForms& forms) {
    const std::string family = joined(words, isFamily);
    const std::string rest = joined(words, isGivenOrMiddle);
    const std::string given = joined(words, isGiven);
    addRunTogether(family, kShortestRunTogether, forms);
    if (family.empty() || rest.empty()) {
        return;
    }
    for (const std::string& other : {rest, given.empty() ? rest : given}) {
        addBothOrders(family, other, kShortestWholeName, forms);
    }
    addPairsRunTogether(words, forms);
    std::string initials;
    for (const NameWord& word : words) {
        initials += isGivenOrMiddle(word) ? word.initial() : std::string{};
    }
    const std::string initial = rest.substr(0, characterAt(rest, 0).size);
    if (family.size() >= kShortestBesideInitial) {
        for (const std::string& letters : {initial, initials}) {
            forms.words.push_back(letters + family);
            forms.words.push_back(family + letters);
        }
    }
    if (given.size() >= kShortestBesideInitial) {
        forms.words.push_back(given + family.substr(0, characterAt(family, 0).size));
    }
}

/// The name of one component, with the family first or last.
void addRunTogetherUnparted(NameWords words, NameForms& forms) {
    for (const bool isFirst : {true, false}) {
        for (std::size_t index = 0; index < words.size(); ++index) {
            words[index].component = (isFirst ? index == 0 : index + 1 == words.size()) ? 0 : 1;
        }
        addRunTogether(words, forms);
    }
}

void addLinks(const NameWords& words, NameForms& forms) {
    for (std::size_t first = 0; first < words.size(); ++first) {
        for (std::size_t second = 0; second < words.size(); ++second) {
            if (first == second) {
                continue;
            }
            const NameWord& one = words[first];
            const NameWord& other = words[second];
            const bool isTelling = !isParticle(one.text) && !isParticle(other.text);
            forms.links.push_back({one.text, other.text, isTelling});
            forms.links.push_back({one.initial(), other.text, false});
            forms.links.push_back({one.text, other.initial(), false});
            forms.links.push_back({one.initial(), other.initial(), false});
        }
    }
}

/// The words of a group of a script with spaces.
NameWords spacedWordsOf(const std::vector<std::string_view>& components) {
    NameWords words;
    for (std::size_t component = 0; component < components.size(); ++component) {
        const TextWords split(components[component]);
        for (std::size_t index = 0; index < split.count() && words.size() < kMostWords; ++index) {
            const std::string_view text = split.wordAt(index);
            if (!split[index].isUnspaced && !isMeaningless(text) && !isTitle(text)) {
                words.push_back({std::string(text), component, split[index].characters, split[index].hasLetter});
            }
        }
    }
    return words;
}

/// The name in one order of its words, with the spelling of umlauts as one letter where it has two: "mueller".
NameWords contracted(NameWords words) {
    for (NameWord& word : words) {
        const std::size_t before = word.text.size();
        word.text = spellingsOf(word.text).back();
        word.characters -= before - word.text.size();
    }
    return words;
}

void addSpaced(const NameWords& words, bool isUnparted, NameForms& forms) {
    for (const NameWord& word : words) {
        if (word.isStrong()) {
            forms.words.push_back(word.text);
        }
    }
    if (isUnparted) {
        addRunTogetherUnparted(words, forms);
    } else {
        addRunTogether(words, forms);
    }
    addLinks(words, forms);
}

using Characters = std::vector<std::string>; ///< of a script without spaces

bool saysNothing(const Characters& part) {
    std::string text;
    for (const std::string& character : part) {
        text += character;
    }
    return isMeaningless(text) || isTitle(text);
}

/// The parts of a component that are written in unspaced scripts. Whatever is no character of these separates them:
/// many write a space, a dot or a comma where others write '^'.
std::vector<Characters> unspacedPartsOf(std::string_view component) {
    std::vector<Characters> parts;
    const TextWords split(component);
    for (std::size_t index = 0; index < split.count(); ++index) {
        if (!split[index].isUnspaced) {
            continue;
        }
        if (index == 0 || !split[index - 1].isUnspaced || !split.gapBefore(index).empty()) {
            parts.emplace_back();
        }
        parts.back().emplace_back(split.wordAt(index));
    }
    std::erase_if(parts, saysNothing);
    return parts;
}

Characters joined(const std::vector<Characters>& parts) {
    Characters all;
    for (const Characters& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// The characters of unspaced scripts of each part and of each component, and of any two parts in both orders.
void addUnspaced(const std::vector<std::string_view>& components, NameForms& forms) {
    std::vector<Characters> parts;
    std::vector<Characters> sequences;
    for (const std::string_view component : components) {
        const std::vector<Characters> own = unspacedPartsOf(component);
        sequences.push_back(joined(own));
        parts.insert(parts.end(), own.begin(), own.end());
    }
    if (sequences.size() >= 2) {
        sequences.push_back(joined({sequences[0], sequences[1]}));
        sequences.push_back(joined({sequences[1], sequences[0]}));
    }
    parts.resize(std::min(parts.size(), kMostWords));
    for (std::size_t first = 0; first < parts.size(); ++first) {
        sequences.push_back(parts[first]);
        for (std::size_t second = first + 1; second < parts.size(); ++second) {
            sequences.push_back(joined({parts[first], parts[second]}));
            sequences.push_back(joined({parts[second], parts[first]}));
        }
    }
    std::copy_if(sequences.begin(), sequences.end(), std::back_inserter(forms.sequences),
                 [](const auto& sequence) { return sequence.size() >= 2; });
}

void addGroup(std::string_view group, NameForms& forms) {
    std::vector<std::string> spellings{std::string(group)};
    if (std::string digraphs = withDigraphs(group); digraphs != group) {
        spellings.push_back(std::move(digraphs));
    }
    for (const std::string& spelling : spellings) {
        const std::vector<std::string_view> components = componentsOf(spelling);
        const NameWords words = spacedWordsOf(components);
        const bool isUnparted = components.size() == 1 && words.size() > 1;
        addSpaced(words, isUnparted, forms);
        addSpaced(contracted(words), isUnparted, forms);
        addUnspaced(components, forms);
    }
}

/// "muller" for "mueller". After another vowel "ue" is two sounds ("bauer"), and short words mean something else
/// without their "e" ("moen").
std::string withoutDigraphs(const std::string& word) {
    constexpr std::size_t kShortest = 4;
    std::string result;
    for (std::size_t index = 0; index < word.size(); ++index) {
        result += word[index];
        const bool isUmlaut =
            std::string_view("aou").find(word[index]) != std::string_view::npos && index + 1 < word.size() &&
            word[index + 1] == 'e' &&
            (index == 0 || std::string_view("aeiouq").find(word[index - 1]) == std::string_view::npos);
        index += isUmlaut ? 1 : 0;
    }
    return result.size() < kShortest ? word : result;
}

} // namespace

NameForms formsOfName(std::string_view text) {
    NameForms forms;
    for (const std::string_view group : partsOf(text, "\\=")) {
        addGroup(group, forms);
    }
    return forms;
}

std::vector<std::string> spellingsOf(std::string_view utf8) {
    std::vector<std::string> spellings{folded(utf8), folded(withDigraphs(utf8))};
    spellings.push_back(withoutDigraphs(spellings.back()));
    spellings.erase(std::unique(spellings.begin(), spellings.end()), spellings.end());
    return spellings;
}

std::vector<std::string_view> partsOf(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        if (const std::string_view part = trimmed(text.substr(begin, end - begin)); !part.empty()) {
            parts.push_back(part);
        }
        begin = end + 1;
    }
    return parts;
}

} // namespace radvex::deidentify

#include "deidentify/identifiers/GluedWords.h"

#include <algorithm>
#include <utility>

#include "deidentify/identifiers/MeaninglessWords.h"

namespace radvex::deidentify {

namespace {

constexpr WordTree::Node kCodes = 0;
constexpr WordTree::Node kNames = 1;
constexpr std::size_t kMostPieces = 256; ///< of one identifier; nobody writes longer ones again
constexpr std::size_t kShortestCode = 5;
constexpr std::size_t kShortestOwn = 3; ///< characters of a code in words that mean something by themselves
constexpr std::size_t kShortestName = 4;
constexpr std::size_t kFewestDigits = 5; ///< that are known again in the middle of a word

bool isInNumber(char byte) { return isDigit(byte) || byte == '.'; }

/// Whether an ID may begin or end beside letters: enough digits, which are neither a part of a UID nor of a measure.
bool isLongNumber(std::string_view piece) { return piece.size() >= kFewestDigits && isNumber(piece); }

} // namespace

bool isCodeGap(std::string_view gap) {
    constexpr std::size_t kLongest = 3;
    return gap.size() <= kLongest && gap.find_first_not_of(" _-./") == std::string_view::npos;
}

void GluedWords::splitWord(const TextWords& words, std::size_t index, std::vector<Piece>& pieces) {
    const auto [begin, end] = std::pair(words[index].begin, words[index].end);
    for (std::size_t at = begin; at < end; ++at) {
        const bool hasDigits = isInNumber(words.text()[at]);
        if (at == begin || hasDigits != pieces.back().hasDigits) {
            pieces.push_back({at, at, hasDigits, at == begin, false});
        }
        pieces.back().end = at + 1;
        pieces.back().closesWord = at + 1 == end;
    }
}

std::vector<GluedWords::Piece> GluedWords::piecesOf(const TextWords& words) {
    std::vector<Piece> pieces;
    pieces.reserve(words.count());
    for (std::size_t index = 0; index < words.count(); ++index) {
        splitWord(words, index, pieces);
    }
    return pieces;
}

/// Whether a code is one however it is written. Words such as "patient" stand before small numbers in many texts.
bool GluedWords::isTelling(const std::vector<Piece>& pieces, std::string_view text) {
    std::size_t characters = 0;
    std::size_t own = 0;
    bool hasDigits = false;
    for (const Piece& piece : pieces) {
        const std::string_view word = text.substr(piece.begin, piece.end - piece.begin);
        const std::size_t count = charactersIn(word);
        characters += count;
        own += isMeaningless(word) ? 0 : count;
        hasDigits = hasDigits || piece.hasDigits;
    }
    return hasDigits && characters >= kShortestCode && own >= kShortestOwn;
}

void GluedWords::addCode(const TextWords& words, std::uint32_t number) {
    const std::vector<Piece> pieces = piecesOf(words);
    const std::string_view text = words.text();
    if (!isTelling(pieces, text)) {
        return;
    }
    WordTree::Node node = kCodes;
    for (std::size_t index = 0; index < std::min(pieces.size(), kMostPieces); ++index) {
        const std::size_t before = index == 0 ? pieces[0].begin : pieces[index - 1].end;
        const std::string_view gap = text.substr(before, pieces[index].begin - before);
        node = isCodeGap(gap) ? node : mTree.grow(node, mTree.symbolFor(gap));
        node = mTree.grow(node,
                          mTree.symbolFor(text.substr(pieces[index].begin, pieces[index].end - pieces[index].begin)));
    }
    mTree.mark(node, number);
    mIsEmpty = false;
}

void GluedWords::addName(std::string_view word, std::uint32_t number) {
    if (charactersIn(word) >= kShortestName && std::none_of(word.begin(), word.end(), isDigit)) {
        mTree.mark(mTree.grow(kNames, mTree.symbolFor(word)), number);
        mIsEmpty = false;
    }
}

/// The node after the characters between two pieces; `kNone` when no code has them.
WordTree::Node GluedWords::nextAfterGap(WordTree::Node node, std::string_view gap) const {
    return isCodeGap(gap) ? node : mTree.next(node, mTree.symbolOf(gap));
}

void GluedWords::collectCodes(const std::vector<Piece>& pieces, std::size_t first, std::string_view text,
                              const Seen& seen) const {
    const auto textOf = [&](const Piece& piece) { return text.substr(piece.begin, piece.end - piece.begin); };
    if (!pieces[first].opensWord && !isLongNumber(textOf(pieces[first]))) {
        return;
    }
    WordTree::Node node = mTree.next(kCodes, mTree.symbolOf(textOf(pieces[first])));
    for (std::size_t last = first; node != WordTree::kNone; ++last) {
        const std::uint32_t number = mTree.numberAt(node);
        if (number != WordTree::kNone && (pieces[last].closesWord || isLongNumber(textOf(pieces[last])))) {
            seen(pieces[first].begin, pieces[last].end, number);
        }
        if (last + 1 >= pieces.size()) {
            return;
        }
        node = nextAfterGap(node, text.substr(pieces[last].end, pieces[last + 1].begin - pieces[last].end));
        node = node == WordTree::kNone ? node : mTree.next(node, mTree.symbolOf(textOf(pieces[last + 1])));
    }
}

void GluedWords::findIn(const TextWords& words, const Seen& seen) const {
    if (mIsEmpty) {
        return;
    }
    const std::vector<Piece> pieces = piecesOf(words);
    const std::string_view text = words.text();
    for (std::size_t index = 0; index < pieces.size(); ++index) {
        const Piece& piece = pieces[index];
        collectCodes(pieces, index, text, seen);
        if (piece.hasDigits || (piece.opensWord && piece.closesWord)) {
            continue; // a whole word is no glued one
        }
        const WordTree::Node name =
            mTree.next(kNames, mTree.symbolOf(text.substr(piece.begin, piece.end - piece.begin)));
        if (name != WordTree::kNone && mTree.numberAt(name) != WordTree::kNone) {
            seen(piece.begin, piece.end, mTree.numberAt(name));
        }
    }
}

} // namespace radvex::deidentify

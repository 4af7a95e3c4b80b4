#include "deidentify/identifiers/ByteSearch.h"

#include <algorithm>

#include "deidentify/identifiers/ByteEncodings.h"
#include "deidentify/identifiers/IdentifierIndex.h"
#include "deidentify/identifiers/NameBytes.h"

namespace radvex::deidentify {

std::optional<Identifier> ByteSearch::add(std::string_view piece) {
    constexpr std::size_t kBlock = std::size_t{1} << 16; // stays in the cache of the processor
    while (!piece.empty()) {
        const std::size_t most = mFinder.mEncodings->longestRun() + kBlock;
        const std::size_t count = std::min(piece.size(), most - mHeld.size());
        mHeld += piece.substr(0, count);
        piece.remove_prefix(count);
        if (mHeld.size() == most) {
            if (std::optional<Identifier> found = searchHeld(false)) {
                return found;
            }
            mHeld.erase(0, kBlock);
            mIsAtStart = false;
        }
    }
    return std::nullopt;
}

std::optional<Identifier> ByteSearch::finish() { return searchHeld(true); }

std::optional<Identifier> ByteSearch::searchHeld(bool isLast) {
    const ByteEncodings& encodings = *mFinder.mEncodings;
    const std::string_view bytes = mHeld;
    const NameBytes* name =
        mFinder.mNames->findIn({.bytes = bytes, .isText = false, .isAtStart = mIsAtStart, .isComplete = isLast});
    if (name != nullptr) {
        return Identifier{name->kind, name->bytes};
    }
    std::size_t searched = mFinder.isEmpty() ? bytes.size() : 0;
    for (std::size_t seen = encodings.nextText(bytes, searched); seen < bytes.size();
         seen = encodings.nextText(bytes, searched)) {
        std::size_t begin = seen;
        while (begin > searched && encodings.isPair(bytes[begin - 1], bytes[begin])) {
            --begin;
        }
        std::size_t end = seen + 1;
        while (end < bytes.size() && encodings.isPair(bytes[end - 1], bytes[end])) {
            ++end;
        }
        if (end - begin >= encodings.shortestRun() && encodings.mayHold(bytes.substr(begin, end - begin))) {
            if (std::optional<Identifier> found = lookCloselyAt(begin, end, isLast)) {
                return found;
            }
        }
        searched = end;
    }
    return std::nullopt;
}

/// A find that touches an end of the held bytes may go on there; it is whole in the bytes held before or after.
std::optional<Identifier> ByteSearch::lookCloselyAt(std::size_t begin, std::size_t end, bool isLast) const {
    const IdentifierIndex& index = *mFinder.mIndex;
    const bool isCutBefore = begin == 0 && !mIsAtStart;
    const bool isCutAfter = end == mHeld.size() && !isLast;
    for (const std::string& reading : readingsOf(std::string_view(mHeld).substr(begin, end - begin))) {
        const TextWords words(reading);
        for (const Candidate& find : index.candidatesIn(words)) {
            const bool isCut = (isCutBefore && find.begin == 0) || (isCutAfter && find.end == words.text().size());
            if (!isCut && index.isTelling(find, words, reading)) {
                return index[find.number];
            }
        }
    }
    return std::nullopt;
}

} // namespace radvex::deidentify

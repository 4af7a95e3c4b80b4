#include "deidentify/rewriting/TextFinder.h"

#include <algorithm>

#include "deidentify/identifiers/FilePieces.h"

namespace radvex::deidentify {

namespace {

constexpr std::uint64_t kBase = 0x9E3779B97F4A7C15ULL; // odd, with well mixed bits

constexpr std::uint64_t power(std::uint64_t base, std::size_t exponent) {
    std::uint64_t result = 1;
    for (std::size_t count = 0; count < exponent; ++count) {
        result *= base;
    }
    return result;
}

std::uint64_t next(std::uint64_t hash, char byte) { return hash * kBase + static_cast<unsigned char>(byte) + 1; }

std::size_t filterIndex(std::uint64_t hash) { return (hash * kBase) >> 44; }

} // namespace

TextFinder::Hash TextFinder::hashOf(const char* bytes) {
    Hash hash = 0;
    for (std::size_t index = 0; index < kShortest; ++index) {
        hash = next(hash, bytes[index]);
    }
    return hash;
}

void TextFinder::add(const std::string& text) {
    if (text.size() < kShortest) {
        return;
    }
    const Hash hash = hashOf(text.data() + text.size() - kShortest);
    std::vector<std::string>& texts = mTexts[hash];
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
        const auto isNoLonger = [&](const std::string& other) { return other.size() <= text.size(); };
        texts.insert(std::find_if(texts.begin(), texts.end(), isNoLonger), text); // the longest first
        mFilter[filterIndex(hash)] = true;
        mLongest = std::max(mLongest, text.size());
    }
}

const std::string* TextFinder::longestEndingAt(std::string_view bytes, Hash hash) const {
    const auto texts = mTexts.find(hash);
    if (texts == mTexts.end()) {
        return nullptr;
    }
    const auto match = std::find_if(texts->second.begin(), texts->second.end(),
                                    [&](const std::string& text) { return bytes.ends_with(text); });
    return match == texts->second.end() ? nullptr : &*match;
}

/// @param found  called with the end of a text and the text; returns false to stop the scan
template <typename Found>
void TextFinder::scan(std::string_view bytes, Found found) const {
    constexpr std::uint64_t kLeaving = power(kBase, kShortest);
    Hash hash = 0;
    for (std::size_t end = 1; end <= bytes.size(); ++end) {
        hash = next(hash, bytes[end - 1]);
        if (end > kShortest) {
            hash -= kLeaving * (static_cast<unsigned char>(bytes[end - 1 - kShortest]) + 1ULL);
        }
        if (end >= kShortest && mFilter[filterIndex(hash)]) {
            const std::string* text = longestEndingAt(bytes.substr(0, end), hash);
            if (text != nullptr && !found(end, *text)) {
                return;
            }
        }
    }
}

std::vector<TextFinder::Find> TextFinder::findAll(std::string_view bytes) const {
    std::vector<Find> finds;
    scan(bytes, [&](std::size_t end, const std::string& text) {
        finds.push_back({end - text.size(), text});
        return true;
    });
    return finds;
}

bool TextFinder::isIn(const std::string& path) const {
    if (isEmpty()) {
        return false;
    }
    std::string bytes; // with those before the piece in which a text may begin
    bool isFound = false;
    readInPieces(path, [&](std::string_view piece) {
        bytes.erase(0, bytes.size() - std::min(bytes.size(), mLongest - 1)).append(piece);
        scan(bytes, [&](std::size_t, const std::string&) {
            isFound = true;
            return false;
        });
        return !isFound;
    });
    return isFound;
}

} // namespace radvex::deidentify

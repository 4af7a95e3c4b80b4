#include "deidentify/identifiers/ByteEncodings.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <bit>

namespace radvex::deidentify {

namespace {

constexpr std::size_t kLongestIdentifier = 4096; ///< longer ones are found by their parts
constexpr std::size_t kShortestAnchor = 2;
constexpr std::size_t kFewestDigits = 8; ///< of a telephone number
constexpr std::uint64_t kFirstHash = 0xCBF29CE484222325ULL;

bool isAsciiText(unsigned char byte) { return byte >= 0x20 && byte < 0x7F; }

/// Letters in lower case and digits; 0 for all other characters.
unsigned char foldedByte(unsigned char byte) {
    if (byte >= 'A' && byte <= 'Z') {
        return static_cast<unsigned char>(byte + ('a' - 'A'));
    }
    return (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ? byte : 0;
}

std::uint64_t extended(std::uint64_t hash, unsigned char byte) { return (hash ^ byte) * 0x100000001B3ULL; }

std::uint64_t mixed(std::uint64_t hash) { return (hash ^ (hash >> 29U)) * 0x9E3779B97F4A7C15ULL; }

icu::UnicodeString utf16Of(std::string_view utf8) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

std::string utf8Of(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

std::string latin1Reading(std::string_view bytes) {
    std::string result;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            result += byte;
        } else {
            result += static_cast<char>(0xC0U | code >> 6U);
            result += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }
    return result;
}

std::string utf16Reading(std::string_view bytes, bool isBigEndian) {
    icu::UnicodeString text;
    for (std::size_t index = 0; index + 1 < bytes.size(); index += 2) {
        const auto first = static_cast<unsigned char>(bytes[index]);
        const auto second = static_cast<unsigned char>(bytes[index + 1]);
        text.append(static_cast<char16_t>(isBigEndian ? first << 8U | second : second << 8U | first));
    }
    return utf8Of(text);
}

/// Whether a text has characters of 3 bytes of UTF-8, of which 3 make a name.
bool hasWideLetters(std::string_view utf8) {
    return std::any_of(utf8.begin(), utf8.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 0xE0; });
}

/// A text without what stands between its words, twice, so that its parts are beside each other in either order.
std::string runTogether(std::string_view utf8) {
    std::string text;
    std::copy_if(utf8.begin(), utf8.end(), std::back_inserter(text), [](char byte) {
        const auto code = static_cast<unsigned char>(byte);
        return code >= 0x80 || foldedByte(code) != 0;
    });
    return text + text;
}

/// What a byte is in a word or a number. A table, since every byte of a run is looked at.
struct ByteKind {
    unsigned char letter = 0; ///< folded; 0 for what is neither letter nor digit
    bool isDigit = false;
    bool isGrouping = false; ///< between the digits of a telephone number
};

const std::array<ByteKind, 256>& byteKinds() {
    static const std::array<ByteKind, 256> kinds = [] {
        std::array<ByteKind, 256> all{};
        for (std::size_t byte = 0; byte < all.size(); ++byte) {
            const auto character = static_cast<unsigned char>(byte);
            all[byte] = {foldedByte(character), isDigit(static_cast<char>(character)),
                         std::string_view(" ()-./+").find(static_cast<char>(character)) != std::string_view::npos};
        }
        return all;
    }();
    return kinds;
}

} // namespace

ByteEncodings::ByteEncodings(const IdentifierIndex& index) : mHasTelephones(index.hasTelephones()) {
    constexpr std::size_t kPunctuation = 1024;
    constexpr std::size_t kShortestUnspaced = 6; // 3 characters of UTF-16
    constexpr std::size_t kBitsEach = 16;
    allowAscii();
    mAnchors.resize(std::bit_ceil(std::max<std::size_t>(index.anchors().size() * kBitsEach, 4096)));
    for (const std::string& word : index.anchors()) {
        addAnchor(word);
    }
    for (const Identifier& identifier : index.all()) {
        mLongestRun = std::max(mLongestRun, std::min(identifier.text.size(), kLongestIdentifier));
        if (!isAscii(identifier.text) && identifier.text.size() <= kLongestIdentifier) {
            allowEncodingsOf(identifier.text);
            allowEncodingsOf(runTogether(identifier.text));
            addAsciiPartsOf(identifier.text);
            mShortestRun = hasWideLetters(identifier.text) ? kShortestUnspaced : mShortestRun;
        }
    }
    mLongestRun = 4 * mLongestRun + kPunctuation;
}

std::size_t ByteEncodings::nextText(std::string_view bytes, std::size_t from) const {
    // The shortest run holds a whole window wherever it begins.
    const std::size_t step = mShortestRun - kWindow + 1;
    const auto classAt = [&](std::size_t offset) { return mClasses[static_cast<unsigned char>(bytes[offset])]; };
    for (std::size_t offset = from; offset + kWindow <= bytes.size(); offset += step) {
        const unsigned first = classAt(offset);
        const unsigned second = classAt(offset + 1);
        const unsigned third = classAt(offset + 2);
        const unsigned fourth = classAt(offset + 3);
        const unsigned isRun = first & second & third & fourth & kZero;
        const unsigned hasText = (first | second) & (third | fourth) & (kText - kZero);
        if ((isRun & hasText >> 1U) != 0) {
            return offset;
        }
    }
    return bytes.size();
}

void ByteEncodings::allowAscii() {
    mClasses[0] = kZero;
    for (unsigned first = 0x20; first < 0x7F; ++first) {
        mClasses[first] = kText;
        // UTF-16 of either byte order. Dark pixels of 16 bits look like it: characters that no identifier has end a
        // run.
        const bool isPart =
            foldedByte(static_cast<unsigned char>(first)) != 0 ||
            std::string_view(" ,.-_/'()^=+&:;@\\").find(static_cast<char>(first)) != std::string_view::npos;
        mIsPair[first << 8U] = isPart;
        mIsPair[first] = isPart;
        for (unsigned second = 0x20; second < 0x7F; ++second) {
            mIsPair[first << 8U | second] = true;
        }
    }
}

/// Allows the bytes of an encoded text beside each other, and beside ASCII and zeros.
void ByteEncodings::allow(std::string_view encoded) {
    for (std::size_t index = 0; index < encoded.size(); ++index) {
        const char byte = encoded[index];
        if (index > 0) {
            mIsPair[pairOf(encoded[index - 1], byte)] = true;
        }
        unsigned char& known = mClasses[static_cast<unsigned char>(byte)];
        if (known != kNothing) {
            continue;
        }
        known = kText;
        for (int other = 0; other < 0x7F; other = other == 0 ? 0x20 : other + 1) {
            mIsPair[pairOf(byte, static_cast<char>(other))] = true;
            mIsPair[pairOf(static_cast<char>(other), byte)] = true;
        }
    }
}

void ByteEncodings::allowEncodingsOf(std::string_view utf8) {
    icu::UnicodeString asItIs = utf16Of(utf8);
    icu::UnicodeString lower = asItIs;
    icu::UnicodeString upper = asItIs;
    for (const icu::UnicodeString& text : {asItIs, lower.toLower(), upper.toUpper()}) {
        allow(utf8Of(text));
        std::string latin1;
        std::string wide;
        for (int32_t index = 0; index < text.length(); ++index) {
            const char16_t unit = text.charAt(index);
            latin1 += static_cast<char>(unit < 0x100 ? unit : '\0');
            wide += static_cast<char>(unit >> 8U);
            wide += static_cast<char>(unit & 0xFFU);
        }
        allow(latin1);
        allow(wide);
        for (std::size_t index = 0; index + 1 < wide.size(); index += 2) {
            std::swap(wide[index], wide[index + 1]);
        }
        allow(wide);
    }
}

void ByteEncodings::addAnchor(std::string_view word) {
    std::uint64_t hash = kFirstHash;
    for (const char byte : word) {
        const unsigned char letter = foldedByte(static_cast<unsigned char>(byte));
        hash = extended(hash, letter != 0 ? letter : static_cast<unsigned char>(byte));
    }
    mAnchors[mixed(hash) & (mAnchors.size() - 1)] = true;
}

/// Adds the longest part of ASCII of each word. Letters beyond ASCII separate words for `holdsAnchor`, because each
/// encoding has other bytes for them.
void ByteEncodings::addAsciiPartsOf(std::string_view utf8) {
    const TextWords words(utf8);
    for (std::size_t index = 0; index < words.count(); ++index) {
        const std::size_t begin = words.folded().beginOf(words[index].begin);
        const std::size_t end = words.folded().endOf(words[index].end - 1);
        std::string_view rest = utf8.substr(begin, end - begin);
        std::string_view longest;
        while (!rest.empty()) {
            const auto stop = std::find_if(rest.begin(), rest.end(), [](char byte) { return byte < 0; });
            const auto size = static_cast<std::size_t>(stop - rest.begin());
            longest = size > longest.size() ? rest.substr(0, size) : longest;
            rest.remove_prefix(std::min(size + 1, rest.size()));
        }
        mHasUnanchored = mHasUnanchored || longest.size() < kShortestAnchor;
        addAnchor(longest);
    }
}

bool ByteEncodings::isAnchor(std::uint64_t hash) const { return mAnchors[mixed(hash) & (mAnchors.size() - 1)]; }

/// Looks at every byte, or at every second one, where those between are zeros of UTF-16.
bool ByteEncodings::holdsAnchor(std::string_view text, std::size_t first, std::size_t step) const {
    const std::array<ByteKind, 256>& kinds = byteKinds();
    const auto kindAt = [&](std::size_t offset) {
        return offset < text.size() ? kinds[static_cast<unsigned char>(text[offset])] : ByteKind{};
    };
    std::uint64_t hash = kFirstHash;
    std::size_t length = 0;
    std::size_t digits = 0; // and what groups them
    for (std::size_t offset = first; offset < text.size() + step; offset += step) {
        const ByteKind kind = kindAt(offset);
        digits = kind.isDigit ? digits + 1 : kind.isGrouping ? digits : 0;
        if (mHasTelephones && digits >= kFewestDigits) {
            return true;
        }
        const bool isInNumber = kind.isGrouping && length > 0 && text[offset] == '.' && kindAt(offset - step).isDigit &&
                                kindAt(offset + step).isDigit;
        if (kind.letter != 0 || isInNumber) {
            hash = extended(hash, kind.letter != 0 ? kind.letter : static_cast<unsigned char>('.'));
            ++length;
        } else {
            if (length >= kShortestAnchor && isAnchor(hash)) {
                return true;
            }
            hash = kFirstHash;
            length = 0;
        }
    }
    return false;
}

bool ByteEncodings::mayHold(std::string_view run) const {
    const auto isOther = [](char byte) { return byte != 0 && !isAsciiText(static_cast<unsigned char>(byte)); };
    if (holdsAnchor(run, 0, 1) || (mHasUnanchored && std::any_of(run.begin(), run.end(), isOther))) {
        return true;
    }
    constexpr std::ptrdiff_t kFewestZeros = 3;
    return std::count(run.begin(), run.end(), '\0') >= kFewestZeros &&
           (holdsAnchor(run, 0, 2) || holdsAnchor(run, 1, 2));
}

std::vector<std::string> readingsOf(std::string_view bytes) {
    std::vector<std::string> readings{std::string(bytes)};
    if (!isAscii(bytes)) {
        readings.push_back(latin1Reading(bytes));
    }
    const bool isPlain = std::all_of(bytes.begin(), bytes.end(),
                                     [](char byte) { return isAsciiText(static_cast<unsigned char>(byte)); });
    for (std::size_t first = 0; !isPlain && first < std::min<std::size_t>(bytes.size(), 2); ++first) {
        readings.push_back(utf16Reading(bytes.substr(first), false));
        readings.push_back(utf16Reading(bytes.substr(first), true));
    }
    return readings;
}

} // namespace radvex::deidentify

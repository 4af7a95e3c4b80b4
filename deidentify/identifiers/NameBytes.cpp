#include "deidentify/identifiers/NameBytes.h"

#include <algorithm>

#include "deidentify/identifiers/AsciiText.h"

namespace radvex::deidentify {

namespace {

constexpr std::size_t kStart = 4;     ///< bytes of a start
constexpr std::size_t kStep = 3;      ///< a start has as many pairs, so that one of them begins at a multiple of it
constexpr std::size_t kShort = 6;     ///< fewer bytes are in pixels by chance
constexpr std::size_t kLongCoded = 8; ///< bytes of ASCII that no other text has
constexpr std::size_t kFewShort = 1000;
constexpr char kEscape = 0x1B;

bool isHigh(char byte) { return static_cast<unsigned char>(byte) >= 0x80; }

bool isAsciiLetter(char byte) { return isDigit(byte) || isCapital(byte) || (byte >= 'a' && byte <= 'z'); }

/// Whether a word may end beside the byte.
bool isBeyondWords(char byte) { return !isHigh(byte) && !isAsciiLetter(byte); }

/// What stands beside a word in a text, or beside a value in a file: lengths end with a zero, and the groups that
/// follow a text begin with 08, 10 and 18.
bool isDelimiter(char byte) {
    constexpr std::string_view kControls("\0\t\n\r\x1B\x08\x10\x18", 8);
    return (byte >= ' ' && isBeyondWords(byte) && byte != 0x7F) || kControls.find(byte) != std::string_view::npos;
}

std::size_t pairAt(std::string_view bytes, std::size_t offset) {
    return std::size_t{static_cast<unsigned char>(bytes[offset])} << 8U | static_cast<unsigned char>(bytes[offset + 1]);
}

/// Whether the bytes from an offset on are characters of two bytes each, because an escape sequence says so.
bool isBehindEscape(std::string_view bytes, std::size_t begin) {
    const std::size_t first = begin - std::min(begin, NameBytesFinder::kMostAround);
    const std::size_t escape = bytes.substr(first, begin - first).rfind(kEscape);
    if (escape == std::string_view::npos) {
        return false;
    }
    std::string_view between = bytes.substr(first + escape + 1, begin - first - escape - 1);
    if (between.empty() || between.front() != '$') {
        return false;
    }
    const std::size_t sequence = between.size() > 1 && between[1] == '(' ? 3 : 2;
    return between.size() >= sequence &&
           std::all_of(between.begin(), between.end(), [](char byte) { return byte >= ' ' && byte < 0x7F; });
}

} // namespace

NameBytesFinder::NameBytesFinder(const std::set<NameBytes>& known) {
    std::size_t shortCount = 0;
    for (const NameBytes& name : known) {
        if (name.bytes.size() >= kStart) {
            add(name);
            shortCount += name.bytes.size() < kShort ? 1U : 0U;
        }
    }
    mHasManyShort = shortCount > kFewShort;
}

NameBytesFinder::Start NameBytesFinder::startAt(std::string_view bytes, std::size_t offset) {
    Start start = 0;
    for (std::size_t index = 0; index < kStart; ++index) {
        start = start << 8U | static_cast<unsigned char>(bytes[offset + index]);
    }
    return start;
}

std::size_t NameBytesFinder::filterIndex(Start start) { return (start * Start{0x9E3779B1}) >> 16U; }

void NameBytesFinder::add(const NameBytes& name) {
    const Start start = startAt(name.bytes, 0);
    mByStart[start].push_back(name);
    mFilter[filterIndex(start)] = true;
    for (std::size_t offset = 0; offset < kStep; ++offset) {
        mPairs[pairAt(name.bytes, offset)] = true;
    }
}

const NameBytes* NameBytesFinder::findIn(const Piece& piece) const {
    const std::string_view bytes = piece.bytes;
    for (std::size_t offset = 0; !isEmpty() && offset + 1 < bytes.size(); offset += kStep) {
        if (!mPairs[pairAt(bytes, offset)]) {
            continue;
        }
        for (std::size_t back = std::min(kStep - 1, offset) + 1; back-- > 0;) {
            if (const NameBytes* name = findAt(piece, offset - back)) {
                return name;
            }
        }
    }
    return nullptr;
}

const NameBytes* NameBytesFinder::findAt(const Piece& piece, std::size_t begin) const {
    if (begin + kStart > piece.bytes.size()) {
        return nullptr;
    }
    const Start start = startAt(piece.bytes, begin);
    if (!mFilter[filterIndex(start)]) {
        return nullptr;
    }
    const auto found = mByStart.find(start);
    if (found == mByStart.end()) {
        return nullptr;
    }
    const std::string_view rest = piece.bytes.substr(begin);
    const auto name = std::find_if(found->second.begin(), found->second.end(), [&](const NameBytes& one) {
        return rest.starts_with(one.bytes) && counts(one, piece, begin);
    });
    return name == found->second.end() ? nullptr : &*name;
}

bool NameBytesFinder::counts(const NameBytes& name, const Piece& piece, std::size_t begin) const {
    const std::string_view bytes = piece.bytes;
    const std::size_t end = begin + name.bytes.size();
    if ((begin == 0 && !piece.isAtStart) || (end == bytes.size() && !piece.isComplete)) {
        return false;
    }
    if (isAscii(name.bytes)) {
        return name.bytes.size() >= kLongCoded || isBehindEscape(bytes, begin);
    }
    const auto isBetween = [&](bool (*isEnd)(char)) {
        return (begin == 0 || isEnd(bytes[begin - 1])) && (end == bytes.size() || isEnd(bytes[end]));
    };
    if (!piece.isText && name.bytes.size() < kShort) {
        return !mHasManyShort && isBetween(isDelimiter);
    }
    return name.isUnspaced || isBetween(isBeyondWords);
}

} // namespace radvex::deidentify

#include "deidentify/identifiers/TelephoneNumbers.h"

#include <algorithm>

#include "deidentify/identifiers/TextWords.h"

namespace radvex::deidentify {

namespace {

constexpr std::size_t kFewestDigits = 6;
constexpr std::size_t kFewestShared = 7; ///< of two forms of a number
constexpr std::size_t kMostDigits = 20;
constexpr std::size_t kLongestGap = 4;
constexpr std::string_view kTrunk = "(0)"; // dialled within the country only

bool isSeparator(char byte) { return std::string_view(" ()-./+").find(byte) != std::string_view::npos; }

bool isWordByte(char byte) {
    return isDigit(byte) || (byte >= 'a' && byte <= 'z') || static_cast<unsigned char>(byte) >= 0x80;
}

std::string withoutZeros(const std::string& digits) {
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

std::string digitsOf(std::string_view text) {
    std::string digits;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (!digits.empty() && text.substr(index).starts_with(kTrunk)) {
            index += kTrunk.size() - 1;
        } else if (isDigit(text[index])) {
            digits += text[index];
        }
    }
    return digits;
}

/// Whether the digits at an offset are a part of a UID or of a word.
bool isInsideWord(std::string_view text, std::size_t begin) {
    return begin > 0 &&
           (isWordByte(text[begin - 1]) || (text[begin - 1] == '.' && begin > 1 && isDigit(text[begin - 2])));
}

bool goesOn(std::string_view text, std::size_t end) {
    return end < text.size() &&
           (isWordByte(text[end]) || (text[end] == '.' && end + 1 < text.size() && isDigit(text[end + 1])));
}

/// Where the next group of digits begins after a group; the end of the text when none follows closely.
std::size_t nextGroup(std::string_view text, std::size_t end) {
    std::size_t begin = end;
    while (begin < text.size() && begin - end <= kLongestGap && isSeparator(text[begin])) {
        begin += text.substr(begin).starts_with(kTrunk) ? kTrunk.size() : 1;
    }
    return begin > end && begin < text.size() && isDigit(text[begin]) ? begin : text.size();
}

} // namespace

void TelephoneNumbers::add(std::string_view text, std::uint32_t number) {
    const std::string digits = digitsOf(text);
    if (digits.size() < kFewestDigits || digits.size() > kMostDigits) {
        return;
    }
    mExact.try_emplace(digits, number);
    const std::string whole = withoutZeros(digits);
    if (whole.size() >= kFewestShared) {
        mWhole.try_emplace(whole, number);
        for (std::size_t begin = 0; begin + kFewestShared <= whole.size(); ++begin) {
            mEndings.try_emplace(whole.substr(begin), number);
        }
    }
}

const std::uint32_t* TelephoneNumbers::find(const std::string& digits, bool isInternational) const {
    const auto lookUp = [](const auto& map, const std::string& key) {
        const auto found = map.find(key);
        return found == map.end() ? nullptr : &found->second;
    };
    if (const std::uint32_t* exact = lookUp(mExact, digits)) {
        return exact;
    }
    const std::string whole = withoutZeros(digits);
    if (whole.size() < kFewestShared) {
        return nullptr;
    }
    if (const std::uint32_t* ending = lookUp(mEndings, whole)) {
        return ending;
    }
    for (std::size_t begin = 1; isInternational && begin + kFewestShared <= whole.size(); ++begin) {
        if (const std::uint32_t* national = lookUp(mWhole, whole.substr(begin))) {
            return national;
        }
    }
    return nullptr;
}

void TelephoneNumbers::findAt(std::string_view text, std::size_t begin, const Seen& seen) const {
    std::string digits;
    const bool hasPlus = begin > 0 && text[begin - 1] == '+';
    const bool isInternational = hasPlus || text.substr(begin).starts_with("00");
    for (std::size_t group = begin; group < text.size();) {
        std::size_t end = group;
        while (end < text.size() && isDigit(text[end]) && digits.size() <= kMostDigits) {
            digits += text[end++];
        }
        if (digits.size() > kMostDigits) {
            return;
        }
        if (digits.size() >= kFewestDigits && !goesOn(text, end)) {
            if (const std::uint32_t* number = find(digits, isInternational)) {
                seen(hasPlus ? begin - 1 : begin, end, *number);
            }
        }
        group = nextGroup(text, end);
    }
}

void TelephoneNumbers::findIn(std::string_view text, const Seen& seen) const {
    if (isEmpty()) {
        return;
    }
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (isDigit(text[index]) && !isInsideWord(text, index)) {
            findAt(text, index, seen);
        }
    }
}

} // namespace radvex::deidentify

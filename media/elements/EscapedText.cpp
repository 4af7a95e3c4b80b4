#include "media/elements/EscapedText.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <vector>

namespace radvex::media {

namespace {

/// A set of characters as ICU knows it.
struct CodedSet {
    std::string_view escape; ///< behind the escape character
    std::string_view number; ///< of the set in SpecificCharacterSet: "ISO 2022 IR 87"; empty: in none
    const char* converter;
    std::size_t bytes;       ///< of a character
    std::string_view prefix; ///< what the converter wants before a character
    bool isLow;              ///< characters have no highest bit, with which the converter wants them
};

constexpr std::array<CodedSet, 19> kSets{{
    {"(B", "6", "US-ASCII", 1, "", false},      {"(J", "14", "US-ASCII", 1, "", false}, // but for two signs
    {"$B", "87", "EUC-JP", 2, "", true},        {"$@", "", "EUC-JP", 2, "", true}, // an earlier edition of the same
    {"$(D", "159", "EUC-JP", 2, "\x8F", true},  {")I", "13", "EUC-JP", 1, "\x8E", false},
    {"$)C", "149", "EUC-KR", 2, "", false},     {"$)A", "58", "GB2312", 2, "", false},
    {"-A", "100", "ISO-8859-1", 1, "", false},  {"-B", "101", "ISO-8859-2", 1, "", false},
    {"-C", "109", "ISO-8859-3", 1, "", false},  {"-D", "110", "ISO-8859-4", 1, "", false},
    {"-L", "144", "ISO-8859-5", 1, "", false},  {"-G", "127", "ISO-8859-6", 1, "", false},
    {"-F", "126", "ISO-8859-7", 1, "", false},  {"-H", "138", "ISO-8859-8", 1, "", false},
    {"-M", "148", "ISO-8859-9", 1, "", false},  {"-T", "166", "TIS-620", 1, "", false},
    {"-b", "203", "ISO-8859-15", 1, "", false},
}};

const CodedSet& kAscii = kSets[0];
const CodedSet& kLatin1 = kSets[8];

/// Bytes with the highest bit are of this set until an escape names another.
const CodedSet& firstHighSet(std::string_view characterSet) {
    const std::string_view first = characterSet.substr(0, characterSet.find('\\'));
    const std::size_t mark = first.rfind("IR ");
    const std::string_view number = mark == std::string_view::npos ? "" : first.substr(mark + 3);
    const auto* found = std::ranges::find(kSets, number, &CodedSet::number);
    return number.empty() || found == kSets.end() || found->isLow || found->escape.starts_with('(') ? kLatin1 : *found;
}

std::string asUtf8(const std::string& bytes, const char* converter) {
    constexpr std::size_t kMost = 3; // bytes of UTF-8 for one of any of the sets
    std::vector<char> text(kMost * bytes.size() + 1);
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = ucnv_convert("UTF-8", converter, text.data(), static_cast<int32_t>(text.size()),
                                        bytes.data(), static_cast<int32_t>(bytes.size()), &error);
    return U_FAILURE(error) != 0 ? "\xEF\xBF\xBD" : std::string(text.data(), static_cast<std::size_t>(length));
}

/// Reads one text.
class EscapedText {
  public:
    EscapedText(std::string_view bytes, std::string_view characterSet, std::string_view delimiters)
        : mBytes(bytes), mDelimiters(delimiters), mFirstHigh(&firstHighSet(characterSet)) {}

    std::string run() {
        while (mAt < mBytes.size()) {
            if (mBytes[mAt] == kEscape) {
                readEscape();
            } else {
                readCharacter();
            }
        }
        flush();
        return std::move(mText);
    }

  private:
    static constexpr char kEscape = 0x1B;

    /// An escape of no known set is left out.
    void readEscape() {
        ++mAt;
        const auto* set = std::ranges::find_if(
            kSets, [&](const CodedSet& one) { return mBytes.substr(mAt).starts_with(one.escape); });
        if (set != kSets.end()) {
            mAt += set->escape.size();
            const bool isForLow = set->isLow || set->escape.starts_with('(');
            (isForLow ? mLow : mHigh) = set;
        }
    }

    void readCharacter() {
        const bool isHigh = static_cast<signed char>(mBytes[mAt]) < 0;
        const bool isControl = !isHigh && mBytes[mAt] < ' ';
        const bool isDelimiter = mLow->bytes == 1 && mDelimiters.find(mBytes[mAt]) != std::string_view::npos;
        if (isControl || isDelimiter) {
            mLow = &kAscii;
            mHigh = mFirstHigh;
        }
        const bool isSpace = mBytes[mAt] == ' '; // in no set of two bytes
        const CodedSet& set = isHigh ? *mHigh : isSpace ? kAscii : *mLow;
        std::string character(mBytes.substr(mAt, set.bytes));
        mAt += character.size();
        if (set.isLow) {
            std::ranges::transform(character, character.begin(),
                                   [](char byte) { return static_cast<char>(byte | '\x80'); });
        }
        add(set.converter, std::string(set.prefix) + character);
    }

    void add(const char* converter, const std::string& character) {
        if (mConverter != converter) {
            flush();
            mConverter = converter;
        }
        mWaiting += character;
    }

    void flush() {
        if (!mWaiting.empty()) {
            mText += asUtf8(mWaiting, mConverter);
            mWaiting.clear();
        }
    }

    std::string_view mBytes;
    std::string_view mDelimiters;
    const CodedSet* mFirstHigh;
    const CodedSet* mLow = &kAscii;
    const CodedSet* mHigh = mFirstHigh;
    std::size_t mAt = 0;
    const char* mConverter = nullptr;
    std::string mWaiting{}; ///< of the converter
    std::string mText{};
};

} // namespace

std::string utf8FromEscapes(std::string_view bytes, std::string_view characterSet, std::string_view delimiters) {
    return EscapedText(bytes, characterSet, delimiters).run();
}

} // namespace radvex::media

#include "deidentify/identifiers/FoldedText.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <utility>

#include "deidentify/identifiers/AsciiText.h"

namespace radvex::deidentify {

namespace {

/// More marks on one character are no language. They are folded in parts, so that no text takes quadratic time.
constexpr std::size_t kMostInCluster = 32;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

char lowerOf(char byte) { return isCapital(byte) ? static_cast<char>(byte + ('a' - 'A')) : byte; }

struct Normalizers {
    const icu::Normalizer2* caseless = nullptr;
    const icu::Normalizer2* apart = nullptr;
    const icu::Normalizer2* composed = nullptr;
    bool areThere = false;
};

/// ICU's tables are part of the program; should they be missing, case folds by itself and accents stay.
const Normalizers& normalizers() {
    static const Normalizers instance = [] {
        UErrorCode error = U_ZERO_ERROR;
        Normalizers made;
        made.caseless = icu::Normalizer2::getNFKCCasefoldInstance(error);
        made.apart = icu::Normalizer2::getNFDInstance(error);
        made.composed = icu::Normalizer2::getNFCInstance(error);
        made.areThere = U_SUCCESS(error);
        return made;
    }();
    return instance;
}

/// Whether the character is an accent: a mark that readers of its script leave out. Vowels of Indian scripts and the
/// sound marks of Japanese are marks for Unicode too, but other words without them.
bool isAccent(char32_t code) {
    const auto point = static_cast<UChar32>(code);
    if ((U_GET_GC_MASK(point) & (U_GC_MN_MASK | U_GC_ME_MASK)) == 0 || code == 0x3099 || code == 0x309A) {
        return false;
    }
    UErrorCode error = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(point, &error);
    constexpr std::array kScripts{USCRIPT_INHERITED, USCRIPT_LATIN,  USCRIPT_GREEK,
                                  USCRIPT_CYRILLIC,  USCRIPT_HEBREW, USCRIPT_ARABIC};
    return std::find(kScripts.begin(), kScripts.end(), script) != kScripts.end();
}

/// Letters whose stroke or ligature Unicode does not take apart.
std::u16string_view plainSpelling(char32_t code) {
    switch (code) {
    case 0x00E6: return u"ae"; // æ
    case 0x0153: return u"oe"; // œ
    case 0x00F8: return u"o";  // ø
    case 0x0142: return u"l";  // ł
    case 0x0111:               // đ
    case 0x00F0: return u"d";  // ð
    case 0x00FE: return u"th"; // þ
    case 0x0131: return u"i";  // dotless i
    case 0x0127: return u"h";  // ħ
    case 0x0167: return u"t";  // ŧ
    default: return {};
    }
}

std::string foldedCluster(std::string_view utf8) {
    const Normalizers& forms = normalizers();
    const auto source = icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    UErrorCode error = U_ZERO_ERROR;
    const icu::UnicodeString apart = forms.apart->normalize(forms.caseless->normalize(source, error), error);
    icu::UnicodeString plain;
    for (int32_t index = 0; index < apart.length(); index = apart.moveIndex32(index, 1)) {
        const auto code = static_cast<char32_t>(apart.char32At(index));
        const std::u16string_view spelling = plainSpelling(code);
        if (!spelling.empty()) {
            plain.append(spelling.data(), static_cast<int32_t>(spelling.size()));
        } else if (!isAccent(code)) {
            plain.append(static_cast<UChar32>(code));
        }
    }
    std::string result;
    forms.composed->normalize(plain, error).toUTF8String(result);
    return U_SUCCESS(error) ? result : std::string(utf8);
}

/// Where the character at `begin` and the marks on it end.
std::size_t clusterEnd(std::string_view utf8, std::size_t begin) {
    std::size_t end = begin + characterAt(utf8, begin).size;
    for (std::size_t count = 1; end < utf8.size() && count < kMostInCluster; ++count) {
        const Character next = characterAt(utf8, end);
        if (next.code == U'\uFFFD' || normalizers().caseless->hasBoundaryBefore(static_cast<UChar32>(next.code))) {
            break;
        }
        end += next.size;
    }
    return end;
}

} // namespace

Character characterAt(std::string_view utf8, std::size_t offset) {
    const auto first = static_cast<unsigned char>(utf8[offset]);
    if (first < 0x80) {
        return {first, 1};
    }
    const std::string_view rest = utf8.substr(offset, 4);
    std::array<std::uint8_t, 4> bytes{};
    std::copy(rest.begin(), rest.end(), bytes.begin());
    int32_t next = 0;
    UChar32 code = 0;
    U8_NEXT(bytes.data(), next, static_cast<int32_t>(rest.size()), code);
    return code < 0 ? Character{} : Character{static_cast<char32_t>(code), static_cast<std::size_t>(next)};
}

FoldedText::FoldedText(std::string_view utf8) {
    mText.reserve(utf8.size());
    if (isAscii(utf8) || !normalizers().areThere) {
        std::transform(utf8.begin(), utf8.end(), std::back_inserter(mText), lowerOf);
        return;
    }
    mBegins.reserve(utf8.size());
    mEnds.reserve(utf8.size());
    foldAll(utf8);
}

void FoldedText::foldAll(std::string_view utf8) {
    for (std::size_t begin = 0; begin < utf8.size();) {
        const Character character = characterAt(utf8, begin);
        const bool isLast = begin + 1 >= utf8.size();
        if (character.code < 0x80 && (isLast || static_cast<unsigned char>(utf8[begin + 1]) < 0x80)) {
            const char lower = lowerOf(utf8[begin]);
            append({&lower, 1}, begin, begin + 1);
            ++begin;
        } else if (character.code == U'\uFFFD') {
            append(kReplacement, begin, begin + character.size);
            begin += character.size;
        } else {
            const std::size_t end = clusterEnd(utf8, begin);
            append(foldedCluster(utf8.substr(begin, end - begin)), begin, end);
            begin = end;
        }
    }
}

void FoldedText::append(std::string_view folded, std::size_t begin, std::size_t end) {
    mText += folded;
    mBegins.resize(mText.size(), begin);
    mEnds.resize(mText.size(), end);
}

std::string folded(std::string_view utf8) { return FoldedText(utf8).text(); }

std::string withDigraphs(std::string_view utf8) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 13> kSpellings{{{"\xC3\xA4", "ae"},
                                                                                               {"\xC3\x84", "Ae"},
                                                                                               {"\xC3\xB6", "oe"},
                                                                                               {"\xC3\x96", "Oe"},
                                                                                               {"\xC3\xBC", "ue"},
                                                                                               {"\xC3\x9C", "Ue"},
                                                                                               {"\xC3\xB8", "oe"},
                                                                                               {"\xC3\x98", "Oe"},
                                                                                               {"\xC3\xA5", "aa"},
                                                                                               {"\xC3\x85", "Aa"},
                                                                                               {"\xCC\x88", "e"},
                                                                                               {"\xC3\xA6", "ae"},
                                                                                               {"\xC3\x86", "Ae"}}};
    std::string result;
    for (std::size_t offset = 0; offset < utf8.size();) {
        const std::string_view rest = utf8.substr(offset);
        const auto* found = std::find_if(kSpellings.begin(), kSpellings.end(),
                                         [&](const auto& pair) { return rest.starts_with(pair.first); });
        if (found == kSpellings.end()) {
            result += utf8[offset++];
        } else {
            result += found->second;
            offset += found->first.size();
        }
    }
    return result;
}

std::size_t charactersIn(std::string_view utf8) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < utf8.size(); offset += characterAt(utf8, offset).size) {
        ++count;
    }
    return count;
}

} // namespace radvex::deidentify

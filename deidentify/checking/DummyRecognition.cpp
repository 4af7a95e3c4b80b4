#include "deidentify/checking/DummyRecognition.h"

#include <algorithm>
#include <array>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "deidentify/identifiers/MeaninglessWords.h"
#include "deidentify/identifiers/TextWords.h"
#include "deidentify/rewriting/DummyValues.h"
#include "deidentify/rewriting/IdentifierCollector.h"

namespace radvex::deidentify {

namespace {

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> texts) {
    return std::ranges::find(texts, text) != texts.end();
}

bool hasDigit(std::string_view text) { return std::ranges::any_of(text, isDigit); }

/// Words beside those that say nothing in the place of a name.
bool isWordForNobody(std::string_view word) {
    return isMeaningless(word) || isOneOf(word, {"by",
                                                 "de",
                                                 "id",
                                                 "identification",
                                                 "deidentification",
                                                 "not",
                                                 "no",
                                                 "available",
                                                 "redacted",
                                                 "withheld",
                                                 "hidden",
                                                 "masked",
                                                 "deleted",
                                                 "private",
                                                 "na",
                                                 "n",
                                                 "a",
                                                 "x",
                                                 "xx",
                                                 "xxx",
                                                 "xxxx",
                                                 "institution",
                                                 "site",
                                                 "person",
                                                 "the",
                                                 "for",
                                                 "of"});
}

/// Every word is one for nobody, and there is at least one.
bool isOfNobody(std::string_view value) {
    const TextWords words(value);
    for (std::size_t index = 0; index < words.count(); ++index) {
        if (!isWordForNobody(words.wordAt(index))) {
            return false;
        }
    }
    return words.count() > 0;
}

/// A word without digits that is a name or may be one.
bool hasWordOfAName(std::string_view value) {
    const TextWords words(value);
    for (std::size_t index = 0; index < words.count(); ++index) {
        const std::string_view word = words.wordAt(index);
        if (!hasDigit(word) && !isWordForNobody(word)) {
            return true;
        }
    }
    return false;
}

bool isZeros(std::string_view value) {
    return std::ranges::all_of(value, [](char byte) { return isOneOf({&byte, 1}, {"0", ".", ":", "-", "+"}); });
}

/// The first of January of a year that nothing is dated with, or of the year when clocks begin.
bool isDummyDay(std::string_view value) {
    const std::string_view day = value.substr(0, 8);
    return day == "19700101" || day == "20000101" || day == "19010101" || day == "11111111" ||
           (day.size() == 8 && day.substr(4) == "0101" && day.substr(0, 4) <= "1900") || isZeros(day);
}

/// Hours alone, such as midnight and noon, are what programs write for a time of day that is not told.
bool isDummyTime(std::string_view value) { return value.size() <= 2 || isZeros(value.substr(2)); }

/// Sixteen or more hexadecimal digits, or the decimal ones of a UID.
bool isHash(std::string_view value) {
    constexpr std::size_t kShortest = 16;
    return value.size() >= kShortest && std::ranges::all_of(value, [](char byte) {
               return isDigit(byte) || byte == '.' || byte == '-' || (byte >= 'a' && byte <= 'f') ||
                      (byte >= 'A' && byte <= 'F');
           });
}

} // namespace

bool saysNothing(std::string_view value, DcmEVR vr) {
    switch (vr) {
    case EVR_DA:
    case EVR_DT: return isDummyDay(value);
    case EVR_TM: return isDummyTime(value);
    case EVR_AS: return isZeros(value.substr(0, value.size() - 1));
    case EVR_UR: return value.ends_with(".invalid") || value.find(".invalid/") != std::string_view::npos;
    default: return value == dummyText(vr) || isZeros(value) || isOfNobody(value);
    }
}

bool mayTell(const DcmTagKey& key, DcmEVR vr, std::string_view value) {
    const auto kind = kindOfAttribute(key);
    const bool isName = kind == IdentifierKind::PatientName || kind == IdentifierKind::OtherName ||
                        kind == IdentifierKind::Organization || vr == EVR_PN;
    if (isName) {
        return hasWordOfAName(value);
    }
    switch (vr) {
    case EVR_DA:
    case EVR_DT:
    case EVR_TM:
    case EVR_UR: return true;
    case EVR_CS: return key == DCM_PatientSex && value != "O";
    default: break;
    }
    const bool isNumber = kind == IdentifierKind::Telephone || key == DCM_AccessionNumber;
    return kind == IdentifierKind::Address || (isNumber && !isHash(value));
}

} // namespace radvex::deidentify

#include "deidentify/rewriting/TextCleaner.h"

#include <algorithm>

#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/identifiers/SuspiciousText.h"

namespace radvex::deidentify {

namespace {

/// Stands for an identifier where there is no room for more.
constexpr char kBriefly[] = "_";

bool isSeparator(char character) {
    return std::string_view(" ,.^=\\_-\t\r\n").find(character) != std::string_view::npos;
}

/// One word that may as well be no identifier: a name, or a number without digits.
bool isSingleWord(const Identifier& identifier, std::string_view found) {
    using enum IdentifierKind;
    const IdentifierKind kind = identifier.kind;
    const bool isName = kind == PatientName || kind == OtherName || kind == Organization || kind == Device;
    const bool isNumber = kind == PatientId || kind == OtherId;
    return (isName || (isNumber && std::ranges::none_of(found, isDigit))) && std::ranges::none_of(found, isSeparator);
}

/// What no option that keeps an attribute leaves in it. A UID is the patient's as much as his or her number.
bool isOfPatient(IdentifierKind kind) {
    return kind == IdentifierKind::Uid || kind == IdentifierKind::PatientId || kind == IdentifierKind::PatientName ||
           kind == IdentifierKind::BirthDate || kind == IdentifierKind::OtherId;
}

bool counts(const Identifier& identifier, std::string_view found, Cleaning cleaning) {
    constexpr std::size_t kTelling = 4;
    switch (cleaning) {
    case Cleaning::Patient: return isOfPatient(identifier.kind) && identifier.text.size() >= kTelling;
    case Cleaning::Vocabulary: return identifier.text.size() >= kTelling && !isSingleWord(identifier, found);
    case Cleaning::Identifiers:
    case Cleaning::Texts: return identifier.text.size() >= kTelling || found.size() >= kTelling;
    case Cleaning::Descriptions: break;
    }
    return true;
}

/// Characters that a value may have (PS3.5, table 6.2-1); 0: no limit that matters.
std::size_t longestValue(DcmEVR vr) {
    switch (vr) {
    case EVR_AE:
    case EVR_CS:
    case EVR_SH: return 16;
    case EVR_LO:
    case EVR_PN: return 64;
    case EVR_ST: return 1024;
    case EVR_LT: return 10240;
    default: return 0;
    }
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

/// Cuts each value at the limit of the type.
std::string limited(const std::string& text, DcmEVR vr) {
    const std::size_t most = longestValue(vr);
    const bool hasValues = vr != EVR_ST && vr != EVR_LT;
    if (most == 0) {
        return text;
    }
    std::string result;
    std::size_t length = 0;
    for (const char byte : text) {
        if (hasValues && byte == '\\') {
            length = 0;
        } else if (!isContinuation(byte)) {
            ++length;
        }
        if (length <= most) {
            result += byte;
        }
    }
    return result;
}

} // namespace

std::optional<Identifier> TextCleaner::nameInBytes(std::string_view bytes, Cleaning cleaning) const {
    const bool mayStay = cleaning == Cleaning::Patient || cleaning == Cleaning::Vocabulary;
    return mayStay ? std::nullopt : mFinder.findNameBytesIn(bytes);
}

std::vector<Find> TextCleaner::identifiersIn(const std::string& text, Cleaning cleaning) const {
    std::vector<Find> finds = mFinder.findAll(text);
    std::erase_if(finds, [&](const Find& find) {
        return !counts(*find.identifier, std::string_view(text).substr(find.begin, find.length), cleaning);
    });
    return finds;
}

TextCleaner::Parts TextCleaner::partsToReplace(const std::string& text, Cleaning cleaning) const {
    Parts parts;
    for (const Find& find : identifiersIn(text, cleaning)) {
        const std::string_view found = std::string_view(text).substr(find.begin, find.length);
        parts[find.begin] = {find.begin + find.length, mNewText(*find.identifier, found)};
    }
    if (cleaning == Cleaning::Descriptions || cleaning == Cleaning::Texts) {
        for (const TextSpan& span : suspiciousParts(text)) {
            const std::size_t end = span.begin + span.length;
            Part& part = parts.try_emplace(span.begin, Part{end, std::string(kRemovedText)}).first->second;
            part.end = std::max(part.end, end); // a known name may be only the first word of a suspicious one
        }
    }
    return parts;
}

std::optional<std::string> TextCleaner::clean(const std::string& text, DcmEVR vr, Cleaning cleaning) const {
    const Parts parts = partsToReplace(text, cleaning);
    if (parts.empty()) {
        return std::nullopt;
    }
    std::string full;
    std::string brief;
    std::size_t done = 0;
    for (const auto& [begin, part] : parts) {
        if (begin >= done) {
            full.append(text, done, begin - done).append(part.replacement);
            brief.append(text, done, begin - done).append(kBriefly);
        }
        done = std::max(done, part.end); // of two that overlap, all of both goes
    }
    full.append(text, done);
    brief.append(text, done);
    return limited(full, vr) == full ? full : limited(brief, vr);
}

} // namespace radvex::deidentify

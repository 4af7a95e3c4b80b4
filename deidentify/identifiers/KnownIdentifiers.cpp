#include "deidentify/identifiers/KnownIdentifiers.h"

#include "deidentify/identifiers/AsciiText.h"

namespace radvex::deidentify {

void KnownIdentifiers::add(IdentifierKind kind, std::string_view utf8Text) {
    if (const std::string_view text = trimmed(utf8Text); !text.empty()) {
        mAll.insert({kind, std::string(text)});
    }
}

const char* describe(IdentifierKind kind) {
    switch (kind) {
    case IdentifierKind::Uid: return "UID of an original";
    case IdentifierKind::PatientId: return "number of a patient";
    case IdentifierKind::OtherId: return "number of a visit, a request or a study";
    case IdentifierKind::PatientName: return "name of a patient";
    case IdentifierKind::OtherName: return "name of a person";
    case IdentifierKind::BirthDate: return "birth date";
    case IdentifierKind::OtherDate: return "date";
    case IdentifierKind::Address: return "address";
    case IdentifierKind::Telephone: return "telephone number";
    case IdentifierKind::Organization: return "name of an institution";
    case IdentifierKind::Device: return "name or number of a device";
    }
    return "identifier";
}

} // namespace radvex::deidentify

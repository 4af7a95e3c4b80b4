#include "deidentify/identifiers/KnownIdentifiers.h"

namespace radvex::deidentify {

std::string_view trimmed(std::string_view text) {
    const auto isPadding = [](char byte) { return byte >= '\0' && byte <= ' '; };
    while (!text.empty() && isPadding(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isPadding(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

void KnownIdentifiers::add(IdentifierKind kind, std::string_view utf8Text) {
    if (const std::string_view text = trimmed(utf8Text); !text.empty()) {
        mAll.insert({kind, std::string(text)});
    }
}

} // namespace radvex::deidentify

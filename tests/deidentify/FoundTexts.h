#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "deidentify/identifiers/IdentifierFinder.h"

namespace radvex::test {

using Texts = std::vector<std::string>;

inline deidentify::IdentifierFinder finderOf(const std::vector<deidentify::Identifier>& identifiers) {
    deidentify::KnownIdentifiers known;
    for (const auto& [kind, text] : identifiers) {
        known.add(kind, text);
    }
    return deidentify::IdentifierFinder(known);
}

/// What is found of one identifier in a text.
inline Texts found(deidentify::IdentifierKind kind, const std::string& identifier, const std::string& text) {
    const deidentify::IdentifierFinder finder = finderOf({{kind, identifier}});
    Texts texts;
    for (const deidentify::Find& find : finder.findAll(text)) {
        EXPECT_EQ(find.identifier->text, identifier);
        texts.push_back(text.substr(find.begin, find.length));
    }
    return texts;
}

/// What is found of a patient's name in a text.
inline Texts name(const std::string& identifier, const std::string& text) {
    return found(deidentify::IdentifierKind::PatientName, identifier, text);
}

} // namespace radvex::test

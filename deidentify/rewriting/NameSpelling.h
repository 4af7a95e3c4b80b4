#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"
#include "deidentify/identifiers/KnownIdentifiers.h"
#include "deidentify/rewriting/DatasetText.h"

namespace radvex::deidentify {

/// Remembers the bytes of the parts of names that are not ASCII, and of neighbouring parts run together, as far as
/// nobody would find them by their characters: see NameBytes.
/// @param bytes         of a value of type PN, as the file has it
/// @param characterSet  value of SpecificCharacterSet where it stands, which need not be true
void learnNameBytes(IdentifierKind kind, const std::string& bytes, const std::string& characterSet,
                    TextDecoder& decoder, KnownIdentifiers& identifiers);

} // namespace radvex::deidentify

#pragma once

#include "deidentify/rewriting/Identities.h"
#include "deidentify/rewriting/TextFinder.h"

namespace radvex::deidentify {

/// Replaces identifiers in all free texts of a dataset, also in readable values of private attributes whose type nobody
/// knows. An identifier has to be a whole word: "1.2.3" is not replaced within "1.2.3.4". In other bytes, whose meaning
/// may depend on their offsets, letters and digits of an identifier become '0'. Pixels and words are left alone.
/// @param finder   knows the identifiers of `identities`
/// @param changes  receives what was changed; may be null
/// @return whether anything was changed
bool replaceIdentifiers(DcmFileFormat& file, const TextFinder& finder, const Identities& identities,
                        std::vector<Change>* changes);

} // namespace radvex::deidentify

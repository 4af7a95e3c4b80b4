#pragma once

#include "deidentify/rewriting/Identities.h"
#include "deidentify/rewriting/TextFinder.h"

namespace radvex::deidentify {

/// Replaces identifiers that stand as words of a text: not "1.2.3" within "1.2.3.4".
/// @param newOf  new values by old, of all texts that the finder knows
std::string replaceIdentifiers(const std::string& text, const TextFinder& finder,
                               const std::map<std::string, std::string>& newOf);

/// Replaces identifiers in all free texts of a dataset, those of private attributes whose type nobody knows too as far
/// as they are readable. In bytes, whose meaning may hang on their places, letters and digits of an identifier become
/// '0'. Pixels and words are left alone.
/// @param changes  receives what was changed; may be null
/// @return whether anything was changed
bool replaceIdentifiers(DcmFileFormat& file, const TextFinder& finder, const Originals& originals,
                        const GivenValues& given, std::vector<Change>* changes);

} // namespace radvex::deidentify

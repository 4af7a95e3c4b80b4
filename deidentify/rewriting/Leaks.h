#pragma once

#include <set>

#include "deidentify/rewriting/Identities.h"

namespace radvex::deidentify {

/// Attributes of a written file that may still tell who the patient is, wherever they stand: sequences, private
/// blocks, overlays, records of a directory, meta information. A value that the user gave is none. What cannot be
/// told by its tag counts by its type (names of persons) or as a whole (private attributes, by their creator).
std::set<Leak> findLeaks(DcmFileFormat& file, const Originals& originals, const GivenValues& given);

} // namespace radvex::deidentify

#pragma once

#include <string>
#include <string_view>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctagkey.h"
#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::deidentify {

/// Whether a value is one that programs put where a value has to be and nothing is to be said: "ANONYMIZED", 19000101,
/// "000Y", a text of zeros, a web address that leads nowhere. Those of other programs count too.
/// @param value  UTF-8, one value without padding, not empty
bool saysNothing(std::string_view value, DcmEVR vr);

/// Whether a value may identify somebody, judged without the originals. Names of persons and institutions may when they
/// have a word that is no word for "nobody" and has no digit, as pseudonyms have; dates, addresses, telephone numbers
/// and accession numbers may when they are neither dummies nor hashes. Of other texts nothing can be told.
/// @param value  UTF-8, one value without padding, not empty
bool mayTell(const DcmTagKey& key, DcmEVR vr, std::string_view value);

} // namespace radvex::deidentify

#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dctag.h"

namespace radvex {

/// DCMTK's compiled-in dictionary (PS3.6), for every look-up of a keyword. No file and no setting changes it.
extern const DcmDataDictionary GeneralInfoMap;

/// Key of a tag in every result: its keyword without "RETIRED_", or `gggg_eeee` in lower-case hexadecimal for a tag
/// that the dictionary does not know and when `numeric` is asked for.
std::string getTagNameAsString(DcmTag tag, bool numeric);

/// Tag of a keyword, retired ones by their plain keyword too. A keyword of a repeating group gives its lowest group.
/// @throws GantryError  InvalidTagName (the name)
DcmTagKey getTagKey(const DcmDataDictionary& dictionary, const std::string& name);

/// Low 16 bits of a hexadecimal number, read as std::stoi does.
/// @throws std::invalid_argument, std::out_of_range  "stoi"
Uint16 stringToUint16(const std::string& text);

/// The local date and time as DICOM writes them: YYYYMMDD and HHMMSS (PS3.5 section 6.2).
std::string getCurrentDateAsDcmDT();
std::string getCurrentTimeAsDcmTM();

} // namespace radvex

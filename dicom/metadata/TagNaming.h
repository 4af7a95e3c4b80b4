#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dctag.h"

namespace radvex {

/// DCMTK's built-in dictionary (PS3.6), for every look-up of a keyword. No file and no setting changes it.
extern const DcmDataDictionary GeneralInfoMap;

/// Key of a tag in every result: its keyword without "RETIRED_". With `numeric`, and for a tag that the dictionary does
/// not know: `gggg_eeee` in lower-case hexadecimal.
std::string getTagNameAsString(DcmTag tag, bool numeric);

/// Tag of a keyword. A retired attribute is found with and without "RETIRED_"; a keyword of a repeating group gives
/// the lowest group.
/// @throws GantryError  InvalidTagName (the keyword)
DcmTagKey getTagKey(const DcmDataDictionary& dictionary, const std::string& name);

/// The low 16 bits of a hexadecimal number, which is read as std::stoi does.
/// @throws std::invalid_argument, std::out_of_range  "stoi"
Uint16 stringToUint16(const std::string& text);

/// The local date and time as DICOM writes them: YYYYMMDD and HHMMSS (PS3.5 section 6.2).
std::string getCurrentDateAsDcmDT();
std::string getCurrentTimeAsDcmTM();

} // namespace radvex

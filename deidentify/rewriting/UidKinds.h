#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcelem.h"

namespace radvex::deidentify {

/// The type that the dictionary gives to a text, whatever the file says: a UID that a file calls a long string is one
/// all the same. The file's type for other values and for attributes that the dictionary does not know.
DcmEVR meantType(DcmElement& element);

/// Whether the attribute's UIDs name a kind of thing (a class, a transfer syntax, a coding scheme, a program) and not
/// one thing of that kind. Such UIDs are the same in the files of all patients.
bool namesAKind(const DcmTagKey& key);

/// Whether DICOM itself defines the UID: well-known instances and frames of reference too.
bool isWellKnownUid(const std::string& uid);

} // namespace radvex::deidentify

#pragma once

#include <string>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctagkey.h"

namespace radvex::deidentify {

/// Whether the attribute's UIDs say what kind something is - a class, a transfer syntax, a coding scheme, a software -
/// and not which one it is: they are the same in the files of all patients.
bool namesAKind(const DcmTagKey& key);

/// Whether everyone knows the UID, whatever attribute it stands in: well-known instances and frames of reference too.
bool isWellKnown(const std::string& uid);

} // namespace radvex::deidentify

#pragma once

#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/FileCheck.h"
#include "deidentify/identifiers/IdentifierFinder.h"
#include "deidentify/rewriting/DatasetText.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::deidentify {

/// What a file is compared with.
struct CheckTools {
    const CheckSettings& settings;
    const ProfileOptions& options;
    const IdentifierFinder& finder;       ///< empty without originals
    const std::vector<ValueHash>& values; ///< of the originals, in ascending order
    bool hasOriginals;
    bool isDeflated; ///< so that the bytes of the file show no text
};

/// Looks at every attribute of a file, at any depth: what may stand in it by the table, and whether a text that may
/// stay holds an identifier.
void checkAttributes(DcmFileFormat& file, const CheckTools& tools, TextDecoder& decoder, CheckedFile& checked);

} // namespace radvex::deidentify

#pragma once

#include <functional>
#include <map>
#include <string>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"
#include "deidentify/identifiers/IdentifierFinder.h"
#include "deidentify/pixels/MaskRules.h"
#include "deidentify/rewriting/DatasetText.h"
#include "deidentify/rewriting/Identities.h"
#include "deidentify/rewriting/Pseudonyms.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::deidentify {

/// What the files of a run share.
struct ProfileTools {
    const ProfileSettings& settings;
    const GivenValues& given; ///< UTF-8, by attribute
    const Pseudonyms& pseudonyms;
    const std::map<std::string, PatientPseudonym>& assigned; ///< by PatientID
    const IdentifierFinder& finder;
    const MaskRules& masks;
    const std::string& settingsMark; ///< the same for runs with the same key and settings
};

PatientPseudonym pseudonymOf(const ProfileTools& tools, const std::string& patient);

/// The risks of pixels that no mask takes away and no user accepted. @param isMasked  a mask applied
Leaks pixelLeaks(DcmDataset& dataset, const ProfileSettings& settings, bool isMasked);

/// Applies the confidentiality profile to a file in memory: PS3.15, annex E. The file gets no preamble, and its meta
/// information is left for the writer to make.
/// @throws std::runtime_error  part of a sentence; the file may then be changed in part
RewrittenFile applyProfile(DcmFileFormat& file, const ProfileTools& tools, TextDecoder& decoder);

} // namespace radvex::deidentify

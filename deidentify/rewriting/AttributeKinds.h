#pragma once

#include <set>
#include <string_view>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"
#include "deidentify/profile/ConfidentialityTable.h"

#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::deidentify {

bool isPrivateCreator(const DcmTagKey& key);
bool isOverlay(const DcmTagKey& key);
/// Pixels of any kind and the tables of their frames.
bool holdsPixels(DcmElement& element);
/// Attributes of messages, of meta information and of directories have no place in a dataset.
bool isOfOtherPlaces(const DcmTagKey& key);

bool isDateOrTime(DcmEVR vr);
/// Whether values of the type are texts that people write.
bool isFreeText(DcmEVR vr);

/// Whether bytes of an unknown type may be a text: no control characters but those of lines.
bool isReadable(std::string_view text);

bool isKnownToDictionary(const DcmTagKey& key);

/// Whether the text is a word of a vocabulary that others keep: a word of a name in it is most likely no name. Codes of
/// schemes that begin with 99 are of somebody's own (PS3.16, 8.2).
bool holdsVocabulary(DcmItem& item, const DcmTagKey& key);

/// Whether the value is the code of a concept in a scheme that others keep: digits that are a patient's number
/// elsewhere mean what they say here.
bool holdsCode(DcmItem& item, const DcmTagKey& key);

/// Whether a private attribute of an item is one that the user lets stay.
bool isKeptPrivate(DcmItem& item, const DcmTagKey& key, const std::set<KeptPrivate>& kept);

/// Groups of overlays that mark regions and hold no drawn text, when graphics are cleaned and not removed.
std::set<Uint16> overlaysToKeep(DcmItem& item, const ProfileOptions& options);

/// The action for an attribute that the table does not have: names, dates, UIDs and addresses of the web are dangerous
/// wherever they stand.
Action actionByType(DcmEVR vr, const ProfileOptions& options);

} // namespace radvex::deidentify

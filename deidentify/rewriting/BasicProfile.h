#pragma once

#include <span>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"

#include "dcmtk/dcmdata/dctagkey.h"

namespace radvex::deidentify {

/// What the basic profile does to an attribute. Where the profile leaves a choice: the action that keeps a file valid.
enum class Confidentiality {
    Remove,
    Empty, ///< a value of length zero is enough
    Dummy  ///< a value that says nothing
};

struct ConfidentialAttribute {
    DcmTagKey key;
    Confidentiality action;
};

/// Attributes that may identify the patient, other persons, institutions or devices, in the order of their tags: the
/// basic profile of PS3.15, table E.1-1, and the application entities of the file meta information. PatientID, StudyID
/// and UIDs are left out because they get new values, and so are sequences in which only UIDs identify.
std::span<const ConfidentialAttribute> confidentialAttributes();

/// Whether the attribute is in that list, is curve data, or is a plane, a comment or a label of an overlay.
bool isConfidential(const DcmTagKey& key);

/// The basic profile of confidentiality (PS3.15 annex E) as far as new values can express it: an empty or a dummy value
/// where the profile asks for one, and an empty value for each text that the profile removes. Identifiers and UIDs are
/// left out because every file gets new ones anyway.
Profile basicProfileRules();

} // namespace radvex::deidentify

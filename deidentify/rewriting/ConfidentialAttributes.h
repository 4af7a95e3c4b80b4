#pragma once

#include <span>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctagkey.h"

namespace radvex::deidentify {

/// What the basic profile does to an attribute; of several choices the one that keeps a file valid.
enum class Confidentiality {
    Remove,
    Empty, ///< a value of no length will do
    Dummy  ///< a value that says nothing
};

struct ConfidentialAttribute {
    DcmTagKey key;
    Confidentiality action;
};

/// Attributes that may identify a patient or somebody or something around, in the order of their tags (the basic
/// profile of PS3.15, table E.1-1; of the meta information the application entities). Left out are PatientID, StudyID
/// and UIDs, which get new values, and sequences in which only UIDs identify.
std::span<const ConfidentialAttribute> confidentialAttributes();

/// Whether the attribute is one of those, curve data, or words or planes of an overlay.
bool isConfidential(const DcmTagKey& key);

} // namespace radvex::deidentify

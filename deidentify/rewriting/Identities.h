#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"
#include "deidentify/rewriting/Pseudonyms.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::deidentify {

/// Values that the user gave, by attribute.
using GivenValues = std::map<DcmTagKey, std::string>;

/// Gives every UID of an instance, PatientID and StudyID of a file the new value that belongs to the original one.
class Identities {
  public:
    Identities(Pseudonyms pseudonyms, GivenValues given)
        : mPseudonyms(std::move(pseudonyms)), mGiven(std::move(given)) {}

    /// Changes `written` in place; both files are whole datasets with their meta information. An empty value stays
    /// empty. UIDs that name a kind get their original value back, which the library may have replaced.
    void map(DcmFileFormat& original, DcmFileFormat& written);

    /// Remembers what identifies the patient in an original file, without changing anything.
    void remember(DcmFileFormat& original);

    const Originals& originals() const { return mOriginals; }
    /// Forgets them.
    Originals takeOriginals() { return std::exchange(mOriginals, {}); }
    /// Remembers what another found. What is known already keeps its new value.
    void add(Originals others);
    const GivenValues& given() const { return mGiven; }

  private:
    std::string newValue(const DcmTagKey& key, const std::string& original);
    std::string newUids(const std::string& original, const std::string* given);
    void rememberIdentifier(const DcmTagKey& key, const std::string& value, const std::string& newValue);
    void rememberNames(const std::string& value);

    Pseudonyms mPseudonyms;
    GivenValues mGiven;
    Originals mOriginals{};
};

/// The text with ASCII letters as capitals, as names are remembered.
std::string capitals(std::string text);

/// Whether the attribute's value is an identifier that gets a new one: PatientID, StudyID, UIDs of instances.
bool isIdentifier(DcmElement& element);

/// What differs between two datasets, in the order of the walk. Pixels are the same by construction and not looked at.
void collectChanges(DcmFileFormat& original, DcmFileFormat& changed, std::vector<Change>& changes);

} // namespace radvex::deidentify

#pragma once

#include <map>
#include <set>
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

/// Gives every UID of an instance, PatientID and StudyID of a file the new value that belongs to the original one, and
/// finds what may still identify the patient.
class Identities {
  public:
    Identities(Pseudonyms pseudonyms, GivenValues given)
        : mPseudonyms(std::move(pseudonyms)), mGiven(std::move(given)) {}

    /// Changes `written` in memory. Both files are whole datasets with their meta information. An empty value stays
    /// empty. A UID that names a kind of thing gets back its original value, which the library may have replaced.
    void map(DcmFileFormat& original, DcmFileFormat& written);

    /// Remembers what identifies the patient in an original file, without changing the file.
    void remember(DcmFileFormat& original);

    const Originals& originals() const { return mOriginals; }
    /// Returns the originals and forgets them.
    Originals takeOriginals() { return std::exchange(mOriginals, {}); }
    /// Adds what another process found. An original that is known already keeps its new value.
    void add(Originals others);
    const GivenValues& given() const { return mGiven; }

    /// Attributes of a written file that may still tell who the patient is, at any depth: in sequences, private blocks,
    /// overlays, directory records and file meta information. A value that the user gave does not count. Names of
    /// persons count by their type, private attributes all together by their creator.
    Leaks findLeaks(DcmFileFormat& file) const;

  private:
    std::string newValue(const DcmTagKey& key, const std::string& original);
    void rememberNames(const std::string& value);
    bool isGiven(DcmElement& element) const;
    bool isOriginal(DcmElement& element) const;

    Pseudonyms mPseudonyms;
    GivenValues mGiven;
    Originals mOriginals{};
};

/// The values that differ between two datasets, in the order of the walk. Long values, such as pixels, are not
/// compared.
void collectChanges(DcmFileFormat& original, DcmFileFormat& changed, std::vector<Change>& changes);

} // namespace radvex::deidentify

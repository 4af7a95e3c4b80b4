#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

/// De-identifies a file in memory: gives the attributes that the caller names the caller's values, the UIDs of a fixed
/// list new ones, and the patient and the study random IDs. Nothing is removed, and nothing else is changed: which
/// personal attributes go is the caller's choice alone.
class DcmAnonymizer {
  public:
    /// @param tagsToChange  attributes and their new values, in the order in which they are set
    explicit DcmAnonymizer(std::vector<std::pair<DcmTagKey, std::string>> tagsToChange)
        : mTagsToChange(std::move(tagsToChange)) {}
    DcmAnonymizer(const DcmAnonymizer&) = delete;
    DcmAnonymizer& operator=(const DcmAnonymizer&) = delete;
    virtual ~DcmAnonymizer() = default;

    /// Moves what stands in the meta information and does not belong there to the dataset, where that lacks it; refuses
    /// over 1000 such elements. Then runs the steps below in order and ends with the first condition that is bad. The
    /// caller's values come first, so that a value of the caller's for PatientID, StudyID or a UID of the list does not
    /// last.
    virtual OFCondition anonymize(DcmFileFormat& file, bool regenerateSopInstanceUid) const;

    /// Sets the caller's values wherever the attributes stand, inside sequences too. What is absent stays absent.
    virtual OFCondition changeTagValuesIfPresent(DcmDataset* dataset) const;

    /// PatientID and StudyID become two numbers from 0 to 2147483647, from a generator seeded afresh; made when absent.
    virtual OFCondition generateRandomPatientAndStudyId(DcmDataset* dataset) const;

    /// New UIDs for those attributes of mUidTagList that the dataset has at its top level. UIDs inside sequences stay,
    /// unlike the caller's values. Each gets a value of its own: two attributes that were equal no longer are.
    virtual OFCondition regenerateUids(DcmDataset* dataset) const;

    /// One new SOP Instance UID, for the dataset and the meta information.
    virtual OFCondition regenerateSopInstanceUid(DcmFileFormat& file) const;

    /// The 55 attributes whose UIDs are replaced. SOP Class UID and SOP Instance UID are not among them.
    static const std::vector<DcmTagKey> mUidTagList;

  private:
    std::vector<std::pair<DcmTagKey, std::string>> mTagsToChange;
};

} // namespace radvex

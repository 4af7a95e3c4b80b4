#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex {

/// De-identifies a file in memory. Sets attributes to values of the caller, replaces the UIDs of a fixed list, and
/// gives random IDs to the patient and the study. Nothing is removed, and nothing else is changed: the caller alone
/// chooses which other personal attributes are replaced.
class DcmAnonymizer {
  public:
    /// @param tagsToChange  attributes and their new values, in the order in which they are set
    explicit DcmAnonymizer(std::vector<std::pair<DcmTagKey, std::string>> tagsToChange)
        : mTagsToChange(std::move(tagsToChange)) {}
    DcmAnonymizer(const DcmAnonymizer&) = delete;
    DcmAnonymizer& operator=(const DcmAnonymizer&) = delete;
    virtual ~DcmAnonymizer() = default;

    /// Moves elements of the meta information that do not belong there to the dataset, unless it has them; refuses over
    /// 1000 such elements. Then runs the steps below in order, up to the first bad condition. The caller's values are
    /// set first, so that later steps overwrite those for PatientID, StudyID and UIDs of the list.
    virtual OFCondition anonymize(DcmFileFormat& file, bool regenerateSopInstanceUid) const;

    /// Sets the caller's values at the top level and inside sequences. An absent attribute stays absent.
    virtual OFCondition changeTagValuesIfPresent(DcmDataset* dataset) const;

    /// Sets PatientID and StudyID to numbers from 0 to 2147483647, from a generator with a new seed; adds them when
    /// they are absent.
    virtual OFCondition generateRandomPatientAndStudyId(DcmDataset* dataset) const;

    /// Replaces the attributes of mUidTagList that the dataset has at its top level. UIDs inside sequences stay. Every
    /// attribute gets another UID, so that equal UIDs become different.
    virtual OFCondition regenerateUids(DcmDataset* dataset) const;

    /// Sets the same new SOP Instance UID in the dataset and in the meta information.
    virtual OFCondition regenerateSopInstanceUid(DcmFileFormat& file) const;

    /// The 55 attributes whose UIDs are replaced. SOP Class UID and SOP Instance UID are not among them.
    static const std::vector<DcmTagKey> mUidTagList;

  private:
    std::vector<std::pair<DcmTagKey, std::string>> mTagsToChange;
};

} // namespace radvex

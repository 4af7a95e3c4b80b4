#include "dicom/writers/DcmAnonymizer.h"

#include <array>
#include <limits>
#include <memory>
#include <random>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcerror.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcstack.h"
#include "dcmtk/dcmdata/dcuid.h"

namespace radvex {

namespace {

std::string newUid() {
    constexpr std::size_t kLength = 65; // 64 characters and a null (PS3.5 9.1)
    constexpr const char* kRoot = "1.2.276.0.7230010.3";
    std::array<char, kLength> uid{};
    dcmGenerateUniqueIdentifier(uid.data(), kRoot);
    return uid.data();
}

/// Where the length of the meta information is too large, DCMTK counts elements of the dataset to it. They are moved to
/// where they belong: what is to be replaced has to be found, and the file has to be read again the same way.
OFCondition moveToDataset(DcmFileFormat& file) {
    constexpr Uint16 kMetaGroup = 0x0002;
    constexpr std::size_t kMost = 1000; // DCMTK looks for a place in the whole dataset for each
    DcmMetaInfo& meta = *file.getMetaInfo();
    std::vector<DcmObject*> misplaced;
    for (DcmObject* object = meta.nextInContainer(nullptr); object != nullptr; object = meta.nextInContainer(object)) {
        if (object->getGTag() != kMetaGroup) {
            misplaced.push_back(object);
        }
    }
    if (misplaced.size() > kMost) {
        return EC_CorruptedData;
    }
    for (DcmObject* object : misplaced) {
        std::unique_ptr<DcmElement> element(meta.remove(object));
        const bool belongs = element != nullptr && element->getGTag() > kMetaGroup;
        if (belongs && file.getDataset()->insert(element.get()).good()) {
            (void)element.release(); // the dataset's from here on
        }
    }
    return EC_Normal;
}

/// An item has a tag too, and takes no value.
OFCondition putValue(DcmObject* object, const std::string& value) {
    auto* element = dynamic_cast<DcmElement*>(object);
    return element == nullptr ? OFCondition(EC_InvalidTag) : element->putString(value.c_str());
}

} // namespace

OFCondition DcmAnonymizer::anonymize(DcmFileFormat& file, bool newSopInstanceUid) const {
    DcmDataset* dataset = file.getDataset();
    OFCondition result = moveToDataset(file);
    if (result.good()) {
        result = changeTagValuesIfPresent(dataset);
    }
    if (result.good()) {
        result = regenerateUids(dataset);
    }
    if (result.good()) {
        result = generateRandomPatientAndStudyId(dataset);
    }
    if (result.good() && newSopInstanceUid) {
        result = regenerateSopInstanceUid(file);
    }
    return result;
}

OFCondition DcmAnonymizer::changeTagValuesIfPresent(DcmDataset* dataset) const {
    OFCondition result = EC_Normal;
    for (const auto& [key, value] : mTagsToChange) {
        DcmStack found;
        (void)dataset->findAndGetElements(key, found); // an absent attribute is no failure
        while (!found.empty() && result.good()) {
            result = putValue(found.pop(), value);
        }
        if (result.bad()) {
            break;
        }
    }
    return result;
}

OFCondition DcmAnonymizer::regenerateUids(DcmDataset* dataset) const {
    OFCondition result = EC_Normal;
    for (const DcmTagKey& key : mUidTagList) {
        DcmElement* element = nullptr;
        if (dataset->findAndGetElement(key, element, OFFalse, OFFalse).good() && element != nullptr) {
            result = element->putString(newUid().c_str());
            if (result.bad()) {
                break;
            }
        }
    }
    return result;
}

OFCondition DcmAnonymizer::generateRandomPatientAndStudyId(DcmDataset* dataset) const {
    std::random_device device("default");
    std::mt19937 generator(device());
    std::uniform_int_distribution<int> numbers(0, std::numeric_limits<int>::max());
    const int patient = numbers(generator);
    const int study = numbers(generator);
    OFCondition result = dataset->putAndInsertString(DCM_PatientID, std::to_string(patient).c_str(), OFTrue);
    if (result.good()) {
        result = dataset->putAndInsertString(DCM_StudyID, std::to_string(study).c_str(), OFTrue);
    }
    return result;
}

OFCondition DcmAnonymizer::regenerateSopInstanceUid(DcmFileFormat& file) const {
    const std::string uid = newUid();
    OFCondition result = file.getMetaInfo()->putAndInsertString(DCM_MediaStorageSOPInstanceUID, uid.c_str(), OFTrue);
    if (result.good()) {
        result = file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, uid.c_str(), OFTrue);
    }
    return result;
}

} // namespace radvex

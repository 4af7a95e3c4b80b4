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

/// When the meta information states a length that is too large, DCMTK reads elements of the dataset into it. These are
/// moved to the dataset, so that what is to be replaced is found and the written file can be read.
OFCondition moveToDataset(DcmFileFormat& file) {
    constexpr Uint16 kMetaGroup = 0x0002;
    constexpr std::size_t kMaxMisplaced = 1000; // each insertion goes through the whole dataset
    DcmMetaInfo& meta = *file.getMetaInfo();
    std::vector<DcmObject*> misplaced;
    for (DcmObject* object = meta.nextInContainer(nullptr); object != nullptr; object = meta.nextInContainer(object)) {
        if (object->getGTag() != kMetaGroup) {
            misplaced.push_back(object);
        }
    }
    if (misplaced.size() > kMaxMisplaced) {
        return EC_CorruptedData;
    }
    for (DcmObject* object : misplaced) {
        std::unique_ptr<DcmElement> element(meta.remove(object));
        const bool belongs = element != nullptr && element->getGTag() > kMetaGroup;
        if (belongs && file.getDataset()->insert(element.get()).good()) {
            (void)element.release(); // the dataset owns it now
        }
    }
    return EC_Normal;
}

/// A tag may also be that of an item, which takes no value.
OFCondition putValue(DcmObject* object, const std::string& value) {
    auto* element = dynamic_cast<DcmElement*>(object);
    return element == nullptr ? OFCondition(EC_InvalidTag) : element->putString(value.c_str());
}

} // namespace

// UIDs of classes and of transfer syntaxes are in the list too, and are replaced like all others.
const std::vector<DcmTagKey> DcmAnonymizer::mUidTagList{
    {0x0000, 0x1000}, // Affected SOP Instance UID
    {0x0000, 0x1001}, // Requested SOP Instance UID
    {0x0002, 0x0100}, // Private Information Creator UID
    {0x0004, 0x1432}, // Private Record UID
    {0x0004, 0x1510}, // Referenced SOP Class UID in File
    {0x0004, 0x1511}, // Referenced SOP Instance UID in File
    {0x0004, 0x1512}, // Referenced Transfer Syntax UID in File
    {0x0004, 0x151A}, // Referenced Related General SOP Class UID in File
    {0x0008, 0x0014}, // Instance Creator UID
    {0x0008, 0x001A}, // Related General SOP Class UID
    {0x0008, 0x001B}, // Original Specialized SOP Class UID
    {0x0008, 0x0058}, // Failed SOP Instance UID List
    {0x0008, 0x010C}, // Coding Scheme UID
    {0x0008, 0x010D}, // Context Group Extension Creator UID
    {0x0008, 0x0117}, // Context UID
    {0x0008, 0x0118}, // Mapping Resource UID
    {0x0008, 0x1155}, // Referenced SOP Instance UID
    {0x0008, 0x1167}, // Multi-Frame Source SOP Instance UID
    {0x0008, 0x1195}, // Transaction UID
    {0x0008, 0x3010}, // Irradiation Event UID
    {0x0008, 0x3012}, // Radiopharmaceutical Administration Event UID
    {0x0008, 0x9123}, // Creator-Version UID
    {0x0018, 0x1002}, // Device UID
    {0x0018, 0x2042}, // Target UID
    {0x0018, 0x991E}, // Target Frame of Reference UID
    {0x0020, 0x000D}, // Study Instance UID
    {0x0020, 0x000E}, // Series Instance UID
    {0x0020, 0x0052}, // Frame of Reference UID
    {0x0020, 0x0200}, // Synchronization Frame of Reference UID
    {0x0020, 0x0242}, // SOP Instance UID of Concatenation Source
    {0x0020, 0x9161}, // Concatenation UID
    {0x0020, 0x9164}, // Dimension Organization UID
    {0x0020, 0x9312}, // Volume Frame of Reference UID
    {0x0020, 0x9313}, // Table Frame of Reference UID
    {0x0028, 0x0304}, // Referenced Color Palette Instance UID
    {0x0028, 0x1199}, // Palette Color Lookup Table UID
    {0x0040, 0x0554}, // Specimen UID
    {0x0040, 0xA124}, // UID
    {0x0040, 0xA171}, // Observation UID
    {0x0040, 0xE011}, // Retrieve Location UID
    {0x0044, 0x0102}, // Assertion UID
    {0x0044, 0x0108}, // Referenced Assertion UID
    {0x0062, 0x0021}, // Tracking UID
    {0x0064, 0x0003}, // Source Frame of Reference UID
    {0x0070, 0x031A}, // Fiducial UID
    {0x0070, 0x1101}, // Presentation Display Collection UID
    {0x0070, 0x1102}, // Presentation Sequence Collection UID
    {0x0070, 0x1209}, // Volumetric Presentation Input Set UID
    {0x0088, 0x0140}, // Storage Media File-set UID
    {0x0400, 0x0010}, // MAC Calculation Transfer Syntax UID
    {0x0400, 0x0100}, // Digital Signature UID
    {0x0400, 0x0510}, // Encrypted Content Transfer Syntax UID
    {0x3006, 0x0024}, // Referenced Frame of Reference UID
    {0x300A, 0x0013}, // Dose Reference UID
    {0x300A, 0x0083}, // Referenced Dose Reference UID
};

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
    for (const auto& [key, value] : mTagsToChange) {
        DcmStack found;
        (void)dataset->findAndGetElements(key, found); // an absent attribute is not a failure
        while (!found.empty()) {
            const OFCondition result = putValue(found.pop(), value);
            if (result.bad()) {
                return result;
            }
        }
    }
    return EC_Normal;
}

OFCondition DcmAnonymizer::regenerateUids(DcmDataset* dataset) const {
    for (const DcmTagKey& key : mUidTagList) {
        DcmElement* element = nullptr;
        if (dataset->findAndGetElement(key, element, OFFalse, OFFalse).good() && element != nullptr) {
            const OFCondition result = element->putString(newUid().c_str());
            if (result.bad()) {
                return result;
            }
        }
    }
    return EC_Normal;
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

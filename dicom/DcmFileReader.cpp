#include "DcmFileReader.h"

#include "ErrorManager.h"
#include "dcmtk/dcmdata/dcdeftag.h"

namespace radvex {

ResultList DcmFileReader::readPatientInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

ResultList DcmFileReader::readStudyInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

ResultList DcmFileReader::readSeriesInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

// In the accessors a status that is not good leaves the default.

int DcmFileReader::getInstanceNumber() const {
    Sint32 number = 0;
    (void)dataset->findAndGetSint32(DCM_InstanceNumber, number, 0, OFFalse);
    return number;
}

int DcmFileReader::getFrameCount() const {
    long count = 0;
    (void)dataset->findAndGetLongInt(DCM_NumberOfFrames, count, 0, OFFalse);
    return static_cast<int>(count);
}

unsigned int DcmFileReader::getRepresentativeFrame() const {
    Uint16 number = 0;
    (void)dataset->findAndGetUint16(DCM_RepresentativeFrameNumber, number, 0, OFFalse);
    return number;
}

int DcmFileReader::getOverlayCount() const {
    constexpr Uint16 kOverlayData = 0x3000;
    int count = 0;
    for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
        count += dataset->tagExists(DcmTagKey(group, kOverlayData), OFFalse) ? 1 : 0;
    }
    return count;
}

std::string DcmFileReader::readInfo(const DcmTagKey& key) const { return getItemStringArr(dataset, key); }

} // namespace radvex

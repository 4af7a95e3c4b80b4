#include "DcmDirReader.h"

#include "ErrorManager.h"

namespace radvex {

ResultList DcmDirReader::readPatientInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

ResultList DcmDirReader::readStudyInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

ResultList DcmDirReader::readSeriesInfo(NameList& /*fields*/, const RegexFilter& /*filter*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

} // namespace radvex

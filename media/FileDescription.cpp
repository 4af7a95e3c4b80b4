#include "media/FileDescription.h"

namespace radvex::media {

std::string PatientKeys::keyOf(const FileDescription& file) {
    const auto known = mPatientOfStudy.find(file.study);
    std::string key = !file.patientId.empty()          ? "id " + file.patientId
                      : known != mPatientOfStudy.end() ? known->second
                      : file.patientName.empty()       ? "study " + file.study
                                                       : "name " + file.patientName;
    mPatientOfStudy.try_emplace(file.study, key);
    return key;
}

} // namespace radvex::media

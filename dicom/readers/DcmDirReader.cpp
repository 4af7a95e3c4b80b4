// Where the files of a directory are.

#include "dicom/readers/DcmDirReader.h"

#include <algorithm>

#include "dicom/readers/DirectoryTree.h"

namespace radvex {

std::string DcmDirReader::getDICOMDIRLocation() const {
    constexpr std::size_t kNameLength = 8; // "DICOMDIR"
    return filePath.size() < kNameLength ? filePath : filePath.substr(0, filePath.size() - kNameLength);
}

std::string DcmDirReader::getDirectoryRecordFileName(DcmDirectoryRecord* record, bool absolute) const {
    std::string name = getItemStringArr(record, DCM_ReferencedFileID);
    std::replace(name.begin(), name.end(), '\\', '/');
    return absolute ? getDICOMDIRLocation() + name : name;
}

std::vector<std::string> DcmDirReader::getReferencedFileNames(const RegexFilter& filter, bool absolute) const {
    std::vector<std::string> names;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                forEachRecord(series, [&](DcmDirectoryRecord& instance) {
                    names.push_back(getDirectoryRecordFileName(&instance, absolute));
                });
            });
        });
    });
    return names;
}

DcmDirReader::Readers DcmDirReader::getSortedImageReaders(DcmDirectoryRecord* series) const {
    Readers readers;
    forEachRecord(*series, [&](DcmDirectoryRecord& instance) {
        try {
            readers.push_back(std::make_unique<DcmFileReader>(getDirectoryRecordFileName(&instance, true)));
        } catch (...) { // a broken reference costs its own file and no other
        }
    });
    // Not stable, and no second key: hosts rely on the order that results.
    std::sort(readers.begin(), readers.end(), [](const auto& left, const auto& right) {
        return left->getInstanceNumber() < right->getInstanceNumber();
    });
    return readers;
}

} // namespace radvex

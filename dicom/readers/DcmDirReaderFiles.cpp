// One read of a single file applied to every file that a directory selects.

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DirectoryTree.h"
#include "dicom/readers/StoreTree.h"

namespace radvex {

template <typename Read>
void DcmDirReader::readRecursively(GTU::VArgumentManager& manager, const RegexFilter& filter, Read read) const {
    const auto names = getReferencedFileNames(filter, true);
    StoreTree result;
    for (const std::string& name : names) {
        const DcmFileReader reader(name);
        const ResultList metadata = read(reader);
        GTU::Argument<GTU::VArgumentType::DataStore>::addDataStoreNode(result.getInternal(), name,
                                                                       metadata.getInternal());
    }
    manager.setResult(result);
}

void DcmDirReader::readMetadataRecursive(GTU::VArgumentManager& manager, const std::vector<std::string>& names,
                                         const std::string& series, bool validate) const {
    readRecursively(manager, RegexFilter(ALL_PATIENTS, ALL_STUDIES, series),
                    [&](const DcmFileReader& reader) { return reader.readMetadata(names, validate); });
}

void DcmDirReader::readMetadataIntTagsRecursive(GTU::VArgumentManager& manager, const TagNumbers& tags) const {
    readRecursively(manager, RegexFilter(ALL_PATIENTS, ALL_STUDIES, ALL_SERIES),
                    [&](const DcmFileReader& reader) { return reader.readMetadataIntTags(tags, true); });
}

void DcmDirReader::readAllMetadataExceptRecursive(GTU::VArgumentManager& manager, const std::vector<std::string>& names,
                                                  const std::string& series, bool validate) const {
    readRecursively(manager, RegexFilter(ALL_PATIENTS, ALL_STUDIES, series),
                    [&](const DcmFileReader& reader) { return reader.readAllMetadataExcept(names, validate); });
}

void DcmDirReader::readRawPixelData(GTU::VArgumentManager& manager, const RegexFilter& filter,
                                    const ImageOpenOptions& options) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    const auto arraysOf = [&](DcmDirectoryRecord& series) {
        ArrayList arrays;
        forEachRecord(series, [&](DcmDirectoryRecord& instance) {
            try {
                DcmFileReader(getDirectoryRecordFileName(&instance, true)).readIntermediatePixelData(arrays, options);
            } catch (...) { // a file that fails leaves nothing
            }
        });
        return arrays;
    };
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            const std::string key = studyKey(study);
            if (key.empty()) {
                return;
            }
            StoreTree allSeries;
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                if (const std::string name = seriesKey(series); !name.empty()) {
                    addStore(allSeries, name, arraysOf(series));
                }
            });
            addStore(studies, key, std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    manager.setResult(result);
}

void DcmDirReader::readOverlays(GTU::VArgumentManager& manager, const ImageOpenOptions& options) const {
    const auto names = getReferencedFileNames(RegexFilter(ALL_PATIENTS, ALL_STUDIES, ALL_SERIES), true);
    ImageList overlays;
    for (const std::string& name : names) {
        try {
            DcmFileReader(name).readOverlay(overlays, options);
        } catch (...) { // a file that fails leaves nothing
        }
    }
    manager.setResult(overlays);
}

void DcmDirReader::readOverlay(GTU::VArgumentManager& /*manager*/, const ImageOpenOptions& /*options*/) const {
    GTU::ErrorManager::throwException("NotImplementedError");
}

} // namespace radvex

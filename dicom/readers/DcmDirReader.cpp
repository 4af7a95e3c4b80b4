#include "dicom/readers/DcmDirReader.h"

#include <algorithm>
#include <set>

#include "bridge/ErrorManager.h"
#include "dicom/readers/DirectoryTree.h"
#include "dicom/readers/SeriesVolume.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using TextList = GTU::DataList<VArgumentType::UTF8String, GTU::Passing::Manual>;

/// A result of stores inside stores while it is built: a read that ends early leaves nothing of it behind.
using StoreTree = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Manual>;

/// Puts a finished store under a key; it is the parent's from here on.
template <GTU::VArgumentType T>
void addStore(StoreTree& parent, const std::string& key, GTU::DataList<T, GTU::Passing::Manual>&& child) {
    GTU::Argument<GTU::VArgumentType::DataStore>::addDataStoreNode(parent.getInternal(), key, child.getInternal());
    child.setOwnedByLibrary(false);
}

/// The fields of one record. Their names are looked at here and not before: without a record no name is wrong.
StoreTree readFields(DcmDirectoryRecord& record, NameList& fields, const InfoTable& table) {
    ResultList values;
    StoreTree owner(values.getInternal());
    for (const std::string& field : GTU::asVector(fields)) {
        const auto known = table.find(field);
        if (known == table.end()) {
            ErrorManager::throwException("InvalidTagName", field);
        }
        DcmElement* element = nullptr;
        if (record.findAndGetElement(known->second, element, OFFalse, OFFalse).good()) {
            saveDcmElementToDataList(values, element, true, true, false);
        }
    }
    return owner;
}

/// The finished tree as the result of a read.
ResultList release(StoreTree&& tree) {
    ResultList result(tree.getInternal());
    tree.setOwnedByLibrary(false);
    return result;
}

/// Walks to every series of the studies that pass: P -> {S -> {R -> what `addSeries` puts under R}}. A series that
/// fails the filter gets an empty store, on purpose: clients list the series of a study by it.
/// @param addSeries  gets the study's store, the series' key (which may be empty) and its record
template <typename AddSeries>
StoreTree readEverySeries(const std::string& path, const RegexFilter& filter, AddSeries addSeries) {
    StoreTree result;
    DirectoryTree tree(path);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            const std::string key = studyKey(study);
            if (key.empty()) {
                return;
            }
            StoreTree allSeries;
            forEverySeries(study, filter, [&](DcmDirectoryRecord& series, bool isWanted) {
                const std::string name = seriesKey(series);
                if (isWanted) {
                    addSeries(allSeries, name, series);
                } else if (!name.empty()) {
                    addStore(allSeries, name, StoreTree{});
                }
            });
            addStore(studies, key, std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return result;
}

} // namespace

// ---- Where the files of a directory are -----------------------------------------------------------------------------

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

// ---- What the records of a directory say, without a look at the files -----------------------------------------------

// Empty keys mean something else at every level here: patients and studies without one stay, as unnamed nodes, and a
// series without one is left out.

ResultList DcmDirReader::readPatientInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        addStore(result, patientKey(patient), readFields(patient, fields, PATIENT_INFO_MAP));
    });
    return release(std::move(result));
}

ResultList DcmDirReader::readStudyInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            addStore(studies, studyKey(study), readFields(study, fields, STUDY_INFO_MAP));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return release(std::move(result));
}

ResultList DcmDirReader::readSeriesInfo(NameList& fields, const RegexFilter& filter) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            StoreTree allSeries;
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                StoreTree values = readFields(series, fields, SERIES_INFO_MAP);
                if (const std::string key = seriesKey(series); !key.empty()) {
                    addStore(allSeries, key, std::move(values));
                }
            });
            addStore(studies, studyKey(study), std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return release(std::move(result));
}

void DcmDirReader::readStructure(GTU::VArgumentManager& manager, const RegexFilter& filter, bool absolute) const {
    StoreTree result;
    DirectoryTree tree(filePath);
    const auto fileNames = [&](DcmDirectoryRecord& series) {
        TextList names;
        forEachRecord(series, [&](DcmDirectoryRecord& instance) {
            const std::string name = getDirectoryRecordFileName(&instance, absolute);
            GTU::Argument<VArgumentType::UTF8String>::addDataStoreNode(names.getInternal(), "", name.c_str());
        });
        return names;
    };
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) {
            const std::string key = studyKey(study);
            if (key.empty()) {
                return; // its series are not looked at
            }
            StoreTree allSeries;
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series) {
                if (const std::string name = seriesKey(series); !name.empty()) {
                    addStore(allSeries, name, fileNames(series));
                }
            });
            addStore(studies, key, std::move(allSeries));
        });
        addStore(result, patientKey(patient), std::move(studies));
    });
    manager.setResult(result);
}

// ---- The series of a directory as pictures and as volumes -----------------------------------------------------------

void DcmDirReader::setWindowForSeries(const Readers& readers, ImageReadOptions& options) {
    OpenImages images;
    for (const auto& reader : readers) {
        images.push_back(reader->openDicomImage(options));
    }
    if (!images.empty()) {
        radvex::setWindowForSeries(images, options);
    }
}

ImageList DcmDirReader::readImagesOfSeries(DcmDirectoryRecord* series, ImageReadOptions& options) const {
    const Readers readers = getSortedImageReaders(series);
    if (options.scaling == kCommonWindow) {
        setWindowForSeries(readers, options);
    }
    ImageList images;
    for (const auto& reader : readers) {
        try {
            reader->readImage(images, options);
        } catch (...) { // what cannot be rendered at all leaves no node
        }
    }
    return images;
}

void DcmDirReader::readImageList(GTU::VArgumentManager& manager, const RegexFilter& filter,
                                 ImageReadOptions options) const {
    // The options are shared by all series: a window stays until the next series sets its own.
    StoreTree result = readEverySeries(filePath, filter, [&](auto& study, const auto& key, auto& series) {
        ImageList images = readImagesOfSeries(&series, options);
        if (!key.empty()) {
            addStore(study, key, std::move(images));
        }
    });
    manager.setResult(result);
}

Volume DcmDirReader::read3DImage(const Readers& readers, ImageReadOptions options) {
    if (readers.empty()) {
        ErrorManager::throwException("NoFilesError");
    }
    std::set<std::pair<unsigned long, unsigned long>> sizes;
    OpenImages images;
    for (const auto& reader : readers) {
        images.push_back(reader->openDicomImage(options, DcmFileReader::PixelsAfterwards::go));
        sizes.emplace(images.back()->getWidth(), images.back()->getHeight());
    }
    if (sizes.size() != 1) {
        ErrorManager::throwException("ImageDimensionsMismatch");
    }
    if (options.scaling == kCommonWindow) {
        radvex::setWindowForSeries(images, options);
    }
    return consolidateImages(images, options);
}

void DcmDirReader::readImage(GTU::VArgumentManager& manager, const RegexFilter& filter,
                             const ImageReadOptions& options) const {
    StoreTree result = readEverySeries(filePath, filter, [&](auto& study, const auto& key, auto& series) {
        Volume volume = read3DImage(getSortedImageReaders(&series), options);
        if (!key.empty()) {
            GTU::Argument<VArgumentType::Image>::addDataStoreNode(study.getInternal(), key, volume.rawHandle());
            volume.setOwnedByLibrary(false);
        }
    });
    manager.setResult(result);
}

// ---- One read of a single file applied to every file that a directory selects ---------------------------------------

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

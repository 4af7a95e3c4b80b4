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

/// P -> {what `addStudy(studies, study)` puts there}, for what passes. A patient without a key is an unnamed node.
template <typename AddStudy>
StoreTree readStudies(const std::string& path, const RegexFilter& filter, AddStudy addStudy) {
    StoreTree result;
    DirectoryTree tree(path);
    forEachPatient(tree, filter, [&](DcmDirectoryRecord& patient) {
        StoreTree studies;
        forEachStudy(patient, filter, [&](DcmDirectoryRecord& study) { addStudy(studies, study); });
        addStore(result, patientKey(patient), std::move(studies));
    });
    return result;
}

/// What becomes of a study without a key: what the records say shows it as an unnamed node, what the files hold does
/// not.
enum class KeylessStudies { stay, areLeftOut };

/// P -> {S -> {what `addSeries(seriesOfStudy, key, series, isWanted)` puts there}}, called for every series of the
/// studies that pass: the key may be empty, and a series that fails the filter is not wanted.
template <typename AddSeries>
StoreTree readSeries(const std::string& path, const RegexFilter& filter, KeylessStudies keyless, AddSeries addSeries) {
    return readStudies(path, filter, [&](StoreTree& studies, DcmDirectoryRecord& study) {
        const std::string key = studyKey(study);
        if (key.empty() && keyless == KeylessStudies::areLeftOut) {
            return; // its series are not looked at
        }
        StoreTree seriesOfStudy;
        forEachSeries(study, filter, [&](DcmDirectoryRecord& series, bool isWanted) {
            addSeries(seriesOfStudy, seriesKey(series), series, isWanted);
        });
        addStore(studies, key, std::move(seriesOfStudy));
    });
}

/// P -> {S -> {R -> what `read(instance, values)` adds to R's values for each of its files}}.
template <typename Values, typename Read>
StoreTree readInstances(const std::string& path, const RegexFilter& filter, Read read) {
    const auto addSeries = [&](StoreTree& study, const std::string& key, DcmDirectoryRecord& series, bool isWanted) {
        if (!isWanted || key.empty()) {
            return;
        }
        Values values;
        forEachRecord(series, [&](DcmDirectoryRecord& instance) { read(instance, values); });
        addStore(study, key, std::move(values));
    };
    return readSeries(path, filter, KeylessStudies::areLeftOut, addSeries);
}

/// P -> {S -> {R -> what `add(study, key, series)` puts there}}. A series that fails the filter gets an empty store, on
/// purpose: clients list the series of a study by it.
template <typename Add>
StoreTree readPictures(const std::string& path, const RegexFilter& filter, Add add) {
    const auto addSeries = [&](StoreTree& study, const std::string& key, DcmDirectoryRecord& series, bool isWanted) {
        if (isWanted) {
            add(study, key, series);
        } else if (!key.empty()) {
            addStore(study, key, StoreTree{});
        }
    };
    return readSeries(path, filter, KeylessStudies::areLeftOut, addSeries);
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
            forEachSeries(study, filter, [&](DcmDirectoryRecord& series, bool isWanted) {
                if (!isWanted) {
                    return;
                }
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
            readers.back()->leavePixelsInFile();
            readers.back()->closeFile(); // a series may have more files than a process may open
        } catch (...) {                  // a broken reference costs its own file and no other
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
    return release(readStudies(filePath, filter, [&](StoreTree& studies, DcmDirectoryRecord& study) {
        addStore(studies, studyKey(study), readFields(study, fields, STUDY_INFO_MAP));
    }));
}

ResultList DcmDirReader::readSeriesInfo(NameList& fields, const RegexFilter& filter) const {
    const auto addSeries = [&](StoreTree& study, const std::string& key, DcmDirectoryRecord& series, bool isWanted) {
        if (!isWanted) {
            return;
        }
        StoreTree values = readFields(series, fields, SERIES_INFO_MAP);
        if (!key.empty()) {
            addStore(study, key, std::move(values));
        }
    };
    return release(readSeries(filePath, filter, KeylessStudies::stay, addSeries));
}

void DcmDirReader::readStructure(GTU::VArgumentManager& manager, const RegexFilter& filter, bool absolute) const {
    StoreTree result = readInstances<TextList>(filePath, filter, [&](DcmDirectoryRecord& instance, TextList& names) {
        const std::string name = getDirectoryRecordFileName(&instance, absolute);
        GTU::Argument<VArgumentType::UTF8String>::addDataStoreNode(names.getInternal(), "", name.c_str());
    });
    manager.setResult(result);
}

// ---- The series of a directory as pictures and as volumes -----------------------------------------------------------

void DcmDirReader::setWindowForSeries(const Readers& readers, ImageReadOptions& options) {
    OpenImages images;
    for (const auto& reader : readers) {
        images.push_back(reader->openPicture(options, {}));
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
    StoreTree result = readPictures(filePath, filter, [&](auto& study, const auto& key, auto& series) {
        ImageList images = readImagesOfSeries(&series, options);
        if (!key.empty()) {
            addStore(study, key, std::move(images));
        }
    });
    manager.setResult(result);
}

Volume DcmDirReader::read3DImage(Readers readers, ImageReadOptions options) {
    if (readers.empty()) {
        ErrorManager::throwException("NoFilesError");
    }
    std::set<std::pair<unsigned long, unsigned long>> sizes;
    OpenImages images; // those that wait for a common window
    SeriesVolume volume(readers.size(), options);
    for (auto& reader : readers) {
        std::shared_ptr<Picture> image =
            reader->openPicture(options, {.isByPixel = true, .afterwards = DcmFileReader::PixelsAfterwards::go});
        sizes.emplace(image->width(), image->height());
        if (options.scaling == kCommonWindow) {
            images.push_back(image);
            continue;
        }
        const bool isDone = volume.add(image);
        reader->requireWhole();
        if (isDone) { // a series does not fit into memory twice
            image.reset();
            reader.reset();
        }
    }
    if (sizes.size() != 1) {
        ErrorManager::throwException("ImageDimensionsMismatch");
    }
    try {
        if (options.scaling == kCommonWindow) {
            radvex::setWindowForSeries(images, options);
            return consolidateImages(images, options);
        }
        return volume.finish();
    } catch (const GTU::GantryError&) {
        for (const auto& reader : readers) { // pixels that were left in a file may be why
            if (reader != nullptr) {
                reader->requireWhole();
            }
        }
        throw;
    }
}

void DcmDirReader::readImage(GTU::VArgumentManager& manager, const RegexFilter& filter,
                             const ImageReadOptions& options) const {
    StoreTree result = readPictures(filePath, filter, [&](auto& study, const auto& key, auto& series) {
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
    StoreTree result = readInstances<ArrayList>(filePath, filter, [&](DcmDirectoryRecord& instance, ArrayList& arrays) {
        try {
            DcmFileReader(getDirectoryRecordFileName(&instance, true)).readIntermediatePixelData(arrays, options);
        } catch (...) { // a file that fails leaves nothing
        }
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

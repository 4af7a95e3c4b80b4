// The series of a directory as pictures and as volumes.

#include <set>

#include "bridge/ErrorManager.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DirectoryTree.h"
#include "dicom/readers/SeriesVolume.h"
#include "dicom/readers/StoreTree.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;

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

} // namespace radvex

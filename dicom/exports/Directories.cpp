#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/readers/DcmDirReader.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::DcmDirReader;
using radvex::dcmReaderCache;
using radvex::ImageReadOptions;
using radvex::RegexFilter;

// The reader is opened before the patterns are compiled: a bad path is reported before a bad pattern.

int ReadDICOMDIRStructure(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const std::string patient = mngr.getString(1);
        const std::string study = mngr.getString(2);
        const std::string series = mngr.getString(3);
        const bool absolute = mngr.getBoolean(4);
        const auto reader = dcmReaderCache.openReader<DcmDirReader>(path);
        reader->readStructure(mngr, RegexFilter(patient, study, series), absolute);
    });
}

int Read2DImagesDir(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        ImageReadOptions options;
        options.scaling = radvex::getScale(mngr, 1, options);
        options.showOverlays = mngr.getBoolean(2);
        options.flags = static_cast<std::uint32_t>(mngr.getInteger(3));
        const std::string patient = mngr.getString(4);
        const std::string study = mngr.getString(5);
        const std::string series = mngr.getString(6);
        const auto reader = dcmReaderCache.openReader<DcmDirReader>(path);
        reader->readImageList(mngr, RegexFilter(patient, study, series), options);
    });
}

int Read3DImage(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const std::string patient = mngr.getString(1);
        const std::string study = mngr.getString(2);
        const std::string series = mngr.getString(3);
        ImageReadOptions options;
        options.scaling = radvex::getScale(mngr, 4, options);
        options.flags = static_cast<std::uint32_t>(mngr.getInteger(5));
        const auto reader = dcmReaderCache.openReader<DcmDirReader>(path);
        reader->readImage(mngr, RegexFilter(patient, study, series), options);
    });
}

int ReadMetadataRecursive(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto names = mngr.getNames(1);
        const std::string series = mngr.getString(2);
        const bool validate = mngr.getBoolean(3);
        dcmReaderCache.openReader<DcmDirReader>(path)->readMetadataRecursive(mngr, names, series, validate);
    });
}

int ReadMetadataIntTagsRecursive(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto tags = mngr.getNumbers(1);
        dcmReaderCache.openReader<DcmDirReader>(path)->readMetadataIntTagsRecursive(mngr, tags);
    });
}

int ReadAllMetadataRecursive(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto names = mngr.getNames(1);
        const std::string series = mngr.getString(2);
        const bool validate = mngr.getBoolean(3);
        dcmReaderCache.openReader<DcmDirReader>(path)->readAllMetadataExceptRecursive(mngr, names, series, validate);
    });
}

#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/metadata/RegexFilter.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::DcmReader;
using radvex::dcmReaderCache;
using radvex::RegexFilter;

int ReadMetadata(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto names = mngr.getNames(1);
        const bool validate = mngr.getBoolean(2);
        mngr.setResult(dcmReaderCache.openReader<DcmReader>(path)->readMetadata(names, validate));
    });
}

int ReadMetadataIntTags(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto tags = mngr.getNumbers(1);
        mngr.setResult(dcmReaderCache.openReader<DcmReader>(path)->readMetadataIntTags(tags, true));
    });
}

int ReadAllMetadata(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const auto names = mngr.getNames(1);
        const bool validate = mngr.getBoolean(2);
        mngr.setResult(dcmReaderCache.openReader<DcmReader>(path)->readAllMetadataExcept(names, validate));
    });
}

// In the functions below, the reader is opened before the patterns are compiled: a bad path is reported before a bad
// pattern.

int ReadPatientInfo(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        auto fields = mngr.getDataList<GTU::VArgumentType::UTF8String>(1);
        const std::string patient = mngr.getString(2);
        const auto reader = dcmReaderCache.openReader<DcmReader>(path);
        const RegexFilter filter(patient, radvex::ALL_STUDIES, radvex::ALL_SERIES);
        mngr.setResult(reader->readPatientInfo(fields, filter));
    });
}

int ReadStudyInfo(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        auto fields = mngr.getDataList<GTU::VArgumentType::UTF8String>(1);
        const std::string patient = mngr.getString(2);
        const std::string study = mngr.getString(3);
        const auto reader = dcmReaderCache.openReader<DcmReader>(path);
        const RegexFilter filter(patient, study, radvex::ALL_SERIES);
        mngr.setResult(reader->readStudyInfo(fields, filter));
    });
}

int ReadSeriesInfo(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        auto fields = mngr.getDataList<GTU::VArgumentType::UTF8String>(1);
        const std::string patient = mngr.getString(2);
        const std::string study = mngr.getString(3);
        const std::string series = mngr.getString(4);
        const auto reader = dcmReaderCache.openReader<DcmReader>(path);
        const RegexFilter filter(patient, study, series);
        mngr.setResult(reader->readSeriesInfo(fields, filter));
    });
}

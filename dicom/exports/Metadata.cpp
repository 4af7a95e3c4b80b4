#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::DcmReader;
using radvex::dcmReaderCache;

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

#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/readers/DcmFileReader.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::DcmFileReader;
using radvex::dcmReaderCache;

namespace {

void impl_GetOverlayCount(GTU::VArgumentManager& mngr) {
    const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
    mngr.setInteger(reader->getOverlayCount());
}

} // namespace

int GetFrameCount(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
        mngr.setInteger(reader->getFrameCount());
    });
}

int GetRepresentativeFrameIndex(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
        mngr.setInteger(static_cast<int>(reader->getRepresentativeFrame()));
    });
}

int GetOverlayCount(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, impl_GetOverlayCount);
}

int CloseReader(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res,
                            [](GTU::VArgumentManager& mngr) { dcmReaderCache.close(mngr.getString(0)); });
}

int ClearCache(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager&) { dcmReaderCache.clear(); });
}

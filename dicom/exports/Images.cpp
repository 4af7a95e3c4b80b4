#include "bridge/GuardedCall.h"
#include "dicom/exports/Radvex.h"
#include "dicom/readers/DcmFileReader.h"
#include "dicom/readers/DcmReaderCache.h"

using radvex::DcmFileReader;
using radvex::dcmReaderCache;
using radvex::ImageOpenOptions;
using radvex::ImageReadOptions;

namespace {

/// Arguments 1 to 5 of ReadImage and ReadImageData.
ImageReadOptions readOptions(GTU::VArgumentManager& mngr) {
    ImageReadOptions options;
    options.frameStart = static_cast<std::uint32_t>(mngr.getInteger(1));
    options.frameCount = static_cast<std::uint32_t>(mngr.getInteger(2));
    options.scaling = radvex::getScale(mngr, 3, options);
    options.showOverlays = mngr.getBoolean(4);
    options.flags = static_cast<std::uint32_t>(mngr.getInteger(5));
    return options;
}

void impl_GetOverlayCount(GTU::VArgumentManager& mngr) {
    const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
    mngr.setInteger(reader->getOverlayCount());
}

} // namespace

int ReadImage(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const ImageReadOptions options = readOptions(mngr);
        dcmReaderCache.openReader<DcmFileReader>(path)->readImage(mngr, options);
    });
}

int ReadImageData(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        const ImageReadOptions options = readOptions(mngr);
        mngr.setResult(dcmReaderCache.openReader<DcmFileReader>(path)->readImageData(options));
    });
}

int ReadIntermediatePixelData(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCallAgainstAll(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const std::string path = mngr.getString(0);
        ImageOpenOptions options;
        options.flags =
            static_cast<std::uint32_t>(mngr.getInteger(1)); // flags instead of a first frame: hosts rely on it
        options.frameCount = static_cast<std::uint32_t>(mngr.getInteger(2));
        dcmReaderCache.openReader<DcmFileReader>(path)->readIntermediatePixelData(mngr, options);
    });
}

int ReadOverlay(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
        reader->readOverlay(mngr, ImageOpenOptions{});
    });
}

int ReadOverlays(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res) {
    return GTU::guardedCall(libData, argc, args, res, [](GTU::VArgumentManager& mngr) {
        const auto reader = dcmReaderCache.openReader<DcmFileReader>(mngr.getString(0));
        reader->readOverlays(mngr, ImageOpenOptions{});
    });
}

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

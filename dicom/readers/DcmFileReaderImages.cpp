// Pictures of a file: rendered by DCMTK, or copied from Pixel Data as it lies when DCMTK cannot render it.

#include "bridge/containers/NumericArray.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/MemoryWatch.h"
#include "dicom/pixels/ImageRendering.h"
#include "dicom/pixels/RenderingSafety.h"
#include "dicom/pixels/TabledPicture.h"
#include "dicom/readers/DcmFileReader.h"
#include "guard/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

using GTU::ErrorManager;
using GTU::VArgumentType;
using GTU::Passing::Manual;
using GenericArray = GTU::VContainer<VArgumentType::NumericArray, Manual>;

/// The flags without those under which DCMTK would harm the reader or read beyond its data.
unsigned long harmlessFlags(std::uint32_t flags, DcmDataset& dataset) {
    unsigned long harmless = flags;
    harmless &= ~CIF_TakeOverExternalDataset; // it would delete the reader's dataset
    harmless &= ~CIF_MayDetachPixelData;      // the second read would find no pixels
    if (dataset.getCurrentXfer() == EXS_RLELossless) {
        harmless &= ~CIF_UsePartialAccessToPixelData; // the decoder of single frames reads outside the fragment
    }
    const ImagePixelAttributes attributes(dataset);
    const bool isOdd = (attributes.numberOr(1, DCM_Rows) & attributes.numberOr(1, DCM_Columns) &
                        attributes.numberOr(1, DCM_SamplesPerPixel) & 1) != 0;
    if (attributes.bitsOfSample() < 8 || (attributes.bitsOfSample() < 16 && isOdd)) {
        harmless &= ~CIF_UsePartialAccessToPixelData; // a frame of odd length gets its last sample from behind it
    }
    return harmless;
}

GenericArray newArray(vint type, const std::vector<vint>& dims) {
    return {type, static_cast<vint>(dims.size()), dims.data()};
}

int bitsOfElement(vint type) { return type == VNumericArray_U8 ? 8 : type == VNumericArray_U16 ? 16 : 32; }

/// The array itself, or for 32-bit samples one of reals from 0 to 1 made by the host.
GenericArray toHostsReals(GenericArray array, vint type) {
    return type == VNumericArray_U32 ? array.convertedTo(VNumericArray_F32, VConversion_ClipAndScale)
                                     : std::move(array);
}

} // namespace

void DcmFileReader::requirePixels() const {
    if (isStandaloneOverlay(*dataset)) {
        ErrorManager::throwException("ImageOpenError", filePath, "it has overlays and no pixels");
    }
}

std::unique_ptr<DicomImage> DcmFileReader::openDicomImage(const ImageOpenOptions& options,
                                                          PixelsAfterwards afterwards) const {
    requirePixels();
    return openPixelsAndOverlays(options, afterwards);
}

std::unique_ptr<DicomImage> DcmFileReader::openPixelsAndOverlays(const ImageOpenOptions& options,
                                                                 PixelsAfterwards afterwards) const {
    return openPrepared(options, prepareToOpen(options), afterwards);
}

std::unique_ptr<Picture> DcmFileReader::openPicture(const ImageOpenOptions& options, const PictureUse& use) const {
    requirePixels();
    const unsigned long flags = prepareToOpen(options);
    if (!use.showsOverlays || !hasOverlays()) {
        const bool staysInFile = mLeavesPixelsInFile || (flags & CIF_UsePartialAccessToPixelData) != 0;
        auto tabled = TabledPicture::tryToOpen(
            *dataset, {.flags = flags,
                       .frameStart = options.frameStart,
                       .frameCount = options.frameCount,
                       .source = staysInFile ? SampleSource::file : SampleSource::memory,
                       .use = use.needsValues ? TabledPicture::Use::values : TabledPicture::Use::rendering,
                       .isByPixel = use.isByPixel});
        requireWhole();
        if (tabled.picture != nullptr) {
            return std::move(tabled.picture);
        }
    }
    return std::make_unique<Picture>(openPrepared(options, flags, use.afterwards));
}

bool DcmFileReader::hasOverlays() const {
    constexpr Uint16 kRows = 0x0010;
    for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
        if (dataset->tagExists(DcmTagKey(group, kRows), OFFalse)) {
            return true;
        }
    }
    return false;
}

unsigned long DcmFileReader::prepareToOpen(const ImageOpenOptions& options) const {
    decompress();
    padOddPixelData(*dataset);
    // A file without it is unsigned. It stays in the dataset; status ignored, since DCMTK says what it misses.
    (void)dataset->putAndInsertUint16(DcmTag(DCM_PixelRepresentation), 0, 0, OFFalse);
    for (const std::string& reason : {reasonNotToDecode(), reasonNotToRender(*dataset)}) {
        if (!reason.empty()) {
            ErrorManager::throwException("ImageOpenError", filePath, reason);
        }
    }
    if (promisesTooManyPixels(*dataset)) {
        ErrorManager::throwException("ImageOpenError", filePath, "its pixels are too few for its size");
    }
    unsigned long flags = harmlessFlags(options.flags, *dataset);
    if (!keepsFileOpen()) {
        flags &= ~CIF_UsePartialAccessToPixelData; // each picture would keep a file open
    }
    return flags;
}

std::unique_ptr<DicomImage> DcmFileReader::openPrepared(const ImageOpenOptions& options, unsigned long flags,
                                                        PixelsAfterwards afterwards) const {
    const MemoryWatch memory;
    const unsigned long detach = afterwards == PixelsAfterwards::go ? CIF_MayDetachPixelData : 0;
    auto image = std::make_unique<DicomImage>(dataset, dataset->getCurrentXfer(), flags | detach,
                                              static_cast<unsigned long>(options.frameStart),
                                              static_cast<unsigned long>(options.frameCount));
    requireWhole();
    if (image->getStatus() != EIS_Normal) {
        memory.require(); // with more memory it could have been opened
        ErrorManager::throwException("ImageOpenError", filePath, DicomImage::getString(image->getStatus()));
    }
    return image;
}

Uint16 DcmFileReader::planarConfiguration() const {
    return ImagePixelAttributes(*dataset).numberOr(0, DCM_PlanarConfiguration);
}

template <typename Target>
void DcmFileReader::readImageImpl(Target& target, const ImageReadOptions& options) const {
    const MemoryWatch memory;
    try {
        const auto picture = openPicture(options, {.showsOverlays = options.showOverlays});
        setOverlayVisibility(picture->image(), options.showOverlays);
        setScalingWindow(picture->image(), options);
        const bool interleaved = planarConfiguration() == 0;
        switch (dicomImageToNumericArrayType(picture->image())) {
        case VNumericArray_U8: return setImage(target, getImage<unsigned char>(*picture, interleaved));
        case VNumericArray_U16: return setImage(target, getImage<unsigned short>(*picture, interleaved));
        default: return setImage(target, getImage<float>(*picture, interleaved));
        }
    } catch (const GTU::GantryError&) { // what DCMTK cannot render is copied as it lies
        memory.require();               // but with more memory it could have been rendered
        requireWhole();
    }
    readImageFallback(target);
}

template void DcmFileReader::readImageImpl(GTU::VArgumentManager&, const ImageReadOptions&) const;
template void DcmFileReader::readImageImpl(ImageList&, const ImageReadOptions&) const;

void DcmFileReader::readImage(GTU::VArgumentManager& manager, const ImageReadOptions& options) const {
    readImageImpl(manager, options);
}

void DcmFileReader::readImage(ImageList& list, const ImageReadOptions& options) const { readImageImpl(list, options); }

ArrayList DcmFileReader::readImageData(const ImageReadOptions& options) const {
    ArrayList result;
    const auto picture = openPicture(options, {.showsOverlays = options.showOverlays});
    DicomImage& image = picture->image();
    std::vector<vint> dims{static_cast<vint>(picture->height()), static_cast<vint>(picture->width())};
    const Uint16 planar = planarConfiguration();
    if (image.isMonochrome() == 0) {
        dims.insert(planar == 0 ? dims.end() : dims.begin(), 3);
    }
    setOverlayVisibility(image, options.showOverlays);
    setScalingWindow(image, options);

    const std::size_t frameBytes = picture->frameBytes(0);
    const vint type = dicomImageToNumericArrayType(image);
    const auto elementBits = bitsOfElement(type);
    const GTU::VArrayDimensions shape(dims.begin(), dims.end());
    const auto arrayBytes =
        static_cast<unsigned long>(shape.getFlattenedLength()) * static_cast<unsigned long>(elementBits / 8);
    for (unsigned long frame = 0; frame < picture->frames(); ++frame) {
        GenericArray array = newArray(type, dims);
        if (frameBytes > arrayBytes || !picture->render(array.rawData(), frameBytes, elementBits, frame, planar != 0)) {
            requireWhole();
            ErrorManager::throwException("ImageReadError", filePath);
        }
        result.push_back<VArgumentType::NumericArray, Manual>(toHostsReals(std::move(array), type));
    }
    return result;
}

} // namespace radvex

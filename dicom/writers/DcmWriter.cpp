// The road of an image and its overlays into the dataset, and of a file that is taken up.

#include "dicom/writers/DcmWriter.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/readers/DcmReader.h"
#include "dicom/writers/DcmAnonymizer.h"
#include "dicom/writers/DcmOverlay.h"
#include "dicom/writers/WriteChecks.h"
#include "guard/GuardedLoad.h"

namespace radvex {

namespace {

constexpr unsigned int kImageArgument = 1;

std::uint64_t pixelBytes(const GTU::ImageInterface& image, std::size_t elementSize) {
    const auto wide = [](vint number) { return static_cast<std::uint64_t>(number); };
    return wide(image.rows()) * wide(image.columns()) * wide(image.channels()) * wide(image.slices()) * elementSize;
}

/// An image of the host holds at most 2^31 - 1 elements, so that nothing is lost in 32 bits.
unsigned int pixelValuesCount(const GTU::ImageInterface& image) {
    const auto cut = [](vint number) { return static_cast<unsigned int>(number); };
    return cut(image.rows()) * cut(image.columns()) * cut(image.channels()) * cut(image.slices());
}

void addPlane(DcmOverlay& planes, int index, VImage handle, const OverlayOptions& options) {
    const ImageArgument<signed char> image(handle);
    const auto cut = [](vint size) { return static_cast<unsigned short>(size); };
    planes.addOverlayPlane(image.getData(), cut(image.rows()), cut(image.columns()), cut(image.slices()),
                           options.originRow, options.originColumn, options.imageFrameOrigin, options.type);
    if (options.description) {
        planes.setOverlayDescription(index, *options.description);
    }
    if (options.subtype) {
        planes.setOverlaySubtype(index, *options.subtype);
    }
    if (options.label) {
        planes.setOverlayLabel(index, *options.label);
    }
}

} // namespace

// ---- Images and files -----------------------------------------------------------------------------------------------

void DcmWriter::writeImage(GTU::VArgumentManager& mngr) {
    std::unique_ptr<DcmIODCommon> iod;
    long long slices = 0;
    mngr.operateOnImage<GTU::Passing::Automatic>(kImageArgument, [&]<typename T>(const ImageArgument<T>& image) {
        requireStorableLength(pixelBytes(image, sizeof(T)));
        if constexpr (std::is_floating_point_v<T>) {
            iod = createDcmImage(image);
        } else {
            iod = createIntegerImage(image);
        }
        slices = image.slices();
    });
    if (iod == nullptr) {
        GTU::ErrorManager::throwExceptionWithDebugInfo("ImageWriteError", "No object was made.", "dcmImage was null");
    }
    requireImageWritten(iod->write(*mDataset));
    if (slices > 1) {
        (void)mDataset->putAndInsertString(DCM_NumberOfFrames, std::to_string(slices).c_str(), OFTrue);
    }
    mngr.operateOnImage<GTU::Passing::Automatic>(
        kImageArgument, [&]<typename T>(const ImageArgument<T>& image) { writePixelDataToDataset(image); });
}

// Pixels that are there always fit the element, so that no condition is looked at.
template <typename T>
void DcmWriter::writePixelDataToDataset(const ImageArgument<T>& image) {
    const T* data = image.getData();
    if (data == nullptr) {
        GTU::ErrorManager::throwException("ImageWriteError", "The image has no pixels");
    }
    const unsigned int count = pixelValuesCount(image);
    if constexpr (std::is_same_v<T, float>) {
        // The parametric map holds its frames already: this puts nothing, and it is meant not to.
        (void)mDataset->putAndInsertFloat32Array(DCM_FloatPixelData, data, count, OFFalse);
    } else if constexpr (std::is_same_v<T, double>) {
        (void)mDataset->putAndInsertFloat64Array(DCM_DoubleFloatPixelData, data, count, OFFalse);
    } else if constexpr (std::is_same_v<T, unsigned short>) {
        (void)mDataset->putAndInsertUint16Array(DCM_PixelData, data, count, OFTrue);
    } else {
        (void)mDataset->putAndInsertUint8Array(DCM_PixelData, reinterpret_cast<const Uint8*>(data), count, OFTrue);
    }
}

void DcmWriter::loadDataFromFile(const std::string& path) {
    // Asked for as a file to write, although it is only read: hosts grant their anonymizers just that.
    GTU::validatePath(path, std::ios_base::out);
    // All of it: it may be saved at its own path, and values that are left in it now would be gone by then.
    if (const auto failure = loadGuardedWhole(mFile, path)) {
        GTU::ErrorManager::throwException("OpenFileError", path, failure->reason);
    }
    (void)mFile.convertToUTF8(); // a character set that cannot be converted leaves its bytes as they are
    mDataset = mFile.getDataset();
    mOriginalXfer = mDataset->getOriginalXfer();
    mLoadedFromFile = true;
}

void DcmWriter::anonymize(const DcmAnonymizer& anonymizer, bool regenerateSopInstanceUid) {
    const OFCondition done = anonymizer.anonymize(mFile, regenerateSopInstanceUid);
    if (done.bad()) {
        GTU::ErrorManager::throwException("AnonymizationError", done.text());
    }
}

// ---- Overlay planes -------------------------------------------------------------------------------------------------

std::unique_ptr<DcmOverlay> DcmWriter::createDcmOverlay(ImageArguments& overlays,
                                                        const std::vector<OverlayOptions>& options) {
    if (overlays.size() > DcmOverlay::kMaxPlanes) {
        GTU::ErrorManager::throwException("OverlayCountError");
    }
    auto planes = std::make_unique<DcmOverlay>();
    int index = 0;
    auto option = options.begin();
    for (auto node = overlays.begin(); node != overlays.end() && option != options.end(); ++node, ++option) {
        addPlane(*planes, index++, node->getValue(), *option);
    }
    return planes;
}

void DcmWriter::writeOverlay(ImageArguments& overlays, const std::vector<OverlayOptions>& options) {
    createDcmOverlay(overlays, options)->writeOverlayToDataset(*mDataset);
}

// ---- Values for attributes that an image does not tell --------------------------------------------------------------

std::unordered_map<std::string, std::string> DcmWriter::mDefaultTagValues{
    // Content identification and equipment of a parametric map
    {"ContentLabel", "IMAGE"},
    {"ContentDescription", "Image"},
    {"ContentCreatorName", ""},
    {"Manufacturer", "Velmora Research"}, // of every file
    {"ManufacturerModelName", "Velmora Language"},
    {"DeviceSerialNumber", "1"},
    {"SoftwareVersions", "1.0"},
    {"PositionReferenceIndicator", ""},
    // Study, series and patient of every file
    {"Modality", "OT"},
    {"AccessionNumber", ""},
    {"StudyID", ""},
    {"ReferringPhysicianName", ""},
    {"StudyTime", ""},
    {"StudyDate", ""},
    {"SeriesNumber", "1"},
    {"PatientSex", ""},
    {"PatientBirthDate", ""},
    {"PatientID", ""},
    {"PatientName", ""},
    // Pixel measures of a parametric map
    {"SpacingBetweenSlices", ""},
    {"SliceThickness", ""},
    {"PixelSpacing", ""},
    {"RecognizableVisualFeatures", "NO"},   // asked for by hosts; a parametric map always says "NO"
    {"ConversionType", "SYN"},              // of every file that is saved
    {"RepresentationLUTShape", "IDENTITY"}, // the key of the Presentation LUT Shape
};

OFString DcmWriter::defaultOf(const std::string& keyword) {
    return mDefaultTagValues[keyword].c_str(); // NOLINT(readability-redundant-string-cstr): another type
}

std::string DcmWriter::getDefaultTagValue(const std::string& keyword) {
    const auto found = mDefaultTagValues.find(keyword);
    if (found == mDefaultTagValues.end()) {
        GTU::ErrorManager::throwException("InvalidTagName", keyword);
    }
    return found->second;
}

void DcmWriter::setDefaultTagValue(const std::string& keyword, const std::string& value) {
    const DcmTagKey key = getTagKey(GeneralInfoMap, keyword);
    const std::unique_ptr<DcmElement> scratch(DcmItem::newDicomElement(key));
    // A value that cannot be put leaves an empty element, which passes the check.
    if (scratch != nullptr) {
        (void)scratch->putString(value.c_str());
    }
    if (scratch == nullptr || scratch->checkValue("1-n", OFFalse).bad()) {
        GTU::ErrorManager::throwExceptionWithDebugInfo("InvalidTagValue", "The default value does not fit the VR.",
                                                       keyword, value);
    }
    mDefaultTagValues[keyword] = value;
}

} // namespace radvex

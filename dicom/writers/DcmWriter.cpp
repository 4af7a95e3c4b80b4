// How an image and its overlays, or a loaded file, get into the dataset; and the default values.

#include "dicom/writers/DcmWriter.h"

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/writers/DcmAnonymizer.h"
#include "dicom/writers/DcmOverlay.h"
#include "dicom/writers/WriteChecks.h"
#include "guard/GuardedLoad.h"
#include "text/DatasetTexts.h"

namespace radvex {

namespace {

constexpr unsigned int kImageArgument = 1;

std::uint64_t pixelValuesCount(const GTU::ImageInterface& image) {
    const auto wide = [](vint number) { return static_cast<std::uint64_t>(number); };
    return wide(image.rows()) * wide(image.columns()) * wide(image.channels()) * wide(image.slices());
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
        requireStorableLength(pixelValuesCount(image) * sizeof(T));
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

// No condition is checked: the pixels of an image always fit the element.
template <typename T>
void DcmWriter::writePixelDataToDataset(const ImageArgument<T>& image) {
    const T* data = image.getData();
    if (data == nullptr) {
        GTU::ErrorManager::throwException("ImageWriteError", "The image has no pixels");
    }
    const auto count = static_cast<unsigned int>(pixelValuesCount(image)); // the host's images have up to 2^31 - 1
    if constexpr (std::is_same_v<T, float>) {
        // This changes nothing, as it should: the parametric map already holds its frames.
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
    // The host is asked for permission to write, although the file is only read: that is what hosts grant anonymizers.
    GTU::validatePath(path, std::ios_base::out);
    // The whole file, since it may be saved at its own path: values that were not read before would be lost.
    if (const auto failure = loadGuardedWhole(mFile, path)) {
        GTU::ErrorManager::throwException("OpenFileError", path, failure->reason);
    }
    text::convertToUtf8(mFile, text::OtherTexts::Leave);
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
    {"Manufacturer", "Velmora Research"}, // in every file
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
    {"RecognizableVisualFeatures", "NO"},   // hosts ask for it; a parametric map always says "NO"
    {"ConversionType", "SYN"},              // in every file
    {"RepresentationLUTShape", "IDENTITY"}, // the value of Presentation LUT Shape
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
    // A value that putString refuses leaves an empty element, which passes the check.
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

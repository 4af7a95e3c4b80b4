// Real images become Parametric Maps (PS3.3 A.75). Each slice becomes a frame, in the order of the image.

#include <array>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmfg/fgfracon.h"
#include "dcmtk/dcmfg/fgpixmsr.h"
#include "dcmtk/dcmiod/iodutil.h"
#include "dcmtk/dcmpmap/dpmparametricmapiod.h"
#include "dicom/metadata/TagNaming.h"
#include "dicom/writers/DcmWriter.h"
#include "dicom/writers/WriteChecks.h"

namespace radvex {

namespace {

constexpr const char* kParametricMapStorage = "1.2.840.10008.5.1.4.1.1.30";

/// What differs between the two element types.
template <typename T>
struct RealPixels;
template <>
struct RealPixels<float> {
    using Module = IODFloatingPointImagePixelModule;
    static constexpr const char* kNoColour = "Parametric Map IOD doesn't support 32bit floating point RGB images";
};
template <>
struct RealPixels<double> {
    using Module = IODDoubleFloatingPointImagePixelModule;
    static constexpr const char* kNoColour = "Parametric Map IOD doesn't support 64bit floating point RGB images";
};

OFString textOf(const std::string& text) { return {text.c_str(), text.size()}; }

template <typename Module>
OFvariant<OFCondition, DPMParametricMapIOD> createParametricMapIod(const GTU::ImageInterface& image,
                                                                   OFString (*defaultOf)(const std::string&)) {
    const IODEnhGeneralEquipmentModule::EquipmentInfo equipment(
        defaultOf("Manufacturer"), defaultOf("ManufacturerModelName"), defaultOf("DeviceSerialNumber"),
        defaultOf("SoftwareVersions"));
    const ContentIdentificationMacro content("1", defaultOf("ContentLabel"), defaultOf("ContentDescription"),
                                             defaultOf("ContentCreatorName"));
    return DPMParametricMapIOD::create<Module>(defaultOf("Modality"), "1", "1", static_cast<Uint16>(image.rows()),
                                               static_cast<Uint16>(image.columns()), equipment, content, "VOLUME",
                                               "NONE", DPMTypes::CQ_SERVICE);
}

template <typename T>
void setImageSopClass(IODSOPCommonModule& sopCommon, const GTU::ImageInterface& image) {
    if (image.channels() != 1) {
        GTU::ErrorManager::throwException("ImageWriteError", RealPixels<T>::kNoColour);
    }
    (void)sopCommon.setSOPClassUID(kParametricMapStorage, OFTrue);
}

/// Adds the only dimension, the number of the frame.
void addDimension(IODMultiframeDimensionModule& module) {
    const OFString organization = DcmIODUtil::createUID(0);
    requireImageWritten(module.addDimensionIndex(DCM_ImagePositionPatient, organization,
                                                 DCM_RealWorldValueMappingSequence, "", "", ""));
}

template <typename T>
void addFramesToParametricMap(DPMParametricMapIOD& iod, const ImageArgument<T>& image) {
    const std::size_t frameSize = static_cast<std::size_t>(image.rows()) * static_cast<std::size_t>(image.columns()) *
                                  static_cast<std::size_t>(image.channels());
    T* data = image.getData();
    if (data == nullptr) {
        GTU::ErrorManager::throwException("ImageWriteError", "The image has no pixels");
    }
    for (vint slice = 1; slice <= image.slices(); ++slice, data += frameSize) {
        FGFrameContent content; // the map copies it
        (void)content.setDimensionIndexValues(static_cast<Uint32>(slice), 0, OFTrue);
        const OFVector<FGBase*> groups(1, &content);
        auto frames = iod.getFrames();
        auto* typedFrames = OFget<DPMParametricMapIOD::Frames<T>>(&frames);
        if (typedFrames == nullptr) {
            GTU::ErrorManager::throwException("ImageWriteError", "The parametric map takes no such pixels");
        }
        requireImageWritten(typedFrames->addFrame(data, frameSize, groups));
    }
}

} // namespace

template <typename T>
std::unique_ptr<DcmIODCommon> DcmWriter::createDcmImage(const ImageArgument<T>& image) const {
    return createDcmParametricMapImage(image);
}

template std::unique_ptr<DcmIODCommon> DcmWriter::createDcmImage(const ImageArgument<float>&) const;
template std::unique_ptr<DcmIODCommon> DcmWriter::createDcmImage(const ImageArgument<double>&) const;

template <typename T>
std::unique_ptr<DcmIODCommon> DcmWriter::createDcmParametricMapImage(const ImageArgument<T>& image) const {
    auto created = createParametricMapIod<typename RealPixels<T>::Module>(image, &DcmWriter::defaultOf);
    if (const auto* condition = OFget<OFCondition>(&created)) {
        GTU::ErrorManager::throwException("ImageWriteError", condition->text());
    }
    auto iod = std::make_unique<DPMParametricMapIOD>(*OFget<DPMParametricMapIOD>(&created));
    setImageSopClass<T>(iod->getSOPCommon(), image);
    initializeIodCommonModules(*iod);
    initializeParametricMapModules(*iod, image);
    initializeParametricMapImageModule<T>(iod->getDPMParametricMapImageModule());
    addSharedFunctionalGroups(*iod);
    addDimension(iod->getIODMultiframeDimensionModule());
    addFramesToParametricMap(*iod, image);
    iod->ensureInstanceUIDs(OFTrue);
    return iod;
}

template <typename T>
void DcmWriter::initializeParametricMapModules(DPMParametricMapIOD& iod, const ImageArgument<T>& image) const {
    DPMParametricMapSeriesModule& series = iod.getDPMParametricMapSeriesModule();
    requireWritten(series.setSeriesNumber(defaultOf("SeriesNumber"), OFTrue), "SeriesNumber");
    requireWritten(series.setModality(defaultOf("Modality"), OFTrue), "Modality");

    IODMultiFrameFGModule& multiFrame = iod.getIODMultiFrameFGModule();
    (void)multiFrame.setInstanceNumber("1", OFTrue);
    (void)multiFrame.setContentDate(textOf(getCurrentDateAsDcmDT()), OFTrue);
    (void)multiFrame.setContentTime(textOf(getCurrentTimeAsDcmTM()), OFTrue);
    (void)multiFrame.setNumberOfFrames(static_cast<Uint32>(image.slices()));

    requireWritten(
        iod.getFrameOfReference().setPositionReferenceIndicator(defaultOf("PositionReferenceIndicator"), OFTrue),
        "PositionReferenceIndicator");
}

template <typename T>
void DcmWriter::initializeParametricMapImageModule(DPMParametricMapImageModule& module) const {
    (void)module.setBitsAllocated(sizeof(T) * 8, OFTrue);
    (void)module.setPresentationLUTShape(defaultOf("RepresentationLUTShape"), OFTrue);
    (void)module.setLossyImageCompression("00", OFTrue);
    (void)module.setBurnedInAnnotation("NO", OFTrue);
    (void)module.setRecognizableVisualFeatures("NO", OFTrue);
    (void)module.setContentQualification("SERVICE", OFTrue);
}

void DcmWriter::addSharedFunctionalGroups(DPMParametricMapIOD& iod) const {
    FGPixelMeasures measures;
    requireWritten(measures.setPixelSpacing(defaultOf("PixelSpacing"), OFTrue), "PixelSpacing");
    requireWritten(measures.setSliceThickness(defaultOf("SliceThickness"), OFTrue), "SliceThickness");
    requireWritten(measures.setSpacingBetweenSlices(defaultOf("SpacingBetweenSlices"), OFTrue), "SpacingBetweenSlices");
    requireImageWritten(iod.addForAllFrames(measures));
}

} // namespace radvex

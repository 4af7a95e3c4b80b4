// Integer images, and the modules that every written file has (PS3.3 A.8, C.7).

#include <string>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmiod/modimagepixel.h"
#include "dicom/writers/DcmWriter.h"
#include "dicom/writers/WriteChecks.h"

namespace radvex {

namespace {

constexpr const char* kSecondaryCapture = "1.2.840.10008.5.1.4.1.1.7";
constexpr const char* kMultiFrameGrayscaleByte = "1.2.840.10008.5.1.4.1.1.7.2";
constexpr const char* kMultiFrameGrayscaleWord = "1.2.840.10008.5.1.4.1.1.7.3";
constexpr const char* kMultiFrameTrueColor = "1.2.840.10008.5.1.4.1.1.7.4";

template <typename T>
constexpr Uint16 kBits = sizeof(T) * 8;

/// Two channels count as colour here, but as monochrome for the photometric interpretation. This is intended.
template <typename T>
const char* sopClassOf(const GTU::ImageInterface& image) {
    if (image.slices() == 1) {
        return kSecondaryCapture;
    }
    if (image.channels() < 2) {
        return sizeof(T) == 1 ? kMultiFrameGrayscaleByte : kMultiFrameGrayscaleWord;
    }
    if (sizeof(T) > 1 && image.slices() > 1) {
        GTU::ErrorManager::throwException("ImageWriteError",
                                          "Multi-frame True Color SC Image IOD doesn't support 16bit channels");
    }
    return kMultiFrameTrueColor;
}

template <typename T>
void putPixelAttributes(DcmItem& item, const GTU::ImageInterface& image) {
    const auto channels = static_cast<Uint16>(image.channels());
    (void)item.putAndInsertUint16(DCM_SamplesPerPixel, channels);
    (void)item.putAndInsertString(DCM_PhotometricInterpretation, channels < 3 ? "MONOCHROME2" : "RGB");
    (void)item.putAndInsertUint16(DCM_BitsAllocated, kBits<T>);
    (void)item.putAndInsertUint16(DCM_BitsStored, kBits<T>);
    (void)item.putAndInsertUint16(DCM_HighBit, kBits<T> - 1);
    if (channels > 2) {
        (void)item.putAndInsertUint16(DCM_PlanarConfiguration, image.interleavedQ() ? 0 : 1);
    }
    // Bit images are signed and images of bytes are not. Readers of such files expect it.
    (void)item.putAndInsertUint16(DCM_PixelRepresentation, std::is_same_v<T, signed char> ? 1 : 0);
}

} // namespace

template <typename T>
std::unique_ptr<DcmIODCommon> DcmWriter::createIntegerImage(const ImageArgument<T>& image) const {
    using Module = IODImagePixelModule<T>;
    auto iod = std::make_unique<DcmIODImage<Module>>(OFin_place<Module>);
    (void)iod->getSOPCommon().setSOPClassUID(sopClassOf<T>(image), OFTrue);
    iod->getGeneralImage().makeOptional();
    (void)iod->getGeneralImage().setInstanceNumber("1", OFTrue);
    initializeIodCommonModules(*iod);
    initializeImagePixelModule<T, Module>(iod->getImagePixel(), image);
    if (image.slices() > 1) {
        (void)iod->getGeneralImage().setBurnedInAnnotation("NO", OFTrue);
    }
    return iod;
}

template std::unique_ptr<DcmIODCommon> DcmWriter::createIntegerImage(const ImageArgument<signed char>&) const;
template std::unique_ptr<DcmIODCommon> DcmWriter::createIntegerImage(const ImageArgument<unsigned char>&) const;
template std::unique_ptr<DcmIODCommon> DcmWriter::createIntegerImage(const ImageArgument<unsigned short>&) const;

template <typename T, typename Module>
void DcmWriter::initializeImagePixelModule(IODImagePixelVariant<Module>& pixelModule,
                                           const ImageArgument<T>& image) const {
    Module* module = OFget<Module>(&pixelModule);
    if (module == nullptr) {
        return;
    }
    DcmItem attributes;
    putPixelAttributes<T>(attributes, image);
    (void)module->read(attributes, OFTrue);
    (void)module->setRows(static_cast<Uint16>(image.rows()), OFTrue);
    (void)module->setColumns(static_cast<Uint16>(image.columns()), OFTrue);
}

void DcmWriter::initializeIodCommonModules(DcmIODCommon& iod) const {
    const auto set = [](const char* keyword, auto& module, auto setter) {
        requireWritten((module.*setter)(defaultOf(keyword), OFTrue), keyword);
    };
    iod.ensureInstanceUIDs(OFTrue);

    IODPatientModule& patient = iod.getPatient();
    set("PatientName", patient, &IODPatientModule::setPatientName);
    set("PatientID", patient, &IODPatientModule::setPatientID);
    set("PatientBirthDate", patient, &IODPatientModule::setPatientBirthDate);
    set("PatientSex", patient, &IODPatientModule::setPatientSex);

    IODGeneralSeriesModule& series = iod.getSeries();
    series.makeOptional();
    set("SeriesNumber", series, &IODGeneralSeriesModule::setSeriesNumber);
    set("Modality", series, &IODGeneralSeriesModule::setModality);

    IODGeneralStudyModule& study = iod.getStudy();
    set("StudyDate", study, &IODGeneralStudyModule::setStudyDate);
    set("StudyTime", study, &IODGeneralStudyModule::setStudyTime);
    // This writes the referring physician into the study time. Hosts rely on the empty time that results.
    set("ReferringPhysicianName", study, &IODGeneralStudyModule::setStudyTime);
    set("StudyID", study, &IODGeneralStudyModule::setStudyID);
    set("AccessionNumber", study, &IODGeneralStudyModule::setAccessionNumber);

    set("Manufacturer", iod.getEquipment(), &IODGeneralEquipmentModule::setManufacturer);
    iod.getFrameOfReference().makeOptional();
}

} // namespace radvex

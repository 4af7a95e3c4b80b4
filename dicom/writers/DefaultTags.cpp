// Values for attributes that an image does not tell.

#include "dicom/writers/DcmWriter.h"

namespace radvex {

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

OFString DcmWriter::defaultOf(const std::string& keyword) { return mDefaultTagValues[keyword].c_str(); }

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

#include "media/scan/ClassNames.h"

#include <algorithm>

namespace radvex::media {

const std::vector<std::pair<std::string_view, std::string_view>>& instanceNames() {
    // The dictionary that has them all comes with DCMTK, which takes longer to load than most runs take.
    static const std::vector<std::pair<std::string_view, std::string_view>> names{
        {"1.2.840.10008.1.3.10", "a DICOMDIR"},
        {"1.2.840.10008.5.1.4.1.1.1", "a Computed Radiography Image"},
        {"1.2.840.10008.5.1.4.1.1.1.1", "a Digital X-Ray Image for presentation"},
        {"1.2.840.10008.5.1.4.1.1.1.1.1", "a Digital X-Ray Image for processing"},
        {"1.2.840.10008.5.1.4.1.1.1.2", "a Digital Mammography X-Ray Image for presentation"},
        {"1.2.840.10008.5.1.4.1.1.1.2.1", "a Digital Mammography X-Ray Image for processing"},
        {"1.2.840.10008.5.1.4.1.1.1.3", "a Digital Intra-Oral X-Ray Image for presentation"},
        {"1.2.840.10008.5.1.4.1.1.1.3.1", "a Digital Intra-Oral X-Ray Image for processing"},
        {"1.2.840.10008.5.1.4.1.1.2", "a CT Image"},
        {"1.2.840.10008.5.1.4.1.1.2.1", "an Enhanced CT Image"},
        {"1.2.840.10008.5.1.4.1.1.2.2", "a Legacy Converted Enhanced CT Image"},
        {"1.2.840.10008.5.1.4.1.1.3.1", "a Ultrasound Multi-frame Image"},
        {"1.2.840.10008.5.1.4.1.1.4", "an MR Image"},
        {"1.2.840.10008.5.1.4.1.1.4.1", "an Enhanced MR Image"},
        {"1.2.840.10008.5.1.4.1.1.4.2", "an MR Spectroscopy"},
        {"1.2.840.10008.5.1.4.1.1.4.3", "an Enhanced MR Color Image"},
        {"1.2.840.10008.5.1.4.1.1.4.4", "a Legacy Converted Enhanced MR Image"},
        {"1.2.840.10008.5.1.4.1.1.6.1", "a Ultrasound Image"},
        {"1.2.840.10008.5.1.4.1.1.6.2", "an Enhanced US Volume"},
        {"1.2.840.10008.5.1.4.1.1.7", "a Secondary Capture Image"},
        {"1.2.840.10008.5.1.4.1.1.7.1", "a Multi-frame Single Bit Secondary Capture Image"},
        {"1.2.840.10008.5.1.4.1.1.7.2", "a Multi-frame Grayscale Byte Secondary Capture Image"},
        {"1.2.840.10008.5.1.4.1.1.7.3", "a Multi-frame Grayscale Word Secondary Capture Image"},
        {"1.2.840.10008.5.1.4.1.1.7.4", "a Multi-frame True Color Secondary Capture Image"},
        {"1.2.840.10008.5.1.4.1.1.9.1.1", "a 12-lead ECG Waveform"},
        {"1.2.840.10008.5.1.4.1.1.9.1.2", "a General ECG Waveform"},
        {"1.2.840.10008.5.1.4.1.1.9.1.3", "an Ambulatory ECG Waveform"},
        {"1.2.840.10008.5.1.4.1.1.9.2.1", "a Hemodynamic Waveform"},
        {"1.2.840.10008.5.1.4.1.1.9.3.1", "a Cardiac Electrophysiology Waveform"},
        {"1.2.840.10008.5.1.4.1.1.9.4.1", "a Basic Voice Audio Waveform"},
        {"1.2.840.10008.5.1.4.1.1.11.1", "a Grayscale Softcopy Presentation State"},
        {"1.2.840.10008.5.1.4.1.1.11.2", "a Color Softcopy Presentation State"},
        {"1.2.840.10008.5.1.4.1.1.11.3", "a Pseudo-Color Softcopy Presentation State"},
        {"1.2.840.10008.5.1.4.1.1.11.4", "a Blending Softcopy Presentation State"},
        {"1.2.840.10008.5.1.4.1.1.12.1", "an X-Ray Angiographic Image"},
        {"1.2.840.10008.5.1.4.1.1.12.1.1", "an Enhanced XA Image"},
        {"1.2.840.10008.5.1.4.1.1.12.2", "an X-Ray Radiofluoroscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.12.2.1", "an Enhanced XRF Image"},
        {"1.2.840.10008.5.1.4.1.1.13.1.1", "an X-Ray 3D Angiographic Image"},
        {"1.2.840.10008.5.1.4.1.1.13.1.2", "an X-Ray 3D Craniofacial Image"},
        {"1.2.840.10008.5.1.4.1.1.13.1.3", "a Breast Tomosynthesis Image"},
        {"1.2.840.10008.5.1.4.1.1.20", "a Nuclear Medicine Image"},
        {"1.2.840.10008.5.1.4.1.1.30", "a Parametric Map"},
        {"1.2.840.10008.5.1.4.1.1.66", "a Raw Data"},
        {"1.2.840.10008.5.1.4.1.1.66.1", "a Spatial Registration"},
        {"1.2.840.10008.5.1.4.1.1.66.2", "a Spatial Fiducials"},
        {"1.2.840.10008.5.1.4.1.1.66.3", "a Deformable Spatial Registration"},
        {"1.2.840.10008.5.1.4.1.1.66.4", "a Segmentation"},
        {"1.2.840.10008.5.1.4.1.1.66.5", "a Surface Segmentation"},
        {"1.2.840.10008.5.1.4.1.1.67", "a Real World Value Mapping"},
        {"1.2.840.10008.5.1.4.1.1.77.1.1", "a VL Endoscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.1.1", "a Video Endoscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.2", "a VL Microscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.2.1", "a Video Microscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.3", "a VL Slide-Coordinates Microscopic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.4", "a VL Photographic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.4.1", "a Video Photographic Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.5.1", "an Ophthalmic Photography 8 Bit Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.5.2", "an Ophthalmic Photography 16 Bit Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.5.4", "an Ophthalmic Tomography Image"},
        {"1.2.840.10008.5.1.4.1.1.77.1.6", "a VL Whole Slide Microscopy Image"},
        {"1.2.840.10008.5.1.4.1.1.88.11", "a Basic Text SR"},
        {"1.2.840.10008.5.1.4.1.1.88.22", "an Enhanced SR"},
        {"1.2.840.10008.5.1.4.1.1.88.33", "a Comprehensive SR"},
        {"1.2.840.10008.5.1.4.1.1.88.34", "a Comprehensive 3D SR"},
        {"1.2.840.10008.5.1.4.1.1.88.50", "a Mammography CAD SR"},
        {"1.2.840.10008.5.1.4.1.1.88.59", "a Key Object Selection Document"},
        {"1.2.840.10008.5.1.4.1.1.88.65", "a Chest CAD SR"},
        {"1.2.840.10008.5.1.4.1.1.88.67", "an X-Ray Radiation Dose SR"},
        {"1.2.840.10008.5.1.4.1.1.104.1", "an Encapsulated PDF"},
        {"1.2.840.10008.5.1.4.1.1.104.2", "an Encapsulated CDA"},
        {"1.2.840.10008.5.1.4.1.1.128", "a Positron Emission Tomography Image"},
        {"1.2.840.10008.5.1.4.1.1.128.1", "a Legacy Converted Enhanced PET Image"},
        {"1.2.840.10008.5.1.4.1.1.130", "an Enhanced PET Image"},
        {"1.2.840.10008.5.1.4.1.1.481.1", "an RT Image"},
        {"1.2.840.10008.5.1.4.1.1.481.2", "an RT Dose"},
        {"1.2.840.10008.5.1.4.1.1.481.3", "an RT Structure Set"},
        {"1.2.840.10008.5.1.4.1.1.481.4", "an RT Beams Treatment Record"},
        {"1.2.840.10008.5.1.4.1.1.481.5", "an RT Plan"},
        {"1.2.840.10008.5.1.4.1.1.481.6", "an RT Brachy Treatment Record"},
        {"1.2.840.10008.5.1.4.1.1.481.7", "an RT Treatment Summary Record"},
        {"1.2.840.10008.5.1.4.1.1.481.8", "an RT Ion Plan"},
        {"1.2.840.10008.5.1.4.1.1.481.9", "an RT Ion Beams Treatment Record"},
    };
    return names;
}

std::string instanceName(std::string_view sopClass) {
    const auto& names = instanceNames();
    const auto found = std::ranges::find_if(names, [&](const auto& entry) { return entry.first == sopClass; });
    return found == names.end() ? "" : std::string(found->second);
}

} // namespace radvex::media

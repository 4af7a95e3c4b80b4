#include "media/dicomdir/RecordTypes.h"

#include <string_view>

#include "dcmtk/dcmdata/dcuid.h"

namespace radvex::media {

namespace {

struct Arc {
    std::string_view uid; ///< below kStorage
    E_DirRecType type;
};

constexpr std::string_view kStorage = "1.2.840.10008.5.1.4.";

// An entry applies to its UID and all UIDs below it; the longest match counts.
constexpr Arc kArcs[] = {
    {"1.1.4.2", ERT_Spectroscopy},
    {"1.1.9", ERT_Waveform},
    {"1.1.11", ERT_Presentation},
    {"1.1.66", ERT_RawData},
    {"1.1.66.1", ERT_Registration},
    {"1.1.66.2", ERT_Fiducial},
    {"1.1.66.3", ERT_Registration},
    {"1.1.66.4", ERT_Image},
    {"1.1.66.5", ERT_Surface},
    {"1.1.66.6", ERT_Tract},
    {"1.1.67", ERT_ValueMap},
    {"1.1.68", ERT_SurfaceScan},
    {"1.1.77.1.5.3", ERT_Stereometric},
    {"1.1.78", ERT_Measurement},
    {"1.1.78.6", ERT_SRDocument},
    {"1.1.79.1", ERT_SRDocument},
    {"1.1.80.1", ERT_Measurement},
    {"1.1.88", ERT_SRDocument},
    {"1.1.88.59", ERT_KeyObjectDoc},
    {"1.1.90.1", ERT_Assessment},
    {"1.1.91.1", ERT_Annotation},
    {"1.1.104", ERT_EncapDoc},
    {"1.1.131", ERT_Presentation},
    {"1.1.481", ERT_Radiotherapy},
    {"1.1.481.1", ERT_Image},
    {"1.1.481.2", ERT_RTDose},
    {"1.1.481.3", ERT_RTStructureSet},
    {"1.1.481.4", ERT_RTTreatRecord},
    {"1.1.481.5", ERT_RTPlan},
    {"1.1.481.6", ERT_RTTreatRecord},
    {"1.1.481.7", ERT_RTTreatRecord},
    {"1.1.481.8", ERT_RTPlan},
    {"1.1.481.9", ERT_RTTreatRecord},
    {"34.7", ERT_Plan},
    {"34.10", ERT_Plan},
    {"38.1", ERT_HangingProtocol},
    {"39.1", ERT_Palette},
    {"43.1", ERT_Implant},
    {"44.1", ERT_ImplantAssy},
    {"45.1", ERT_ImplantGroup},
};

} // namespace

std::optional<E_DirRecType> recordTypeOf(const std::string& sopClassUid, bool hasImage) {
    const Arc* found = nullptr;
    if (sopClassUid.starts_with(kStorage)) {
        const std::string_view uid = std::string_view(sopClassUid).substr(kStorage.size());
        for (const Arc& arc : kArcs) {
            const bool isAtOrBelow =
                uid.starts_with(arc.uid) && (uid.size() == arc.uid.size() || uid[arc.uid.size()] == '.');
            if (isAtOrBelow && (found == nullptr || arc.uid.size() > found->uid.size())) {
                found = &arc;
            }
        }
    }
    if (found != nullptr) {
        return found->type;
    }
    if (hasImage || dcmIsImageStorageSOPClassUID(sopClassUid.c_str())) {
        return ERT_Image;
    }
    return std::nullopt;
}

bool belongsToRoot(E_DirRecType type) {
    return type == ERT_HangingProtocol || type == ERT_Palette || type == ERT_Implant || type == ERT_ImplantAssy ||
           type == ERT_ImplantGroup;
}

} // namespace radvex::media

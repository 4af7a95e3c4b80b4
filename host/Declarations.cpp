#include "host/Declarations.h"

namespace velmora {

const std::vector<Declaration>& radvexDeclarations() {
    static constexpr vint kText = VType_UTF8String;
    static constexpr vint kInteger = VType_Integer;
    static constexpr vint kFlag = VType_Boolean;
    static constexpr vint kStore = VType_DataStore;
    static constexpr vint kNone = VType_Undef;
    static const std::vector<Declaration> declarations{
        {"setExceptionDetailsContext", {kText}, kText},
        {"GetFrameCount", {kText}, kInteger},
        {"GetRepresentativeFrameIndex", {kText}, kInteger},
        {"GetOverlayCount", {kText}, kInteger},
        {"CloseReader", {kText}, kNone},
        {"ClearCache", {}, kNone},
        {"ReadMetadata", {kText, kStore, kFlag}, kStore},
        {"ReadMetadataIntTags", {kText, kStore}, kStore},
        {"ReadAllMetadata", {kText, kStore, kFlag}, kStore},
        {"ReadVRName", {kStore}, kStore},
        {"ReadVRNameIntTags", {kStore}, kStore},
        {"GetGroupElemNumbers", {kText}, kStore},
        {"GetKeyword", {kText, kText}, kText},
        {"ReadPatientInfo", {kText, kStore, kText}, kStore},
        {"ReadStudyInfo", {kText, kStore, kText, kText}, kStore},
        {"ReadSeriesInfo", {kText, kStore, kText, kText, kText}, kStore},
        {"ReadImage", {kText, kInteger, kInteger, VType_Tensor, kFlag, kInteger}, VType_Image},
        {"ReadImageData", {kText, kInteger, kInteger, VType_Tensor, kFlag, kInteger}, kStore},
        {"ReadIntermediatePixelData", {kText, kInteger, kInteger}, VType_NumericArray},
        {"ReadOverlay", {kText}, VType_Image},
        {"ReadOverlays", {kText}, kStore},
        {"ReadDICOMDIRStructure", {kText, kText, kText, kText, kFlag}, kStore},
        {"Read2DImagesDir", {kText, VType_Tensor, kFlag, kInteger, kText, kText, kText}, kStore},
        {"Read3DImage", {kText, kText, kText, kText, VType_Tensor, kInteger}, kStore},
        {"ReadMetadataRecursive", {kText, kStore, kText, kFlag}, kStore},
        {"ReadMetadataIntTagsRecursive", {kText, kStore}, kStore},
        {"ReadAllMetadataRecursive", {kText, kStore, kText, kFlag}, kStore},
        {"WriteImage", {kText, VType_Image, kStore, kStore, kText, kInteger, kInteger, kStore}, kNone},
        {"DicomAnonymize", {kText, kText, kStore}, kNone},
        {"SetDefaultTagValue", {kText, kText}, kNone},
        {"GetDefaultTagValue", {kText}, kText},
        {"GetDictionaryInfo", {}, kStore},
    };
    return declarations;
}

} // namespace velmora

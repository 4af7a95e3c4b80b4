#include "deidentify/pixels/PixelRisks.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "deidentify/pixels/AttributeText.h"
#include "deidentify/pixels/BodyParts.h"

namespace radvex::deidentify {

namespace {

using Words = std::initializer_list<std::string_view>;

/// What a file says of its picture.
struct Facts {
    std::string sopClass;
    std::string modality;
    std::string conversion;
    std::vector<std::string> imageType;
    bool isPicture;
    bool isDocument;
    bool hasText;       ///< BurnedInAnnotation is YES
    bool hasNoText;     ///< BurnedInAnnotation is NO
    bool showsFace;     ///< RecognizableVisualFeatures is YES
    bool showsNoFace;   ///< RecognizableVisualFeatures is NO
    bool hasSlideLabel; ///< SpecimenLabelInImage is YES
    HeadInView head;
};

bool isOneOf(std::string_view text, Words words) { return std::find(words.begin(), words.end(), text) != words.end(); }

bool hasType(const Facts& facts, std::string_view type) {
    return std::find(facts.imageType.begin(), facts.imageType.end(), type) != facts.imageType.end();
}

bool isFromScanner(const Facts& facts) {
    // A spectrum has rows and columns, but they show no surface of a body.
    const bool isOfClass = isOneOf(
        facts.sopClass, {UID_CTImageStorage, UID_EnhancedCTImageStorage, UID_LegacyConvertedEnhancedCTImageStorage,
                         UID_MRImageStorage, UID_EnhancedMRImageStorage, UID_EnhancedMRColorImageStorage,
                         UID_LegacyConvertedEnhancedMRImageStorage, UID_PositronEmissionTomographyImageStorage,
                         UID_EnhancedPETImageStorage, UID_LegacyConvertedEnhancedPETImageStorage,
                         UID_XRay3DAngiographicImageStorage, UID_XRay3DCraniofacialImageStorage});
    return (isOfClass || isOneOf(facts.modality, {"CT", "MR", "PT"})) && facts.sopClass != UID_MRSpectroscopyStorage;
}

bool isCaptured(const Facts& facts) {
    return isOneOf(facts.sopClass,
                   {UID_SecondaryCaptureImageStorage, UID_MultiframeSingleBitSecondaryCaptureImageStorage,
                    UID_MultiframeGrayscaleByteSecondaryCaptureImageStorage,
                    UID_MultiframeGrayscaleWordSecondaryCaptureImageStorage,
                    UID_MultiframeTrueColorSecondaryCaptureImageStorage, UID_RETIRED_HardcopyGrayscaleImageStorage,
                    UID_RETIRED_HardcopyColorImageStorage});
}

/// Conversion Type (PS3.3 C.8.6.1.1.1): video, film and paper, which machines or people had written on.
bool isDigitized(const Facts& facts) {
    return isOneOf(facts.conversion, {"DV", "DI", "DF", "WSD", "SD", "SI", "DRW", "SYN"});
}

bool isUltrasound(const Facts& facts) {
    return isOneOf(facts.modality, {"US", "IVUS", "BDUS"}) ||
           isOneOf(facts.sopClass, {UID_UltrasoundImageStorage, UID_UltrasoundMultiframeImageStorage,
                                    UID_RETIRED_UltrasoundImageStorage, UID_RETIRED_UltrasoundMultiframeImageStorage,
                                    UID_EnhancedUSVolumeStorage, "1.2.840.10008.5.1.4.1.1.6.3", // photoacoustic
                                    UID_IntravascularOpticalCoherenceTomographyImageStorageForPresentation});
}

/// Pages that machines draw: screens, reports, protocols and tables of doses.
bool isScreen(const Facts& facts) {
    constexpr std::array<std::string_view, 7> kParts{"SCREEN",   "SNAPSHOT", "CAPTURE",  "REPORT",
                                                     "PROTOCOL", "SUMMARY",  "DOSE_INFO"};
    const auto isPage = [&](const std::string& type) {
        // "DOSE" alone is also what a grid of radiotherapy doses may say.
        return isOneOf(type, {"DOSE INFO", "DOSE SHEET", "PROT"}) || (type == "DOSE" && facts.modality != "RTDOSE") ||
               std::any_of(kParts.begin(), kParts.end(),
                           [&](std::string_view part) { return type.find(part) != std::string::npos; });
    };
    return std::any_of(facts.imageType.begin(), facts.imageType.end(), isPage);
}

bool isMadeOfOthers(const Facts& facts) {
    return isOneOf(facts.modality, {"OT", "SC", "DOC"}) && hasType(facts, "DERIVED") && hasType(facts, "SECONDARY");
}

bool isPhoto(const Facts& facts) {
    return isOneOf(facts.modality, {"ES", "XC", "GM", "OP", "DMS"}) ||
           isOneOf(facts.sopClass,
                   {UID_RETIRED_VLImageStorage, UID_RETIRED_VLMultiframeImageStorage, UID_VLEndoscopicImageStorage,
                    UID_VideoEndoscopicImageStorage, UID_VLMicroscopicImageStorage, UID_VideoMicroscopicImageStorage,
                    UID_VLSlideCoordinatesMicroscopicImageStorage, UID_VLPhotographicImageStorage,
                    UID_VideoPhotographicImageStorage, UID_OphthalmicPhotography8BitImageStorage,
                    UID_OphthalmicPhotography16BitImageStorage,
                    UID_WideFieldOphthalmicPhotographyStereographicProjectionImageStorage,
                    UID_WideFieldOphthalmicPhotography3DCoordinatesImageStorage,
                    UID_DermoscopicPhotographyImageStorage});
}

bool isWholeSlide(const Facts& facts) { return facts.sopClass == UID_VLWholeSlideMicroscopyImageStorage; }

/// A row of the table. The first row of a class that applies gives its reason.
struct Row {
    const char* pixelClass;
    const char* reason;
    bool (*applies)(const Facts& facts);
};

// BurnedInAnnotation NO counts wherever a machine can know it. It does not for pictures of a screen, which consist of
// text and often inherit the NO of the series that they stand in, and for documents and labels, where there is more to
// tell than what is burned in.
constexpr std::array kRows{
    Row{"burned-in", "BurnedInAnnotation says YES", [](const Facts& facts) { return facts.hasText; }},
    Row{"secondary-capture", "it is a secondary capture, and BurnedInAnnotation does not say NO",
        [](const Facts& facts) { return isCaptured(facts) && !facts.hasNoText; }},
    Row{"secondary-capture", "it was made from video, film or paper, and BurnedInAnnotation does not say NO",
        [](const Facts& facts) { return isDigitized(facts) && !facts.hasNoText; }},
    Row{"ultrasound", "ultrasound machines write the name into the picture, and BurnedInAnnotation does not say NO",
        [](const Facts& facts) { return isUltrasound(facts) && !facts.hasNoText; }},
    Row{"screen", "ImageType says that it shows a screen or a page of a report", isScreen},
    Row{"screen", "it was made from other images, and BurnedInAnnotation does not say NO",
        [](const Facts& facts) { return isMadeOfOthers(facts) && !facts.hasNoText; }},
    Row{"photo", "it is a photograph or video, and it does not say NO to both text and recognizable features",
        [](const Facts& facts) { return isPhoto(facts) && !(facts.hasNoText && facts.showsNoFace); }},
    Row{"document", "it holds a whole document, which is not looked into",
        [](const Facts& facts) { return facts.isDocument; }},
    Row{"face", "RecognizableVisualFeatures says YES", [](const Facts& facts) { return facts.showsFace; }},
    Row{"face", "a face can be made from images of the head, and RecognizableVisualFeatures does not say NO",
        [](const Facts& facts) {
            const bool isHead = facts.sopClass == UID_XRay3DCraniofacialImageStorage ||
                                (isFromScanner(facts) && facts.head == HeadInView::Yes);
            return isHead && !facts.showsNoFace;
        }},
    Row{"unclear-face", "it does not say which part of the body it shows, so that a face may be made from it",
        [](const Facts& facts) {
            return isFromScanner(facts) && facts.head == HeadInView::Unclear && !facts.showsNoFace && !facts.showsFace;
        }},
    Row{"slide-label", "it shows the label of a slide",
        [](const Facts& facts) { return isWholeSlide(facts) && (hasType(facts, "LABEL") || facts.hasSlideLabel); }},
    Row{"slide-label", "it shows a whole slide, and does not say that the label is not in view",
        [](const Facts& facts) { return isWholeSlide(facts) && hasType(facts, "OVERVIEW") && !facts.hasNoText; }},
};

constexpr std::array<const char*, 9> kClasses{"burned-in",  "secondary-capture", "ultrasound", "screen",
                                              "photo",      "document",          "face",       "unclear-face",
                                              "slide-label"};

bool isAnyThere(DcmItem& dataset, std::initializer_list<DcmTagKey> keys) {
    return std::any_of(keys.begin(), keys.end(),
                       [&](const DcmTagKey& key) { return dataset.tagExists(key, OFFalse) == OFTrue; });
}

Facts factsOf(DcmDataset& dataset) {
    const auto firstOf = [&](const DcmTagKey& key) {
        const auto values = capitalValues(dataset, key);
        return values.empty() ? std::string() : values.front();
    };
    const auto holds = [&](const DcmTagKey& key, std::string_view word) {
        const auto values = capitalValues(dataset, key);
        return std::find(values.begin(), values.end(), word) != values.end();
    };
    Facts facts{};
    facts.sopClass = firstOf(DCM_SOPClassUID);
    facts.modality = firstOf(DCM_Modality);
    facts.conversion = firstOf(DCM_ConversionType);
    facts.imageType = capitalValues(dataset, DCM_ImageType);
    facts.isPicture = isAnyThere(
        dataset, {DCM_Rows, DCM_PixelData, DCM_FloatPixelData, DCM_DoubleFloatPixelData, DCM_PixelDataProviderURL});
    facts.isDocument =
        isAnyThere(dataset, {DCM_EncapsulatedDocument}) || facts.sopClass.starts_with("1.2.840.10008.5.1.4.1.1.104.");
    facts.hasText = holds(DCM_BurnedInAnnotation, "YES");
    facts.hasNoText = firstOf(DCM_BurnedInAnnotation) == "NO" && !facts.hasText;
    facts.showsFace = holds(DCM_RecognizableVisualFeatures, "YES");
    facts.showsNoFace = firstOf(DCM_RecognizableVisualFeatures) == "NO" && !facts.showsFace;
    facts.hasSlideLabel = holds(DCM_SpecimenLabelInImage, "YES");
    facts.head = headInView(dataset);
    return facts;
}

} // namespace

std::vector<PixelRisk> pixelRisks(DcmDataset& dataset) {
    const Facts facts = factsOf(dataset);
    std::vector<PixelRisk> risks;
    if (!facts.isPicture && !facts.isDocument) {
        return risks;
    }
    for (const Row& row : kRows) {
        const bool isNew = risks.empty() || risks.back().pixelClass != row.pixelClass;
        if (isNew && row.applies(facts)) {
            risks.push_back({row.pixelClass, row.reason});
        }
    }
    return risks;
}

std::span<const char* const> pixelClasses() { return kClasses; }

} // namespace radvex::deidentify

#include "deidentify/pixels/PixelRisks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::addItem;
using radvex::test::Attributes;
using radvex::test::put;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const DcmTagKey kRows = DCM_Rows;

std::vector<std::string> classesOf(DcmDataset& dataset) {
    std::vector<std::string> classes;
    for (const PixelRisk& risk : pixelRisks(dataset)) {
        EXPECT_FALSE(risk.reason.empty());
        EXPECT_NE(risk.reason.back(), '.') << "a part of a sentence";
        classes.push_back(risk.pixelClass);
    }
    return classes;
}

/// Of a picture with these attributes.
std::vector<std::string> classesWith(const Attributes& attributes) {
    DcmDataset dataset;
    dataset.putAndInsertUint16(kRows, 4);
    put(dataset, attributes);
    return classesOf(dataset);
}

} // namespace

TEST(PixelRisks, NamesTextThatTheFileItselfConfesses) {
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_BurnedInAnnotation, "YES"}}), ElementsAre("burned-in"));
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_BurnedInAnnotation, "NO"}}), IsEmpty());
}

TEST(PixelRisks, ReadsValuesWithPaddingAndInSmallLetters) {
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_BurnedInAnnotation, " yes "}}), ElementsAre("burned-in"));
    EXPECT_THAT(classesWith({{DCM_Modality, " us "}}), ElementsAre("ultrasound"));
}

TEST(PixelRisks, BelievesMachinesThatSayNo) {
    for (const char* sopClass : {UID_SecondaryCaptureImageStorage, UID_MultiframeTrueColorSecondaryCaptureImageStorage,
                                 UID_MultiframeSingleBitSecondaryCaptureImageStorage}) {
        EXPECT_THAT(classesWith({{DCM_SOPClassUID, sopClass}}), ElementsAre("secondary-capture"));
        EXPECT_THAT(classesWith({{DCM_SOPClassUID, sopClass}, {DCM_BurnedInAnnotation, "NO"}}), IsEmpty());
    }
    for (const char* sopClass : {UID_UltrasoundImageStorage, UID_UltrasoundMultiframeImageStorage}) {
        EXPECT_THAT(classesWith({{DCM_SOPClassUID, sopClass}}), ElementsAre("ultrasound"));
        EXPECT_THAT(classesWith({{DCM_SOPClassUID, sopClass}, {DCM_BurnedInAnnotation, "NO"}}), IsEmpty());
    }
}

TEST(PixelRisks, TakesNoOtherAnswerForNo) {
    EXPECT_THAT(classesWith({{DCM_Modality, "US"}, {DCM_BurnedInAnnotation, "UNKNOWN"}}), ElementsAre("ultrasound"));
    EXPECT_THAT(classesWith({{DCM_Modality, "US"}, {DCM_BurnedInAnnotation, "NO\\YES"}}),
                ElementsAre("burned-in", "ultrasound"));
}

TEST(PixelRisks, ScreensShowTextWhateverTheySay) {
    for (const char* type : {"DERIVED\\SECONDARY\\SCREEN SAVE", "derived\\secondary\\screenshot",
                             "DERIVED\\SECONDARY\\OTHER\\DOSE_INFO", "DERIVED\\SECONDARY\\PROT"}) {
        EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_ImageType, type}, {DCM_BurnedInAnnotation, "NO"}}),
                    ElementsAre("screen"))
            << type;
    }
    EXPECT_THAT(classesWith({{DCM_Modality, "RTDOSE"}, {DCM_ImageType, "DERIVED\\PRIMARY\\DOSE"}}), IsEmpty());
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_ImageType, "DERIVED\\SECONDARY"}}), IsEmpty());
}

TEST(PixelRisks, PicturesOfNoMachineAreScreensUnlessTheySayNo) {
    const Attributes other{{DCM_Modality, "OT"}, {DCM_ImageType, "DERIVED\\SECONDARY"}};
    EXPECT_THAT(classesWith(other), ElementsAre("screen"));
    Attributes clean = other;
    clean.emplace_back(DCM_BurnedInAnnotation, "NO");
    EXPECT_THAT(classesWith(clean), IsEmpty());
}

TEST(PixelRisks, DigitizedFilmWasWrittenOn) {
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_ConversionType, "DF"}}), ElementsAre("secondary-capture"));
}

TEST(PixelRisks, PhotographsHaveToSayNoTwice) {
    const DcmTagKey sopClass = DCM_SOPClassUID;
    EXPECT_THAT(classesWith({{sopClass, UID_VLPhotographicImageStorage}}), ElementsAre("photo"));
    EXPECT_THAT(classesWith({{sopClass, UID_VideoEndoscopicImageStorage}, {DCM_BurnedInAnnotation, "NO"}}),
                ElementsAre("photo"));
    EXPECT_THAT(classesWith({{sopClass, UID_DermoscopicPhotographyImageStorage},
                             {DCM_BurnedInAnnotation, "NO"},
                             {DCM_RecognizableVisualFeatures, "NO"}}),
                IsEmpty());
}

TEST(PixelRisks, DocumentsCountWithoutPixels) {
    DcmDataset dataset;
    put(dataset, {{DCM_SOPClassUID, UID_EncapsulatedPDFStorage}, {DCM_BurnedInAnnotation, "NO"}});
    EXPECT_THAT(classesOf(dataset), ElementsAre("document"));
}

TEST(PixelRisks, WhatIsNoPictureHasNone) {
    DcmDataset dataset;
    put(dataset, {{DCM_Modality, "US"}, {DCM_BurnedInAnnotation, "YES"}});
    EXPECT_THAT(classesOf(dataset), IsEmpty());
}

TEST(PixelRisks, HeadsInScannersShowFaces) {
    for (const char* part : {"HEAD", "Head_Neck", "BRAIN", "WHOLE BODY", "SKULL", "C-SPINE", "ORBITS", "EAR"}) {
        EXPECT_THAT(classesWith({{DCM_Modality, "MR"}, {DCM_BodyPartExamined, part}}), ElementsAre("face")) << part;
    }
    for (const char* part : {"CHEST", "HEART", "KNEE", "SOMETHING"}) {
        EXPECT_THAT(classesWith({{DCM_Modality, "CT"}, {DCM_BodyPartExamined, part}}), IsEmpty()) << part;
    }
    EXPECT_THAT(
        classesWith({{DCM_Modality, "CT"}, {DCM_BodyPartExamined, "HEAD"}, {DCM_RecognizableVisualFeatures, "NO"}}),
        IsEmpty());
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_BodyPartExamined, "HEAD"}}), IsEmpty());
    EXPECT_THAT(classesWith({{DCM_Modality, "CR"}, {DCM_RecognizableVisualFeatures, "YES"}}), ElementsAre("face"));
}

TEST(PixelRisks, ASpectrumShowsNoFace) {
    EXPECT_THAT(
        classesWith(
            {{DCM_Modality, "MR"}, {DCM_SOPClassUID, UID_MRSpectroscopyStorage}, {DCM_BodyPartExamined, "BRAIN"}}),
        IsEmpty());
}

TEST(PixelRisks, FindsTheHeadInCodesOfRegionsAlsoInFunctionalGroups) {
    DcmDataset plain;
    plain.putAndInsertUint16(kRows, 4);
    put(plain, {{DCM_Modality, "MR"}});
    put(addItem(plain, DCM_AnatomicRegionSequence), {{DCM_CodeValue, "T-A0100"}, {DCM_CodeMeaning, "Gehirn"}});
    EXPECT_THAT(classesOf(plain), ElementsAre("face"));

    DcmDataset enhanced;
    enhanced.putAndInsertUint16(kRows, 4);
    put(enhanced, {{DCM_Modality, "CT"}});
    DcmItem& anatomy = addItem(addItem(enhanced, DCM_SharedFunctionalGroupsSequence), DCM_FrameAnatomySequence);
    put(addItem(anatomy, DCM_AnatomicRegionSequence), {{DCM_CodeValue, "51185008"}, {DCM_CodeMeaning, "Chest"}});
    EXPECT_THAT(classesOf(enhanced), IsEmpty());
}

TEST(PixelRisks, DescriptionsSpeakWhereNoBodyPartIsNamed) {
    const auto described = [](const char* text) {
        return classesWith({{DCM_Modality, "MR"}, {DCM_SeriesDescription, text}});
    };
    EXPECT_THAT(described("t1 mprage brain"), ElementsAre("face"));
    EXPECT_THAT(described("KNEE PD FS"), IsEmpty());
    EXPECT_THAT(described("T1 CORONAL"), ElementsAre("unclear-face")); // no heart
    EXPECT_THAT(classesWith({{DCM_Modality, "CT"}}), ElementsAre("unclear-face"));
    EXPECT_THAT(
        classesWith({{DCM_Modality, "MR"}, {DCM_BodyPartExamined, "KNEE"}, {DCM_StudyDescription, "BRAIN AND KNEE"}}),
        IsEmpty());
}

TEST(PixelRisks, LabelsOfSlidesAreSeen) {
    const auto slide = [](const char* type, const char* key, const char* answer) {
        const DcmTagKey asked = std::string(key) == "label" ? DCM_SpecimenLabelInImage : DCM_BurnedInAnnotation;
        return classesWith(
            {{DCM_SOPClassUID, UID_VLWholeSlideMicroscopyImageStorage}, {DCM_ImageType, type}, {asked, answer}});
    };
    EXPECT_THAT(slide("ORIGINAL\\PRIMARY\\LABEL\\NONE", "text", "NO"), ElementsAre("slide-label"));
    EXPECT_THAT(slide("ORIGINAL\\PRIMARY\\OVERVIEW\\NONE", "label", "NO"), ElementsAre("slide-label"));
    EXPECT_THAT(slide("ORIGINAL\\PRIMARY\\OVERVIEW\\NONE", "text", "NO"), IsEmpty());
    EXPECT_THAT(slide("ORIGINAL\\PRIMARY\\VOLUME\\NONE", "label", "YES"), ElementsAre("slide-label"));
    EXPECT_THAT(slide("ORIGINAL\\PRIMARY\\VOLUME\\NONE", "label", "NO"), IsEmpty());
}

TEST(PixelClasses, AreNamedOnceAndHoldEveryClassOfARisk) {
    EXPECT_THAT(pixelClasses(), ElementsAre(testing::StrEq("burned-in"), testing::StrEq("secondary-capture"),
                                            testing::StrEq("ultrasound"), testing::StrEq("screen"),
                                            testing::StrEq("photo"), testing::StrEq("document"), testing::StrEq("face"),
                                            testing::StrEq("unclear-face"), testing::StrEq("slide-label")));
}

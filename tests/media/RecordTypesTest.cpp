#include "media/dicomdir/RecordTypes.h"

#include <gtest/gtest.h>

#include "dcmtk/dcmdata/dcuid.h"

using namespace radvex::media;

TEST(RecordTypes, InstancesOfKnownClassesHaveTheirType) {
    EXPECT_EQ(recordTypeOf(UID_CTImageStorage, false), ERT_Image);
    EXPECT_EQ(recordTypeOf(UID_RTImageStorage, false), ERT_Image);
    EXPECT_EQ(recordTypeOf(UID_SegmentationStorage, false), ERT_Image);
    EXPECT_EQ(recordTypeOf(UID_RTDoseStorage, true), ERT_RTDose) << "pixels or not";
    EXPECT_EQ(recordTypeOf(UID_RTIonPlanStorage, false), ERT_RTPlan);
    EXPECT_EQ(recordTypeOf(UID_RTPhysicianIntentStorage, false), ERT_Radiotherapy);
    EXPECT_EQ(recordTypeOf(UID_BasicTextSRStorage, false), ERT_SRDocument);
    EXPECT_EQ(recordTypeOf(UID_KeyObjectSelectionDocumentStorage, false), ERT_KeyObjectDoc);
    EXPECT_EQ(recordTypeOf(UID_SpectaclePrescriptionReportStorage, false), ERT_SRDocument);
    EXPECT_EQ(recordTypeOf(UID_GrayscaleSoftcopyPresentationStateStorage, false), ERT_Presentation);
    EXPECT_EQ(recordTypeOf(UID_TwelveLeadECGWaveformStorage, false), ERT_Waveform);
    EXPECT_EQ(recordTypeOf(UID_EncapsulatedPDFStorage, false), ERT_EncapDoc);
    EXPECT_EQ(recordTypeOf(UID_RawDataStorage, false), ERT_RawData);
    EXPECT_EQ(recordTypeOf(UID_MRSpectroscopyStorage, false), ERT_Spectroscopy);
}

TEST(RecordTypes, AnEntryStandsForWholeComponentsOnly) {
    EXPECT_EQ(recordTypeOf("1.2.840.10008.5.1.4.1.1.881", false), std::nullopt);
    EXPECT_EQ(recordTypeOf("1.2.840.10008.5.1.4.1.1.88.999", false), ERT_SRDocument);
}

TEST(RecordTypes, AnUnknownClassIsAnImageOnlyWithPixels) {
    EXPECT_EQ(recordTypeOf("1.2.3", true), ERT_Image);
    EXPECT_EQ(recordTypeOf("1.2.3", false), std::nullopt);
}

TEST(RecordTypes, WhatBelongsToNoPatientStandsAtTheRoot) {
    EXPECT_TRUE(belongsToRoot(*recordTypeOf(UID_HangingProtocolStorage, false)));
    EXPECT_TRUE(belongsToRoot(*recordTypeOf(UID_ImplantTemplateGroupStorage, false)));
    EXPECT_FALSE(belongsToRoot(ERT_Image));
}

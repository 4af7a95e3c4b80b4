#include "volume/BidsSidecar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"

using radvex::formats::Json;
using radvex::formats::parseJson;
using radvex::test::addItem;
using radvex::test::Attributes;
using radvex::test::put;

namespace {

class BidsSidecarTest : public radvex::test::LibraryTest {
  protected:
    /// The sidecar of a file, without the members that every sidecar has.
    Json sidecar(const radvex::test::Fill& fill) {
        Json json = radvex::volume::bidsSidecar(host(), radvex::test::writeDicom(folder.file("one.dcm"), fill));
        EXPECT_EQ(json.value("ConversionSoftware", ""), "radvex");
        EXPECT_THAT(json.value("ConversionSoftwareVersion", ""), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
        json.erase("ConversionSoftware");
        json.erase("ConversionSoftwareVersion");
        return json;
    }
    Json sidecar(const Attributes& attributes) { return sidecar(radvex::test::with(attributes)); }
};

/// Members in any order.
void expectSame(const Json& found, const char* expected) {
    EXPECT_EQ(nlohmann::json::parse(found.dump()), nlohmann::json::parse(expected)) << found.dump(2);
}

const Attributes kPerson{{DCM_PatientName, "Doe^Jane"},
                         {DCM_PatientID, "P1"},
                         {DCM_PatientBirthDate, "19700102"},
                         {DCM_PatientSex, "F"},
                         {DCM_AccessionNumber, "A77"},
                         {DCM_StudyDate, "20240102"},
                         {DCM_AcquisitionDate, "20240102"},
                         {DCM_InstitutionName, "General Hospital"},
                         {DCM_InstitutionAddress, "1 Main Street"},
                         {DCM_StationName, "MR1"},
                         {DCM_DeviceSerialNumber, "4711"},
                         {DCM_StudyInstanceUID, "1.2.3"}};

} // namespace

TEST_F(BidsSidecarTest, AClassicMagneticResonanceFile) {
    const Json found = sidecar({{DCM_Modality, "MR"},
                                {DCM_ImageType, "ORIGINAL\\PRIMARY\\M\\ND"},
                                {DCM_Manufacturer, "Maker "},
                                {DCM_ManufacturerModelName, "Model 3"},
                                {DCM_SoftwareVersions, "syngo MR B17"},
                                {DCM_BodyPartExamined, "BRAIN"},
                                {DCM_PatientPosition, "HFS"},
                                {DCM_ProtocolName, "ep2d_bold"},
                                {DCM_SeriesDescription, "rest \"eyes open\""},
                                {DCM_SeriesNumber, "5"},
                                {DCM_AcquisitionNumber, "1"},
                                {DCM_AcquisitionTime, "101112.5"},
                                {DCM_SliceThickness, "3.5"},
                                {DCM_SpacingBetweenSlices, "4"},
                                {DCM_MagneticFieldStrength, "3"},
                                {DCM_ImagingFrequency, "123.25"},
                                {DCM_ReceiveCoilName, "Head_32"},
                                {DCM_MRAcquisitionType, "2D"},
                                {DCM_ScanningSequence, "EP"},
                                {DCM_SequenceVariant, "SK\\SS"},
                                {DCM_ScanOptions, "FS"},
                                {DCM_SequenceName, "epfid2d1_64"},
                                {DCM_EchoTime, "2.46"},
                                {DCM_EchoNumbers, "1"},
                                {DCM_RepetitionTime, "2000"},
                                {DCM_InversionTime, "900"},
                                {DCM_FlipAngle, "90"},
                                {DCM_EchoTrainLength, "31"},
                                {DCM_NumberOfAverages, "1"},
                                {DCM_PixelBandwidth, "2232"},
                                {DCM_PercentPhaseFieldOfView, "100"},
                                {DCM_PercentSampling, "87.5"},
                                {DCM_NumberOfPhaseEncodingSteps, "63"},
                                {DCM_InPlanePhaseEncodingDirection, "COL"},
                                {DCM_AcquisitionMatrix, "64\\0\\0\\56"},
                                {DCM_Rows, "64"},
                                {DCM_Columns, "80"}});
    expectSame(found, R"({"Modality": "MR", "ImageType": ["ORIGINAL", "PRIMARY", "M", "ND"], "Manufacturer": "Maker",
        "ManufacturersModelName": "Model 3", "SoftwareVersions": "syngo MR B17", "BodyPart": "BRAIN",
        "PatientPosition": "HFS", "ProtocolName": "ep2d_bold", "SeriesDescription": "rest \"eyes open\"",
        "SeriesNumber": 5, "AcquisitionNumber": 1, "AcquisitionTime": "10:11:12.500000", "SliceThickness": 3.5,
        "SpacingBetweenSlices": 4, "MagneticFieldStrength": 3, "ImagingFrequency": 123.25,
        "ReceiveCoilName": "Head_32", "MRAcquisitionType": "2D", "ScanningSequence": "EP",
        "SequenceVariant": ["SK", "SS"], "ScanOptions": "FS", "SequenceName": "epfid2d1_64", "EchoTime": 0.00246,
        "EchoNumber": 1, "RepetitionTime": 2, "InversionTime": 0.9, "FlipAngle": 90, "EchoTrainLength": 31,
        "NumberOfAverages": 1, "PixelBandwidth": 2232, "PercentPhaseFOV": 100, "PercentSampling": 87.5,
        "PhaseEncodingSteps": 63, "AcquisitionMatrixPE": 56, "InPlanePhaseEncodingDirectionDICOM": "COL",
        "PhaseEncodingAxis": "j", "ReconMatrixPE": 64})");
    EXPECT_EQ(found["FlipAngle"].dump(), "90") << "whole numbers have no point";
    EXPECT_EQ(found["EchoTime"].dump(), "0.00246") << "rounding of milliseconds does not show";
}

TEST_F(BidsSidecarTest, AnEnhancedFileSaysItInFunctionalGroups) {
    const Json found = sidecar([](DcmDataset& dataset) {
        put(dataset, {{DCM_Modality, "MR"},
                      {DCM_AcquisitionDateTime, "20240102101112.25+0100"},
                      {DCM_PulseSequenceName, "EPI"},
                      {DCM_Rows, "64"},
                      {DCM_Columns, "80"}});
        DcmItem& shared = addItem(dataset, DCM_SharedFunctionalGroupsSequence);
        put(addItem(shared, DCM_MRTimingAndRelatedParametersSequence),
            {{DCM_RepetitionTime, "1500"}, {DCM_FlipAngle, "70"}, {DCM_EchoTrainLength, "1"}});
        put(addItem(shared, DCM_MRFOVGeometrySequence), {{DCM_InPlanePhaseEncodingDirection, "ROW"},
                                                         {DCM_MRAcquisitionPhaseEncodingStepsInPlane, "72"},
                                                         {DCM_PercentPhaseFieldOfView, "90"},
                                                         {DCM_PercentSampling, "100"}});
        put(addItem(shared, DCM_MRModifierSequence), {{DCM_InversionTimes, "300\\600"},
                                                      {DCM_PartialFourier, "NO"},
                                                      {DCM_ParallelAcquisitionTechnique, "GRAPPA"},
                                                      {DCM_ParallelReductionFactorInPlane, "2"}});
        put(addItem(shared, DCM_MRImagingModifierSequence),
            {{DCM_TransmitterFrequency, "127.75"}, {DCM_PixelBandwidth, "1500"}});
        put(addItem(shared, DCM_MRReceiveCoilSequence), {{DCM_ReceiveCoilName, "HEAD"}});
        put(addItem(shared, DCM_MRAveragesSequence), {{DCM_NumberOfAverages, "2"}});
        put(addItem(shared, DCM_PixelMeasuresSequence), {{DCM_SliceThickness, "2"}});
        for (const char* echoTime : {"30.5", "60"}) { // of each frame: the first one counts
            DcmItem& frame = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
            put(addItem(frame, DCM_MREchoSequence), {{DCM_EffectiveEchoTime, echoTime}});
        }
    });
    expectSame(found, R"({"Modality": "MR", "AcquisitionTime": "10:11:12.250000", "PulseSequenceName": "EPI",
        "RepetitionTime": 1.5, "FlipAngle": 70, "EchoTrainLength": 1, "InPlanePhaseEncodingDirectionDICOM": "ROW",
        "PhaseEncodingAxis": "i", "ReconMatrixPE": 80, "AcquisitionMatrixPE": 72, "PercentPhaseFOV": 90,
        "PercentSampling": 100, "InversionTime": [0.3, 0.6], "PartialFourier": 1,
        "ParallelAcquisitionTechnique": "GRAPPA", "ParallelReductionFactorInPlane": 2, "ImagingFrequency": 127.75,
        "PixelBandwidth": 1500, "ReceiveCoilName": "HEAD", "NumberOfAverages": 2, "SliceThickness": 2,
        "EchoTime": 0.0305})");
}

TEST_F(BidsSidecarTest, AFileOfPositronEmission) {
    const Json found = sidecar([](DcmDataset& dataset) {
        put(dataset, {{DCM_Modality, "PT"},
                      {DCM_Units, "BQML"},
                      {DCM_DecayCorrection, "START"},
                      {DCM_ReconstructionMethod, "OSEM 3D"},
                      {DCM_AttenuationCorrectionMethod, "measured"},
                      {DCM_ScatterCorrectionMethod, "model-based"},
                      {DCM_RandomsCorrectionMethod, "DLYD"},
                      {DCM_ConvolutionKernel, "XYZ GAUSS2.00"},
                      {DCM_SeriesType, "STATIC\\IMAGE"},
                      {DCM_ActualFrameDuration, "600000"}});
        DcmItem& tracer = addItem(dataset, DCM_RadiopharmaceuticalInformationSequence);
        put(tracer, {{DCM_Radiopharmaceutical, "Fluorodeoxyglucose"},
                     {DCM_RadionuclideTotalDose, "370500000"},
                     {DCM_RadiopharmaceuticalVolume, "2.5"}});
        put(addItem(tracer, DCM_RadionuclideCodeSequence), {{DCM_CodeMeaning, "^18^Fluorine"}});
    });
    expectSame(found, R"({"Modality": "PT", "Units": "Bq/mL", "ImageDecayCorrected": true,
        "ReconMethodName": "OSEM 3D", "AttenuationCorrection": "measured", "ScatterCorrectionMethod": "model-based",
        "RandomsCorrectionMethod": "DLYD", "ConvolutionKernel": "XYZ GAUSS2.00", "FrameDuration": [600],
        "TracerName": "Fluorodeoxyglucose", "TracerRadionuclide": "^18^Fluorine", "InjectedVolume": 2.5,
        "InjectedRadioactivity": 370500000, "InjectedRadioactivityUnits": "Bq"})");
}

TEST_F(BidsSidecarTest, WhatOneFileOfADynamicSeriesCannotSayIsLeftOut) {
    const Json dynamic = sidecar({{DCM_Modality, "PT"},
                                  {DCM_SeriesType, "DYNAMIC\\IMAGE"},
                                  {DCM_ActualFrameDuration, "60000"},
                                  {DCM_FrameReferenceTime, "30000"},
                                  {DCM_DecayCorrection, "NONE"},
                                  {DCM_Units, "CNTS"}});
    expectSame(dynamic, R"({"Modality": "PT", "Units": "CNTS", "ImageDecayCorrected": false})");
    const Json nuclear = sidecar([](DcmDataset& dataset) {
        put(dataset, {{DCM_Modality, "NM"}});
        put(addItem(dataset, DCM_RadiopharmaceuticalInformationSequence), {{DCM_RadionuclideTotalDose, "740"}});
    });
    expectSame(nuclear, R"({"Modality": "NM"})");
}

TEST_F(BidsSidecarTest, AFileOfComputedTomography) {
    expectSame(sidecar({{DCM_Modality, "CT"},
                        {DCM_ExposureTime, "500"},
                        {DCM_XRayTubeCurrent, "250"},
                        {DCM_Exposure, "125"},
                        {DCM_ConvolutionKernel, "B30f\\2"},
                        {DCM_ContrastBolusIngredient, "IODINE"}}),
               R"({"Modality": "CT", "ExposureTime": 0.5, "XRayTubeCurrent": 250, "XRayExposure": 125,
                   "ConvolutionKernel": ["B30f", "2"], "ContrastBolusIngredient": "IODINE"})");
}

TEST_F(BidsSidecarTest, NothingTellsThePatientOrThePlace) { expectSame(sidecar(kPerson), "{}"); }

TEST_F(BidsSidecarTest, APolarityOfPhaseEncodingIsNotInvented) {
    const Json found = sidecar({{DCM_Modality, "MR"}, {DCM_InPlanePhaseEncodingDirection, "ROW"}});
    EXPECT_FALSE(found.contains("PhaseEncodingDirection"));
    EXPECT_EQ(found["PhaseEncodingAxis"], "i");
    expectSame(sidecar({{DCM_InPlanePhaseEncodingDirection, "OTHER"}, {DCM_AcquisitionMatrix, "0\\0\\0\\0"}}), "{}");
    expectSame(sidecar({{DCM_PartialFourier, "YES"}, {DCM_PartialFourierDirection, "PHASE"}}),
               R"({"PartialFourierDirection": "PHASE"})");
}

TEST_F(BidsSidecarTest, UnusableValuesAreLeftOut) {
    expectSame(sidecar({{DCM_EchoTime, "fast"},
                        {DCM_RepetitionTime, "-1"},
                        {DCM_InversionTime, "0"},
                        {DCM_FlipAngle, "nan"},
                        {DCM_SeriesNumber, "1e999"},
                        {DCM_MagneticFieldStrength, "3\\three"},
                        {DCM_SliceThickness, ""},
                        {DCM_ImageType, "\\ \\"},
                        {DCM_Manufacturer, "  "},
                        {DCM_AcquisitionMatrix, "64\\64\\64\\64"}}),
               "{}");
    expectSame(sidecar({{DCM_RepetitionTime, "1e305"}}), "{}"); // too large for its unit
    for (const char* time : {"10", "1011", "251112", "106112", "101161", "10:11:12", "noon", "-10111"}) {
        expectSame(sidecar({{DCM_AcquisitionTime, time}}), "{}");
    }
}

TEST_F(BidsSidecarTest, ValuesOfOtherRepresentationsAreTakenOrLeft) {
    expectSame(sidecar([](DcmDataset& dataset) {
                   dataset.putAndInsertFloat64(DcmTag(DCM_EchoTime, EVR_FD), 30);
                   dataset.putAndInsertUint16(DcmTag(DCM_FlipAngle, EVR_US), 45);
                   dataset.putAndInsertFloat64(DcmTag(DCM_RepetitionTime, EVR_FD),
                                               std::numeric_limits<double>::infinity());
                   dataset.putAndInsertUint16(DcmTag(DCM_Manufacturer, EVR_US), 7);
                   addItem(dataset, DCM_SharedFunctionalGroupsSequence); // empty
                   dataset.putAndInsertString(DcmTag(DCM_PerFrameFunctionalGroupsSequence, EVR_LO), "no sequence");
               }),
               R"({"EchoTime": 0.03, "FlipAngle": 45})");
}

TEST_F(BidsSidecarTest, TextsAreValidUtf8) {
    const Json found = sidecar({{DCM_SeriesDescription, "K\xF6rper"}, {DCM_ProtocolName, "a\tb"}});
    EXPECT_NO_THROW((void)found.dump());
    EXPECT_EQ(found["SeriesDescription"], "K\xEF\xBF\xBDrper");
    EXPECT_EQ(found["ProtocolName"], "a\\u0009b");
    const Json named = sidecar({{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_SeriesDescription, "K\xF6rper"}});
    EXPECT_EQ(named["SeriesDescription"], "K\xC3\xB6rper");
}

TEST_F(BidsSidecarTest, AFileThatCannotBeReadIsAnError) {
    EXPECT_THROW((void)radvex::volume::bidsSidecar(host(), folder.file("missing.dcm")), velmora::LibraryError);
}

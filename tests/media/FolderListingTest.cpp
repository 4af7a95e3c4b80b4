#include "media/FolderListing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/MediumFiles.h"

using namespace radvex::test;
using namespace radvex::media;
using testing::ElementsAre;

namespace {

class FolderListingTest : public testing::Test {
  protected:
    std::string write(const std::string& name, const Fill& fill) { return writeDicom(mFolder.file(name), fill); }
    std::string writeSlice(const std::string& name, const std::string& patient, const std::string& study,
                           const std::string& series) {
        return write(name,
                     with({{DCM_PatientID, patient}, {DCM_StudyInstanceUID, study}, {DCM_SeriesInstanceUID, series}}));
    }
    FolderListing list(std::size_t jobs = 0) const {
        return listFolder(mFolder.path().string(), jobs, radvex::workers::withoutProgress);
    }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_F(FolderListingTest, FilesStandUnderTheirPatientStudyAndSeriesInTheOrderOfPaths) {
    const std::string first = writeSlice("a", "P", "1.2", "1.2.3");
    const std::string other = writeSlice("b", "Q", "2.2", "2.2.3");
    const std::string second = writeSlice("c", "P", "1.2", "1.2.3");
    const std::string third = writeSlice("d", "P", "1.2", "1.2.4");
    for (const std::size_t jobs : {0U, 2U}) {
        const FolderListing listing = list(jobs);
        ASSERT_EQ(listing.patients.size(), 2U);
        EXPECT_EQ(listing.patients[0].id, "P");
        EXPECT_EQ(listing.patients[1].id, "Q");
        ASSERT_EQ(listing.patients[0].studies.size(), 1U);
        const auto& series = listing.patients[0].studies[0].series;
        ASSERT_EQ(series.size(), 2U);
        EXPECT_THAT(series[0].files, ElementsAre(first, second));
        EXPECT_THAT(series[1].files, ElementsAre(third));
        EXPECT_THAT(listing.patients[1].studies[0].series[0].files, ElementsAre(other));
    }
}

TEST_F(FolderListingTest, NothingIsInvented) {
    write("a", with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}}));
    const FolderListing listing = list();
    ASSERT_EQ(listing.patients.size(), 1U);
    const MediumPatient& patient = listing.patients.front();
    EXPECT_EQ(patient.id, "");
    EXPECT_EQ(patient.name, "");
    EXPECT_EQ(patient.studies[0].date, "");
    EXPECT_EQ(patient.studies[0].series[0].number, "");
}

TEST_F(FolderListingTest, WhatAFileSaysIsToldInUtf8) {
    write("a", with({{DCM_SpecificCharacterSet, "ISO_IR 100"},
                     {DCM_PatientName, "M\xFCller^J\xFCrgen"},
                     {DCM_PatientID, "P"},
                     {DCM_StudyDate, "20200102"},
                     {DCM_StudyDescription, "Sch\xE4"
                                            "del"},
                     {DCM_SeriesNumber, "7"},
                     {DCM_SeriesDescription, "Fl\xE4"
                                             "che"},
                     {DCM_Modality, "CT"},
                     {DCM_StudyInstanceUID, "1.2"},
                     {DCM_SeriesInstanceUID, "1.2.3"}}));
    const FolderListing listing = list();
    ASSERT_EQ(listing.patients.size(), 1U);
    const MediumPatient& patient = listing.patients.front();
    EXPECT_EQ(patient.name, "M\xC3\xBCller^J\xC3\xBCrgen");
    EXPECT_EQ(patient.studies[0].date, "20200102");
    EXPECT_EQ(patient.studies[0].description, "Sch\xC3\xA4"
                                              "del");
    const MediumSeries& series = patient.studies[0].series[0];
    EXPECT_EQ(series.number, "7");
    EXPECT_EQ(series.description, "Fl\xC3\xA4"
                                  "che");
    EXPECT_EQ(series.modality, "CT");
}

TEST_F(FolderListingTest, AClassThatNoDirectoryListsIsListed) {
    write("a", [](DcmDataset& dataset) {
        put(dataset,
            {{DCM_SOPClassUID, "1.2.276.0.99.1"}, {DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}});
    });
    EXPECT_EQ(list().patients.size(), 1U);
}

TEST_F(FolderListingTest, WhatIsLeftOutIsCountedAndNamed) {
    writeSlice("a", "P", "1.2", "1.2.3");
    mFolder.write("notes", "text");
    const std::string refused = write("b", {});
    const FolderListing listing = list();
    EXPECT_EQ(listing.leftOut.skippedCount, 1U);
    ASSERT_EQ(listing.leftOut.refused.size(), 1U);
    EXPECT_EQ(listing.leftOut.refused[0].path, refused);
    EXPECT_EQ(listing.leftOut.refused[0].reason, "it has no StudyInstanceUID");
}

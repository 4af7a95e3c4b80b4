#include "tests/support/MediumFiles.h"

#include <gtest/gtest.h>

#include "dcmtk/dcmdata/dcdicdir.h"
#include "dcmtk/dcmdata/dcdirrec.h"

using namespace radvex::test;

TEST(MediumFiles, RecordsComeBackInTheirTree) {
    const TemporaryFolder folder;
    const std::string path =
        writeMedium(folder, {patientRecord("P1", "Doe^Jane",
                                           {studyRecord("1.2", {seriesRecord("1.2.3", "CT", {imageRecord("D\\I1", 7)}),
                                                                seriesRecord("1.2.4", "MR", {})})}),
                             patientRecord("P2", "", {})});
    DcmDicomDir medium(path.c_str());
    ASSERT_TRUE(medium.error().good());
    DcmDirectoryRecord& root = medium.getRootRecord();
    ASSERT_EQ(root.cardSub(), 2U);
    EXPECT_EQ(textOf(*root.getSub(1), DCM_PatientID), "P2");
    DcmDirectoryRecord* study = root.getSub(0)->getSub(0);
    ASSERT_EQ(study->cardSub(), 2U);
    EXPECT_EQ(textOf(*study->getSub(1), DCM_Modality), "MR");
    DcmDirectoryRecord* image = study->getSub(0)->getSub(0);
    EXPECT_EQ(image->getRecordType(), ERT_Image);
    EXPECT_EQ(textOf(*image, DCM_ReferencedFileID), "D\\I1");
    EXPECT_EQ(textOf(*image, DCM_InstanceNumber), "7");
}

TEST(MediumFiles, ARecordOfAnyTypeMayStandAnywhereAndLackItsKeys) {
    const TemporaryFolder folder;
    const auto withoutId = without({DCM_PatientID});
    const std::string path = writeMedium(
        folder, {{"IMAGE", {}, {patientRecord("P", "N", {{"", {}, {}}}, withoutId)}}, {"NOTHING KNOWN", {}, {}}});
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    DcmSequenceOfItems* records = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).good());
    ASSERT_EQ(records->card(), 4U);
    EXPECT_EQ(textOf(*records->getItem(0), DCM_DirectoryRecordType), "IMAGE");
    EXPECT_EQ(textOf(*records->getItem(1), DCM_DirectoryRecordType), "PATIENT");
    EXPECT_EQ(textOf(*records->getItem(1), DCM_PatientID), "(none)");
    EXPECT_EQ(textOf(*records->getItem(2), DCM_DirectoryRecordType), "(none)");
    EXPECT_EQ(textOf(*records->getItem(3), DCM_DirectoryRecordType), "NOTHING KNOWN");
}

TEST(MediumFiles, FileIdsNameFilesBelowTheFolder) {
    const TemporaryFolder folder;
    EXPECT_EQ(mediumPath(folder, "A\\B\\C"), folder.file("A/B/C"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.file("A/B")));
}

// The host of examples/, which knows nothing but the two headers.

#include <gtest/gtest.h>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;

TEST(SmallHost, ReadsMetadataAndAPictureAndShowsErrorsInFull) {
    const TemporaryFolder folder;
    ImageFile image{.rows = 2, .columns = 3, .bitsAllocated = 8, .bitsStored = 8, .words = {1, 2, 3}};
    image.more = [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_PatientName, "Doe^Jane");
        dataset.putAndInsertString(DCM_Modality, "OT");
    };
    const std::string path = writeImageFile(folder.file("a.dcm"), image);
    const ProcessResult result = runProcess({SMALL_HOST, RADVEX_LIBRARY, path});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, "91 errors, the last one -50 DLInvalidNodeType\n"
                             "PatientName: Doe^Jane\n"
                             "Modality: OT\n"
                             "picture: 3 x 2, 1 channel(s), type 1\n"
                             "-62 OpenFileError: Error when opening file /no such file: No such file or directory.\n");
}

TEST(SmallHost, SaysWhatIsWrongWithAFile) {
    const TemporaryFolder folder;
    const std::string path = folder.write("text.dcm", "no DICOM at all, but long enough to look for some");
    const ProcessResult result = runProcess({SMALL_HOST, RADVEX_LIBRARY, path});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("-62 OpenFileError: Error when opening file " + path + ": "), std::string::npos)
        << result.output;
}

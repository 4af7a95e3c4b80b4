#include <gtest/gtest.h>

#include "DicomFiles.h"
#include "HostTest.h"
#include "TemporaryFolder.h"

using namespace radvex::test;

class Counts : public LibraryTest {
  protected:
    TemporaryFolder folder{};
};

TEST_F(Counts, FrameCountIsNumberOfFrames) {
    const auto path = writeDicom(folder.file("a.dcm"), [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_NumberOfFrames, "15");
    });
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 15);
}

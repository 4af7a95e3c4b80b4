#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostTest.h"
#include "ImageFiles.h"
#include "Nodes.h"
#include "TemporaryFolder.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmjpeg/djencode.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Compressed files whose attributes claim more than their fragments hold.
class DecodedSizes : public LibraryTest {
  protected:
    void SetUp() override {
        DJEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        LibraryTest::SetUp();
    }
    void TearDown() override {
        LibraryTest::TearDown();
        DJEncoderRegistration::cleanup();
        DcmRLEEncoderRegistration::cleanup();
    }

    /// Two frames of 8 x 8 pixels of 12 bits, and `claim` on top of them once they are encoded.
    std::string write(E_TransferSyntax syntax, const Fill& claim) {
        return writeImageFile(folder.file("a.dcm"),
                              {.rows = 8,
                               .columns = 8,
                               .bitsStored = 12,
                               .frames = "2",
                               .more =
                                   [&](DcmDataset& dataset) {
                                       const std::vector<Uint16> words(128, 0x0234);
                                       dataset.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
                                       EXPECT_TRUE(dataset.chooseRepresentation(syntax, nullptr).good());
                                       claim(dataset);
                                   }},
                              syntax);
    }

    std::string readImageError(const std::string& path) { return messageOf("ReadIntermediatePixelData", {path, 1, 0}); }

    TemporaryFolder folder{};
};

/// One bit a pixel makes it 256 MiB; the decoders make two bytes of each, which is 128 KiB more than 4 GiB.
void claimBits(DcmDataset& dataset) {
    dataset.putAndInsertUint16(DCM_Rows, 32768);
    dataset.putAndInsertUint16(DCM_Columns, 32769);
    dataset.putAndInsertUint16(DCM_BitsAllocated, 1);
}

} // namespace

TEST_F(DecodedSizes, PixelsThatAreWhatTheyClaimAreRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess2_4, EXS_JPEGProcess14SV1, EXS_RLELossless}) {
        const std::string path = write(syntax, [](DcmDataset&) {});
        call("ClearCache");
        EXPECT_EQ(readImageError(path), "") << DcmXfer(syntax).getXferName();
    }
}

// DCMTK counts all frames in 32 bits, and wrote the second one two gigabytes behind a buffer of 128 KiB.
TEST_F(DecodedSizes, AreCountedInWhatTheDecoderMakesAndTheRestOfTheFileIsRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess2_4, EXS_JPEGProcess14SV1}) {
        SCOPED_TRACE(DcmXfer(syntax).getXferName());
        const std::string path = write(syntax, claimBits);
        call("ClearCache");
        EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
        EXPECT_EQ(keysOf(call("ReadMetadata", {path, Store::ofTexts({"Rows"}), true}).get<Store>().view()),
                  std::vector<std::string>{"Rows"});
        EXPECT_NE(readImageError(path), "");
    }
}

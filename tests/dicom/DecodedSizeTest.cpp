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

    /// Two frames of 8 x 8 pixels of 8 bits, and `claim` on top of them once they are encoded.
    std::string write(E_TransferSyntax syntax, const Fill& claim) {
        return writeImageFile(folder.file("a.dcm"),
                              {.rows = 8,
                               .columns = 8,
                               .bitsAllocated = 8,
                               .bitsStored = 8,
                               .frames = "2",
                               .more =
                                   [&](DcmDataset& dataset) {
                                       putPixels(dataset);
                                       EXPECT_TRUE(dataset.chooseRepresentation(syntax, nullptr).good());
                                       claim(dataset);
                                   }},
                              syntax);
    }

    static void putPixels(DcmItem& item) {
        const std::vector<Uint16> words(64, 0x1234);
        EXPECT_TRUE(item.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size()).good());
    }

    std::string readImageError(const std::string& path) { return messageOf("ReadIntermediatePixelData", {path, 1, 0}); }

    TemporaryFolder folder{};
};

void claim(DcmItem& item, Uint16 rows, Uint16 columns, Uint16 samples) {
    item.putAndInsertUint16(DCM_Rows, rows);
    item.putAndInsertUint16(DCM_Columns, columns);
    item.putAndInsertUint16(DCM_SamplesPerPixel, samples);
}

} // namespace

TEST_F(DecodedSizes, PixelsThatAreWhatTheyClaimAreRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess1, EXS_JPEGProcess14SV1, EXS_RLELossless}) {
        const std::string path = write(syntax, [](DcmDataset&) {});
        call("ClearCache");
        EXPECT_EQ(readImageError(path), "") << DcmXfer(syntax).getXferName();
    }
}

// DCMTK counts all frames in 32 bits and writes the second one behind its buffer.
TEST_F(DecodedSizes, MoreThanFourGiBAreNotDecodedAndTheRestOfTheFileIsRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess1, EXS_JPEGProcess14SV1, EXS_RLELossless}) {
        SCOPED_TRACE(DcmXfer(syntax).getXferName());
        const std::string path = write(syntax, [](DcmDataset& dataset) { claim(dataset, 65535, 8, 51130); });
        call("ClearCache");
        EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
        EXPECT_EQ(keysOf(call("ReadMetadata", {path, Store::ofTexts({"Rows"}), true}).get<Store>().view()),
                  std::vector<std::string>{"Rows"});
        EXPECT_NE(readImageError(path), "");
    }
}

TEST_F(DecodedSizes, AFewBytesDoNotTakeTheMachinesMemory) {
    const std::string path = write(EXS_JPEGProcess1, [](DcmDataset& dataset) { claim(dataset, 30000, 30000, 1); });
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
    EXPECT_NE(readImageError(path), "");
}

// DCMTK decodes the pixels of every item.
TEST_F(DecodedSizes, AnIconCountsToo) {
    const std::string path = write(EXS_JPEGProcess1, [](DcmDataset& dataset) {
        DcmItem* icon = nullptr;
        ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_IconImageSequence, icon, -2).good());
        DcmElement* pixels = nullptr;
        ASSERT_TRUE(dataset.findAndGetElement(DCM_PixelData, pixels, OFFalse, OFTrue).good());
        ASSERT_TRUE(icon->insert(pixels).good());
        for (const DcmTagKey& key : {DCM_BitsAllocated, DCM_BitsStored}) {
            icon->putAndInsertUint16(key, 8);
        }
        icon->putAndInsertUint16(DCM_HighBit, 7);
        icon->putAndInsertUint16(DCM_PixelRepresentation, 0);
        icon->putAndInsertString(DCM_NumberOfFrames, "2");
        icon->putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
        claim(*icon, 65535, 8, 51130);
    });
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
}

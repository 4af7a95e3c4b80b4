#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "DicomFiles.h"
#include "HostTest.h"
#include "ImageFiles.h"
#include "TemporaryFolder.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrploss.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Most memory that the process ever had, in MiB.
double peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1024.0;
        }
    }
    return 0;
}

/// Pixel Data of one fragment in place of what the item has.
void putFragment(DcmItem& item, std::vector<Uint8> bytes) {
    auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
    sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));
    auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
    fragment->putUint8Array(bytes.data(), bytes.size());
    sequence->insert(fragment.release());
    auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
    pixels->putOriginalRepresentation(EXS_RLELossless, nullptr, sequence.release());
    item.insert(pixels.release(), OFTrue);
}

/// An RLE frame of one segment that holds next to nothing (PS3.5 annex G).
std::vector<Uint8> shortFrame() {
    std::vector<Uint8> bytes(500, 0);
    bytes[0] = 1;  // segments
    bytes[4] = 64; // where the first one starts
    return bytes;
}

/// One frame of three gigabytes, or one of twelve pixels.
void putShape(DcmItem& item, bool isHuge) {
    item.putAndInsertUint16(DCM_Rows, isHuge ? 50000 : 3);
    item.putAndInsertUint16(DCM_Columns, isHuge ? 60000 : 4);
    item.putAndInsertUint16(DCM_SamplesPerPixel, 1);
    item.putAndInsertUint16(DCM_BitsAllocated, 8);
    item.putAndInsertUint16(DCM_BitsStored, 8);
    item.putAndInsertUint16(DCM_HighBit, 7);
    item.putAndInsertUint16(DCM_PixelRepresentation, 0);
    item.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2");
}

constexpr double kAllowedMiB = 600;

class PromisedPixels : public LibraryTest {
  protected:
    TemporaryFolder folder{};
};

} // namespace

TEST_F(PromisedPixels, CompressedPixelsOfFewBytesThatPromiseGigabytesStayCompressed) {
    const auto path = writeDicom(
        folder.file("a.dcm"),
        [](DcmDataset& dataset) {
            putShape(dataset, true);
            putFragment(dataset, shortFrame());
        },
        EXS_RLELossless);
    const double before = peakMemory();
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
    const Tensor scaling(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
    EXPECT_NE(codeOf("ReadImage", {path, 0, 0, scaling, false, 1}), 0);
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

TEST_F(PromisedPixels, SoDoThoseOfAnIcon) {
    const auto path = writeDicom(
        folder.file("a.dcm"),
        [](DcmDataset& dataset) {
            putShape(dataset, false);
            putFragment(dataset, shortFrame());
            DcmItem* icon = nullptr;
            dataset.findOrCreateSequenceItem(DCM_IconImageSequence, icon, 0);
            putShape(*icon, true);
            putFragment(*icon, shortFrame());
        },
        EXS_RLELossless);
    const double before = peakMemory();
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

TEST_F(PromisedPixels, AJpegFrameThatIsLargerThanTheImageIsNotDecoded) {
    DJEncoderRegistration::registerCodecs();
    ImageFile image{.rows = 16, .columns = 16, .bitsAllocated = 8, .bitsStored = 8};
    image.words.resize(128, 0x1234);
    const auto path = writeImageFile(folder.file("a.dcm"), image);
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    const DJ_RPLossy quality(90);
    ASSERT_TRUE(file.getDataset()->chooseRepresentation(EXS_JPEGProcess10_12, &quality).good());
    ASSERT_TRUE(file.saveFile(path.c_str(), EXS_JPEGProcess10_12).good());
    DJEncoderRegistration::cleanup();
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    call("ClearCache");

    std::string bytes = readFile(path);
    const std::size_t header = bytes.find("\xFF\xC2"); // of a progressive frame
    ASSERT_NE(header, std::string::npos);
    bytes.replace(header + 5, 4, "\xFF\x00\xFF\x00", 4);
    const auto larger = folder.write("b.dcm", bytes);
    const double before = peakMemory();
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {larger, 1, 0}), 0);
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {larger, 0x400, 0}), 0);
    EXPECT_EQ(call("GetFrameCount", {larger}).get<vint>(), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

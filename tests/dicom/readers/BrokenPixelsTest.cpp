#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"
#include "tests/support/ImageFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// An RLE frame (PS3.5 annex G) of two segments, whose second one starts at the given place.
std::vector<Uint8> rleFrame(std::uint32_t secondSegment) {
    std::vector<Uint8> bytes(64, 0);
    bytes[0] = 2;
    bytes[4] = 64;
    for (std::size_t byte = 0; byte < 4; ++byte) {
        bytes[8 + byte] = static_cast<Uint8>(secondSegment >> (8 * byte));
    }
    for (int segment = 0; segment < 2; ++segment) {
        bytes.insert(bytes.end(), {11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0}); // 12 bytes as they are
    }
    return bytes;
}

class BrokenPixels : public LibraryTest {
  protected:
    /// An image of 3 x 4 words in two frames.
    std::string writeRle(const std::vector<std::vector<Uint8>>& frames) {
        auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
        sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));
        for (const std::vector<Uint8>& frame : frames) {
            auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
            EXPECT_TRUE(fragment->putUint8Array(frame.data(), frame.size()).good());
            sequence->insert(fragment.release());
        }
        auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
        pixels->putOriginalRepresentation(EXS_RLELossless, nullptr, sequence.release());
        ImageFile image{.rows = 3, .columns = 4, .frames = std::to_string(frames.size())};
        image.more = [&](DcmDataset& dataset) { dataset.insert(pixels.release(), OFTrue); };
        return writeImageFile(folder.file("rle.dcm"), image, EXS_RLELossless);
    }

    TemporaryFolder folder{};
};

} // namespace

// DCMTK's decoder of single frames trusts the places of the segments.
TEST_F(BrokenPixels, ASegmentOutsideItsRleFrameIsNotReadFrameByFrame) {
    const Tensor scaling(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
    const auto good = writeRle({rleFrame(78), rleFrame(78)});
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {good, 0x400, 0}), 0);
    for (const std::uint32_t place : {0x7FFFFFF0U, 0xFFFFFFFFU, 0x80000000U, 0x10000U, 93U}) {
        const auto path = writeRle({rleFrame(78), rleFrame(place)});
        call("CloseReader", {path});
        for (const vint flags : {0x400, 0x401, 1}) {
            EXPECT_NE(codeOf("ReadIntermediatePixelData", {path, flags, 0}), 0) << place << ' ' << flags;
            EXPECT_NE(codeOf("ReadImageData", {path, 0, 0, scaling, false, flags}), 0) << place << ' ' << flags;
            (void)codeOf("ReadImage", {path, 1, 1, scaling, false, flags});
        }
    }
}

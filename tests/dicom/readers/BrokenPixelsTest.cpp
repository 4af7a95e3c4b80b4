#include <malloc.h>

#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// An RLE frame (PS3.5 annex G) of two segments, whose second one starts at the given offset.
std::string rleFrame(std::uint32_t secondSegment) {
    std::string bytes(64, '\0');
    bytes[0] = 2;
    bytes[4] = 64;
    for (std::size_t byte = 0; byte < 4; ++byte) {
        bytes[8 + byte] = static_cast<char>(secondSegment >> (8 * byte));
    }
    const std::string segment("\x0B\1\2\3\4\5\6\7\x08\x09\x0A\x0B\x0C\0", 14); // 12 bytes as they are
    return bytes + segment + segment;
}

class BrokenPixels : public LibraryTest {
  protected:
    /// An image of 3 x 4 words in these frames.
    std::string writeRle(const std::vector<std::string>& frames) {
        ImageFile image{.rows = 3, .columns = 4, .frames = std::to_string(frames.size())};
        image.more = [&](DcmDataset& dataset) { putFragments(dataset, EXS_RLELossless, frames); };
        return writeImageFile(folder.file("rle.dcm"), image, EXS_RLELossless);
    }
};

} // namespace

// DCMTK's decoder of single frames trusts the offsets of the segments.
TEST_F(BrokenPixels, ASegmentOutsideItsRleFrameIsNotReadFrameByFrame) {
    const auto good = writeRle({rleFrame(78), rleFrame(78)});
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {good, 0x400, 0}), 0);
    for (const std::uint32_t offset : {0x7FFFFFF0U, 0xFFFFFFFFU, 0x80000000U, 0x10000U, 93U}) {
        const auto path = writeRle({rleFrame(78), rleFrame(offset)});
        call("CloseReader", {path});
        for (const vint flags : {0x400, 0x401, 1}) {
            EXPECT_NE(codeOf("ReadIntermediatePixelData", {path, flags, 0}), 0) << offset << ' ' << flags;
            EXPECT_NE(codeOf("ReadImageData", {path, 0, 0, scaling(), false, flags}), 0) << offset << ' ' << flags;
            (void)codeOf("ReadImage", {path, 1, 1, scaling(), false, flags});
        }
    }
}

TEST_F(BrokenPixels, AnRleSegmentThatIsShortLeavesZeros) {
    mallopt(M_PERTURB, 0x5A); // so that new memory holds something else
    std::string frame(64, '\0');
    frame[0] = 1;
    frame[4] = 64;
    frame += std::string("\x02\1\2\3", 4); // 3 bytes of 12
    ImageFile image{.rows = 3, .columns = 4, .bitsAllocated = 8, .bitsStored = 8};
    image.more = [&](DcmDataset& dataset) { putFragments(dataset, EXS_RLELossless, {frame}); };
    const auto path = writeImageFile(folder.file("rle.dcm"), image, EXS_RLELossless);
    const Value array = call("ReadIntermediatePixelData", {path, 1, 0});
    mallopt(M_PERTURB, 0);
    EXPECT_EQ(elementsOf<std::uint8_t>(array.get<NumericArray>()),
              (std::vector<std::uint8_t>{1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

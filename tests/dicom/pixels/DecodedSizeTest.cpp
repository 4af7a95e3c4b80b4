#include <functional>

#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

constexpr Uint16 kHugeRows = 32768;
constexpr Uint16 kHugeColumns = 32769;

/// Compressed files whose decoded pixels take more than 32 bits count.
class DecodedSizes : public LibraryTest {
  protected:
    void SetUp() override {
        DJEncoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
        LibraryTest::SetUp();
    }
    void TearDown() override {
        LibraryTest::TearDown();
        DJEncoderRegistration::cleanup();
        DJLSEncoderRegistration::cleanup();
    }

    /// Frames of one grey of 12 bits, and what `claim` makes of them once they are encoded.
    std::string write(E_TransferSyntax syntax, Uint16 rows, Uint16 columns, int frames, const Fill& claim) {
        const auto encode = [&](DcmDataset& dataset) {
            const std::vector<Uint16> words(static_cast<std::size_t>(rows) * columns * static_cast<std::size_t>(frames),
                                            0x0234);
            dataset.putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
            ASSERT_TRUE(dataset.chooseRepresentation(syntax, nullptr).good());
            claim(dataset);
        };
        return writeImageFile(
            folder.file("a.dcm"),
            {.rows = rows, .columns = columns, .bitsStored = 12, .frames = std::to_string(frames), .more = encode},
            syntax);
    }

    void expectItOpensWithoutItsPixels(const std::string& path, int frames) {
        EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), frames);
        EXPECT_EQ(keysOf(call("ReadMetadata", {path, Store::ofTexts({"Rows"}), true}).get<Store>().view()),
                  std::vector<std::string>{"Rows"});
        EXPECT_NE(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    }
};

/// A file that claims one bit a pixel passes the checks of size; decoders make two bytes of each pixel.
void claimBits(DcmDataset& dataset) {
    dataset.putAndInsertUint16(DCM_Rows, kHugeRows);
    dataset.putAndInsertUint16(DCM_Columns, kHugeColumns);
    dataset.putAndInsertUint16(DCM_BitsAllocated, 1);
}

DcmPixelSequence& fragmentsOf(DcmDataset& dataset, E_TransferSyntax syntax) {
    DcmElement* element = nullptr;
    DcmPixelSequence* fragments = nullptr;
    EXPECT_TRUE(dataset.findAndGetElement(DCM_PixelData, element).good());
    EXPECT_TRUE(dynamic_cast<DcmPixelData&>(*element).getEncapsulatedRepresentation(syntax, nullptr, fragments).good());
    return *fragments;
}

/// Gives every compressed stream other bytes.
void changeStreams(DcmDataset& dataset, E_TransferSyntax syntax, const std::function<void(std::string&)>& change) {
    DcmPixelSequence& fragments = fragmentsOf(dataset, syntax);
    for (unsigned long index = 1; index < fragments.card(); ++index) {
        DcmPixelItem* fragment = nullptr;
        Uint8* bytes = nullptr;
        ASSERT_TRUE(fragments.getItem(fragment, index).good());
        ASSERT_TRUE(fragment->getUint8Array(bytes).good());
        std::string stream(reinterpret_cast<const char*>(bytes), fragment->getLength());
        change(stream);
        ASSERT_TRUE(fragment->putUint8Array(reinterpret_cast<const Uint8*>(stream.data()), stream.size()).good());
    }
}

/// Zeros behind the end of every stream: a file of some size may promise more.
void lengthenStreams(DcmDataset& dataset, E_TransferSyntax syntax) {
    constexpr std::size_t kFilling = 5'000'000;
    changeStreams(dataset, syntax, [](std::string& stream) { stream.resize(stream.size() + kFilling); });
}

/// Puts a number of rows into the frame header (ISO/IEC 14495-1 C.2.2) of every JPEG-LS stream.
void putRowsIntoStreams(DcmDataset& dataset, Uint16 rows) {
    changeStreams(dataset, EXS_JPEGLSLossless, [rows](std::string& stream) {
        const auto header = stream.find("\xFF\xF7");
        ASSERT_NE(header, std::string::npos);
        stream[header + 5] = static_cast<char>(rows >> 8);
        stream[header + 6] = static_cast<char>(rows & 0xFF);
    });
}

} // namespace

TEST_F(DecodedSizes, PixelsThatAreWhatTheyClaimAreRead) {
    for (const E_TransferSyntax syntax : {EXS_JPEGProcess14SV1, EXS_JPEGLSLossless}) {
        const std::string path = write(syntax, 16, 16, 2, [](DcmDataset&) {});
        call("ClearCache");
        EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0) << DcmXfer(syntax).getXferName();
    }
}

// 4 GiB and 128 KiB in 32 bits are 128 KiB, and the first frame goes on behind them.
TEST_F(DecodedSizes, JpegLsOfMoreThanFourGiBIsNotDecoded) {
    const std::string path = write(EXS_JPEGLSLossless, 16, kHugeColumns, 2, [](DcmDataset& dataset) {
        putRowsIntoStreams(dataset, kHugeRows);
        lengthenStreams(dataset, EXS_JPEGLSLossless);
        claimBits(dataset);
    });
    expectItOpensWithoutItsPixels(path, 2);
}

// 8 GiB and 256 KiB in words of 32 bits are 256 KiB; the second frame starts two gigabytes behind them.
TEST_F(DecodedSizes, JpegOfMoreThanEightGiBIsNotDecoded) {
    const std::string path = write(EXS_JPEGProcess14SV1, 8, 8, 4, [](DcmDataset& dataset) {
        claimBits(dataset);
        lengthenStreams(dataset, EXS_JPEGProcess14SV1);
    });
    expectItOpensWithoutItsPixels(path, 4);
}

#include "deidentify/pixels/Masking.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "tests/deidentify/PixelPictures.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::deidentify;
using namespace radvex::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// In the command the library unregisters the codecs when it ends.
class Codecs : public ::testing::Environment {
  public:
    void TearDown() override {
        DJEncoderRegistration::cleanup();
        DJLSEncoderRegistration::cleanup();
        DcmRLEEncoderRegistration::cleanup();
        DJDecoderRegistration::cleanup();
        DJLSDecoderRegistration::cleanup();
        DcmRLEDecoderRegistration::cleanup();
    }
};

const ::testing::Environment* const kCodecs = ::testing::AddGlobalTestEnvironment(new Codecs);

const std::string kRectangle = R"("rectangles": [[2, 1, 5, 3]])";
bool isInside(int row, int column) { return column >= 2 && column < 7 && row >= 1 && row < 4; }

/// A compressed file that DCMTK's programs made, and what other programs make of it after it was masked.
class CompressedMask : public testing::Test {
  protected:
    /// Runs a program that reads one file and writes another.
    std::string run(Words command, const std::string& input) {
        const std::string output = folder.file("step" + std::to_string(++mSteps) + ".dcm");
        command.push_back(input);
        command.push_back(output);
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 0) << command.front() << ": " << result.errors;
        return output;
    }

    std::string write(const Picture& picture, const std::vector<Uint8>& bytes, const Fill& more = {}) {
        DcmFileFormat file;
        fillPicture(file, picture, bytes);
        file.getDataset()->putAndInsertString(DCM_DerivationDescription, "as it was");
        if (more) {
            more(*file.getDataset());
        }
        const std::string path = folder.file("raw.dcm");
        EXPECT_TRUE(file.saveFile(path.c_str(), EXS_LittleEndianExplicit).good());
        return path;
    }

    /// Masks a file and writes the result as its meta information says. Gives the path.
    std::string masked(const std::string& path, const std::string& rule = kRectangle) {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        EXPECT_TRUE(file.loadAllDataIntoMemory().good());
        EXPECT_TRUE(mask(file, rulesOf(rule)));
        OFString uid;
        file.getMetaInfo()->findAndGetOFString(DCM_TransferSyntaxUID, uid);
        const E_TransferSyntax syntax = DcmXfer(uid.c_str()).getXfer();
        EXPECT_EQ(file.getDataset()->getOriginalXfer(), syntax) << "what is written follows it";
        const std::string output = folder.file("masked.dcm");
        EXPECT_TRUE(file.saveFile(output.c_str(), syntax).good());
        return output;
    }

    /// The raw pixels of a file, which another program decodes.
    std::vector<Uint8> decoded(const Words& decoder, const std::string& path) {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(run(decoder, path).c_str()).good());
        return pixelBytes(*file.getDataset());
    }

    std::string text(const std::string& path, const DcmTagKey& key) {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        return textOf(*file.getDataset(), key);
    }

    std::string syntaxOf(const std::string& path) {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        return DcmXfer(file.getDataset()->getOriginalXfer()).getXferID();
    }

    TemporaryFolder folder;

  private:
    int mSteps = 0;
};

/// Sets the bytes of every pixel in the rectangle. @param size  of a pixel in bytes
std::vector<Uint8> blanked(std::vector<Uint8> bytes, const Picture& picture, std::size_t size,
                           const std::vector<Uint8>& pixel) {
    for (int line = 0; line < picture.frames * picture.rows; ++line) {
        for (int column = 0; column < picture.columns; ++column) {
            const auto at = static_cast<std::size_t>(line * picture.columns + column) * size;
            if (isInside(line % picture.rows, column)) {
                std::copy(pixel.begin(), pixel.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
            }
        }
    }
    return bytes;
}

/// Samples of 12 bits in words of 16.
std::vector<Uint8> twelveBits(std::size_t count) {
    std::vector<Uint8> bytes;
    for (std::size_t at = 0; at < count; ++at) {
        const std::size_t value = at * 61 % 4096;
        bytes.push_back(static_cast<Uint8>(value & 0xFF));
        bytes.push_back(static_cast<Uint8>(value >> 8));
    }
    return bytes;
}

const Picture kGrey{.rows = 6, .columns = 9, .frames = 3};
const Picture kWords{.rows = 6, .columns = 9, .frames = 2, .allocated = 16, .stored = 12, .high = 11};
const Picture kColour{.rows = 6, .columns = 10, .frames = 2, .samples = 3, .planar = 0, .model = "RGB"};
const Words kGdcm{"gdcmconv", "--raw"};

} // namespace

TEST_F(CompressedMask, LosslessSyntaxesStayAndOtherPixelsAreExact) {
    const std::pair<Words, Words> codings[] = {{{"dcmcjpeg", "+e1"}, {"dcmdjpeg"}},
                                               {{"dcmcjpeg", "+el"}, {"dcmdjpeg"}},
                                               {{"dcmcjpls", "+el"}, {"dcmdjpls"}},
                                               {{"dcmcrle"}, {"dcmdrle"}}};
    for (const auto& [encoder, decoder] : codings) {
        const std::string grey = run(encoder, write(kGrey, spelledBytes(162)));
        const std::string maskedGrey = masked(grey);
        EXPECT_EQ(syntaxOf(maskedGrey), syntaxOf(grey));
        EXPECT_EQ(decoded(decoder, maskedGrey), blanked(spelledBytes(162), kGrey, 1, {0})) << encoder.front();
        EXPECT_EQ(decoded(kGdcm, maskedGrey), blanked(spelledBytes(162), kGrey, 1, {0})) << encoder.front();

        const std::string words = masked(run(encoder, write(kWords, twelveBits(108))));
        EXPECT_EQ(decoded(decoder, words), blanked(twelveBits(108), kWords, 2, {0, 0})) << encoder.front();
    }
}

TEST_F(CompressedMask, ColoursStayExactByPixelAndByPlane) {
    // Red, green and blue of a pixel differ from each other and from those of its neighbours.
    const auto pixels = spelledBytes(360);
    std::vector<Uint8> planes;
    for (std::size_t frame = 0; frame < 2; ++frame) {
        for (std::size_t sample = 0; sample < 3; ++sample) {
            for (std::size_t pixel = 0; pixel < 60; ++pixel) {
                planes.push_back(pixels[frame * 180 + pixel * 3 + sample]);
            }
        }
    }
    Picture byPlane = kColour;
    byPlane.planar = 1;
    const auto wanted = blanked(pixels, kColour, 3, {0, 0, 0});
    for (const Words& encoder : {Words{"dcmcjpls", "+el"}, Words{"dcmcjpeg", "+e1"}}) {
        const std::string path = masked(run(encoder, write(kColour, pixels)));
        EXPECT_EQ(text(path, DCM_PhotometricInterpretation), "RGB");
        EXPECT_EQ(decoded(kGdcm, path), wanted) << encoder.front();
    }
    const std::string path = masked(run({"dcmcrle"}, write(byPlane, planes)));
    const std::string raw = run({"dcmdrle"}, path);
    const bool isByPlane = text(raw, DCM_PlanarConfiguration) == "1";
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(raw.c_str()).good());
    std::vector<Uint8> result = pixelBytes(*file.getDataset());
    ASSERT_EQ(result.size(), 360U);
    for (std::size_t frame = 0; frame < 2; ++frame) {
        for (std::size_t place = 0; place < 180; ++place) {
            const std::size_t at = isByPlane ? place / 3 + place % 3 * 60 : place;
            ASSERT_EQ(result[frame * 180 + at], wanted[frame * 180 + place]) << frame << ' ' << place;
        }
    }
}

TEST_F(CompressedMask, LossyPixelsKeepWhatTheyWereDecodedTo) {
    const std::string grey = run({"dcmcjpeg", "+eb"}, write(kGrey, spelledBytes(162)));
    const std::string maskedGrey = masked(grey);
    EXPECT_EQ(syntaxOf(maskedGrey), UID_JPEGProcess14SV1TransferSyntax);
    EXPECT_EQ(decoded(kGdcm, maskedGrey), blanked(decoded({"dcmdjpeg"}, grey), kGrey, 1, {0}));
    EXPECT_EQ(text(maskedGrey, DCM_LossyImageCompression), "01");
    EXPECT_EQ(text(maskedGrey, DCM_LossyImageCompressionRatio), text(grey, DCM_LossyImageCompressionRatio));
    EXPECT_EQ(text(maskedGrey, DCM_DerivationDescription), text(grey, DCM_DerivationDescription));
    EXPECT_EQ(text(maskedGrey, DCM_SOPInstanceUID), text(grey, DCM_SOPInstanceUID));

    const std::string colour = run({"dcmcjpeg", "+eb"}, write(kColour, spelledBytes(360)));
    ASSERT_THAT(text(colour, DCM_PhotometricInterpretation), StartsWith("YBR"));
    const std::string maskedColour = masked(colour);
    EXPECT_EQ(text(maskedColour, DCM_PhotometricInterpretation), "RGB");
    EXPECT_EQ(text(maskedColour, DCM_PlanarConfiguration), "0");
    EXPECT_EQ(decoded(kGdcm, maskedColour), blanked(decoded({"dcmdjpeg"}, colour), kColour, 3, {0, 0, 0}));
}

TEST_F(CompressedMask, SignedPixelsBecomeTheirSmallestValue) {
    Picture picture = kWords;
    picture.isSigned = true;
    picture.stored = 16;
    picture.high = 15;
    for (const Words& encoder : {Words{"dcmcjpls", "+el"}, Words{"dcmcjpeg", "+e1"}, Words{"dcmcrle"}}) {
        const std::string path = masked(run(encoder, write(picture, spelledBytes(216))));
        EXPECT_EQ(decoded(kGdcm, path), blanked(spelledBytes(216), picture, 2, {0x00, 0x80})) << encoder.front();
    }
}

TEST_F(CompressedMask, LossThatWasNotSaidIsSaid) {
    const std::string lossy = run({"dcmcjpeg", "+eb"}, write(kGrey, spelledBytes(162)));
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(lossy.c_str()).good());
    delete file.getDataset()->remove(DCM_LossyImageCompression);
    ASSERT_TRUE(mask(file, rulesOf(kRectangle)));
    EXPECT_EQ(textOf(*file.getDataset(), DCM_LossyImageCompression), "01");
    const std::string lossless = run({"dcmcjpeg", "+e1"}, write(kGrey, spelledBytes(162)));
    const std::string path = masked(lossless);
    EXPECT_EQ(text(path, DCM_LossyImageCompression), "(none)");
    EXPECT_EQ(text(path, DCM_DerivationDescription), text(lossless, DCM_DerivationDescription));
}

TEST_F(CompressedMask, RefusesWhatItCannotDecode) {
    for (const E_TransferSyntax syntax :
         {EXS_JPEG2000LosslessOnly, EXS_JPEG2000, EXS_MPEG2MainProfileAtMainLevel, EXS_MPEG4HighProfileLevel4_1}) {
        DcmFileFormat file;
        fillPicture(file, kGrey, spelledBytes(162));
        putFragments(*file.getDataset(), syntax, {"abcd"});
        file.getDataset()->updateOriginalXfer();
        EXPECT_THAT(refusalOf(file, kRectangle), StartsWith("it cannot be masked, because pixels in "));
    }
}

TEST_F(CompressedMask, BrokenStreamsAreErrors) {
    for (const E_TransferSyntax syntax :
         {EXS_JPEGProcess1, EXS_JPEGProcess14SV1, EXS_JPEGLSLossless, EXS_RLELossless}) {
        for (const std::string& bytes : {std::string("abcd"), std::string(64, '\0'), std::string("\xFF\xD8\xFF\xD9")}) {
            DcmFileFormat file;
            fillPicture(file, kGrey, spelledBytes(162));
            putFragments(*file.getDataset(), syntax, {bytes});
            file.getDataset()->updateOriginalXfer();
            EXPECT_THAT(refusalOf(file, kRectangle), StartsWith("it cannot be masked, because ")) << syntax;
        }
    }
}

TEST_F(CompressedMask, FramesThatAreMissingAreAnError) {
    for (const Words& encoder : {Words{"dcmcjpls", "+el"}, Words{"dcmcjpeg", "+e1"}, Words{"dcmcrle"}}) {
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(run(encoder, write(kGrey, spelledBytes(162))).c_str()).good());
        file.getDataset()->putAndInsertString(DCM_NumberOfFrames, "4");
        EXPECT_THAT(refusalOf(file, kRectangle), StartsWith("it cannot be masked, because ")) << encoder.front();
    }
}

TEST_F(CompressedMask, FragmentsInARawTransferSyntaxAreAnError) {
    const std::string path = run({"dcmcrle"}, write(kGrey, spelledBytes(162)));
    std::string bytes = readFile(path);
    const std::string uid = UID_RLELosslessTransferSyntax;
    const std::size_t at = bytes.find(uid);
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, uid.size(), UID_LittleEndianExplicitTransferSyntax);
    DcmFileFormat file;
    if (file.loadFile(folder.write("lying.dcm", bytes).c_str()).good()) {
        EXPECT_THAT(refusalOf(file, kRectangle), StartsWith("it cannot be masked, because "));
    }
}

TEST_F(CompressedMask, FragmentsThatTheDatasetKnowsNothingOfAreAnError) {
    DcmFileFormat file;
    fillPicture(file, kGrey, spelledBytes(162));
    putFragments(*file.getDataset(), EXS_RLELossless, {std::string(64, '\0')});
    EXPECT_THAT(refusalOf(file, kRectangle), HasSubstr("not compressed as it says"));
}

TEST_F(CompressedMask, AFewBytesClaimNoMemory) {
    for (const auto& [size, frames] : {std::pair(65535, 1), std::pair(65535, 2147483647), std::pair(20000, 1)}) {
        DcmFileFormat file;
        Picture picture = kGrey;
        fillPicture(file, picture, spelledBytes(162));
        DcmDataset& dataset = *file.getDataset();
        dataset.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(size));
        dataset.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(size));
        dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str());
        putFragments(dataset, EXS_RLELossless, {std::string(64, '\0')});
        dataset.updateOriginalXfer();
        EXPECT_THAT(refusalOf(file, kRectangle),
                    testing::AnyOf(HasSubstr("too few for its size"), HasSubstr("more than 4 GiB")));
    }
}

#include "dicom/pixels/TabledPicture.h"

#include <fstream>
#include <map>
#include <random>

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dcrlerp.h"
#include "dcmtk/dcmimage/diregist.h" // colour in this program too
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrplol.h"
#include "dcmtk/dcmjpls/djdecode.h"
#include "dcmtk/dcmjpls/djencode.h"
#include "dcmtk/dcmjpls/djrparam.h"
#include "dcmtk/oflog/oflog.h"
#include "dicom/pixels/ImageRendering.h"
#include "dicom/readers/DcmFileReader.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/PictureComparison.h"

using namespace radvex;
using namespace radvex::test;

namespace {

constexpr int kRows = 200;
constexpr int kColumns = 180; // 36,000 pixels

/// A smooth picture of 12 bits: about 1,200 values.
std::vector<Uint16> smoothWords(int frames = 1) {
    std::vector<Uint16> words;
    for (int frame = 0; frame < frames; ++frame) {
        for (int row = 0; row < kRows; ++row) {
            for (int column = 0; column < kColumns; ++column) {
                words.push_back(static_cast<Uint16>(100 + 50 * frame + 3 * row + 3 * column));
            }
        }
    }
    return words;
}

ImageFile smoothFile() { return {.rows = kRows, .columns = kColumns, .bitsStored = 12, .words = smoothWords()}; }

void fill(DcmDataset& dataset, const ImageFile& file) {
    const TemporaryFolder folder;
    DcmFileFormat loaded;
    ASSERT_TRUE(loaded.loadFile(writeImageFile(folder.file("a.dcm"), file).c_str()).good());
    ASSERT_TRUE(loaded.loadAllDataIntoMemory().good());
    dataset = *loaded.getDataset();
}

/// Why a file is not rendered by table; empty when it is.
std::string reasonFor(const ImageFile& file, const TabledPicture::Request& request = {}) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmDataset dataset;
    fill(dataset, file);
    auto [picture, reason] = TabledPicture::tryToOpen(dataset, request);
    EXPECT_EQ(picture == nullptr, !reason.empty());
    return reason;
}

std::vector<Uint16> noise(int least, int most) {
    std::mt19937 random(1);
    std::vector<Uint16> words(std::size_t{kRows} * kColumns);
    for (Uint16& word : words) {
        word = static_cast<Uint16>(std::uniform_int_distribution<int>(least, most)(random));
    }
    return words;
}

ImageFile with(ImageFile file, const std::function<void(ImageFile&)>& change) {
    change(file);
    return file;
}

ImageFile rescaled(const std::string& slope, const std::string& intercept) {
    ImageFile file = smoothFile();
    file.slope = slope;
    file.intercept = intercept;
    return file;
}

} // namespace

TEST(TabledPicture, IsUsedWhereItPays) {
    EXPECT_EQ(reasonFor(smoothFile()), "");
    EXPECT_EQ(reasonFor({.rows = 128, .columns = 256, .words = std::vector<Uint16>(32768)}), "");
    EXPECT_EQ(reasonFor({.rows = 128, .columns = 255, .words = std::vector<Uint16>(32640)}), "it has few pixels");
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.words = noise(0, 4095); })), "");
    EXPECT_EQ(reasonFor(with(smoothFile(),
                             [](ImageFile& file) {
                                 file.bitsStored = 16;
                                 file.words = noise(0, 65535);
                             })),
              "it has few pixels for each stored value");
}

TEST(TabledPicture, NeedsGreyOrRgbOrAPalette) {
    const ImageFile rgb{.rows = kRows,
                        .columns = kColumns,
                        .samples = 3,
                        .bitsAllocated = 8,
                        .bitsStored = 8,
                        .photometric = "RGB",
                        .planarConfiguration = 0,
                        .words = std::vector<Uint16>(std::size_t{kRows} * kColumns * 3 / 2)};
    const auto byPlane = with(rgb, [](ImageFile& file) { file.planarConfiguration = 1; });
    EXPECT_EQ(reasonFor(rgb), "");
    EXPECT_EQ(reasonFor(byPlane), "");
    EXPECT_EQ(reasonFor(byPlane, {.isByPixel = true}), "its colours lie in another order than they are asked for");
    EXPECT_EQ(reasonFor(rgb, {.isByPixel = true}), "");
    EXPECT_EQ(reasonFor(rgb, {.use = TabledPicture::Use::values}), "it is not grey, and values are asked for");
    EXPECT_EQ(reasonFor(with(rgb, [](ImageFile& file) { file.photometric = "YBR_FULL"; })),
              "it is neither grey, nor RGB of 8 bits, nor of a palette");
    EXPECT_EQ(reasonFor(rgb, {.flags = CIF_UsePresentationState}), "its colours are taken for grey");
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.photometric = "MONOCHROME1"; })), "");
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.photometric = "PALETTE COLOR"; })),
              "DCMTK does not open a small picture with its attributes")
        << "a palette that is not there";
}

TEST(TabledPicture, NeedsAllItsPixels) {
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.words.pop_back(); })),
              "its pixels are not all there");
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.words.push_back(7); })), "");
    EXPECT_EQ(reasonFor(with(smoothFile(), [](ImageFile& file) { file.rows = 0; })), "it has no size");
    const ImageFile wide{.rows = kRows,
                         .columns = kColumns,
                         .bitsAllocated = 32,
                         .bitsStored = 32,
                         .words = std::vector<Uint16>(std::size_t{kRows} * kColumns * 2)};
    EXPECT_EQ(reasonFor(wide), "its samples are not stored in 8 or 16 bits each");
}

TEST(TabledPicture, NeedsSlopesThatComeToTheSameValuesEverywhere) {
    EXPECT_EQ(reasonFor(rescaled("2", "-1024")), "");
    EXPECT_EQ(reasonFor(rescaled("0.37", "0")), "");
    EXPECT_EQ(reasonFor(rescaled("0.37", "-0.5")), "");
    const std::string otherwise =
        "its slope and intercept lead to values that DCMTK does not turn into integers in one way";
    EXPECT_EQ(reasonFor(rescaled("0.37", "0.5")), otherwise);
    EXPECT_EQ(reasonFor(rescaled("500000", "0")), "") << "up to 2,047,500,000";
    EXPECT_EQ(reasonFor(rescaled("600000", "0")), otherwise);
    // 3 pixels for each of 4,096 values at a slope of 1.5 are 18,432; at 15 they are more than there are here.
    EXPECT_EQ(reasonFor(rescaled("1.5", "-0.25")), "it has few pixels for each value that a fractional slope allows");
    EXPECT_EQ(reasonFor(rescaled("15", "-0.25")), "");
}

/// Frames and what lies around them, where DCMTK looks through all of them or only through those that it reads.
TEST(TabledPicture, KnowsWhatLiesOutsideOfItsFrames) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    ImageReadOptions trimmed;
    trimmed.scaling = kTrimmedMinMaxWindow;
    for (const int bitsStored : {12, 16}) { // more, and fewer, than three samples for each value
        DcmDataset dataset;
        fill(dataset, with(smoothFile(), [&](ImageFile& file) {
                 file.bitsStored = bitsStored;
                 file.frames = "3";
                 file.intercept = "-300"; // the type of the values depends on the least one
                 file.slope = "1";
                 file.words = smoothWords(3);
             }));
        for (const std::uint32_t start : {0U, 1U, 2U, 5U}) {
            for (const std::uint32_t count : {0U, 1U, 2U}) {
                const auto [reason, difference] =
                    comparePictures(dataset, {1, start, count}, SampleSource::memory, {{}, trimmed});
                EXPECT_EQ(reason, "");
                EXPECT_EQ(difference, "") << start << "+" << count;
            }
        }
    }
}

TEST(TabledPicture, OfAPaletteIsByPixel) {
    const auto withPalette = [](int planes) {
        return with(smoothFile(), [&](ImageFile& file) {
            file.photometric = "PALETTE COLOR";
            file.planarConfiguration = planes;
            file.more = [](DcmDataset& dataset) {
                const Uint16 descriptor[] = {4, 0, 16};
                const Uint16 values[] = {0, 20000, 40000, 65535};
                for (const auto& [key, data] :
                     {std::pair{DCM_RedPaletteColorLookupTableDescriptor, DCM_RedPaletteColorLookupTableData},
                      {DCM_GreenPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableData},
                      {DCM_BluePaletteColorLookupTableDescriptor, DCM_BluePaletteColorLookupTableData}}) {
                    EXPECT_TRUE(dataset.putAndInsertUint16Array(DcmTag(key, EVR_US), descriptor, 3).good());
                    EXPECT_TRUE(dataset.putAndInsertUint16Array(DcmTag(data, EVR_OW), values, 4).good());
                }
            };
        });
    };
    EXPECT_EQ(reasonFor(withPalette(-1)), "");
    EXPECT_EQ(reasonFor(withPalette(0)), "");
    EXPECT_EQ(reasonFor(withPalette(1)), "its colours lie in another order than they are asked for");
    EXPECT_EQ(reasonFor(withPalette(1), {.isByPixel = true}), "");
}

// ---- Files ----------------------------------------------------------------------------------------------------------

namespace {

class TabledFile : public ClassTest {
  protected:
    void SetUp() override {
        ClassTest::SetUp();
        OFLog::configure(OFLogger::OFF_LOG_LEVEL);
        DcmRLEDecoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        DJDecoderRegistration::registerCodecs();
        DJEncoderRegistration::registerCodecs();
        DJLSDecoderRegistration::registerCodecs();
        DJLSEncoderRegistration::registerCodecs();
    }
    void TearDown() override {
        DJLSEncoderRegistration::cleanup();
        DJLSDecoderRegistration::cleanup();
        DJEncoderRegistration::cleanup();
        DJDecoderRegistration::cleanup();
        DcmRLEEncoderRegistration::cleanup();
        DcmRLEDecoderRegistration::cleanup();
        ClassTest::TearDown();
    }

    std::string write(E_TransferSyntax syntax, const ImageFile& image = smoothFile()) {
        const std::string plain = writeImageFile(folder.file("plain.dcm"), image);
        const std::string path = folder.file("encoded.dcm");
        static const DcmRLERepresentationParameter rle;
        static const DJ_RPLossless jpeg;
        static const DJLSRepresentationParameter jpegLs;
        const std::map<E_TransferSyntax, const DcmRepresentationParameter*> parameters{
            {EXS_RLELossless, &rle}, {EXS_JPEGProcess14SV1, &jpeg}, {EXS_JPEGLSLossless, &jpegLs}};
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(plain.c_str()).good());
        if (const auto found = parameters.find(syntax); found != parameters.end()) {
            EXPECT_TRUE(file.getDataset()->chooseRepresentation(syntax, found->second).good());
        }
        EXPECT_TRUE(file.saveFile(path.c_str(), syntax).good());
        return path;
    }

    static std::vector<Uint16> rendered(Picture& picture, int scaling) {
        ImageReadOptions options;
        options.scaling = scaling;
        setScalingWindow(picture.image(), options);
        std::vector<Uint16> words(picture.frameBytes(16) / 2);
        EXPECT_TRUE(picture.render(words.data(), picture.frameBytes(16), 16, 0, false));
        return words;
    }
    static bool isTabled(const Picture& picture) { return dynamic_cast<const TabledPicture*>(&picture) != nullptr; }
};

} // namespace

TEST_F(TabledFile, IsTheSameInEveryTransferSyntaxWhereverItsPixelsLie) {
    for (const E_TransferSyntax syntax :
         {EXS_LittleEndianImplicit, EXS_LittleEndianExplicit, EXS_BigEndianExplicit, EXS_DeflatedLittleEndianExplicit,
          EXS_RLELossless, EXS_JPEGProcess14SV1, EXS_JPEGLSLossless}) {
        const std::string path = write(syntax);
        for (const bool staysInFile : {false, true}) {
            DcmFileReader reader(path);
            if (staysInFile) {
                reader.leavePixelsInFile();
                reader.closeFile();
            }
            const DcmFileReader other(path);
            Picture wanted(other.openDicomImage({}));
            const auto found = reader.openPicture({}, {});
            EXPECT_TRUE(isTabled(*found)) << DcmXfer(syntax).getXferName();
            for (const int scaling : {kNoWindow, kTrimmedMinMaxWindow, kMinMaxWindow}) {
                EXPECT_EQ(rendered(*found, scaling), rendered(wanted, scaling)) << DcmXfer(syntax).getXferName();
            }
        }
    }
}

TEST_F(TabledFile, HoldsItsPixelsInMemoryOnlyIfItsReaderKeepsThem) {
    const std::string path = write(EXS_LittleEndianExplicit);
    const auto isLoaded = [&](bool staysInFile) {
        class Reader : public DcmFileReader {
          public:
            using DcmFileReader::DcmFileReader;
            bool isLoaded() const {
                DcmElement* pixels = nullptr;
                return dataset->findAndGetElement(DCM_PixelData, pixels).good() && pixels->valueLoaded();
            }
        } reader(path);
        if (staysInFile) {
            reader.leavePixelsInFile();
        }
        (void)rendered(*reader.openPicture({}, {}), kMinMaxWindow);
        return reader.isLoaded();
    };
    EXPECT_TRUE(isLoaded(false));
    EXPECT_FALSE(isLoaded(true));
}

TEST_F(TabledFile, KeepsATableThatItsReaderHasRead) {
    const std::string path = writeImageFile(
        folder.file("table.dcm"), with(smoothFile(), [](ImageFile& file) {
            file.more = [](DcmDataset& dataset) {
                std::vector<Uint16> values(4096);
                for (std::size_t value = 0; value < values.size(); ++value) {
                    values[value] = static_cast<Uint16>(value * 3);
                }
                const Uint16 descriptor[] = {4096, 0, 16};
                DcmItem& table = addItem(dataset, DCM_ModalityLUTSequence);
                EXPECT_TRUE(table.putAndInsertUint16Array(DCM_LUTDescriptor, descriptor, 3).good());
                EXPECT_TRUE(table.putAndInsertUint16Array(DcmTag(DCM_LUTData, EVR_OW), values.data(), 4096).good());
            };
        }));
    const DcmFileReader reader(path);
    const auto first = rendered(*reader.openPicture({}, {}), kMinMaxWindow);
    std::ofstream(path, std::ios::app) << "more";
    const auto picture = reader.openPicture({}, {});
    EXPECT_TRUE(isTabled(*picture));
    EXPECT_EQ(rendered(*picture, kMinMaxWindow), first);
}

TEST_F(TabledFile, ThatIsChangedBetweenTwoLooksGivesNoPicture) {
    const std::string path = write(EXS_LittleEndianExplicit, with(smoothFile(), [](ImageFile& file) {
                                       file.frames = "9"; // more than one block
                                       file.words = smoothWords(9);
                                   }));
    DcmFileReader reader(path);
    reader.leavePixelsInFile();
    const auto picture = reader.openPicture({}, {});
    ASSERT_TRUE(isTabled(*picture));
    std::ofstream(path, std::ios::app) << "more";
    std::vector<Uint16> words(picture->frameBytes(16) / 2);
    EXPECT_FALSE(picture->render(words.data(), picture->frameBytes(16), 16, 8, false));
    EXPECT_EQ(errorOf([&] { reader.requireWhole(); }), "OpenFileError");
}

TEST_F(TabledFile, WithOverlaysIsTabledUnlessTheyAreShown) {
    const std::string path =
        writeImageFile(folder.file("overlay.dcm"), with(smoothFile(), [](ImageFile& file) {
                           file.more = [](DcmDataset& dataset) {
                               putOverlay(dataset, 0x6000, {.rows = 4, .columns = 4, .bits = 0xA5});
                           };
                       }));
    DcmFileReader reader(path);
    EXPECT_TRUE(isTabled(*reader.openPicture({}, {})));
    EXPECT_FALSE(isTabled(*reader.openPicture({}, {.showsOverlays = true})));
    DcmFileReader without(write(EXS_LittleEndianExplicit));
    EXPECT_TRUE(isTabled(*without.openPicture({}, {.showsOverlays = true}))) << "it has none";
}

// Pictures by table beside DCMTK's own, byte for byte, over very many combinations of attributes. The seed is fixed: a
// failure tells the number of its picture, and the same picture comes again.

#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <random>
#include <sstream>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmimage/diregist.h" // colour in this program too
#include "dcmtk/oflog/oflog.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/PictureComparison.h"

using namespace radvex;
using namespace radvex::test;

namespace {

/// What a random picture is made of.
class RandomPicture {
  public:
    explicit RandomPicture(unsigned int seed) : mRandom(seed) { make(); }

    DcmDataset& dataset() { return mDataset; }
    const ImageOpenOptions& options() const { return mOptions; }
    const std::vector<ImageReadOptions>& windows() const { return mWindows; }

  private:
    int between(int least, int most) { return std::uniform_int_distribution<int>(least, most)(mRandom); }
    bool once(int of) { return between(1, of) == 1; }
    template <typename T>
    T oneOf(std::initializer_list<T> all) {
        return *(all.begin() + between(0, static_cast<int>(all.size()) - 1));
    }
    void put(const DcmTagKey& tag, int value) {
        ASSERT_TRUE(mDataset.putAndInsertUint16(tag, static_cast<Uint16>(value)).good());
    }
    void put(const DcmTagKey& tag, const std::string& text) {
        ASSERT_TRUE(mDataset.putAndInsertString(tag, text.c_str()).good());
    }

    void make() {
        mAllocated = oneOf({8, 16, 16});
        mStored = once(2) ? mAllocated : between(1, mAllocated);
        mHigh = once(2) ? mStored - 1 : between(mStored - 1, mAllocated - 1);
        mIsSigned = once(2);
        put(DCM_SOPClassUID, oneOf<std::string>({UID_CTImageStorage, UID_CTImageStorage, UID_MRImageStorage,
                                                 UID_XRayAngiographicImageStorage}));
        const int colour = between(0, 9);
        if (colour == 0) {
            putRgb();
        } else if (colour == 1) {
            putPalette();
        } else {
            put(DCM_SamplesPerPixel, once(30) ? 3 : 1);
            put(DCM_PhotometricInterpretation, oneOf<std::string>({"MONOCHROME1", "MONOCHROME2"}));
        }
        put(DCM_BitsAllocated, mAllocated);
        put(DCM_BitsStored, mStored);
        put(DCM_HighBit, mHigh);
        put(DCM_PixelRepresentation, mIsSigned ? 1 : 0);
        putModality();
        putVoi();
        putPresentation();
        putPixels();
        mOptions.flags = flags();
        makeWindows();
    }

    void putRgb() {
        mAllocated = 8;
        mStored = once(2) ? 8 : between(1, 8);
        mHigh = between(mStored - 1, 7);
        mSamples = 3;
        put(DCM_SamplesPerPixel, 3);
        put(DCM_PlanarConfiguration, between(0, 1));
        put(DCM_PhotometricInterpretation, "RGB");
    }

    void putPalette() {
        put(DCM_SamplesPerPixel, 1);
        put(DCM_PhotometricInterpretation, "PALETTE COLOR");
        if (once(3)) {
            put(DCM_PlanarConfiguration, between(0, 2));
        }
        const int entries = oneOf({1, 256, between(2, 3000)});
        const int first = once(2) ? 0 : between(-300, 300);
        const int bits = oneOf({8, 16, 16});
        const std::vector<Uint16> descriptor{static_cast<Uint16>(entries), static_cast<Uint16>(first),
                                             static_cast<Uint16>(bits)};
        for (const auto& [key, data] :
             {std::pair{DCM_RedPaletteColorLookupTableDescriptor, DCM_RedPaletteColorLookupTableData},
              {DCM_GreenPaletteColorLookupTableDescriptor, DCM_GreenPaletteColorLookupTableData},
              {DCM_BluePaletteColorLookupTableDescriptor, DCM_BluePaletteColorLookupTableData}}) {
            std::vector<Uint16> values;
            const int held = once(10) ? between(1, entries) : entries;
            for (int entry = 0; entry < held; ++entry) {
                values.push_back(static_cast<Uint16>(between(0, (1 << bits) - 1)));
            }
            ASSERT_TRUE(mDataset.putAndInsertUint16Array(DcmTag(key, EVR_US), descriptor.data(), 3).good());
            ASSERT_TRUE(mDataset
                            .putAndInsertUint16Array(DcmTag(data, EVR_OW), values.data(),
                                                     static_cast<unsigned long>(values.size()))
                            .good());
        }
    }

    std::string number() {
        switch (between(0, 9)) {
        case 0: return oneOf<std::string>({"1", "1.0", "0", "-1"});
        case 1:
        case 2: return std::to_string(between(-3000, 3000));
        case 3:
        case 4: return std::to_string(between(-40000, 40000) / 7.0);
        case 5: return std::to_string(between(1, 1000) / 1000.0);
        case 6: return oneOf<std::string>({"1e-7", "-0.0003", "0.5", "2.5"});
        case 7: return oneOf<std::string>({"1e6", "-70000.25", "65536", "123456789"});
        case 8: return std::to_string(between(-20, 20) * 0.25);
        default: return std::to_string(between(-5, 5));
        }
    }

    DcmItem* itemIn(const DcmTagKey& sequence) {
        DcmItem* item = nullptr;
        EXPECT_TRUE(mDataset.findOrCreateSequenceItem(sequence, item, -2).good());
        return item;
    }

    void putLut(const DcmTagKey& sequence) {
        DcmItem* item = itemIn(sequence);
        const int entries = oneOf({1, 2, between(3, 300), between(300, 5000)});
        const int bits = oneOf({8, 12, 16, between(8, 16)});
        const int first = mIsSigned ? between(-200, 200) : between(0, 400);
        std::vector<Uint16> values;
        for (int entry = 0; entry < entries; ++entry) {
            values.push_back(static_cast<Uint16>(between(0, (1 << bits) - 1)));
        }
        const std::vector<Uint16> descriptor{static_cast<Uint16>(entries), static_cast<Uint16>(first),
                                             static_cast<Uint16>(bits)};
        ASSERT_TRUE(item->putAndInsertUint16Array(DCM_LUTDescriptor, descriptor.data(), 3).good());
        ASSERT_TRUE(item->putAndInsertUint16Array(DcmTag(DCM_LUTData, once(2) ? EVR_US : EVR_OW), values.data(),
                                                  static_cast<unsigned long>(values.size()))
                        .good());
    }

    void putModality() {
        const int kind = between(0, 9);
        if (kind == 0) {
            putLut(DCM_ModalityLUTSequence);
        } else if (kind < 7) {
            put(DCM_RescaleSlope, kind < 3 ? "1" : number());
            if (!once(20)) {
                put(DCM_RescaleIntercept, once(3) ? "0" : number());
            }
        } else if (kind == 7) { // shared by all frames
            DcmItem* shared = itemIn(DCM_SharedFunctionalGroupsSequence);
            DcmItem* group = nullptr;
            ASSERT_TRUE(shared->findOrCreateSequenceItem(DCM_PixelValueTransformationSequence, group, -2).good());
            ASSERT_TRUE(group->putAndInsertString(DCM_RescaleSlope, number().c_str()).good());
            ASSERT_TRUE(group->putAndInsertString(DCM_RescaleIntercept, number().c_str()).good());
        }
    }

    void putVoi() {
        if (once(4)) {
            putLut(DCM_VOILUTSequence);
        }
        if (once(3)) {
            put(DCM_WindowCenter, once(3) ? number() + "\\" + number() : number());
            put(DCM_WindowWidth, once(3) ? number() + "\\" + number() : number());
        }
        if (once(3)) {
            put(DCM_VOILUTFunction, oneOf<std::string>({"LINEAR", "SIGMOID", "LINEAR_EXACT", "x"}));
        }
    }

    void putPresentation() {
        if (once(3)) {
            put(DCM_PresentationLUTShape, oneOf<std::string>({"IDENTITY", "INVERSE", "LIN OD", "x"}));
        }
        if (once(6)) {
            put(DCM_PixelPaddingValue, between(0, 5));
        }
    }

    /// Sizes on both sides of what DCMTK decides by: three pixels for each possible value.
    std::pair<int, int> size() {
        const int allowed = 3 << std::min(mStored, 13);
        switch (between(0, 5)) {
        case 0: return {between(1, 5), between(1, 7)};
        case 1: return {1, std::clamp(allowed + between(-2, 2), 1, 60000)};
        case 2: return {between(1, 8), std::clamp(allowed / 3, 1, 4000)};
        default: return {between(2, 24), between(2, 40)};
        }
    }

    void putPixels() {
        const auto [rows, columns] = size();
        const int frames = once(2) ? 1 : between(1, 4);
        put(DCM_Rows, rows);
        put(DCM_Columns, columns);
        if (frames > 1 || once(3)) {
            put(DCM_NumberOfFrames, std::to_string(frames));
        }
        mOptions.frameStart = static_cast<std::uint32_t>(once(2) ? 0 : between(0, frames));
        mOptions.frameCount = static_cast<std::uint32_t>(once(2) ? 0 : between(0, frames + 1));
        const int pixels = mSamples * frames * rows * columns + (once(8) ? between(1, 50) : 0);
        // Few values or many, in a part of the range or in all of it, and whatever lies in the bits that are not
        // stored.
        const int most = (1 << mAllocated) - 1;
        const int low = once(3) ? 0 : between(0, most);
        const int high = once(3) ? most : std::min(most, low + (1 << between(0, mAllocated)));
        const int step = oneOf({1, 1, 3, 100});
        std::vector<Uint16> samples;
        for (int pixel = 0; pixel < pixels; ++pixel) {
            samples.push_back(static_cast<Uint16>(std::min(high, low + step * between(0, (high - low) / step))));
        }
        putSamples(samples);
    }

    void putSamples(const std::vector<Uint16>& samples) {
        const DcmEVR representation = mAllocated == 8 && once(2) ? EVR_OB : EVR_OW;
        auto* element = new DcmPixelData(DcmTag(DCM_PixelData, representation));
        (void)element->setVR(representation);
        if (mAllocated == 16) {
            ASSERT_TRUE(element->putUint16Array(samples.data(), static_cast<unsigned long>(samples.size())).good());
        } else {
            std::vector<Uint8> bytes(samples.begin(), samples.end());
            bytes.resize((bytes.size() + 1) / 2 * 2, static_cast<Uint8>(between(0, 255)));
            std::vector<Uint16> words(bytes.size() / 2);
            std::memcpy(words.data(), bytes.data(), bytes.size());
            ASSERT_TRUE((representation == EVR_OB
                             ? element->putUint8Array(bytes.data(), static_cast<unsigned long>(bytes.size()))
                             : element->putUint16Array(words.data(), static_cast<unsigned long>(words.size())))
                            .good());
        }
        ASSERT_TRUE(mDataset.insert(element, OFTrue).good());
    }

    std::uint32_t flags() {
        std::uint32_t flags = once(2) ? 1 : 0;
        for (const unsigned long flag :
             {CIF_WrongPaletteAttributeTags, CIF_UsePresentationState, CIF_IgnoreModalityTransformation,
              CIF_IgnoreModalityLutBitDepth, CIF_CheckLutBitDepth, CIF_UseAbsolutePixelRange,
              CIF_DecompressCompletePixelData, CIF_NeverAccessEmbeddedOverlays}) {
            if (once(16)) {
                flags |= static_cast<std::uint32_t>(flag);
            }
        }
        return flags;
    }

    double bound() {
        constexpr double kInfinite = std::numeric_limits<double>::infinity();
        return oneOf({0.0, 1.0, 0.5, 1.0 * between(-3000, 3000), between(-30000, 30000) / 9.0, 1e12, -1e9, kInfinite,
                      std::nan("")});
    }

    void makeWindows() {
        for (const int mode : {kNoWindow, kTrimmedMinMaxWindow, kMinMaxWindow, kExplicitWindow, kExplicitWindow}) {
            ImageReadOptions window;
            window.scaling = mode;
            if (mode == kExplicitWindow && !once(8)) {
                window.windowCenter = bound();
                window.windowWidth = bound();
            }
            mWindows.push_back(window);
        }
    }

    std::mt19937 mRandom;
    DcmDataset mDataset{};
    ImageOpenOptions mOptions{};
    std::vector<ImageReadOptions> mWindows{};
    int mAllocated = 16;
    int mSamples = 1;
    int mStored = 16;
    int mHigh = 15;
    bool mIsSigned = false;
};

} // namespace

// Five windows at three depths, and the values: sixteen comparisons for a picture.
TEST(TabledPictureSweep, IsByteForByteWhatDcmtkRenders) {
#ifdef __SANITIZE_ADDRESS__
    constexpr unsigned int kPictures = 1000;
#else
    constexpr unsigned int kPictures = 10000;
#endif
    const char* first = std::getenv("RADVEX_SWEEP_FROM");
    const char* number = std::getenv("RADVEX_SWEEP_PICTURES");
    const unsigned int start = first == nullptr ? 0 : static_cast<unsigned int>(std::stoul(first));
    const unsigned int end = start + (number == nullptr ? kPictures : static_cast<unsigned int>(std::stoul(number)));
    constexpr Uint32 kMostRead = 16; // longer values stay in the file
    const TemporaryFolder folder;
    const std::string path = folder.file("picture.dcm");
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    std::map<std::string, unsigned int> reasons;
    for (unsigned int picture = start; picture < end; ++picture) {
        RandomPicture random(picture);
        const bool isInFile = picture % 8 == 0;
        DcmDataset stored;
        if (isInFile) { // the samples are read from there
            const E_TransferSyntax syntax = picture % 16 == 0 ? EXS_BigEndianExplicit : EXS_LittleEndianExplicit;
            ASSERT_TRUE(random.dataset().saveFile(path.c_str(), syntax).good());
            ASSERT_TRUE(stored.loadFile(path.c_str(), syntax, EGL_noChange, kMostRead).good());
        }
        const auto [reason, difference] =
            comparePictures(isInFile ? stored : random.dataset(), random.options(),
                            isInFile ? SampleSource::file : SampleSource::memory, random.windows());
        ++reasons[reason];
        if (!difference.empty()) {
            std::ostringstream text;
            random.dataset().print(text, 0);
            ADD_FAILURE() << "picture " << picture << ", flags " << random.options().flags << ", frames "
                          << random.options().frameStart << "+" << random.options().frameCount << ": " << difference
                          << "\n"
                          << text.str();
        }
    }
    for (const auto& [reason, count] : reasons) {
        std::printf("%8u  %s\n", count, reason.empty() ? "by table" : reason.c_str());
    }
    EXPECT_GT(reasons[""], (end - start) / 10 * 8) << "most of them are rendered by table";
}

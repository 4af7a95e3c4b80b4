#include <algorithm>
#include <random>

#include "dcmtk/dcmjpls/djencode.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

using Fragments = std::vector<std::vector<Uint8>>;

/// JPEG-LS frames whose bytes a test may change before they are written.
class JpegLsFrames : public LibraryTest {
  protected:
    void SetUp() override {
        DJLSEncoderRegistration::registerCodecs();
        LibraryTest::SetUp();
    }
    void TearDown() override {
        LibraryTest::TearDown();
        DJLSEncoderRegistration::cleanup();
    }

    static constexpr Uint16 kSide = 16;

    /// Noise of 3 bits. With more bits the frames grow, and DCMTK reserves too little room for them.
    static std::vector<Uint8> pixels(int frames, unsigned seed) {
        std::vector<Uint8> samples(static_cast<std::size_t>(frames) * kSide * kSide);
        std::mt19937 random(seed);
        std::generate(samples.begin(), samples.end(), [&] { return static_cast<Uint8>(random() % 8); });
        return samples;
    }
    /// Encodes the samples, lets the test change the fragments, and writes them.
    std::string write(const std::vector<Uint8>& samples, int frames, const std::function<void(Fragments&)>& change) {
        const auto encode = [&](DcmDataset& dataset) {
            dataset.putAndInsertUint8Array(DCM_PixelData, samples.data(), samples.size());
            ASSERT_TRUE(dataset.chooseRepresentation(EXS_JPEGLSLossless, nullptr).good());
            DcmElement* element = nullptr;
            DcmPixelSequence* sequence = nullptr;
            ASSERT_TRUE(dataset.findAndGetElement(DCM_PixelData, element).good());
            ASSERT_TRUE(dynamic_cast<DcmPixelData&>(*element)
                            .getEncapsulatedRepresentation(EXS_JPEGLSLossless, nullptr, sequence)
                            .good());
            Fragments fragments;
            DcmPixelItem* item = nullptr;
            while (sequence->card() > 1 && sequence->remove(item, 1).good()) {
                Uint8* bytes = nullptr;
                item->getUint8Array(bytes);
                fragments.emplace_back(bytes, bytes + item->getLength());
                delete item;
            }
            change(fragments);
            for (const std::vector<Uint8>& bytes : fragments) {
                auto* fragment = new DcmPixelItem(DcmTag(DCM_Item, EVR_OB));
                fragment->putUint8Array(bytes.data(), bytes.size());
                sequence->insert(fragment);
            }
        };
        return writeImageFile(folder.file("a.dcm"),
                              {.rows = kSide,
                               .columns = kSide,
                               .bitsAllocated = 8,
                               .bitsStored = 8,
                               .frames = std::to_string(frames),
                               .more = encode},
                              EXS_JPEGLSLossless);
    }
    std::vector<Uint8> read(const std::string& path) {
        const Value array = call("ReadIntermediatePixelData", {path, 1, 0});
        const auto data = array.get<NumericArray>().data<std::uint8_t>();
        return {data.begin(), data.end()};
    }

    /// Takes the end marker off, and what stands behind it. @return whether nothing then stands behind the scan
    static bool cutEnd(std::vector<Uint8>& bytes) {
        const Uint8 marker[] = {0xFF, 0xD9};
        bytes.erase(std::find_end(bytes.begin(), bytes.end(), marker, marker + 2), bytes.end());
        return bytes.size() % 2 == 0;
    }
};

} // namespace

// Without the marker DCMTK looked at a byte behind the frame, and refused the picture for what stood there.
TEST_F(JpegLsFrames, WithoutAnEndMarkerAreReadWhole) {
    int complete = 0;
    for (unsigned seed = 0; seed < 12; ++seed) {
        const auto samples = pixels(2, seed);
        bool isBare = true;
        const std::string path = write(samples, 2, [&](Fragments& fragments) {
            ASSERT_EQ(fragments.size(), 2U);
            for (auto& bytes : fragments) {
                isBare = cutEnd(bytes) && isBare;
            }
        });
        if (isBare) { // a byte that fills up a fragment may be one of the scan as well
            EXPECT_EQ(read(path), samples) << seed;
            ++complete;
        }
        call("CloseReader", {path});
    }
    EXPECT_GT(complete, 0) << "of no file all scans end with the last byte";
}

TEST_F(JpegLsFrames, OfSeveralFragmentsStayWhole) {
    const auto samples = pixels(2, 5);
    const std::string path = write(samples, 2, [](Fragments& fragments) {
        ASSERT_EQ(fragments.size(), 2U);
        Fragments halves;
        for (const auto& bytes : fragments) {
            const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 4 * 2);
            halves.emplace_back(bytes.begin(), middle);
            halves.emplace_back(middle, bytes.end());
        }
        fragments = halves;
    });
    EXPECT_EQ(read(path), samples);
}

TEST_F(JpegLsFrames, AreFoundWhateverTheOffsetTableSays) {
    const auto samples = pixels(3, 9);
    const std::string path = write(samples, 3, [](Fragments& fragments) {
        ASSERT_EQ(fragments.size(), 3U);
        const auto middle = fragments[1].begin() + static_cast<std::ptrdiff_t>(fragments[1].size() / 4 * 2);
        const std::vector<Uint8> rest(middle, fragments[1].end());
        fragments[1].erase(middle, fragments[1].end());
        fragments.insert(fragments.begin() + 2, rest);
    });
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str()).good());
    DcmElement* element = nullptr;
    DcmPixelSequence* sequence = nullptr;
    DcmPixelItem* table = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetElement(DCM_PixelData, element).good());
    auto& pixelData = dynamic_cast<DcmPixelData&>(*element);
    ASSERT_TRUE(pixelData.getEncapsulatedRepresentation(EXS_JPEGLSLossless, nullptr, sequence).good());
    ASSERT_TRUE(sequence->getItem(table, 0).good());
    std::vector<Uint8> offsets(12, 0);
    offsets[4] = 8; // frames begin somewhere else
    table->putUint8Array(offsets.data(), offsets.size());
    const std::string other = folder.file("b.dcm");
    ASSERT_TRUE(file.saveFile(other.c_str(), EXS_JPEGLSLossless).good());
    EXPECT_EQ(read(other), samples);
}

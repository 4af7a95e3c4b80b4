#include "media/scan/PartialFile.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::media;

namespace {

class PartialCopy : public ::testing::Test {
  protected:
    /// 4 rows and 3 columns of 16 bits; each value is its number from 1.
    std::string image(int frames, E_TransferSyntax syntax = EXS_LittleEndianExplicit) const {
        std::vector<Uint16> words(static_cast<std::size_t>(12 * frames));
        for (std::size_t index = 0; index < words.size(); ++index) {
            words[index] = static_cast<Uint16>(index + 1);
        }
        return readFile(writeImageFile(
            folder.file("image.dcm"),
            {.rows = 4, .columns = 3, .frames = frames > 1 ? std::to_string(frames) : "", .words = words}, syntax));
    }

    PartialPlan planOf(const std::string& bytes) const { return planPartial(scanDataset(folder.write("cut", bytes))); }

    /// Loads the repaired copy with DCMTK.
    DcmFileFormat loaded(const std::string& bytes) const {
        const std::string path = folder.write("cut", bytes);
        const DatasetScan scan = scanDataset(path);
        const PartialFile partial(path, scan, planPartial(scan), folder.file("copy"));
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(partial.path().c_str()).good());
        EXPECT_TRUE(file.loadAllDataIntoMemory().good());
        EXPECT_EQ(readFile(path), bytes) << "the cut file stays as it is";
        return file;
    }

    static std::vector<Uint16> wordsOf(DcmFileFormat& file) {
        const Uint16* words = nullptr;
        unsigned long count = 0;
        EXPECT_TRUE(file.getDataset()->findAndGetUint16Array(DCM_PixelData, words, &count).good());
        return words == nullptr ? std::vector<Uint16>{} : std::vector<Uint16>(words, words + count);
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(PartialCopy, PixelsThatAreMissingAreZeroAndTheOthersStay) {
    for (const auto syntax : {EXS_LittleEndianExplicit, EXS_LittleEndianImplicit, EXS_BigEndianExplicit}) {
        const std::string whole = image(1, syntax);
        const std::string cut = whole.substr(0, whole.size() - 12); // two rows of 3 words
        DcmFileFormat file = loaded(cut);
        EXPECT_EQ(wordsOf(file), (std::vector<Uint16>{1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0}));
        EXPECT_EQ(planOf(cut).missing, "Rows 3 to 4 are missing and shown as 0.");
    }
}

TEST_F(PartialCopy, HalfANumberIsNotShownAsANumber) {
    const std::string whole = image(1);
    for (const std::size_t bytes : {13U, 14U}) { // the sixth of 12 words: half of it, and all of it
        DcmFileFormat file = loaded(whole.substr(0, whole.size() - bytes));
        EXPECT_EQ(wordsOf(file), (std::vector<Uint16>{1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0}));
    }
    EXPECT_FALSE(planOf(whole.substr(0, whole.size() - 23)).hasPixels) << "half a number is none";
}

TEST_F(PartialCopy, NamesTheRowsAndFramesThatAreNotWhole) {
    const std::string one = image(1); // rows of 6 bytes
    const auto missing = [&](const std::string& whole, std::size_t bytes) {
        return planOf(whole.substr(0, whole.size() - bytes)).missing;
    };
    EXPECT_EQ(missing(one, 1), "Row 4 is missing and shown as 0.");
    EXPECT_EQ(missing(one, 6), "Row 4 is missing and shown as 0.");
    EXPECT_EQ(missing(one, 7), "Rows 3 to 4 are missing and shown as 0.");
    EXPECT_EQ(missing(one, 22), "Rows 1 to 4 are missing and shown as 0.");
    const std::string three = image(3); // frames of 24 bytes
    EXPECT_EQ(missing(three, 1), "Row 4 of frame 3 is missing and shown as 0.");
    EXPECT_EQ(missing(three, 24), "Frame 3 is missing and shown as 0.");
    EXPECT_EQ(missing(three, 30), "Row 4 of frame 2 and frame 3 are missing and shown as 0.");
    EXPECT_EQ(missing(three, 48), "Frames 2 to 3 are missing and shown as 0.");
    EXPECT_EQ(missing(three, 60), "Rows 3 to 4 of frame 1 and frames 2 to 3 are missing and shown as 0.");
}

TEST_F(PartialCopy, BytesAreCountedWhereRowsAreNotKnown) {
    const std::string path = writeImageFile(
        folder.file("a.dcm"), {.rows = 40, .columns = 3, .words = std::vector<Uint16>(12, 1)}); // promises more
    const std::string whole = readFile(path);
    EXPECT_EQ(planOf(whole.substr(0, whole.size() - 10)).missing,
              "The last 10 of 24 bytes of its pixels are missing and shown as 0.");
}

TEST_F(PartialCopy, WithoutAnyByteOfThePixelsTheyAreDropped) {
    const std::string whole = image(1);
    for (const std::size_t bytes : {24U, 26U, 34U}) { // the value; a part of the header; most of it
        const std::string cut = whole.substr(0, whole.size() - bytes);
        const PartialPlan plan = planOf(cut);
        EXPECT_TRUE(plan.isPossible);
        EXPECT_FALSE(plan.hasPixels);
        DcmFileFormat file = loaded(cut);
        EXPECT_FALSE(file.getDataset()->tagExists(DCM_PixelData));
        EXPECT_TRUE(file.getDataset()->tagExists(DCM_Rows));
    }
}

TEST_F(PartialCopy, WholeFragmentsAreKeptAndCounted) {
    const std::string path =
        writeImageFile(folder.file("fragments.dcm"),
                       {.rows = 1,
                        .columns = 1,
                        .frames = "3",
                        .more =
                            [](DcmDataset& dataset) {
                                putFragments(dataset, EXS_RLELossless,
                                             {std::string(70, 'a'), std::string(80, 'b'), std::string(90, 'c')});
                            }},
                       EXS_RLELossless);
    const std::string whole = readFile(path);
    const std::string cut = whole.substr(0, whole.find(std::string(90, 'c')) + 5);
    EXPECT_EQ(planOf(cut).missing, "Frame 3 is missing.");
    DcmFileFormat file = loaded(cut);
    EXPECT_EQ(textOf(*file.getDataset(), DCM_NumberOfFrames), "2");
    DcmElement* element = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetElement(DCM_PixelData, element).good());
    DcmPixelSequence* fragments = nullptr;
    ASSERT_TRUE(dynamic_cast<DcmPixelData&>(*element)
                    .getEncapsulatedRepresentation(EXS_RLELossless, nullptr, fragments)
                    .good());
    EXPECT_EQ(fragments->card(), 3U) << "with the offset table";
    const std::string early = whole.substr(0, whole.find(std::string(70, 'a')) + 5);
    EXPECT_FALSE(planOf(early).hasPixels);
    EXPECT_EQ(planOf(early).missing, "None of its pixels can be shown.");
}

TEST_F(PartialCopy, ASequenceThatIsCutGoesAsAWhole) {
    const Form form = kExplicitForm;
    const std::string before = form.element(0x00080060, "CS", "CT");
    const std::string cut =
        withMeta(kExplicit, before + form.header(0x00081140, "SQ", kUndefined) + form.item(0xFFFEE000, kUndefined) +
                                form.element(0x00081150, "UI", "1.2.") + form.header(0x00081155, "UI", 20) + "1.2");
    DcmFileFormat file = loaded(cut);
    EXPECT_EQ(textOf(*file.getDataset(), DCM_Modality), "CT");
    EXPECT_EQ(file.getDataset()->card(), 1U);
}

TEST_F(PartialCopy, AnyCutBehindTheFirstElementGivesAFileThatDcmtkReads) {
    const std::string whole = image(2);
    const std::size_t dataset = scanDataset(folder.write("cut", whole)).datasetOffset;
    std::size_t possible = 0;
    for (std::size_t size = 140; size < whole.size(); ++size) {
        const std::string cut = whole.substr(0, size);
        const PartialPlan plan = planOf(cut);
        EXPECT_TRUE(size > dataset || !plan.isPossible) << size;
        if (plan.isPossible) {
            ++possible;
            (void)loaded(cut);
        }
    }
    EXPECT_GT(possible, 100U);
}

TEST_F(PartialCopy, NothingIsMadeOfAWholeFileOrOfNoElement) {
    const std::string whole = image(1);
    EXPECT_FALSE(planOf(whole).isPossible);
    EXPECT_FALSE(planOf(whole.substr(0, 200)).isPossible) << "cut in the meta information";
    EXPECT_FALSE(planOf("A letter.").isPossible);
}

TEST_F(PartialCopy, AFewBytesDoNotBecomeGigabytesOfZeros) {
    const Form form = kExplicitForm;
    const std::string head = form.element(0x00080060, "CS", "CT");
    const auto planFor = [&](std::uint32_t length) {
        return planOf(withMeta(kExplicit, head + form.header(0x7FE00010, "OW", length) + "abcd"));
    };
    EXPECT_FALSE(planFor(0xFFFFFFFE).hasPixels);
    EXPECT_EQ(planFor(0xFFFFFFFE).zeroBytes, 0U);
    EXPECT_TRUE(planFor(64U << 20).hasPixels);
    EXPECT_EQ(planFor(64U << 20).zeroBytes, (64U << 20) - 4);
    EXPECT_FALSE(planFor((64U << 20) + 2).hasPixels);
}

TEST_F(PartialCopy, TheCopyGoesWithTheObject) {
    const std::string whole = image(1);
    const std::string path = folder.write("cut", whole.substr(0, whole.size() - 2));
    const DatasetScan scan = scanDataset(path);
    std::string copy;
    {
        const PartialFile partial(path, scan, planPartial(scan), folder.file("copy"));
        copy = partial.path();
        EXPECT_TRUE(std::filesystem::exists(copy));
    }
    EXPECT_FALSE(std::filesystem::exists(copy));
}

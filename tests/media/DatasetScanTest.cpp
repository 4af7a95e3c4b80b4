#include "media/scan/DatasetScan.h"

#include <gtest/gtest.h>

#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::media::DatasetScan;
using radvex::media::scanDataset;
using End = radvex::media::DatasetScan::End;

namespace {

class ScanOfADataset : public ::testing::Test {
  protected:
    DatasetScan scanOf(const std::string& bytes) const { return scanDataset(folder.write("scanned", bytes)); }

    /// Text, numbers, sequences in sequences, and pixels.
    std::string imageIn(E_TransferSyntax syntax) const {
        return readFile(
            writeImageFile(folder.file("image.dcm"),
                           {.rows = 3,
                            .columns = 5,
                            .words = std::vector<Uint16>(15, 7),
                            .more =
                                [](DcmDataset& dataset) {
                                    DcmItem& item = addItem(dataset, DCM_ReferencedStudySequence);
                                    put(item, {{DCM_ReferencedSOPClassUID, "1.2"}});
                                    put(addItem(item, DCM_PurposeOfReferenceCodeSequence), {{DCM_CodeValue, "1"}});
                                }},
                           syntax));
    }

    bool isReadByDcmtk(const std::string& bytes) const {
        DcmFileFormat file;
        return file.loadFile(folder.write("cut", bytes).c_str()).good();
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(ScanOfADataset, AFileThatIsCutAnywhereIsCutExactlyWhenDcmtkCannotReadIt) {
    for (const auto syntax : {EXS_LittleEndianExplicit, EXS_LittleEndianImplicit, EXS_BigEndianExplicit}) {
        const std::string whole = imageIn(syntax);
        ASSERT_EQ(scanOf(whole).end, End::whole);
        std::size_t cuts = 0;
        for (std::size_t size = 150; size < whole.size(); ++size) {
            const std::string bytes = whole.substr(0, size);
            const DatasetScan scan = scanOf(bytes);
            if (scan.isInMeta) {
                EXPECT_EQ(scan.end, End::cut) << size;
                continue;
            }
            if (scan.last.isUndefined && scan.last.valueOffset == size) {
                continue; // DCMTK reads a sequence whose end is missing if it has no item either
            }
            EXPECT_EQ(scan.end == End::whole, isReadByDcmtk(bytes))
                << syntax << " at " << size << " behind " << scan.datasetOffset;
            if (scan.end == End::cut) {
                ++cuts;
                EXPECT_GT(scan.needed, size);
                EXPECT_LE(scan.needed, whole.size() + 8) << "nothing more is promised than there was";
                EXPECT_LE(scan.last.offset, size);
            }
        }
        EXPECT_GT(cuts, 100U);
    }
}

TEST_F(ScanOfADataset, KnowsHowManyBytesTheCutPixelsNeed) {
    const std::string whole = imageIn(EXS_LittleEndianExplicit);
    const DatasetScan scan = scanOf(whole.substr(0, whole.size() - 10)); // 30 bytes and no padding
    EXPECT_TRUE(scan.isCutInPixels());
    EXPECT_EQ(scan.needed, whole.size());
    EXPECT_FALSE(scan.isAtLeast);
    EXPECT_EQ(scan.last.length, 30U);
    EXPECT_EQ(scan.last.valueOffset, whole.size() - 30);
    EXPECT_EQ(scan.facts.rows, 3U);
    EXPECT_EQ(scan.facts.columns, 5U);
    EXPECT_EQ(scan.facts.bitsAllocated, 16U);
}

TEST_F(ScanOfADataset, ReadsFactsInBothByteOrders) {
    for (const auto syntax : {EXS_LittleEndianImplicit, EXS_BigEndianExplicit}) {
        const DatasetScan scan = scanOf(imageIn(syntax));
        EXPECT_EQ(scan.facts.rows, 3U);
        EXPECT_EQ(scan.facts.samples, 1U);
        EXPECT_EQ(scan.facts.sopClass, UID_CTImageStorage);
        EXPECT_TRUE(scan.facts.hasPixels);
    }
}

TEST_F(ScanOfADataset, CountsTheWholeFragmentsAndNotTheOffsetTable) {
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
    EXPECT_EQ(scanOf(whole).end, End::whole);
    EXPECT_EQ(scanOf(whole).fragments, 3U);
    const std::size_t third = whole.find(std::string(90, 'c'));
    const DatasetScan cut = scanOf(whole.substr(0, third + 89));
    EXPECT_EQ(cut.fragments, 2U);
    EXPECT_EQ(cut.fragmentsEnd, third - 8);
    EXPECT_EQ(cut.needed, third + 90);
    EXPECT_TRUE(cut.isAtLeast) << "the delimiter is missing too";
    EXPECT_EQ(scanOf(whole.substr(0, third + 90)).fragments, 3U);
}

TEST_F(ScanOfADataset, ALengthOfFourGigabytesEndsTheScan) {
    const Form form = kExplicitForm;
    const std::string head = form.element(0x00080060, "CS", "CT");
    const DatasetScan scan = scanOf(withMeta(kExplicit, head + form.header(0x7FE00010, "OW", 0xFFFFFFFE) + "abcd"));
    EXPECT_EQ(scan.end, End::cut);
    EXPECT_EQ(scan.needed, scan.last.valueOffset + 0xFFFFFFFEU);
}

TEST_F(ScanOfADataset, AMillionLevelsEndItWithoutAnAnswerAndAHundredDoNot) {
    EXPECT_EQ(scanOf(withMeta(kExplicit, nested({}, 100))).end, End::whole);
    EXPECT_EQ(scanOf(withMeta(kExplicit, nested({}, 1'000'000))).end, End::unknown);
}

TEST_F(ScanOfADataset, WhatCannotBeginAnElementIsDamageAtItsPlace) {
    const Form form = kExplicitForm;
    const std::string before = withMeta(kExplicit, form.element(0x00080060, "CS", "CT"));
    EXPECT_EQ(scanOf(before).end, End::whole);
    const DatasetScan scan = scanOf(before + std::string(64, '\x11'));
    EXPECT_EQ(scan.end, End::damaged);
    EXPECT_EQ(scan.damagedAt, before.size());
    EXPECT_EQ(scanOf(before + form.item(0xFFFEE00D, 0)).end, End::damaged) << "the end of an item that did not begin";
    EXPECT_EQ(scanOf(before + form.header(0x00080070, "OB", kUndefined) + std::string(64, '\x11')).end, End::damaged)
        << "only pixels and sequences have no length";
}

TEST_F(ScanOfADataset, OtherBytesAreNotTakenForALongElement) {
    EXPECT_EQ(scanOf(std::string(128, '\0') + "DICM and no more").end, End::damaged);
    const Form form = kImplicitForm;
    const std::string before = form.element(0x00080060, "CS", "CT") + form.element(0x00100010, "PN", "Doe^Jane");
    EXPECT_EQ(scanOf(withMeta(kImplicit, before + form.header(0x00100020, "LO", 90))).end, End::cut);
    EXPECT_EQ(scanOf(withMeta(kImplicit, before + form.header(0x00080070, "LO", 90))).end, End::damaged)
        << "no element with a lower tag follows";
}

TEST_F(ScanOfADataset, ADatasetWithoutMetaInformationIsScannedInItsOwnForm) {
    for (const Form& form : {kExplicitForm, kImplicitForm, kBigEndianForm}) {
        const std::string bare = form.element(0x00080060, "CS", "CT") + form.element(0x00100010, "PN", "Doe^Jane");
        EXPECT_EQ(scanOf(bare).end, End::whole);
        const DatasetScan scan = scanOf(bare.substr(0, bare.size() - 2));
        EXPECT_EQ(scan.end, End::cut);
        EXPECT_EQ(scan.needed, bare.size());
        EXPECT_EQ(scan.last.tag, 0x00100010U);
    }
}

TEST_F(ScanOfADataset, ADeflatedDatasetIsUnknown) {
    const std::string bytes = withMeta(kDeflated, deflated(kExplicitForm.element(0x00080060, "CS", "CT")));
    EXPECT_EQ(scanOf(bytes).end, End::unknown);
    EXPECT_TRUE(scanOf(bytes).isDeflated);
}

TEST_F(ScanOfADataset, AnythingElseThanAPlainFileIsUnknown) {
    EXPECT_EQ(scanDataset(folder.file("missing")).end, End::unknown);
    EXPECT_EQ(scanDataset(folder.path().string()).end, End::unknown);
    EXPECT_EQ(scanDataset("/dev/zero").end, End::unknown);
    EXPECT_EQ(scanOf("").end, End::unknown);
}

TEST_F(ScanOfADataset, EveryByteOfAFileMayBeAnyOther) {
    // Nothing is expected but an answer; the sanitizers watch the bounds.
    const std::string whole = imageIn(EXS_LittleEndianExplicit);
    for (std::size_t at = 132; at < whole.size(); at += 3) {
        for (const char byte : {'\0', '\xFF'}) {
            std::string bytes = whole;
            bytes[at] = byte;
            const DatasetScan scan = scanOf(bytes);
            EXPECT_EQ(scan.size, whole.size());
            EXPECT_TRUE(scan.end != End::cut || scan.needed > scan.size) << at;
        }
    }
}

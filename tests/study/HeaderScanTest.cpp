#include "HeaderScan.h"

#include <gtest/gtest.h>

#include "DicomFiles.h"
#include "TemporaryFolder.h"

using namespace radvex::test;
using radvex::study::whyNotToParse;

namespace {

const std::string kTooDeep = "its sequences nest more than 100 levels deep";

/// A sequence in a sequence and so on, and an element behind them all.
void nest(DcmItem& dataset, int depth) {
    DcmItem* item = &dataset;
    for (int level = 0; level < depth; ++level) {
        DcmItem* inner = nullptr;
        ASSERT_TRUE(item->findOrCreateSequenceItem(DCM_ReferencedImageSequence, inner).good());
        item = inner;
    }
    dataset.putAndInsertString(DCM_PatientID, "P");
}

std::string verdict(const std::string& path, bool hasMark = true) {
    return whyNotToParse(path, hasMark).value_or("may be parsed");
}

} // namespace

TEST(HeaderScan, FindsSequencesThatNestTooDeepInEveryEncoding) {
    const TemporaryFolder folder;
    for (const E_TransferSyntax syntax : {EXS_LittleEndianExplicit, EXS_LittleEndianImplicit, EXS_BigEndianExplicit,
                                          EXS_DeflatedLittleEndianExplicit}) {
        for (const E_EncodingType lengths : {EET_ExplicitLength, EET_UndefinedLength}) {
            const auto verdictAt = [&](int depth) {
                DcmFileFormat file;
                file.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
                file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
                nest(*file.getDataset(), depth);
                EXPECT_TRUE(file.saveFile(folder.file("a").c_str(), syntax, lengths).good());
                return verdict(folder.file("a"));
            };
            EXPECT_EQ(verdictAt(100), "may be parsed") << syntax << ' ' << lengths;
            EXPECT_EQ(verdictAt(102), kTooDeep) << syntax << ' ' << lengths;
        }
    }
}

TEST(HeaderScan, FindsThemInBareDatasets) {
    const TemporaryFolder folder;
    for (const E_TransferSyntax syntax : {EXS_LittleEndianExplicit, EXS_LittleEndianImplicit, EXS_BigEndianExplicit}) {
        DcmDataset dataset;
        dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
        nest(dataset, 102);
        ASSERT_TRUE(dataset.saveFile(folder.file("a").c_str(), syntax).good());
        EXPECT_EQ(verdict(folder.file("a"), false), kTooDeep) << syntax;
    }
}

TEST(HeaderScan, FindsThemBehindOtherSequencesAndFragments) {
    const TemporaryFolder folder;
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
    dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
    for (int count = 0; count < 500; ++count) { // many are no harm
        DcmItem* item = nullptr;
        ASSERT_TRUE(dataset.findOrCreateSequenceItem(DCM_SharedFunctionalGroupsSequence, item, -2).good());
        item->putAndInsertString(DCM_PatientID, "P");
    }
    const std::string flat = folder.file("flat");
    ASSERT_TRUE(file.saveFile(flat.c_str(), EXS_LittleEndianExplicit).good());
    EXPECT_EQ(verdict(flat), "may be parsed");

    // Fragments of compressed pixels, whose bytes look like items, and the nest behind them.
    const auto item = [](std::uint32_t length) {
        return std::string("\xFE\xFF\x00\xE0", 4) + static_cast<char>(length & 0xFF) + static_cast<char>(length >> 8) +
               std::string(2, '\0');
    };
    const std::string undefined(4, '\xFF');
    std::string bytes = readFile(flat) + std::string("\xE0\x7F\x10\x00OB\0\0", 8) + undefined + item(0) + item(400);
    for (int count = 0; count < 50; ++count) {
        bytes += item(0);
    }
    bytes += std::string("\xFE\xFF\xDD\xE0\0\0\0\0", 8);
    EXPECT_EQ(verdict(folder.write("fragments", bytes)), "may be parsed");
    for (int count = 0; count < 102; ++count) {
        bytes += std::string("\xFA\xFF\xFA\xFFSQ\0\0", 8) + undefined + std::string("\xFE\xFF\x00\xE0", 4) + undefined;
    }
    EXPECT_EQ(verdict(folder.write("nest", bytes)), kTooDeep);
}

TEST(HeaderScan, SequencesHideInValuesOfUnknownType) {
    const TemporaryFolder folder;
    std::string bytes = readFile(writeDicom(folder.file("a"), {}));
    bytes += std::string("\x09\x00\x01\x10UN\0\0", 8) + std::string(4, '\xFF');
    for (int count = 0; count < 102; ++count) { // inside, nothing has a type
        bytes += std::string("\xFE\xFF\x00\xE0", 4) + std::string(4, '\xFF') + std::string("\x09\x00\x02\x10", 4) +
                 std::string(4, '\xFF');
    }
    EXPECT_EQ(verdict(folder.write("b", bytes)), kTooDeep);
}

TEST(HeaderScan, LeavesWhatItCannotFollowToTheParser) {
    const TemporaryFolder folder;
    const std::string whole = readFile(writeDicom(folder.file("a"), [](DcmDataset& dataset) { nest(dataset, 3); }));
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(verdict(folder.write("cut", whole.substr(0, length)), length >= 132), "may be parsed") << length;
    }
    EXPECT_EQ(verdict("/nowhere/at/all"), "may be parsed");
}

// Which fragments make which frame.

#include "guard/pixels/FrameFragments.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "dcmtk/dcmdata/dcvrov.h"
#include "guard/pixels/EncodedPixels.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;
using radvex::FrameFragments;

namespace {

using Texts = std::vector<std::string>;

const std::string kFirst = "\xFF\x4F\xFF\x51"
                           "aa";  // 14 bytes with the header of its item
const std::string kMore = "bbbb"; // 12 bytes
const Texts kNone{};

struct Fragments {
    Texts bytes{};
    std::vector<Uint32> basic{};
    std::vector<Uint64> extended{};
};

/// What each frame holds.
Texts framesOf(const Fragments& fragments, std::size_t frames) {
    DcmDataset dataset;
    putFragments(dataset, EXS_JPEG2000, fragments.bytes);
    EXPECT_TRUE(dataset.chooseRepresentation(EXS_JPEG2000, nullptr).good());
    DcmPixelSequence* sequence = nullptr;
    DcmPixelItem* table = nullptr;
    EXPECT_TRUE(radvex::pixelDataOf(dataset)->getEncapsulatedRepresentation(EXS_JPEG2000, nullptr, sequence).good());
    EXPECT_TRUE(sequence->getItem(table, 0).good());
    if (!fragments.basic.empty()) {
        table->putUint8Array(reinterpret_cast<const Uint8*>(fragments.basic.data()), 4 * fragments.basic.size());
    }
    if (!fragments.extended.empty()) {
        auto* offsets = new DcmOther64bitVeryLong(DCM_ExtendedOffsetTable);
        offsets->putUint64Array(fragments.extended.data(), fragments.extended.size());
        dataset.insert(offsets, OFTrue);
    }
    Texts found;
    std::vector<Uint8> joined;
    for (const FrameFragments& frame : radvex::fragmentsOfFrames(dataset, *sequence, frames)) {
        const auto bytes = radvex::bytesOfFrame(frame, joined);
        found.emplace_back(bytes.begin(), bytes.end());
    }
    return found;
}

const Texts kThree{kFirst, kMore, kFirst}; // of two frames; the second starts at 26
const Texts kOfThree{kFirst + kMore, kFirst};

} // namespace

TEST(FrameFragmentsTest, EachIsAFrameWhereThereAreAsMany) {
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}}, 3), Texts({"aa", "bb", "cc"}));
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .basic = {0, 0, 0}}, 3), Texts({"aa", "bb", "cc"}))
        << "whatever the table says";
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb"}}, 3), Texts({"aa", "bb"})) << "no more than there are";
    EXPECT_EQ(framesOf({.bytes = {"aa", "", "cc"}}, 3), Texts({"aa", "", "cc"}));
}

TEST(FrameFragmentsTest, AllAreTheFrameWhereThereIsOne) {
    for (const std::size_t frames : {0U, 1U}) {
        EXPECT_EQ(framesOf({.bytes = {"aa"}}, frames), Texts({"aa"}));
        EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}}, frames), Texts({"aabbcc"}));
        EXPECT_EQ(framesOf({.bytes = {}}, frames), kNone);
    }
    EXPECT_EQ(framesOf({.bytes = {}}, 2), kNone);
}

TEST(FrameFragmentsTest, TheBasicOffsetTableTells) {
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .basic = {0, 20}}, 2), Texts({"aabb", "cc"}));
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .basic = {0, 10}}, 2), Texts({"aa", "bbcc"}));
    EXPECT_EQ(framesOf({.bytes = {"aa", "", "cc", "dd"}, .basic = {0, 18, 28}}, 3), Texts({"aa", "cc", "dd"}));
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc", "dd", "ee"}, .basic = {0, 10, 30}}, 3),
              Texts({"aa", "bbcc", "ddee"}));
}

TEST(FrameFragmentsTest, TheExtendedOffsetTableTells) {
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .extended = {0, 20}}, 2), Texts({"aabb", "cc"}));
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .basic = {0, 10}, .extended = {0, 20}}, 2), Texts({"aa", "bbcc"}))
        << "behind the basic one";
    EXPECT_EQ(framesOf({.bytes = {"aa", "bb", "cc"}, .basic = {0, 12}, .extended = {0, 20}}, 2), Texts({"aabb", "cc"}))
        << "unless that is wrong";
}

TEST(FrameFragmentsTest, StartsOfCodestreamsTell) {
    EXPECT_EQ(framesOf({.bytes = kThree}, 2), kOfThree);
    const std::string file = std::string("\0\0\0\x0CjP  ", 8);
    EXPECT_EQ(framesOf({.bytes = {file, kMore, file}}, 2), Texts({file + kMore, file}));
    EXPECT_EQ(framesOf({.bytes = {kFirst, kMore, kMore, file, kMore}}, 2),
              Texts({kFirst + kMore + kMore, file + kMore}));
    EXPECT_EQ(framesOf({.bytes = {kMore, kFirst, kFirst}}, 2), kNone) << "nothing starts with the first one";
    EXPECT_EQ(framesOf({.bytes = {kFirst, kFirst, kFirst}}, 2), kNone) << "three start";
    EXPECT_EQ(framesOf({.bytes = {kFirst, kMore, kMore}}, 2), kNone) << "one starts";
    EXPECT_EQ(framesOf({.bytes = {"\xFF\x4F\xFF\x50", kMore, "\xFF\x4F"}}, 2), kNone);
}

TEST(FrameFragmentsTest, ATableThatIsWrongIsNotTaken) {
    const std::vector<std::vector<Uint32>> wrong{
        {0, 25},     // not the start of an item
        {26, 0},     // descending
        {0, 0},      // twice the same
        {14, 26},    // not from the first one on
        {0},         // too few
        {0, 14, 26}, // too many
        {0, 400},    // behind the last one
    };
    for (const auto& offsets : wrong) {
        EXPECT_EQ(framesOf({.bytes = kThree, .basic = offsets}, 2), kOfThree) << offsets.back();
        EXPECT_EQ(framesOf({.bytes = kThree, .extended = {offsets.begin(), offsets.end()}}, 2), kOfThree);
        EXPECT_EQ(framesOf({.bytes = {"aaaaaa", kMore, "cc"}, .basic = offsets}, 2), kNone) << offsets.back();
    }
    EXPECT_EQ(framesOf({.bytes = kThree, .extended = {0, 0x10000001AULL}}, 2), kOfThree) << "not in 32 bits";
    EXPECT_EQ(framesOf({.bytes = {"aaaaaa", kMore, "cc"}, .extended = {0, 0x10000001AULL}}, 2), kNone);
}

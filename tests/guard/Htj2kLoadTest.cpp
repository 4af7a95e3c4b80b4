// Files of HTJ2K, whose transfer syntaxes DCMTK does not know, are loaded as those of JPEG 2000.

#include <gtest/gtest.h>

#include <filesystem>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "guard/GuardedLoad.h"
#include "guard/TransferSyntaxes.h"
#include "guard/pixels/EncodedPixels.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/Jpeg2000Parts.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::loadGuarded;

namespace {

const std::string kUid = "1.2.840.10008.1.2.4.20"; // and one more digit

std::string evenText(std::string text, char filling) {
    text.append(text.size() % 2, filling);
    return text;
}

std::string pixelElement(const std::string& stream) {
    return kExplicitForm.header(0x7FE00010, "OB", kUndefined) + kExplicitForm.item(0xFFFEE000, 0) +
           kExplicitForm.item(0xFFFEE000, static_cast<std::uint32_t>(stream.size())) + stream +
           kExplicitForm.item(0xFFFEE0DD, 0);
}

/// A name in front of the pixels and a text behind them.
std::string datasetWith(const std::string& stream) {
    return kExplicitForm.element(0x00100010, "PN", "Doe^Jane") + pixelElement(stream) +
           kExplicitForm.element(0xFFFCFFFC, "OB", "ab");
}

std::string datasetOf() { return datasetWith(htj2kStream()); }

class Htj2kLoads : public testing::Test {
  protected:
    std::string write(const std::string& bytes) {
        return folder.write("file" + std::to_string(++mFiles) + ".dcm", bytes);
    }
    /// The bytes of the only fragment; a reason where there is none.
    std::string fragmentOf(const std::string& path) {
        DcmFileFormat file;
        if (const auto failure = loadGuarded(file, path)) {
            return failure->reason;
        }
        return fragmentIn(*file.getDataset());
    }
    static std::string fragmentIn(DcmDataset& dataset) {
        DcmPixelData* pixels = radvex::pixelDataOf(dataset);
        DcmPixelSequence* fragments = pixels == nullptr ? nullptr : radvex::currentFragments(*pixels);
        DcmPixelItem* fragment = nullptr;
        Uint8* bytes = nullptr;
        if (fragments == nullptr || fragments->getItem(fragment, 1).bad() || fragment->getUint8Array(bytes).bad()) {
            return "no fragment";
        }
        return {reinterpret_cast<const char*>(bytes), fragment->getLength()};
    }

    TemporaryFolder folder;

  private:
    int mFiles = 0;
};

} // namespace

TEST_F(Htj2kLoads, PixelsAreFragments) {
    for (const std::string digit : {"1", "2", "3"}) {
        DcmFileFormat file;
        ASSERT_EQ(loadGuarded(file, write(withMeta(kUid + digit, datasetOf()))), std::nullopt);
        EXPECT_EQ(file.getDataset()->getOriginalXfer(), digit == "3" ? EXS_JPEG2000 : EXS_JPEG2000LosslessOnly);
        EXPECT_EQ(fragmentIn(*file.getDataset()), htj2kStream());
        EXPECT_EQ(textOf(*file.getDataset(), DcmTagKey(0x0010, 0x0010)), "Doe^Jane");
        EXPECT_TRUE(file.getDataset()->tagExists(DcmTagKey(0xFFFC, 0xFFFC))) << "behind the pixels";
        EXPECT_EQ(textOf(*file.getMetaInfo(), DCM_TransferSyntaxUID), kUid + digit);
    }
}

TEST_F(Htj2kLoads, NeighbouringIdentifiersAreUnknownAsBefore) {
    for (const std::string digit : {"0", "4"}) {
        const auto path = write(withMeta(kUid + digit, datasetOf()));
        DcmFileFormat ours;
        DcmFileFormat theirs;
        ASSERT_EQ(loadGuarded(ours, path).has_value(), theirs.loadFile(path.c_str()).bad());
        EXPECT_EQ(ours.getDataset()->getOriginalXfer(), theirs.getDataset()->getOriginalXfer());
        EXPECT_EQ(ours.getDataset()->card(), theirs.getDataset()->card());
    }
}

TEST_F(Htj2kLoads, TheIdentifierMayBePaddedAndTheMetaInformationOdd) {
    const std::string uid = kUid + "1";
    const std::string expected = htj2kStream();
    const auto meta = [](const std::string& elements, bool hasLength) {
        const auto length = kExplicitForm.number32(static_cast<std::uint32_t>(elements.size()));
        return std::string(128, '\0') + "DICM" +
               (hasLength ? kExplicitForm.element(0x00020000, "UL", length) : std::string()) + elements;
    };
    const std::string zero = kExplicitForm.element(0x00020010, "UI", evenText(uid, '\0'));
    const std::string space = kExplicitForm.element(0x00020010, "UI", evenText(uid, ' '));
    EXPECT_EQ(fragmentOf(write(meta(zero, true) + datasetOf())), expected);
    EXPECT_EQ(fragmentOf(write(meta(space, true) + datasetOf())), expected);
    EXPECT_EQ(fragmentOf(write(meta(zero, false) + datasetOf())), expected) << "no length of the group";
    const std::string version = kExplicitForm.element(0x00020001, "OB", std::string("\0\1", 2));
    const std::string title = kExplicitForm.element(0x00020016, "AE", "SENDER");
    EXPECT_EQ(fragmentOf(write(meta(version + zero + title, true) + datasetOf())), expected);
    EXPECT_EQ(fragmentOf(write(meta(version + zero + title, false) + datasetOf())), expected);
}

TEST_F(Htj2kLoads, ThePreambleMayBeMissing) {
    const std::string whole = withMeta(kUid + "2", datasetOf());
    EXPECT_EQ(fragmentOf(write(whole)), htj2kStream());
    EXPECT_EQ(fragmentOf(write(whole.substr(132))), htj2kStream());
}

// As DCMTK loads other encapsulated pixels without meta information.
TEST_F(Htj2kLoads, WithoutMetaInformationItIsLoadedAsBefore) {
    const auto path = write(datasetOf());
    DcmFileFormat ours;
    DcmFileFormat theirs;
    ASSERT_EQ(loadGuarded(ours, path).has_value(), theirs.loadFile(path.c_str()).bad());
    EXPECT_EQ(ours.getDataset()->getOriginalXfer(), theirs.getDataset()->getOriginalXfer());
    EXPECT_EQ(fragmentIn(*ours.getDataset()), fragmentIn(*theirs.getDataset()));
}

TEST_F(Htj2kLoads, OtherFilesAreLoadedAsBefore) {
    for (const std::string uid : {kExplicit, kImplicit, kBigEndian, kJpeg, kDeflated}) {
        const Form form = uid == kImplicit ? kImplicitForm : uid == kBigEndian ? kBigEndianForm : kExplicitForm;
        const std::string name = form.element(0x00100010, "PN", "Doe^Jane");
        const std::string bytes = withMeta(uid, uid == kDeflated ? deflated(name) : name);
        DcmFileFormat ours;
        DcmFileFormat theirs;
        const auto path = write(bytes);
        ASSERT_EQ(loadGuarded(ours, path), std::nullopt);
        ASSERT_TRUE(theirs.loadFile(path.c_str()).good());
        EXPECT_EQ(ours.getDataset()->getOriginalXfer(), theirs.getDataset()->getOriginalXfer()) << uid;
        EXPECT_EQ(textOf(*ours.getDataset(), DcmTagKey(0x0010, 0x0010)), "Doe^Jane");
    }
}

TEST_F(Htj2kLoads, ACutFileGivesWhatACutFileOfJpeg2000Gives) {
    const std::string ht = withMeta(kUid + "1", datasetOf());
    const std::string other = withMeta("1.2.840.10008.1.2.4.90", datasetOf());
    const std::size_t start = ht.size() - datasetOf().size();
    for (std::size_t left = 0; left < datasetOf().size(); ++left) {
        DcmFileFormat cut;
        DcmFileFormat usual;
        const auto failure = loadGuarded(cut, write(ht.substr(0, start + left)));
        const auto usualFailure = loadGuarded(usual, write(other.substr(0, other.size() - datasetOf().size() + left)));
        EXPECT_EQ(failure ? failure->reason : "", usualFailure ? usualFailure->reason : "") << left;
        EXPECT_EQ(cut.getDataset()->card(), usual.getDataset()->card()) << left;
    }
}

TEST_F(Htj2kLoads, TheParserIsGuarded) {
    const auto path = write(withMeta(kUid + "1", nested({}, 101)));
    DcmFileFormat file;
    const auto failure = loadGuarded(file, path);
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->isRefused);
    EXPECT_EQ(failure->reason, "sequences nested over 100 levels");
}

TEST_F(Htj2kLoads, LongFragmentsStayInTheFile) {
    const std::string stream = htj2kStream() + std::string(60000, '\0');
    DcmFileFormat file;
    const auto path = write(withMeta(kUid + "3", datasetWith(stream)));
    ASSERT_EQ(loadGuarded(file, path, 4096), std::nullopt);
    EXPECT_EQ(fragmentIn(*file.getDataset()), stream);
}

TEST(TransferSyntaxes, ThoseOfHtj2kAreJpeg2000ToDcmtk) {
    EXPECT_EQ(radvex::transferSyntaxOf(kUid + "1"), EXS_JPEG2000LosslessOnly);
    EXPECT_EQ(radvex::transferSyntaxOf(kUid + "2"), EXS_JPEG2000LosslessOnly);
    EXPECT_EQ(radvex::transferSyntaxOf(kUid + "3"), EXS_JPEG2000);
    EXPECT_EQ(radvex::transferSyntaxOf(kUid + "4"), EXS_Unknown);
    EXPECT_EQ(radvex::transferSyntaxOf(kExplicit), EXS_LittleEndianExplicit);
    EXPECT_FALSE(radvex::isHtj2k("1.2.840.10008.1.2.4.90"));
    EXPECT_FALSE(radvex::isHtj2k(kUid));
    EXPECT_FALSE(radvex::isHtj2k(kUid + "11"));
}

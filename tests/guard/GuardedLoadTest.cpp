#include "guard/GuardedLoad.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "guard/FileStream.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::loadGuarded;

namespace {

class GuardedLoads : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (folder.path() / name).string(); }
    /// A file with a short text, and pixels that stay in the file until they are asked for.
    std::string imageFile() const {
        DcmFileFormat file;
        DcmDataset& dataset = *file.getDataset();
        put(dataset, {{DCM_SOPClassUID, UID_SecondaryCaptureImageStorage},
                      {DCM_SOPInstanceUID, "1.2.3"},
                      {DCM_PatientID, "P-1"}});
        const std::vector<Uint8> pixels(60000, 7);
        dataset.putAndInsertUint8Array(DCM_PixelData, pixels.data(), pixels.size());
        EXPECT_TRUE(file.saveFile(path("image").c_str(), EXS_LittleEndianExplicit).good());
        return path("image");
    }

    TemporaryFolder folder;
};

} // namespace

TEST_F(GuardedLoads, GiveTheFileAndLeaveLongValuesInIt) {
    DcmFileFormat file;
    ASSERT_EQ(loadGuarded(file, imageFile()), std::nullopt);
    OFString text;
    EXPECT_TRUE(file.getDataset()->findAndGetOFString(DCM_PatientID, text).good());
    EXPECT_EQ(text, "P-1");
    DcmElement* pixels = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetElement(DCM_PixelData, pixels).good());
    EXPECT_FALSE(pixels->valueLoaded());
    Uint8* bytes = nullptr;
    ASSERT_TRUE(pixels->getUint8Array(bytes).good());
    EXPECT_EQ(std::vector<Uint8>(bytes, bytes + pixels->getLength()), std::vector<Uint8>(60000, 7));
}

TEST_F(GuardedLoads, SayWhatDcmtkSaysOfAFileThatIsNotThere) {
    DcmFileFormat ours;
    DcmFileFormat theirs;
    const auto failure = loadGuarded(ours, path("none"));
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason, theirs.loadFile(path("none").c_str()).text());
    EXPECT_FALSE(failure->isRefused);
}

TEST_F(GuardedLoads, RefuseWhatWouldExhaustTheParser) {
    std::ofstream(path("deep"), std::ios::binary) << withMeta(kExplicit, nested({}, 101));
    DcmFileFormat file;
    const auto failure = loadGuarded(file, path("deep"));
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->isRefused);
    EXPECT_EQ(failure->reason, "sequences nested over 100 levels");
    EXPECT_EQ(file.getDataset()->card(), 0U);
}

TEST_F(GuardedLoads, TakeOfABrokenDeflatedStreamWhatDcmtkTakes) {
    std::string dataset;
    for (std::uint32_t number = 0x30; number < 0x50; ++number) {
        dataset += kExplicitForm.header(0x00100000 + number, "LO", 20) + "some text of a value";
    }
    const std::string whole = withMeta(kDeflated, deflated(dataset));
    const std::size_t start = withMeta(kDeflated, "").size();
    int taken = 0;
    for (std::size_t offset = start; offset < whole.size(); ++offset) {
        for (const char bits : {'\x01', '\x10', '\xFF'}) {
            std::string broken = whole;
            broken[offset] = static_cast<char>(broken[offset] ^ bits);
            std::ofstream(path("broken"), std::ios::binary) << broken;
            DcmFileFormat ours;
            DcmFileFormat theirs;
            const bool isTaken = theirs.loadFile(path("broken").c_str()).good();
            const auto failure = loadGuarded(ours, path("broken"));
            EXPECT_EQ(!failure, isTaken) << offset << ' ' << (failure ? failure->reason : "");
            if (isTaken) {
                EXPECT_EQ(ours.getDataset()->card(), theirs.getDataset()->card()) << offset;
                taken += theirs.getDataset()->card() < 32 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(taken, 0) << "a part of the elements";
}

// With DCMTK's own stream this never ended.
TEST_F(GuardedLoads, EndWhenAReadFailsAtAnyOffset) {
    const std::string whole = imageFile();
    for (const std::uintmax_t left : {0U, 10U, 131U, 140U, 300U, 400U, 420U, 20000U}) {
        std::filesystem::copy_file(whole, path("cut"), std::filesystem::copy_options::overwrite_existing);
        radvex::OpenFile source(path("cut"));
        std::filesystem::resize_file(path("cut"), left);
        radvex::FileStream stream(source);
        DcmFileFormat file;
        file.transferInit();
        (void)file.read(stream, EXS_Unknown, EGL_noChange, 100000);
        file.transferEnd();
        EXPECT_TRUE(stream.status().bad()) << left;
    }
}

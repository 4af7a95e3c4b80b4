// Compressed files that promise more frames than they hold: a decoder gives the others wrong numbers.

#include <filesystem>

#include "tests/cli/Commands.h"
#include "tests/support/Jpeg2000Streams.h"

using namespace radvex::test;

namespace {

class MissingFrames : public testing::Test {
  protected:
    static std::string frame() {
        const std::string stream = jpeg2000Stream(jpeg2000Picture(8, 8));
        return stream + std::string(stream.size() % 2, '\0');
    }
    /// Frames of 8 x 8 pixels, one in each fragment.
    std::string write(const std::string& name, const std::string& frames, std::size_t fragments) {
        return write(name, frames, std::vector<std::string>(fragments, frame()));
    }
    std::string write(const std::string& name, const std::string& frames, const std::vector<std::string>& fragments) {
        std::filesystem::create_directories(std::filesystem::path(mFolder.file(name)).parent_path());
        return writeImageFile(mFolder.file(name),
                              {.rows = 8,
                               .columns = 8,
                               .bitsAllocated = 8,
                               .bitsStored = 8,
                               .frames = frames,
                               .more =
                                   [&](DcmDataset& dataset) {
                                       put(dataset, {{DCM_SOPInstanceUID, "1.2.5." + std::to_string(++mFiles)},
                                                     {DCM_StudyInstanceUID, "1.2.3"},
                                                     {DCM_SeriesInstanceUID, "1.2.4"},
                                                     {DCM_PatientID, "P"}});
                                       putFragments(dataset, EXS_JPEG2000LosslessOnly, fragments);
                                   }},
                              EXS_JPEG2000LosslessOnly);
    }

    std::vector<Words> readings(const std::string& path) {
        const std::string out = mFolder.file("out.png");
        return {{"data", path},
                {"data", "--rendered", path},
                {"data", "--pixel", "1,1", "--frame", "2", path},
                {"image", path, "-o", out, "--sheet", "--force"},
                {"image", "--frame", "1", path, "-o", out, "--force"}};
    }

    TemporaryFolder mFolder{};
    int mFiles = 0;
};

} // namespace

TEST_F(MissingFrames, AreSaidInsteadOfTheOthers) {
    const std::string path = write("S/lost.dcm", "3", 2);
    for (const Words& words : readings(path)) {
        EXPECT_THAT(runRadvex(words),
                    exitsSaying(1, HasSubstr("lost.dcm holds 2 of the 3 frames that its attributes promise.")))
            << testing::PrintToString(words);
    }
    const std::string folder = mFolder.file("S");
    EXPECT_THAT(runRadvex({"series", folder, "-o", mFolder.file("pictures")}),
                exitsSaying(1, HasSubstr("It holds 2 of the 3 frames that its attributes promise.")));
    EXPECT_THAT(runRadvex({"volume", folder, "-o", mFolder.file("v.npy")}),
                exitsSaying(1, HasSubstr("holds fewer pixels than its attributes promise")));
}

TEST_F(MissingFrames, AreNoneWhereEachHasItsFragments) {
    for (const std::string& path : {write("two.dcm", "2", 2), write("three.dcm", "3", 3)}) {
        for (const Words& words : readings(path)) {
            EXPECT_EQ(runRadvex(words).status, 0) << testing::PrintToString(words);
        }
    }
    const std::string stream = frame();
    const std::string halves = write("halves.dcm", "1", {stream.substr(0, 60), stream.substr(60)});
    EXPECT_EQ(runRadvex({"data", halves}).status, 0) << "one frame in two fragments";
    const std::string single = write("single.dcm", "", 1);
    EXPECT_EQ(runRadvex({"data", single}).status, 0) << "NumberOfFrames may be absent";
    EXPECT_EQ(runRadvex({"series", mFolder.path(), "-o", mFolder.file("pictures")}).status, 0);
}

TEST_F(MissingFrames, OfACutFileAreLeftOutOnRequest) {
    std::string bytes = readFile(write("whole.dcm", "3", 3));
    const std::string cut = mFolder.write("cut.dcm", bytes.substr(0, bytes.size() - 20));
    EXPECT_EQ(runRadvex({"data", cut}).status, 1);
    EXPECT_EQ(runRadvex({"data", "--partial", cut}).status, 3);
}

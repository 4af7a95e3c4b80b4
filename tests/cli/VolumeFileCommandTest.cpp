// `radvex volume FILE`: the frames of one file as the slices of a volume.

#include <cstring>
#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class VolumeOfFile : public testing::Test {
  protected:
    /// An enhanced file of 1 x 2 pixels in each frame, stored from the head to the feet.
    static ImageFile enhanced(const std::vector<double>& heights) {
        ImageFile file{.rows = 1, .columns = 2, .frames = std::to_string(heights.size()), .words = {}};
        for (std::size_t frame = 0; frame < heights.size(); ++frame) {
            file.words.insert(file.words.end(), 2, static_cast<Uint16>(frame + 1));
        }
        file.more = [heights](DcmDataset& dataset) {
            DcmItem& shared = addItem(dataset, DCM_SharedFunctionalGroupsSequence);
            put(addItem(shared, DCM_PlaneOrientationSequence), {{DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"}});
            put(addItem(shared, DCM_PixelMeasuresSequence), {{DCM_PixelSpacing, "1\\1"}});
            put(addItem(shared, DCM_PixelValueTransformationSequence),
                {{DCM_RescaleSlope, "1"}, {DCM_RescaleIntercept, "-10"}, {DCM_RescaleType, "HU"}});
            for (const double height : heights) {
                DcmItem& frame = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
                put(addItem(frame, DCM_PlanePositionSequence),
                    {{DCM_ImagePositionPatient, "0\\0\\" + std::to_string(height)}});
            }
        };
        return file;
    }
    std::string write(const ImageFile& file, const std::string& name = "f.dcm") {
        return writeImageFile(mFolder.file(name), file);
    }
    ProcessResult run(const std::string& file, const Words& more = {}) {
        std::filesystem::remove(mFolder.file("out.nrrd")); // of an earlier run
        return runRadvex(joined({"volume", file, "-o", mFolder.file("out.nrrd")}, more));
    }
    bool isWritten() const { return std::filesystem::exists(mFolder.file("out.nrrd")); }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_F(VolumeOfFile, FramesWithPositionsAreSlices) {
    const std::string file = write(enhanced({6, 3, 0}));
    const ProcessResult done = run(file, {"--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    const Json volume = Json::parse(done.output)[0];
    EXPECT_EQ(volume["shape"], Json({3, 1, 2}));
    EXPECT_EQ(volume["unit"], "HU");
    EXPECT_EQ(volume["geometry"]["hasPosition"], true);
    EXPECT_EQ(volume["slices"].size(), 3);
    EXPECT_THAT(std::string(volume["slices"][0]), StartsWith(file + " frame "));
    const std::string bytes = readFile(mFolder.file("out.nrrd"));
    std::int16_t samples[6];
    std::memcpy(samples, bytes.data() + bytes.size() - sizeof samples, sizeof samples);
    EXPECT_EQ(std::abs(samples[0] - samples[4]), 2) << "from one end to the other";
    EXPECT_EQ(samples[2], 2 - 10);
}

TEST_F(VolumeOfFile, AVolumeOfOneFileIsThatOfAFolderWithIt) {
    ImageFile file = enhanced({0, 2, 4});
    const Fill before = file.more;
    file.more = [before](DcmDataset& dataset) {
        before(dataset);
        put(dataset, {{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}, {DCM_PatientID, "P"}});
    };
    const std::string path = write(file);
    ASSERT_EQ(run(path).status, 0);
    const std::string alone = readFile(mFolder.file("out.nrrd"));
    TemporaryFolder folder;
    std::filesystem::copy(path, folder.file("f.dcm"));
    ASSERT_EQ(run(folder.path().string()).status, 0);
    EXPECT_EQ(readFile(mFolder.file("out.nrrd")), alone);
}

TEST_F(VolumeOfFile, FramesThatNothingPlacesAreNoSlicesUnlessForced) {
    const std::string file = write({.rows = 1, .columns = 2, .frames = "3", .words = {1, 2, 3, 4, 5, 6}});
    EXPECT_THAT(run(file), exitsSaying(1, HasSubstr("nothing says where its 3 frames lie in the patient")));
    EXPECT_FALSE(isWritten());
    EXPECT_EQ(run(file, {"--force"}).status, 0);
    EXPECT_TRUE(isWritten());
}

TEST_F(VolumeOfFile, ASingleFrameIsAVolumeOfOneSlice) {
    const std::string file = write({.rows = 1, .columns = 2, .words = {1, 2}});
    const ProcessResult done = run(file, {"--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["shape"], Json({1, 1, 2}));
}

TEST_F(VolumeOfFile, WhatIsNoPictureIsRefusedWithItsName) {
    const std::string text = mFolder.write("notes.txt", "not DICOM");
    EXPECT_THAT(run(text), exitsSaying(1, HasSubstr(text)));
    const std::string empty = writeDicom(mFolder.file("report.dcm"), {});
    EXPECT_THAT(run(empty), exitsSaying(1, HasSubstr("holds no pictures")));
    EXPECT_THAT(run(mFolder.file("none.dcm")), exitsSaying(1, HasSubstr("does not exist")));
    EXPECT_FALSE(isWritten());
}

TEST_F(VolumeOfFile, PatternsChooseAmongSeveralFilesOnly) {
    const std::string file = write({.rows = 1, .columns = 2, .words = {1, 2}});
    EXPECT_THAT(run(file, {"--series", "1.2"}), exitsSaying(2, HasSubstr(file + " is one file.")));
}

TEST_F(VolumeOfFile, AFileThatPromisesMoreFramesThanItHoldsIsNotWritten) {
    ImageFile file = enhanced({0, 2, 4});
    file.words.resize(2);
    const ProcessResult done = run(write(file));
    EXPECT_EQ(done.status, 1);
    EXPECT_FALSE(isWritten()) << done.errors;
}

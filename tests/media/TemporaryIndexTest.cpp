#include "media/TemporaryIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "files/Errors.h"
#include "tests/support/HostTest.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Results.h"

using namespace radvex::test;
using radvex::FileError;
using radvex::media::TemporaryIndex;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

void writeInstance(const std::string& path) {
    writeDicom(path, with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}}));
}

} // namespace

TEST(TemporaryIndex, GoesAwayWithItsFolder) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a slice.dcm"));
    fs::path staging;
    {
        const TemporaryIndex index(folder.path().string());
        EXPECT_TRUE(fs::is_regular_file(index.dicomdir()));
        staging = fs::path(index.dicomdir()).parent_path();
        EXPECT_EQ(readFile((staging / "I0000000").string()), readFile(folder.file("a slice.dcm")));
        EXPECT_EQ(fs::status(staging).permissions(), fs::perms::owner_all) << "nobody else looks in";
    }
    EXPECT_FALSE(fs::exists(staging));
    EXPECT_TRUE(fs::exists(folder.file("a slice.dcm"))) << "the links go, not what they lead to";
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1) << "nothing is written into the folder";
}

TEST(TemporaryIndex, PathsOfTheIndexAreTheUsersAgain) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    fs::create_directory(folder.file("sub"));
    writeInstance(folder.file("sub/b.dcm"));
    const TemporaryIndex index(folder.path().string());
    const std::string staging = fs::path(index.dicomdir()).parent_path().string();
    EXPECT_EQ(index.userPath(staging + "/I0000001"), folder.file("sub/b.dcm"));
    EXPECT_EQ(index.userPath(index.dicomdir()), folder.path());
    EXPECT_EQ(index.userPath("/elsewhere/I0000001"), "/elsewhere/I0000001");
    EXPECT_EQ(index.userPath(staging + "/I0000009"), staging + "/I0000009");
    EXPECT_EQ(index.userText("Bad: " + staging + "/I0000000 and " + staging + "/I0000001."),
              "Bad: " + folder.file("a.dcm") + " and " + folder.file("sub/b.dcm") + ".");
    EXPECT_EQ(index.userText(index.dicomdir() + " is bad"), folder.path().string() + " is bad");
    EXPECT_EQ(index.userText("in " + staging), "in " + folder.path().string());
}

using IndexWithLibrary = LibraryTest;

TEST_F(IndexWithLibrary, TheLibraryReadsThroughTheLinksInTheSameProcess) {
    writeInstance(folder.file("a.dcm"));
    const TemporaryIndex index(folder.path().string());
    const std::string link = (fs::path(index.dicomdir()).parent_path() / "I0000000").string();
    const auto read = call("ReadMetadata", {link, velmora::Store::ofTexts({"SeriesInstanceUID"}), false});
    EXPECT_EQ(textOf(std::get<velmora::Store>(read).view(), "SeriesInstanceUID"), "1.2.3");
    call("CloseReader", {link});
    fs::remove(folder.file("a.dcm"));
    EXPECT_EQ(index.userText(messageOf("GetFrameCount", {link})),
              "Error when opening file " + folder.file("a.dcm") + ": No such file or directory.");
}

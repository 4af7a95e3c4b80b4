#include "media/Medium.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "files/Errors.h"
#include "media/FolderIndex.h"
#include "tests/support/HostTest.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Results.h"

using namespace radvex::test;
using radvex::FileError;
using radvex::UsageError;
using radvex::media::Medium;
using radvex::media::whatIsLeftOut;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

void writeInstance(const std::string& path) {
    writeDicom(path, with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}}));
}

template <typename Error>
std::string messageOf(const std::string& path) {
    try {
        const Medium medium(path);
        return "(none)";
    } catch (const Error& error) {
        return error.what();
    }
}

} // namespace

TEST(Medium, AFileOfThatNameIsTakenAsItIs) {
    const TemporaryFolder folder;
    for (const char* name : {"DICOMDIR", "dicomdir", "copy of DICOMDIR"}) {
        const Medium medium(folder.write(name, "anything: the library reads it"));
        EXPECT_EQ(medium.dicomdir(), folder.file(name));
        EXPECT_FALSE(medium.isIndexed());
        EXPECT_EQ(medium.userPath("/a/b"), "/a/b");
        EXPECT_EQ(medium.userText("at /a/b"), "at /a/b");
    }
    EXPECT_EQ(Medium("/nowhere/DICOMDIR").dicomdir(), "/nowhere/DICOMDIR") << "the library says that it is missing";
}

TEST(Medium, AFolderGivesTheDicomdirInIt) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    folder.write("dicomdir", "");
    EXPECT_EQ(Medium(folder.path().string()).dicomdir(), folder.file("dicomdir"));
    folder.write("DICOMDIR", "");
    EXPECT_EQ(Medium(folder.path().string()).dicomdir(), folder.file("DICOMDIR"));
}

TEST(Medium, APlainFolderIsIndexedIntoAFolderThatGoesAway) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a slice.dcm"));
    fs::path indexFolder;
    {
        const Medium medium(folder.path().string());
        EXPECT_TRUE(medium.isIndexed());
        EXPECT_TRUE(fs::is_regular_file(medium.dicomdir()));
        indexFolder = fs::path(medium.dicomdir()).parent_path();
        EXPECT_EQ(readFile((indexFolder / "I0000000").string()), readFile(folder.file("a slice.dcm")));
        EXPECT_EQ(fs::status(indexFolder).permissions(), fs::perms::owner_all) << "nobody else looks in";
    }
    EXPECT_FALSE(fs::exists(indexFolder));
    EXPECT_TRUE(fs::exists(folder.file("a slice.dcm"))) << "the links go, not what they lead to";
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1) << "nothing is written into the folder";
}

TEST(Medium, PathsOfTheIndexAreTheUsersAgain) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    fs::create_directory(folder.file("sub"));
    writeInstance(folder.file("sub/b.dcm"));
    const Medium medium(folder.path().string());
    const std::string indexFolder = fs::path(medium.dicomdir()).parent_path().string();
    EXPECT_EQ(medium.userPath(indexFolder + "/I0000001"), folder.file("sub/b.dcm"));
    EXPECT_EQ(medium.userPath(medium.dicomdir()), folder.path());
    EXPECT_EQ(medium.userPath("/elsewhere/I0000001"), "/elsewhere/I0000001");
    EXPECT_EQ(medium.userPath(indexFolder + "/I0000009"), indexFolder + "/I0000009");
    EXPECT_EQ(medium.userText("Bad: " + indexFolder + "/I0000000 and " + indexFolder + "/I0000001."),
              "Bad: " + folder.file("a.dcm") + " and " + folder.file("sub/b.dcm") + ".");
    EXPECT_EQ(medium.userText(medium.dicomdir() + " is bad"), folder.path().string() + " is bad");
    EXPECT_EQ(medium.userText("in " + indexFolder), "in " + folder.path().string());
}

using MediumWithLibrary = LibraryTest;

TEST_F(MediumWithLibrary, TheLibraryReadsThroughTheLinksInTheSameProcess) {
    writeInstance(folder.file("a.dcm"));
    const Medium medium(folder.path().string());
    const std::string link = (fs::path(medium.dicomdir()).parent_path() / "I0000000").string();
    const auto read = call("ReadMetadata", {link, velmora::Store::ofTexts({"SeriesInstanceUID"}), false});
    EXPECT_EQ(textOf(std::get<velmora::Store>(read).view(), "SeriesInstanceUID"), "1.2.3");
    call("CloseReader", {link});
    fs::remove(folder.file("a.dcm"));
    EXPECT_EQ(medium.userText(messageOf("GetFrameCount", {link})),
              "Error when opening file " + folder.file("a.dcm") + ": No such file or directory.");
}

TEST(Medium, WhatWasLeftOutIsCountedAndNamed) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    writeDicom(folder.file("b.dcm"), {});
    folder.write("notes", "text");
    const Medium medium(folder.path().string());
    EXPECT_THAT(whatIsLeftOut(medium.index()),
                testing::ElementsAre("1 file is not DICOM and was skipped.",
                                     folder.file("b.dcm") + " was not indexed: it has no StudyInstanceUID."));
}

TEST(Medium, ACleanFolderIsReportedInSilence) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    EXPECT_THAT(whatIsLeftOut(Medium(folder.path().string()).index()), testing::IsEmpty());
}

TEST(Medium, AnythingElseIsRefusedWithASentence) {
    const TemporaryFolder folder;
    const std::string file = folder.write("scan.dcm", "");
    EXPECT_THAT(messageOf<UsageError>(file), HasSubstr("Give the folder of the files, or rename it to DICOMDIR."));
    EXPECT_EQ(messageOf<FileError>("/nowhere/at/all"), "/nowhere/at/all does not exist.");
    EXPECT_EQ(messageOf<FileError>(folder.path().string()),
              folder.path().string() + " holds no DICOM file that can be indexed (0 skipped, 1 refused; " +
                  folder.file("scan.dcm") + ": it is empty).");
    std::filesystem::rename(folder.file("scan.dcm"), folder.file("scan"));
    EXPECT_EQ(messageOf<FileError>(folder.path().string()),
              folder.path().string() + " holds no DICOM file that can be indexed (1 skipped, 0 refused).")
        << "nothing says that it should be DICOM";
}

TEST(Medium, NothingStaysBehindWhenAFolderCannotBeIndexed) {
    const TemporaryFolder folder;
    const TemporaryFolder temporary;
    writeDicom(folder.file("b.dcm"), {});
    ASSERT_EQ(setenv("TMPDIR", temporary.path().c_str(), 1), 0);
    EXPECT_THAT(messageOf<FileError>(folder.path().string()),
                HasSubstr("1 refused; " + folder.file("b.dcm") + ": it has no StudyInstanceUID"));
    EXPECT_TRUE(fs::is_empty(temporary.path()));
    ASSERT_EQ(setenv("TMPDIR", "/nowhere/at/all", 1), 0);
    EXPECT_THAT(messageOf<FileError>(folder.path().string()), HasSubstr("No temporary folder can be made"));
    unsetenv("TMPDIR");
}

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
using radvex::media::sentencesOf;
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
        EXPECT_FALSE(medium.isFolder());
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

TEST(Medium, APlainFolderIsListedAndNothingIsWritten) {
    const TemporaryFolder folder;
    const TemporaryFolder temporary;
    writeInstance(folder.file("a slice.dcm"));
    const char* const former = std::getenv("TMPDIR");
    const std::string formerText = former == nullptr ? "" : former;
    setenv("TMPDIR", temporary.path().c_str(), 1);
    {
        const Medium medium(folder.path().string());
        EXPECT_TRUE(medium.isFolder());
        EXPECT_EQ(medium.dicomdir(), "");
        ASSERT_EQ(medium.listing().patients.size(), 1U);
        EXPECT_THAT(medium.listing().patients.front().studies.front().series.front().files,
                    testing::ElementsAre(folder.file("a slice.dcm")));
        EXPECT_TRUE(fs::is_empty(temporary.path())) << "names of patients would stand in it";
    }
    former == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", formerText.c_str(), 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1) << "nothing is written into the folder";
}

TEST(Medium, WhatWasLeftOutIsCountedAndNamed) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    writeDicom(folder.file("b.dcm"), {});
    folder.write("notes", "text");
    const Medium medium(folder.path().string());
    EXPECT_THAT(sentencesOf(medium.listing().leftOut),
                testing::ElementsAre("1 file is not DICOM and was skipped.",
                                     folder.file("b.dcm") + " was left out: it has no StudyInstanceUID."));
}

TEST(Medium, ACleanFolderIsReportedInSilence) {
    const TemporaryFolder folder;
    writeInstance(folder.file("a.dcm"));
    EXPECT_THAT(sentencesOf(Medium(folder.path().string()).listing().leftOut), testing::IsEmpty());
}

TEST(Medium, AnythingElseIsRefusedWithASentence) {
    const TemporaryFolder folder;
    const std::string file = folder.write("scan.dcm", "");
    EXPECT_THAT(messageOf<UsageError>(file), HasSubstr(" is a single file; a folder of files or a DICOMDIR is"));
    EXPECT_EQ(messageOf<FileError>("/nowhere/at/all"), "/nowhere/at/all does not exist.");
    EXPECT_EQ(messageOf<FileError>(folder.path().string()),
              folder.path().string() + " holds no DICOM file that can be listed (0 skipped, 1 refused; " +
                  folder.file("scan.dcm") + ": it is empty).");
    std::filesystem::rename(folder.file("scan.dcm"), folder.file("scan"));
    EXPECT_EQ(messageOf<FileError>(folder.path().string()),
              folder.path().string() + " holds no DICOM file that can be listed (1 skipped, 0 refused).")
        << "nothing says that it should be DICOM";
}

TEST(Medium, NothingStaysBehindWhenAFolderCannotBeListed) {
    const TemporaryFolder folder;
    const TemporaryFolder temporary;
    writeDicom(folder.file("b.dcm"), {});
    ASSERT_EQ(setenv("TMPDIR", temporary.path().c_str(), 1), 0);
    EXPECT_THAT(messageOf<FileError>(folder.path().string()),
                HasSubstr("1 refused; " + folder.file("b.dcm") + ": it has no StudyInstanceUID"));
    EXPECT_TRUE(fs::is_empty(temporary.path()));
    unsetenv("TMPDIR");
}

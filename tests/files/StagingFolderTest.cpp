#include "files/StagingFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>

#include "tests/support/TemporaryFolder.h"

using radvex::FileError;
using radvex::files::StagingFolder;
using radvex::files::WriteError;
using radvex::test::readFile;
using radvex::test::TemporaryFolder;

namespace {

namespace fs = std::filesystem;

void fill(const std::string& path, const std::string& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    EXPECT_EQ(std::fclose(file), 0);
}

/// 0 when it is published.
int reasonNotToPublish(const std::string& staged, const std::string& target, bool mayReplace) {
    try {
        StagingFolder::publish(staged, target, mayReplace);
        return 0;
    } catch (const WriteError& error) {
        return error.reason();
    }
}

/// A process that makes a staging folder and is killed. @return after its end
void leaveStagingFolder(const std::string& target) {
    const pid_t process = ::fork();
    if (process == 0) {
        const StagingFolder staging(target);
        fill(staging.file("half"), "half");
        (void)::raise(SIGKILL);
    }
    ASSERT_EQ(::waitpid(process, nullptr, 0), process);
}

class StagingFolderTest : public testing::Test {
  protected:
    std::ptrdiff_t count() const { return std::distance(fs::directory_iterator(folder.path()), {}); }

    TemporaryFolder folder{};
    std::string target = folder.path().string();
};

} // namespace

TEST_F(StagingFolderTest, WhatIsLeftInItGoesWithIt) {
    {
        const StagingFolder staging(target);
        EXPECT_EQ(fs::path(staging.path()).parent_path(), target);
        EXPECT_EQ(fs::status(staging.path()).permissions(), fs::perms::owner_all) << "nobody else looks in";
        fs::create_directories(staging.file("deep/er"));
        fill(staging.file("deep/er/file"), "text");
        EXPECT_EQ(count(), 1);
    }
    EXPECT_EQ(count(), 0);
}

TEST_F(StagingFolderTest, ATargetThatCannotBeWrittenIsNamed) {
    try {
        const StagingFolder staging("/nowhere/at/all");
        FAIL();
    } catch (const WriteError& error) {
        EXPECT_EQ(error.reason(), ENOENT);
        EXPECT_STREQ(error.what(), "/nowhere/at/all cannot be written: No such file or directory.");
    }
}

TEST_F(StagingFolderTest, WithoutATargetItIsAmongTheTemporaryFiles) {
    ASSERT_EQ(setenv("TMPDIR", target.c_str(), 1), 0);
    {
        const StagingFolder staging;
        EXPECT_EQ(fs::path(staging.path()).parent_path(), target);
    }
    EXPECT_EQ(count(), 0);
    ASSERT_EQ(setenv("TMPDIR", "/nowhere/at/all", 1), 0);
    EXPECT_THROW(StagingFolder(), FileError);
    unsetenv("TMPDIR");
}

TEST_F(StagingFolderTest, AFinishedFileGetsItsName) {
    const StagingFolder staging(target);
    fill(staging.file("a"), "text");
    EXPECT_EQ(reasonNotToPublish(staging.file("a"), folder.file("b"), false), 0);
    EXPECT_EQ(readFile(folder.file("b")), "text");
    EXPECT_FALSE(fs::exists(staging.file("a")));
    EXPECT_EQ(reasonNotToPublish(staging.file("a"), folder.file("c"), true), ENOENT);
}

TEST_F(StagingFolderTest, AFileIsReplacedOnlyWhereItMayBe) {
    const StagingFolder staging(target);
    folder.write("there", "old");
    fs::create_symlink("nowhere", folder.file("link"));
    fill(staging.file("new"), "new");
    EXPECT_EQ(reasonNotToPublish(staging.file("new"), folder.file("there"), false), EEXIST);
    EXPECT_EQ(reasonNotToPublish(staging.file("new"), folder.file("link"), false), EEXIST) << "leads nowhere";
    EXPECT_EQ(readFile(folder.file("there")), "old");
    EXPECT_EQ(reasonNotToPublish(staging.file("new"), folder.file("there"), true), 0);
    EXPECT_EQ(readFile(folder.file("there")), "new");
}

TEST_F(StagingFolderTest, WhatIsNoFileIsNeverReplaced) {
    const StagingFolder staging(target);
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", folder.file("link"));
    fill(staging.file("new"), "new");
    for (const char* name : {"pipe", "link"}) {
        for (const bool mayReplace : {false, true}) {
            EXPECT_THROW(StagingFolder::publish(staging.file("new"), folder.file(name), mayReplace), FileError);
            EXPECT_TRUE(fs::is_fifo(folder.file(name)));
        }
    }
}

TEST_F(StagingFolderTest, OneThatIsInUseIsNoLeftover) {
    const StagingFolder staging(target);
    StagingFolder::removeLeftovers(target);
    EXPECT_TRUE(fs::exists(staging.path()));
}

TEST_F(StagingFolderTest, WhatAKilledProcessLeftIsRemovedAndNothingElse) {
    folder.write(".radvex-aaaaaa", "a file");
    fs::create_directory(folder.file(".radvex-longer-name"));
    fs::create_directory(folder.file("other"));
    fs::create_directory_symlink(folder.file("other"), folder.file(".radvex-bbbbbb"));
    leaveStagingFolder(target);
    ASSERT_EQ(count(), 5);
    StagingFolder::removeLeftovers(target);
    EXPECT_EQ(count(), 4);
    StagingFolder::removeLeftovers("/nowhere/at/all");
}

TEST_F(StagingFolderTest, AProcessThatLeftItToItsOwnerDoesNotHoldIt) {
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const pid_t owner = ::fork();
    if (owner == 0) {
        StagingFolder staging(target);
        const pid_t child = ::fork();
        if (child == 0) {
            staging.leaveToOwner();
            (void)!::write(pipe[1], &child, sizeof child);
            ::pause(); // outlives its owner
        }
        (void)!::write(pipe[1], &child, sizeof child);
        ::pause();
    }
    pid_t child = 0;
    for (int got = 0; got < 2; ++got) {
        pid_t told = 0;
        ASSERT_EQ(::read(pipe[0], &told, sizeof told), static_cast<ssize_t>(sizeof told));
        child = told != 0 ? told : child;
    }
    StagingFolder::removeLeftovers(target);
    EXPECT_EQ(count(), 1) << "its owner holds it";
    ASSERT_EQ(::kill(owner, SIGKILL), 0);
    ASSERT_EQ(::waitpid(owner, nullptr, 0), owner);
    StagingFolder::removeLeftovers(target);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(::kill(child, SIGKILL), 0);
    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST_F(StagingFolderTest, OneThatIsMadeWhileLeftoversAreRemovedIsThere) {
    const pid_t remover = ::fork();
    if (remover == 0) {
        for (;;) {
            StagingFolder::removeLeftovers(target);
        }
    }
    for (int round = 0; round < 2000; ++round) {
        const StagingFolder staging(target);
        ASSERT_TRUE(fs::exists(staging.path())) << round;
    }
    EXPECT_EQ(::kill(remover, SIGKILL), 0);
    EXPECT_EQ(::waitpid(remover, nullptr, 0), remover);
}

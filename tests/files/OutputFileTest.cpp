#include "files/OutputFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "files/Errors.h"
#include "tests/support/TemporaryFolder.h"

using radvex::FileError;
using radvex::files::Existing;
using radvex::files::writeOutputFile;
using radvex::files::writeOutputPath;
using radvex::test::readFile;
using radvex::test::TemporaryFolder;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

using WriteFile = std::function<bool(std::FILE*)>;

WriteFile text(const std::string& bytes) {
    return [=](std::FILE* file) { return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(); };
}

void writePath(const std::string& path, const std::string& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(text(bytes)(file));
    EXPECT_EQ(std::fclose(file), 0);
}

template <typename Body>
std::string reasonNotToWrite(const Body& body) {
    try {
        body();
        return "(none)";
    } catch (const FileError& error) {
        return error.what();
    }
}

std::ptrdiff_t countIn(const TemporaryFolder& folder) {
    return std::distance(fs::directory_iterator(folder.path()), {});
}

/// Runs something in a process of its own whose standard output is a file. Its sentence goes to the file `said`.
/// @return its exit status: 1 after a FileError
template <typename Body>
int inAnotherProcess(const std::string& standardOutput, const std::string& said, const Body& body) {
    (void)std::fflush(stdout);
    const pid_t process = ::fork();
    if (process == 0) {
        const int out = ::open(standardOutput.c_str(), O_WRONLY | O_CREAT, 0600);
        (void)::dup2(out, STDOUT_FILENO);
        const std::string reason = reasonNotToWrite(body);
        const int errors = ::open(said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        (void)!::write(errors, reason.data(), reason.size());
        ::_exit(reason == "(none)" ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Files of this process may have 64 KiB, as on a disk that is nearly full.
void limitFiles() {
    (void)std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{65536, 65536};
    (void)::setrlimit(RLIMIT_FSIZE, &limit);
}

} // namespace

TEST(OutputFile, AFileIsWrittenOrReplaced) {
    const TemporaryFolder folder;
    const std::string path = folder.file("file");
    for (const char* bytes : {"first", "second"}) {
        writeOutputFile({path, Existing::MayBeReplaced}, text(bytes));
        EXPECT_EQ(readFile(path), bytes);
        writeOutputPath({path, Existing::MayBeReplaced},
                        [&](const std::string& temporary) { writePath(temporary, std::string(bytes) + '!'); });
        EXPECT_EQ(readFile(path), std::string(bytes) + '!');
    }
    EXPECT_EQ(countIn(folder), 1) << "nothing is left beside it";
}

TEST(OutputFile, WhatIsThereStaysUnlessItMayBeReplaced) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "precious");
    fs::create_symlink("nowhere", folder.file("link"));
    for (const std::string& taken : {path, folder.file("link")}) {
        EXPECT_EQ(reasonNotToWrite([&] { writeOutputFile(taken, text("new")); }),
                  taken + " exists already; --force replaces it.");
        const auto late = [&] { // made while the new one is written
            writeOutputPath(folder.file("late"), [&](const std::string& temporary) {
                writePath(temporary, "new");
                folder.write("late", "precious");
            });
        };
        EXPECT_EQ(reasonNotToWrite(late), folder.file("late") + " exists already; --force replaces it.");
    }
    EXPECT_EQ(readFile(path), "precious");
    EXPECT_EQ(readFile(folder.file("late")), "precious");
    EXPECT_EQ(countIn(folder), 3) << "nothing is left beside them";
}

TEST(OutputFile, ANewFileHasWhatTheMaskLeaves) {
    const TemporaryFolder folder;
    const mode_t before = umask(0027);
    writeOutputFile(folder.file("a"), text("a"));
    writeOutputPath(folder.file("b"), [](const std::string& temporary) { writePath(temporary, "b"); });
    umask(before);
    for (const char* name : {"a", "b"}) {
        EXPECT_EQ(fs::status(folder.file(name)).permissions(), static_cast<fs::perms>(0640));
    }
}

TEST(OutputFile, AFullDiskIsToldForAWriterThatDoesNotKnowIt) {
    const TemporaryFolder folder;
    const std::string path = folder.file("file");
    const auto giveUpAfter = [&](std::size_t length) {
        writeOutputPath(path, [&](const std::string& temporary) {
            writePath(temporary, std::string(length, 'x'));
            throw FileError("End of stream.");
        });
    };
    const std::string said = folder.file("said");
    const auto nearlyFull = [&](std::size_t length) {
        return inAnotherProcess(folder.file("out"), said, [&] {
            limitFiles();
            giveUpAfter(length);
        });
    };
    EXPECT_EQ(nearlyFull(65536), 1);
    EXPECT_EQ(readFile(said), path + " cannot be written: File too large.");
    EXPECT_EQ(reasonNotToWrite([&] { giveUpAfter(65536); }), "End of stream.") << "there is room";
    EXPECT_EQ(reasonNotToWrite([&] { giveUpAfter(0); }), "End of stream.");
    EXPECT_FALSE(fs::exists(path));
}

TEST(OutputFile, AFailureLeavesWhatWasThere) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "precious");
    const auto fail = [](std::FILE* file) { return text("half")(file) && false; };
    EXPECT_EQ(reasonNotToWrite([&] {
                  writeOutputFile({path, Existing::MayBeReplaced}, fail);
              }),
              path + " cannot be written: Input/output error.");
    const auto stop = [](const std::string& temporary) {
        writePath(temporary, "half");
        throw std::runtime_error("stopped");
    };
    EXPECT_THROW(writeOutputPath({path, Existing::MayBeReplaced}, stop), std::runtime_error);
    EXPECT_THROW(writeOutputPath({path, Existing::MayBeReplaced}, [](const std::string&) {}), FileError)
        << "nothing was written";
    EXPECT_EQ(readFile(path), "precious");
    EXPECT_EQ(countIn(folder), 1);
}

TEST(OutputFile, ATargetThatCannotBeWrittenIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "") + "/below";
    const auto reasonFor = [](const std::string& path) {
        return reasonNotToWrite([&] { writeOutputFile(path, text("")); });
    };
    EXPECT_EQ(reasonFor("/nowhere/at"), "/nowhere/at cannot be written: No such file or directory.");
    EXPECT_EQ(reasonFor(file), file + " cannot be written: Not a directory.");
    EXPECT_EQ(reasonFor(""), " cannot be written: No such file or directory.");
}

TEST(OutputFile, WhatIsNoFileStays) {
    const TemporaryFolder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, folder.path().string(), std::string("/dev/null")}) {
        bool isCalled = false;
        const auto write = [&](const std::string&) { isCalled = true; };
        EXPECT_EQ(reasonNotToWrite([&] { writeOutputPath(path, write); }),
                  path + " cannot be written: it exists and is not a regular file.");
        EXPECT_FALSE(isCalled);
    }
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST(OutputFile, ADiskThatIsFullIsAnErrorAndLeavesWhatWasThere) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "precious");
    const std::string said = folder.file("said");
    for (const std::size_t length : {65537U, 1U << 20}) { // found when the file is closed, and while it is written
        const int status = inAnotherProcess("/dev/null", said, [&] {
            limitFiles();
            writeOutputFile({path, Existing::MayBeReplaced}, text(std::string(length, 'x')));
        });
        EXPECT_EQ(status, 1) << length;
        EXPECT_EQ(readFile(said), path + " cannot be written: File too large.");
        EXPECT_EQ(readFile(path), "precious");
        EXPECT_EQ(countIn(folder), 2) << "the file and the sentence";
    }
}

TEST(OutputFile, ADashIsTheStandardOutput) {
    const TemporaryFolder folder;
    const std::string bytes(100'000, 'x');
    const std::string said = folder.file("said");
    EXPECT_EQ(inAnotherProcess(folder.file("a"), said, [&] { writeOutputFile("-", text(bytes)); }), 0);
    EXPECT_EQ(readFile(folder.file("a")), bytes);
    const auto write = [&](const std::string& temporary) { writePath(temporary, bytes); };
    EXPECT_EQ(inAnotherProcess(folder.file("b"), said, [&] { writeOutputPath("-", write); }), 0);
    EXPECT_EQ(readFile(folder.file("b")), bytes);
}

TEST(OutputFile, AStandardOutputThatIsFullIsAnError) {
    const TemporaryFolder folder;
    const std::string said = folder.file("said");
    const auto write = [](const std::string& temporary) { writePath(temporary, "few"); };
    for (const std::size_t length : {1U, 100'000U}) {
        EXPECT_EQ(inAnotherProcess("/dev/full", said, [&] { writeOutputFile("-", text(std::string(length, 'x'))); }),
                  1);
        EXPECT_EQ(readFile(said), "The standard output cannot be written: No space left on device.");
    }
    EXPECT_EQ(inAnotherProcess("/dev/full", said, [&] { writeOutputPath("-", write); }), 1);
    EXPECT_EQ(readFile(said), "The standard output cannot be written: No space left on device.");
}

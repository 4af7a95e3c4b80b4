#include "files/InputFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "files/Errors.h"
#include "tests/support/TemporaryFolder.h"

using radvex::FileError;
using radvex::files::readInputFile;
using radvex::files::readInputText;
using radvex::test::TemporaryFolder;

namespace {

std::string reasonNotToRead(const std::string& path) {
    try {
        (void)readInputFile(path);
        return "(none)";
    } catch (const FileError& error) {
        return error.what();
    }
}

/// Longer than a step of reading, and no multiple of it.
std::string longText() {
    std::string text(3'000'001, 'x');
    for (std::size_t index = 0; index < text.size(); ++index) {
        text[index] = static_cast<char>(index % 251);
    }
    return text;
}

} // namespace

TEST(InputFile, AllBytesAreRead) {
    const TemporaryFolder folder;
    for (const std::string& text : {std::string(), std::string("a\0b\n", 4), longText(), std::string(1U << 20, 'x')}) {
        const std::string path = folder.write("file", text);
        EXPECT_EQ(readInputText(path), text);
        const std::vector<std::byte> bytes = readInputFile(path);
        ASSERT_EQ(bytes.size(), text.size());
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), text.begin(),
                               [](std::byte left, char right) { return left == static_cast<std::byte>(right); }));
    }
}

TEST(InputFile, APipeIsReadToItsEnd) {
    const TemporaryFolder folder;
    const std::string path = folder.file("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::thread writer([&] {
        std::FILE* pipe = std::fopen(path.c_str(), "wb");
        const std::string text = longText();
        EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), pipe), text.size());
        EXPECT_EQ(std::fclose(pipe), 0);
    });
    EXPECT_EQ(readInputText(path), longText());
    writer.join();
}

TEST(InputFile, WhatCannotBeReadIsNamedWithTheReason) {
    const TemporaryFolder folder;
    const std::string path = folder.path().string();
    EXPECT_EQ(reasonNotToRead("/nowhere/at/all"), "/nowhere/at/all cannot be read: No such file or directory.");
    EXPECT_EQ(reasonNotToRead(path), path + " cannot be read: Is a directory.");
}

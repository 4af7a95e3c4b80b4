#include "guard/OpenFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TemporaryFolder.h"

using radvex::OpenFile;

namespace {

class OpenFiles : public testing::Test {
  protected:
    std::string write(const std::string& bytes) const {
        const std::string path = (folder.path() / "file").string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::string pattern(std::size_t length) {
        std::string bytes(length, '\0');
        for (std::size_t offset = 0; offset < length; ++offset) {
            bytes[offset] = static_cast<char>(offset * 31 + offset / 251);
        }
        return bytes;
    }
    static std::string readAt(OpenFile& file, std::size_t offset, std::size_t count) {
        std::string bytes(count, '\xAA');
        bytes.resize(file.read(bytes.data(), count, offset));
        return bytes;
    }

    radvex::test::TemporaryFolder folder;
};

/// No file can be opened while one of these lives.
class OutOfDescriptors {
  public:
    OutOfDescriptors() {
        getrlimit(RLIMIT_NOFILE, &mFormer);
        const rlimit none{0, mFormer.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~OutOfDescriptors() { setrlimit(RLIMIT_NOFILE, &mFormer); }
    OutOfDescriptors(const OutOfDescriptors&) = delete;
    OutOfDescriptors& operator=(const OutOfDescriptors&) = delete;

  private:
    rlimit mFormer{};
};

} // namespace

TEST_F(OpenFiles, GiveTheirBytesAtAnyOffsetAndLength) {
    for (const std::size_t length : {0U, 1U, 16383U, 16384U, 16385U, 50000U}) {
        const std::string bytes = pattern(length);
        OpenFile file(write(bytes));
        ASSERT_TRUE(file.isOpen());
        EXPECT_EQ(file.size(), length);
        for (const std::size_t offset : {0U, 1U, 16000U, 16383U, 16384U, 16385U, 49999U, 50000U, 60000U}) {
            for (const std::size_t count : {0U, 1U, 400U, 20000U, 70000U}) {
                const std::string expected = offset < length ? bytes.substr(offset, count) : "";
                EXPECT_EQ(readAt(file, offset, count), expected) << length << " " << offset << " " << count;
            }
        }
        EXPECT_FALSE(file.hasFailed());
        EXPECT_EQ(file.failure(), "");
    }
}

TEST_F(OpenFiles, AreReadFromTheirEndFirstToo) {
    const std::string bytes = pattern(40000);
    OpenFile file(write(bytes));
    EXPECT_EQ(readAt(file, 39990, 100), bytes.substr(39990));
    EXPECT_EQ(readAt(file, 5, 10), bytes.substr(5, 10));
}

TEST_F(OpenFiles, ThatBecomeShorterHaveFailed) {
    const std::string path = write(pattern(40000));
    OpenFile file(path);
    std::filesystem::resize_file(path, 30000);
    EXPECT_EQ(readAt(file, 20000, 20000).size(), 10000U);
    EXPECT_TRUE(file.hasFailed());
    EXPECT_EQ(file.failure(), "the file became shorter while it was read");
    EXPECT_EQ(readAt(file, 20000, 10), "") << "what was kept from before could be followed by a gap";
}

TEST_F(OpenFiles, ThatAreNoPlainFilesAreNotOpened) {
    const std::string pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, folder.path().string(), std::string("/dev/zero"), pipe + "/none"}) {
        OpenFile file(path);
        EXPECT_FALSE(file.isOpen()) << path;
        EXPECT_EQ(file.size(), 0U) << path;
        EXPECT_EQ(readAt(file, 0, 10), "") << path;
        EXPECT_FALSE(file.hasFailed()) << path;
        EXPECT_EQ(file.reasonNotOpen(), path == pipe + "/none" ? "Not a directory"
                                        : path == pipe         ? "it is a pipe, and a file is needed"
                                                               : "")
            << path;
    }
}

TEST_F(OpenFiles, SayWhyTheyAreNotOpen) {
    EXPECT_EQ(OpenFile((folder.path() / "none").string()).reasonNotOpen(), "No such file or directory");
    const std::string path = write(pattern(10));
    EXPECT_EQ(OpenFile(path).reasonNotOpen(), "");
    const OutOfDescriptors none;
    EXPECT_EQ(OpenFile(path).reasonNotOpen(), "Too many open files");
}

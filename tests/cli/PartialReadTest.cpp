// Attributes in front of the pixels are read without the pixels, however large they are. The system counts the bytes
// that a process reads; the files are sparse, and need no space.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMebibyte = 1 << 20;

const Attributes kImage{{DCM_PatientName, "Doe^Jane"},
                        {DCM_Rows, "1024"},
                        {DCM_Columns, "1024"},
                        {DCM_SamplesPerPixel, "1"},
                        {DCM_BitsAllocated, "16"},
                        {DCM_BitsStored, "16"},
                        {DCM_HighBit, "15"},
                        {DCM_PixelRepresentation, "0"},
                        {DCM_PhotometricInterpretation, "MONOCHROME2"}};

/// A tag, for OB and OW the representation, and a length, as they stand in front of a value in little endian.
std::string header(unsigned group, unsigned number, const std::string& vr, std::size_t length) {
    std::string bytes;
    for (const unsigned part : {group, number}) {
        bytes += static_cast<char>(part & 0xFFU);
        bytes += static_cast<char>(part >> 8U);
    }
    bytes += vr.empty() ? "" : vr + std::string(2, '\0');
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(length >> shift & 0xFFU);
    }
    return bytes;
}

class PartialRead : public testing::Test {
  protected:
    /// A file with uncompressed pixels of zeros.
    std::string uncompressed(const std::string& name, std::size_t size) const {
        std::string path = writeDicom(folder.file(name), with(kImage));
        std::ofstream(path, std::ios::app | std::ios::binary) << header(0x7FE0, 0x0010, "OW", size);
        fs::resize_file(path, fs::file_size(path) + size);
        return path;
    }
    /// A file with fragments of a compression, which begin and end as a frame does and hold zeros between.
    std::string compressed(const std::string& name, std::size_t fragmentSize, std::size_t count) const {
        const auto fill = [&](DcmDataset& dataset) {
            put(dataset, kImage);
            put(dataset, {{DCM_NumberOfFrames, std::to_string(count)}});
            putFragments(dataset, EXS_JPEGProcess14SV1, {"ab"});
        };
        std::string path = writeDicom(folder.file(name), fill, EXS_JPEGProcess14SV1);
        constexpr std::size_t kFragmentAndEnd = 8 + 2 + 8;
        fs::resize_file(path, fs::file_size(path) - kFragmentAndEnd);
        for (std::size_t fragment = 0; fragment < count; ++fragment) {
            std::ofstream(path, std::ios::app | std::ios::binary)
                << header(0xFFFE, 0xE000, "", fragmentSize) << "\xFF\xD8";
            fs::resize_file(path, fs::file_size(path) + fragmentSize - 4);
            std::ofstream(path, std::ios::app | std::ios::binary) << "\xFF\xD9";
        }
        std::ofstream(path, std::ios::app | std::ios::binary) << header(0xFFFE, 0xE0DD, "", 0);
        return path;
    }

    /// The bytes that `radvex tags` reads of all files together, its libraries and this one.
    std::size_t bytesReadFor(const std::string& file) const {
        Words words{RADVEX_COMMAND, "tags", "--tag", "PatientName", "--tag", "Rows", file};
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const std::string output = folder.file("output");
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        pid_t child = 0;
        EXPECT_EQ(posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        siginfo_t end{};
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT), 0); // its numbers are still there
        std::ifstream numbers("/proc/" + std::to_string(child) + "/io");
        std::string word;
        std::size_t count = 0;
        numbers >> word >> count;
        EXPECT_EQ(word, "rchar:");
        EXPECT_EQ(waitpid(child, nullptr, 0), child);
        EXPECT_EQ(readFile(output), "PatientName                         PN  Doe^Jane\n"
                                    "Rows                                US  1024\n");
        return count;
    }
    /// What a file costs beyond one of the same attributes with two bytes of pixels.
    std::size_t bytesBeyondASmallOne(const std::string& file) const {
        const std::size_t small = bytesReadFor(uncompressed("small", 2));
        const std::size_t large = bytesReadFor(file);
        return large > small ? large - small : 0;
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(PartialRead, UncompressedPixelsAreNotRead) {
    EXPECT_LE(bytesBeyondASmallOne(uncompressed("a", 500 * kMebibyte)), 32U << 10);
}

TEST_F(PartialRead, OfLargeFragmentsOnlyTheHeadersAreRead) {
    EXPECT_LE(bytesBeyondASmallOne(compressed("a", 10 * kMebibyte, 50)), 64U << 10);
}

TEST_F(PartialRead, OfManyFragmentsOnlyTheHeadersAreRead) {
    EXPECT_LE(bytesBeyondASmallOne(compressed("a", kMebibyte / 2, 1000)), 256U << 10);
}

TEST_F(PartialRead, CompressedPixelsOfLessThanEightMebibytesAreReadOnce) {
    const std::size_t size = 7 * kMebibyte;
    const std::size_t read = bytesBeyondASmallOne(compressed("a", size, 1));
    EXPECT_GE(read, size) << "what is checked before it is decoded";
    EXPECT_LE(read, size + (64U << 10));
}

// When a file cannot be written, the call gives the stated error and the process goes on.

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Limits the size of files that this process writes, as a full disk does, until the end of the scope.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) : mSignal(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &mBefore);
        const rlimit limit{bytes, mBefore.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &mBefore);
        (void)std::signal(SIGXFSZ, mSignal);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit mBefore{};
    void (*mSignal)(int);
};

class WriteFailures : public WriterTest {
  protected:
    WriteArguments image(const std::string& compression = "Uncompressed") const {
        return {.image = spelledImage(VImage_U16, 0, 64, 65, 1), .compression = compression};
    }
};

} // namespace

TEST_F(WriteFailures, AFullDiskIsAnErrorWhereverItFillsUp) {
    const auto whole = readFile(write(image())).size();
    for (const rlim_t bytes : std::vector<rlim_t>{0, 1, 200, 4096, whole / 2, whole - 1}) {
        int code = 0;
        {
            const FullDisk disk(bytes);
            code = writeCode(image());
        }
        EXPECT_EQ(code, kImageWriteError) << bytes << " of " << whole;
    }
    EXPECT_EQ(writeCode(image()), 0) << "the next write works";
    const FullDisk disk(whole);
    EXPECT_EQ(writeCode(image()), 0) << "and so it does when there is just room enough";
}

TEST_F(WriteFailures, AFullDiskIsNoticedForCompressedAndForDeflatedFiles) {
    for (const char* name : {"RLE", "JPEGLossless", "JPEG-LSLossless"}) {
        const auto whole = readFile(write(image(name))).size();
        const FullDisk disk(whole - 1);
        EXPECT_EQ(writeCode(image(name)), kImageWriteError) << name;
    }
    for (const E_TransferSyntax syntax : {EXS_LittleEndianExplicit, EXS_DeflatedLittleEndianExplicit}) {
        load(write(image()));
        ASSERT_TRUE(loaded.saveFile(folder.file("in.dcm").c_str(), syntax).good());
        const auto anonymize = [&] {
            return codeOf("DicomAnonymize", {folder.file("in.dcm"), folder.file("out.dcm"), Store::empty()});
        };
        EXPECT_EQ(anonymize(), 0);
        const auto whole = readFile(folder.file("out.dcm")).size();
        for (const rlim_t missing : {1U, 100U, 1000U}) {
            const FullDisk disk(whole - missing - 60); // new IDs and UIDs are not always as long
            EXPECT_EQ(anonymize(), kImageWriteError) << syntax << ' ' << missing;
        }
    }
}

TEST_F(WriteFailures, ADeviceThatTakesNothingIsAnError) {
    EXPECT_EQ(codeOf("WriteImage", valuesOf("/dev/full", image())), kImageWriteError);
    EXPECT_TRUE(messageOf("WriteImage", valuesOf("/dev/full", image())).starts_with("Error writing an Image(s) : "));
}

TEST_F(WriteFailures, AFolderThatIsNotThereIsAnError) {
    EXPECT_EQ(messageOf("WriteImage", valuesOf(folder.file("no/such/w.dcm"), image())),
              "Error writing an Image(s) : No such file or directory.");
    EXPECT_EQ(codeOf("WriteImage", valuesOf(folder.path().string(), image())), kImageWriteError) << "a folder itself";
    EXPECT_EQ(codeOf("WriteImage", valuesOf("", image())), kImageWriteError);
}

TEST_F(WriteFailures, AFolderThatIsReadOnlyIsAnError) {
    using std::filesystem::perms;
    constexpr uid_t kNobody = 65534;
    std::filesystem::permissions(folder.path(),
                                 perms::owner_read | perms::owner_exec | perms::others_read | perms::others_exec);
    const bool isRoot = geteuid() == 0; // who may write everywhere
    ASSERT_TRUE(!isRoot || seteuid(kNobody) == 0);
    const int code = writeCode(image());
    ASSERT_TRUE(!isRoot || seteuid(0) == 0);
    std::filesystem::permissions(folder.path(), perms::owner_all);
    EXPECT_EQ(code, kImageWriteError);
}

TEST_F(WriteFailures, APathThatTheHostRefusesIsNotWritten) {
    std::filesystem::create_directory(folder.file("open"));
    host().services().allowWritingBelow({folder.file("open")});
    EXPECT_EQ(writeCode(image()), kPathNotValidated);
    EXPECT_FALSE(wasWritten());
    EXPECT_EQ(codeOf("WriteImage", valuesOf(folder.file("open/w.dcm"), image())), 0);
    EXPECT_EQ(codeOf("DicomAnonymize", {folder.file("open/w.dcm"), folder.file("w.dcm"), Store::empty()}),
              kPathNotValidated);
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteFailures, NullTextsAreGeneralFailures) {
    auto values = valuesOf(folder.file("w.dcm"), image());
    values[0] = Null{};
    EXPECT_EQ(codeOf("WriteImage", values), 6);
    values = valuesOf(folder.file("w.dcm"), image());
    values[4] = Null{};
    EXPECT_EQ(codeOf("WriteImage", values), 6);
    EXPECT_EQ(codeOf("DicomAnonymize", {Null{}, "x", Store::empty()}), 6);
    EXPECT_EQ(codeOf("DicomAnonymize", {"x", Null{}, Store::empty()}), 6);
    EXPECT_EQ(codeOf("WriteImage", {}), 6) << "no arguments at all";
}

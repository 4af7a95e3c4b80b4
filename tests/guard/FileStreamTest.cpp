#include "guard/FileStream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "dcmtk/dcmdata/dcerror.h"
#include "dcmtk/dcmdata/dcistrmf.h"
#include "tests/support/TemporaryFolder.h"

using radvex::FileStream;
using radvex::OpenFile;

namespace {

class FileStreams : public testing::Test {
  protected:
    std::string write(std::size_t length) const {
        const std::string path = (folder.path() / "file").string();
        std::string bytes(length, '\0');
        std::mt19937 random(7);
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::string read(DcmInputStream& stream, std::size_t count) {
        std::string bytes(count, '\0');
        bytes.resize(static_cast<std::size_t>(stream.read(bytes.data(), static_cast<offile_off_t>(count))));
        return bytes;
    }

    radvex::test::TemporaryFolder folder;
};

} // namespace

// DCMTK's own stream over the same file is the measure, in every operation that DCMTK's parser makes.
TEST_F(FileStreams, DoWhatThoseOfDcmtkDo) {
    const std::string path = write(100000);
    for (unsigned seed = 0; seed < 40; ++seed) {
        OpenFile file(path);
        FileStream ours(file);
        DcmInputFileStream theirs(OFFilename(path.c_str()));
        std::mt19937 random(seed);
        while (!theirs.eos()) {
            const std::size_t count = random() % (random() % 8 == 0 ? 20000 : 12);
            const auto signedCount = static_cast<offile_off_t>(count);
            switch (random() % 4) {
            case 0: ASSERT_EQ(ours.skip(signedCount), theirs.skip(signedCount)); break;
            case 1:
                ours.mark();
                theirs.mark();
                ASSERT_EQ(read(ours, count), read(theirs, count));
                ours.putback();
                theirs.putback();
                break;
            default: ASSERT_EQ(read(ours, count), read(theirs, count)); break;
            }
            ASSERT_EQ(ours.tell(), theirs.tell());
            ASSERT_EQ(ours.avail(), theirs.avail());
            ASSERT_EQ(ours.eos(), theirs.eos());
            ASSERT_TRUE(ours.good());
        }
        EXPECT_EQ(read(ours, 10), "");
        EXPECT_TRUE(ours.eos());
    }
}

TEST_F(FileStreams, AreOpenedAgainAtTheirOffset) {
    const std::string path = write(50000);
    const auto again = [](const DcmInputStream& stream) {
        const std::unique_ptr<DcmInputStreamFactory> factory(stream.newFactory());
        const std::unique_ptr<DcmInputStreamFactory> copy(factory->clone());
        return std::unique_ptr<DcmInputStream>(copy->create());
    };
    OpenFile file(path);
    FileStream stream(file);
    (void)read(stream, 20001);
    const auto second = again(stream);
    EXPECT_EQ(read(*second, 9000), read(stream, 9000));
}

TEST_F(FileStreams, CannotGoBackBeforeTheirBeginning) {
    OpenFile file(write(100));
    radvex::FileProducer producer(file, 0);
    EXPECT_EQ(producer.skip(10), 10);
    producer.putback(11);
    EXPECT_FALSE(producer.good());
    EXPECT_TRUE(producer.status() == EC_PutbackFailed);
    EXPECT_EQ(producer.avail(), 0);
}

TEST_F(FileStreams, TurnBadWhenTheFileBecomesShorter) {
    const std::string path = write(50000);
    OpenFile file(path);
    FileStream stream(file);
    std::filesystem::resize_file(path, 30000);
    EXPECT_EQ(read(stream, 20000).size(), 20000U);
    EXPECT_TRUE(stream.good());
    (void)read(stream, 20000);
    EXPECT_FALSE(stream.good());
    EXPECT_TRUE(stream.eos());
    EXPECT_STREQ(stream.status().text(), "the file became shorter while it was read");
}

TEST_F(FileStreams, WithoutAFileAreBad) {
    OpenFile none((folder.path() / "none").string());
    FileStream stream(none, 5);
    EXPECT_FALSE(stream.good());
    EXPECT_TRUE(stream.eos());
    EXPECT_STREQ(stream.status().text(), "No such file or directory");
}

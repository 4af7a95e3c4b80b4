#include <gtest/gtest.h>

#include <set>

#include "dcmtk/config/osconfig.h"
#include "fuzz/DicomMutation.h"
#include "fuzz/SeedFiles.h"
#include "tests/support/TemporaryFolder.h"

#include "dcmtk/dcmdata/dctk.h"

using namespace radvex::fuzz;

namespace {

std::vector<unsigned char> image() {
    const std::string bytes = seedImage();
    return {bytes.begin(), bytes.end()};
}

} // namespace

TEST(MutateElement, LeavesBytesWithoutAnElementAsTheyAre) {
    std::minstd_rand random(1);
    std::vector<unsigned char> input{'D', 'I', 'C', 'M', 1, 2, 3};
    const auto before = input;
    EXPECT_FALSE(mutateElement(input, random));
    EXPECT_EQ(input, before);
}

TEST(MutateElement, ChangesInManyWaysAndNeverThePreamble) {
    std::minstd_rand random(1);
    std::set<std::vector<unsigned char>> results;
    const auto before = image();
    for (int round = 0; round < 200; ++round) {
        auto input = before;
        ASSERT_TRUE(mutateElement(input, random));
        ASSERT_GE(input.size(), 132U);
        EXPECT_TRUE(std::equal(before.begin(), before.begin() + 132, input.begin()));
        results.insert(input);
    }
    EXPECT_GT(results.size(), 150U);
}

// Broken files test little when DCMTK refuses them at once, so it has to open many of them.
TEST(MutateElement, LeavesMostFilesReadable) {
    const radvex::test::TemporaryFolder folder;
    std::minstd_rand random(1);
    int readable = 0;
    for (int round = 0; round < 100; ++round) {
        auto input = image();
        ASSERT_TRUE(mutateElement(input, random));
        DcmFileFormat file;
        const std::string path = folder.write("a.dcm", std::string(input.begin(), input.end()));
        readable += file.loadFile(path.c_str()).good() ? 1 : 0;
    }
    EXPECT_GT(readable, 50);
}

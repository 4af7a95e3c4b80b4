#include "cli/LargeHeap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/Process.h"

using radvex::test::runProcess;

namespace {

class LargeHeap : public testing::Test {
  protected:
    void SetUp() override { clear(); }
    void TearDown() override { clear(); }
    static void clear() {
        unsetenv("GLIBC_TUNABLES");
        unsetenv("RADVEX_LARGE_HEAP");
    }
    /// Would put another run of this program into its place if the words asked for it.
    static void start(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        radvex::cli::startWithLargeHeap(arguments.data());
    }
};

} // namespace

TEST_F(LargeHeap, IsLeftAloneByCommandsThatDoNotNeedIt) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"radvex"},
                                                  {"radvex", "--version"},
                                                  {"radvex", "tags", "volume"},
                                                  {"radvex", "data", "a.dcm"},
                                                  {"radvex", "image", "a.dcm"},
                                                  {"radvex", "volume", "DICOMDIR", "--rendered"}}) {
        start(words);
        EXPECT_EQ(std::getenv("GLIBC_TUNABLES"), nullptr);
    }
}

TEST_F(LargeHeap, SettingsOfTheUserStand) {
    setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=7", 1);
    start({"radvex", "volume", "DICOMDIR"});
    EXPECT_STREQ(std::getenv("GLIBC_TUNABLES"), "glibc.malloc.tcache_count=7");
}

TEST_F(LargeHeap, IsNotHandedOnToOtherPrograms) {
    setenv("GLIBC_TUNABLES", "glibc.malloc.hugetlb=1", 1);
    setenv("RADVEX_LARGE_HEAP", "1", 1);
    start({"radvex", "volume", "DICOMDIR"});
    EXPECT_EQ(std::getenv("GLIBC_TUNABLES"), nullptr);
    EXPECT_EQ(std::getenv("RADVEX_LARGE_HEAP"), nullptr);
}

TEST_F(LargeHeap, TheSecondStartHasTheSameWords) {
    const auto answer = runProcess({RADVEX_COMMAND, "volume", "no such\nfile", "-o", "a.nrrd", "--series", ""});
    EXPECT_EQ(answer.status, 1);
    EXPECT_NE(answer.errors.find("no such\\u000Afile"), std::string::npos) << answer.errors;
}

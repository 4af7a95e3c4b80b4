// What is installed runs for anyone, not only for the user who built it.

#include <unistd.h>

#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

/// The build folder holds bin/radvex.
const fs::path kBuild = fs::path(RADVEX_COMMAND).parent_path().parent_path();

class InstalledCommand : public testing::Test {
  protected:
    void SetUp() override {
        fs::permissions(folder.path(), fs::perms(0755));
        const ProcessResult installed =
            runProcess({"cmake", "--install", kBuild.string(), "--prefix", folder.file("prefix")});
        ASSERT_EQ(installed.status, 0) << installed.errors;
        file =
            writeDicom(folder.file("a.dcm"),
                       with({{DCM_PatientID, "P"}, {DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2.3"}}));
        fs::permissions(file, fs::perms(0644));
    }

    TemporaryFolder folder{};
    std::string file{};
};

} // namespace

TEST_F(InstalledCommand, NothingLeadsOutOfItsFolder) {
    const fs::path prefix = fs::canonical(folder.file("prefix"));
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(prefix)) {
        const std::string target = fs::canonical(entry.path()).string();
        EXPECT_TRUE(target.starts_with(prefix.string() + '/')) << entry.path() << " leads to " << target;
        ++count;
    }
    EXPECT_GT(count, 8U);
    const std::string needed = runProcess({"ldd", (prefix / "bin/radvex").string()}).output;
    EXPECT_THAT(needed, HasSubstr("libTT32i4.so => " + prefix.string() + "/"));
    EXPECT_THAT(needed, Not(HasSubstr("not found")));
    EXPECT_THAT(needed, Not(HasSubstr(kBuild.string() + "/")));
}

TEST_F(InstalledCommand, BringsManualPagesAndCompletions) {
    const fs::path share = folder.file("prefix/share");
    for (const char* name : {"man/man1/radvex.1", "man/man1/radvex-tags.1", "bash-completion/completions/radvex",
                             "zsh/site-functions/_radvex", "fish/vendor_completions.d/radvex.fish"}) {
        EXPECT_TRUE(fs::is_regular_file(share / name)) << name;
    }
    EXPECT_EQ(readFile((share / "bash-completion/completions/radvex").string()),
              runRadvex({"completion", "bash"}).output);
}

TEST_F(InstalledCommand, AnotherUserMayStartIt) {
    const std::string radvex = folder.file("prefix/bin/radvex");
    // Only root can become another user; anyone else has at least another home.
    const Words another =
        geteuid() == 0 ? Words{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"} : Words{};
    const auto asNobody = [&](const Words& words) {
        return runProcess(joined(joined(another, {"env", "-C", "/", "HOME=/nonexistent", radvex}), words));
    };
    EXPECT_EQ(asNobody({"tags", "--tag", "PatientID", file}).output, "PatientID                           LO  P\n");
    const ProcessResult tree = asNobody({"tree", folder.path().string()}); // loads the module too
    EXPECT_EQ(tree.status, 0) << tree.errors;
    EXPECT_THAT(tree.output, StartsWith("Patient P  -\n"));
}

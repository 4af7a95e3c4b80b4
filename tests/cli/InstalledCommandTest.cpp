// What is installed runs for anyone and anywhere, not only for the user who built it and where it was put.

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

    /// The command by this path reads a file, loads the module of datasets, and finds the program behind the page.
    void expectItWorks(const fs::path& radvex) {
        SCOPED_TRACE(radvex);
        EXPECT_EQ(runProcess({radvex, "tags", "--tag", "PatientID", file}).output,
                  "PatientID                           LO  P\n");
        const ProcessResult tree = runProcess({radvex, "tree", folder.path()});
        EXPECT_EQ(tree.status, 0) << tree.errors;
        EXPECT_THAT(tree.output, StartsWith("Patient P  -\n"));
        const std::string report = folder.file("report.html");
        const ProcessResult view = runProcess({radvex, "view", file, "--report", report, "--force"});
        EXPECT_EQ(view.status, 0) << view.errors;
        EXPECT_THAT(readFile(report), StartsWith("<!doctype html>"));
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

TEST_F(InstalledCommand, ItsTarballRunsWhereverItIsUnpacked) {
    const std::string tarball = folder.file("radvex.tar");
    ASSERT_EQ(runProcess({"tar", "-cf", tarball, "-C", folder.path(), "prefix"}).status, 0);
    fs::remove_all(folder.file("prefix"));
    const fs::path place = folder.path() / "another place";
    fs::create_directory(place);
    ASSERT_EQ(runProcess({"tar", "-xf", tarball, "-C", place}).status, 0);
    expectItWorks(place / "prefix/bin/radvex");
    fs::rename(place / "prefix", place / "radvex");
    expectItWorks(place / "radvex/bin/radvex");
}

TEST_F(InstalledCommand, RunsThroughLinksToItAndToItsFolder) {
    const fs::path links = folder.path() / "links";
    fs::create_directory(links);
    fs::create_symlink(folder.path() / "prefix/bin/radvex", links / "command");
    expectItWorks(links / "command");
    fs::create_symlink("../prefix/bin/radvex", links / "relative");
    expectItWorks(links / "relative");
    fs::create_directory_symlink(folder.path() / "prefix", links / "folder");
    expectItWorks(links / "folder/bin/radvex");
    fs::create_symlink("folder/bin/radvex", links / "both");
    expectItWorks(links / "both");
}

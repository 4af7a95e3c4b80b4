// Which paths a library may open: links are followed, "..", siblings and links to nowhere do not lead out.

#include <filesystem>

#include "tests/host/HandleTest.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

class PathPolicy : public radvex::test::HandleTest {
  protected:
    void SetUp() override {
        HandleTest::SetUp();
        fs::create_directory(folder.path() / "allowed");
        fs::create_directory(folder.path() / "allowed" / "deep");
        fs::create_directory(folder.path() / "allowed-not"); // a sibling with a common prefix
        folder.write("allowed/file", "1");
        folder.write("allowed/deep/file", "2");
        folder.write("allowed-not/file", "3");
    }
    bool mayRead(const std::string& path) { return table().validatePath(path.c_str(), 'R') != 0; }
    bool mayWrite(const std::string& path) { return table().validatePath(path.c_str(), 'W') != 0; }
    /// Within the temporary folder.
    std::string at(const std::string& name) { return folder.file(name); }
    void link(const std::string& name, const fs::path& target) { fs::create_symlink(target, folder.path() / name); }

    const radvex::test::TemporaryFolder folder{};
};

TEST_F(PathPolicy, WithoutOneEverythingIsAllowed) {
    EXPECT_TRUE(mayRead("/etc/hosts"));
    EXPECT_TRUE(mayWrite("/no/such/folder/file"));
}

TEST_F(PathPolicy, AllowsTheFolderAndWhatIsBelowWhetherItExistsOrNot) {
    services().allowReadingBelow({at("allowed")});
    for (const char* const name : {"allowed", "allowed/", "allowed/file", "allowed/deep/file", "allowed/new",
                                   "allowed/new/deeper/file", "allowed/./deep//file"}) {
        EXPECT_TRUE(mayRead(at(name))) << name;
    }
    for (const char* const name : {"", "allowed-not", "allowed-not/file", "allow", "allowed.file", "file"}) {
        EXPECT_FALSE(mayRead(at(name))) << name;
    }
    EXPECT_FALSE(mayRead("/"));
}

TEST_F(PathPolicy, FollowsDotsOutOfAFolderAndBackIn) {
    services().allowReadingBelow({at("allowed")});
    EXPECT_FALSE(mayRead(at("allowed/../allowed-not/file")));
    EXPECT_FALSE(mayRead(at("allowed/deep/../../file")));
    EXPECT_FALSE(mayRead(at("allowed/new/../../allowed-not/file")));
    EXPECT_FALSE(mayRead(at("allowed/..")));
    EXPECT_TRUE(mayRead(at("allowed-not/../allowed/file")));
    EXPECT_TRUE(mayRead(at("allowed/deep/../file")));
}

TEST_F(PathPolicy, FollowsLinksOutOfAFolderAndIntoIt) {
    link("allowed/out", at("allowed-not"));
    link("allowed/file-out", at("allowed-not/file"));
    link("allowed-not/in", at("allowed/deep"));
    link("allowed/within", "deep");
    services().allowReadingBelow({at("allowed")});
    EXPECT_FALSE(mayRead(at("allowed/out/file")));
    EXPECT_FALSE(mayRead(at("allowed/out/new")));
    EXPECT_FALSE(mayRead(at("allowed/file-out")));
    EXPECT_FALSE(mayRead(at("allowed-not/in/../../allowed-not/file")));
    EXPECT_TRUE(mayRead(at("allowed-not/in/file")));
    EXPECT_TRUE(mayRead(at("allowed/within/file")));
}

TEST_F(PathPolicy, ALinkToNowhereIsRefusedSinceWritingWouldCreateItsTarget) {
    link("allowed/nowhere", at("allowed-not/new"));
    link("allowed/nowhere-folder", at("new-folder"));
    services().allowReadingBelow({at("allowed")});
    services().allowWritingBelow({at("allowed")});
    EXPECT_FALSE(mayWrite(at("allowed/nowhere")));
    EXPECT_FALSE(mayWrite(at("allowed/nowhere-folder/file")));
    EXPECT_FALSE(mayRead(at("allowed/nowhere")));
    EXPECT_TRUE(mayWrite(at("allowed/new")));
}

TEST_F(PathPolicy, ALinkToItselfIsRefusedAndThrowsNothing) {
    link("allowed/loop", at("allowed/loop"));
    services().allowReadingBelow({at("allowed")});
    EXPECT_FALSE(mayRead(at("allowed/loop")));
    EXPECT_FALSE(mayRead(at("allowed/loop/file")));
}

TEST_F(PathPolicy, TheFolderMayBeALinkItself) {
    link("alias", at("allowed"));
    services().allowReadingBelow({at("alias")});
    EXPECT_TRUE(mayRead(at("alias/file")));
    EXPECT_TRUE(mayRead(at("allowed/file")));
    EXPECT_FALSE(mayRead(at("allowed-not/file")));
}

TEST_F(PathPolicy, AFolderWithASlashAtItsEndIsTheSameFolder) {
    services().allowReadingBelow({at("allowed/")});
    EXPECT_TRUE(mayRead(at("allowed")));
    EXPECT_TRUE(mayRead(at("allowed/file")));
    EXPECT_FALSE(mayRead(at("allowed-not/file")));
}

TEST_F(PathPolicy, RelativePathsAreThoseOfTheCurrentFolder) {
    services().allowReadingBelow({at("allowed")});
    const fs::path here = fs::current_path();
    EXPECT_TRUE(mayRead(fs::relative(at("allowed/file"), here).string()));
    EXPECT_FALSE(mayRead(fs::relative(at("allowed-not/file"), here).string()));
    EXPECT_FALSE(mayRead("file"));
}

TEST_F(PathPolicy, ReadingAndWritingAreApart) {
    services().allowReadingBelow({at("allowed")});
    services().allowWritingBelow({at("allowed-not")});
    EXPECT_TRUE(mayRead(at("allowed/file")));
    EXPECT_FALSE(mayWrite(at("allowed/file")));
    EXPECT_TRUE(mayWrite(at("allowed-not/new")));
    EXPECT_FALSE(mayRead(at("allowed-not/file")));
}

TEST_F(PathPolicy, SeveralFoldersAndNone) {
    services().allowReadingBelow({at("allowed/deep"), at("allowed-not")});
    EXPECT_TRUE(mayRead(at("allowed/deep/file")));
    EXPECT_TRUE(mayRead(at("allowed-not/file")));
    EXPECT_FALSE(mayRead(at("allowed/file")));
    services().allowReadingBelow({});
    EXPECT_FALSE(mayRead(at("allowed/deep/file")));
    services().allowReadingBelow({"/"});
    EXPECT_TRUE(mayRead(at("allowed/file")));
}

TEST_F(PathPolicy, AnEmptyOrNullPathIsRefusedAndThrowsNothing) {
    services().allowReadingBelow({at("allowed")});
    services().allowWritingBelow({at("allowed")});
    EXPECT_FALSE(mayRead(""));
    EXPECT_EQ(table().validatePath(nullptr, 'R'), 0);
    EXPECT_EQ(table().validatePath(nullptr, 'W'), 0);
}

TEST_F(PathPolicy, ANameLongerThanAnyFileSystemTakesIsRefusedAndThrowsNothing) {
    services().allowReadingBelow({at("allowed")});
    EXPECT_FALSE(mayRead(at("allowed/" + std::string(100000, 'n'))));
}

} // namespace

#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// Names of files that come from a list or from another program.
class FileLists : public ::testing::Test {
  protected:
    std::string file(const std::string& name) const {
        return writeDicom(folder.file(name), with({{DCM_PatientID, name}}));
    }
    static std::string rows(const Words& files) {
        std::string text = "file,PatientID\n";
        for (const std::string& path : files) {
            text += path + ',' + std::filesystem::path(path).filename().string() + '\n';
        }
        return text;
    }
    static ProcessResult csv(const Words& words, const std::string& input = "") {
        return runRadvex(joined({"tags", "--csv", "--tag", "PatientID"}, words), input);
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(FileLists, NamesWithZeroCharactersComeFromTheStandardInput) {
    const std::string odd = file("a\nb");
    const std::string plain = file("c");
    EXPECT_EQ(csv({"-0"}, file("d") + '\0' + plain + '\0').output, rows({folder.file("d"), plain}));
    const ProcessResult both = runRadvex({"frames", "-0", plain}, odd + '\0');
    EXPECT_EQ(both.status, 0) << both.errors;
    EXPECT_EQ(both.output, plain + ": frames 0 (not given), representative frame 0 (not given), overlays 0\n" +
                               folder.file("a\\u000Ab") +
                               ": frames 0 (not given), representative frame 0 (not given), overlays 0\n");
}

TEST_F(FileLists, AListNamesAFileInEachLine) {
    const Words files{file("a"), file("with blank"), file("c")};
    const std::string list = folder.write("list", files[0] + "\r\n\n" + files[1] + "\n" + files[2]);
    EXPECT_EQ(csv({"@" + list}).output, rows(files));
    EXPECT_EQ(csv({files[2], "@" + list}).output, rows({files[2], files[0], files[1], files[2]}));
    EXPECT_EQ(csv({"@-"}, files[0] + "\n").output, rows({files[0]}));
    EXPECT_EQ(runRadvex({"info", "@" + list}).status, 0);
}

TEST_F(FileLists, AFileWhoseNameBeginsWithTheMarkHasAPath) {
    file("@x");
    EXPECT_EQ(csv({folder.file("@x")}).status, 0);
    EXPECT_EQ(csv({"@" + folder.file("@x")}).status, 1) << "that file is no list of files";
}

TEST_F(FileLists, AListWithoutFilesIsAnError) {
    EXPECT_THAT(csv({"@" + folder.write("list", "\n\n")}),
                exitsSaying(1, "radvex: The list " + folder.file("list") + " names no file.\n"));
    EXPECT_THAT(csv({"@/missing"}), exitsSaying(1, "radvex: /missing cannot be read: No such file or directory.\n"));
    EXPECT_THAT(csv({"@" + folder.write("zeros", std::string("a\0b\0", 4))}), exitsSaying(1, HasSubstr("-0")));
    EXPECT_THAT(csv({"-0"}), exitsSaying(1, "radvex: The standard input names no file.\n"));
    EXPECT_THAT(csv({}), exitsSaying(2, StartsWith("radvex: FILE is missing: name at least one file.\n")));
    EXPECT_THAT(csv({"a", "--nonsense"}), exitsSaying(2, StartsWith("radvex: There is no option --nonsense.")));
}

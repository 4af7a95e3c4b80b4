// Reading changes nothing on a medium.

#include <filesystem>
#include <map>

#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex::test;
using namespace velmora;
namespace fs = std::filesystem;

namespace {

class DirectoryUntouched : public DirectoryTest {
  protected:
    void SetUp() override {
        DirectoryTest::SetUp();
        fs::create_directory(folder.path() / "medium");
        path = writeMedium(folder, {patientRecord("P", "N", {studyRecord("1", {seriesOf("1.1", {"A", "D\\B"})})})},
                           "medium/DICOMDIR");
        writeImage("medium\\A", 2, grey16(1, 2, {1, 2}));
        ImageFile lacking = grey16(1, 2, {3, 4});
        lacking.pixelRepresentation = -1; // a read puts it into the dataset
        writeImage("medium\\D\\B", 1, lacking);
    }

    /// Bytes and time of last writing of every file, by path.
    std::map<std::string, std::pair<std::string, fs::file_time_type>> state() const {
        std::map<std::string, std::pair<std::string, fs::file_time_type>> files;
        for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
            const std::string file = entry.path().string();
            files[file] = {entry.is_regular_file() ? readFile(file) : "", fs::last_write_time(entry.path())};
        }
        return files;
    }
    void setPermissions(fs::perms ofFiles, fs::perms ofFolders) const {
        for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
            fs::permissions(entry.path(), entry.is_directory() ? ofFolders : ofFiles);
        }
    }
    /// Codes of all reads, one after the other.
    std::vector<int> readEverything() {
        std::vector<int> codes{
            codeOf("ReadDICOMDIRStructure", structureArguments()),
            codeOf("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}),
            codeOf("ReadMetadataIntTagsRecursive", {path, Store::of({Store::ofTexts({"0028", "0010"})})}),
            codeOf("ReadAllMetadataRecursive", {path, Store::empty(), ".*", false}),
            codeOf("ReadPatientInfo", {path, Store::ofTexts({"ID"}), ".*"}),
            codeOf("ReadStudyInfo", {path, Store::ofTexts({"ID"}), ".*", ".*"}),
            codeOf("ReadSeriesInfo", {path, Store::ofTexts({"UID"}), ".*", ".*", ".*"})};
        for (const double first : {0.0, -1.0, -2.0, -3.0, 100.0}) {
            codes.push_back(codeOf("Read2DImagesDir", pictureArguments(first)));
            codes.push_back(codeOf("Read3DImage", volumeArguments(first)));
        }
        call("ClearCache");
        return codes;
    }
};

} // namespace

TEST_F(DirectoryUntouched, ByAnyRead) {
    const auto before = state();
    EXPECT_THAT(readEverything(), testing::Each(0));
    EXPECT_EQ(state(), before);
}

TEST_F(DirectoryUntouched, AReadOnlyMediumWorksAndStaysAsItIs) {
    setPermissions(fs::perms::owner_read, fs::perms::owner_read | fs::perms::owner_exec);
    const auto before = state();
    EXPECT_THAT(readEverything(), testing::Each(0));
    EXPECT_EQ(state(), before);
    setPermissions(fs::perms::owner_all, fs::perms::owner_all);
}

TEST_F(DirectoryUntouched, AHostThatForbidsWritingIsNotAskedToWrite) {
    host().services().allowWritingBelow({});
    EXPECT_THAT(readEverything(), testing::Each(0));
}

TEST_F(DirectoryUntouched, ADeletedDirectoryIsEmptyAndNotMadeAgain) {
    EXPECT_EQ(structureLine(), "P{1{1.1{A,D/B}}}");
    fs::remove(path);
    EXPECT_EQ(structureLine(), "") << "its reader is still open, its tree is read anew";
    EXPECT_EQ(outline(pictures(0).view()), "");
    EXPECT_EQ(outline(volumes(0).view()), "");
    EXPECT_FALSE(fs::exists(path));
    call("ClearCache");
    EXPECT_EQ(codeOf("ReadDICOMDIRStructure", structureArguments()), -62);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(DirectoryUntouched, AReplacedDirectoryIsReadAsItIsNow) {
    EXPECT_EQ(structureLine(), "P{1{1.1{A,D/B}}}");
    writeMedium(folder, {patientRecord("Q", "N", {})}, "medium/DICOMDIR");
    auto before = state();
    EXPECT_EQ(structureLine(), "Q{}");
    EXPECT_EQ(state(), before);
    folder.write("medium/DICOMDIR", "no DICOM at all");
    before = state();
    EXPECT_EQ(structureLine(), "");
    EXPECT_EQ(outline(pictures(0).view()), "");
    EXPECT_EQ(state(), before);
}

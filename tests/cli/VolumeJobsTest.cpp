#include <csignal>
#include <filesystem>
#include <set>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// `radvex volume` with several processes.
class VolumeJobs : public ::testing::Test {
  protected:
    /// Writes a slice at a height that follows its number.
    void write(const std::string& fileId, int number, const std::vector<Uint16>& words,
               const ImageFile& file = {.rows = 1, .columns = 2, .words = {}}) const {
        writeSlice(folder, {.fileId = fileId,
                            .number = number,
                            .position = "0\\0\\" + std::to_string(number),
                            .words = words,
                            .file = file});
    }
    void writeSeries(const std::vector<Words>& series) const {
        std::vector<MediumRecord> records;
        for (const auto& fileIds : series) {
            records.push_back(seriesOf("1.2.3." + std::to_string(records.size()), fileIds));
        }
        writeMedium(folder, {patientRecord("P", "N", {studyRecord("1.2", records)})});
    }
    /// Nine slices of three types.
    Words writeNine() const {
        Words fileIds;
        for (int number = 1; number <= 9; ++number) {
            fileIds.push_back("S" + std::to_string(number));
            const auto word = static_cast<Uint16>(number * 10);
            const char* slope = number % 3 == 0 ? "0.25" : number % 3 == 1 ? "1" : "3000000";
            write(fileIds.back(), number, {word, static_cast<Uint16>(word + 1)},
                  {.rows = 1, .columns = 2, .slope = slope, .intercept = "-5", .words = {}});
        }
        return fileIds;
    }
    /// Status, what was said and the bytes of every file that was written, which goes.
    std::string everythingOf(const Words& words) const {
        const std::filesystem::path out = folder.file("out");
        std::filesystem::create_directory(out);
        const ProcessResult run =
            runRadvex(joined({"volume", folder.file("DICOMDIR"), "--json", "-o", (out / "v.nrrd").string()}, words));
        std::string text = std::to_string(run.status) + '\n' + run.output + run.errors;
        std::set<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::directory_iterator(out)) {
            files.insert(entry.path());
        }
        for (const std::filesystem::path& file : files) {
            text += file.filename().string() + '\n' + readFile(file.string());
        }
        std::filesystem::remove_all(out);
        return text;
    }
    /// The number of processes changes nothing. Gives what they all gave.
    std::string sameWithAny(Words words = {}) const {
        words.insert(words.end(), {"--jobs", "0"});
        const std::string without = everythingOf(words);
        for (const char* jobs : {"1", "2", "5"}) {
            words.back() = jobs;
            EXPECT_EQ(everythingOf(words), without) << jobs;
        }
        return without;
    }
    /// With a library that ends the process at one file.
    ProcessResult endingAt(const std::string& file, const Words& words) const {
        return runProcess(joined({"env", "RADVEX_TEST_ENDS_AT=" + file, RADVEX_COMMAND, "--library", FAILING_LIBRARY,
                                  "volume", folder.file("DICOMDIR"), "-o", folder.file("out.nrrd")},
                                 words));
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(VolumeJobs, TheBytesDoNotDependOnTheNumberOfProcesses) {
    writeSeries({writeNine()});
    EXPECT_THAT(sameWithAny(), HasSubstr("\ntype: double\n")); // 16 bits times 3000000 are beyond 32
    EXPECT_THAT(sameWithAny({"--sort", "position"}), HasSubstr("\nsizes: 2 1 9\n"));
}

TEST_F(VolumeJobs, SeriesFollowEachOther) {
    writeNine();
    writeSeries({{"S1", "S4", "S7"}, {"S3", "S6", "S9"}, {"S2"}, {"S5", "S8"}});
    const std::string all = sameWithAny();
    EXPECT_THAT(all, HasSubstr("v-0001.nrrd\nNRRD0005\ntype: uint16\n"));
    EXPECT_THAT(all, HasSubstr("v-0002.nrrd\nNRRD0005\ntype: float\n"));
    EXPECT_THAT(all, HasSubstr("v-0004.nrrd\n"));
}

TEST_F(VolumeJobs, ErrorsDoNotDependOnTheNumberOfProcesses) {
    auto fileIds = writeNine();
    fileIds.insert(fileIds.begin() + 4, "MISSING");
    writeSeries({fileIds});
    EXPECT_THAT(sameWithAny(), HasSubstr("MISSING"));
    EXPECT_THAT(sameWithAny({"--force"}), HasSubstr("\nsizes: 2 1 9\n"));
    write("S5", 5, {1, 2, 3, 4}, {.rows = 2, .columns = 2, .words = {}});
    EXPECT_THAT(sameWithAny({"--force"}), HasSubstr("1 slice differs in size from most"));
    writeSeries({{"MISSING"}, {"S1", "S2"}});
    EXPECT_THAT(sameWithAny(), HasSubstr("v-0002.nrrd\n")) << "after a series that failed comes the next";
}

TEST_F(VolumeJobs, FramesComeWithTheirFile) {
    write("A", 1, {1, 2, 3, 4, 5, 6}, {.rows = 1, .columns = 2, .frames = "3", .words = {}});
    write("B", 2, {7, 8});
    write("C", 3, {9, 10, 11, 12}, {.rows = 1, .columns = 2, .frames = "2", .words = {}});
    writeSeries({{"A", "B", "C"}});
    const std::string all = sameWithAny({"--force"});
    EXPECT_THAT(all, HasSubstr("\nsizes: 2 1 6\n"));
    const std::string samples("\1\0\2\0\3\0\4\0\5\0\6\0\7\0\10\0\11\0\12\0\13\0\14\0", 24);
    EXPECT_TRUE(all.ends_with(samples));
}

TEST_F(VolumeJobs, ASliceThatEndsItsReaderIsNamedAndNothingIsWritten) {
    writeSeries({writeNine()});
    for (const char* jobs : {"1", "2", "4"}) {
        const ProcessResult run = endingAt("/S4", {"--jobs", jobs});
        EXPECT_THAT(run, exitsSaying(1, HasSubstr(folder.file("S4") +
                                                  ": the reading process ended with signal 11 (SIGSEGV).\n")));
        EXPECT_THAT(run.errors, HasSubstr("is not written"));
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.nrrd")));
    }
    const ProcessResult json = endingAt("/S4", {"--json"});
    const Json finding = Json::parse(json.output)[0]["findings"][0];
    EXPECT_EQ(finding["kind"], "unreadableFile");
    EXPECT_EQ(finding["files"], Json::array({folder.file("S4")}));
    EXPECT_EQ(endingAt("/S4", {"--jobs", "0"}).status, 128 + SIGSEGV) << "what the test relies on";
}

TEST_F(VolumeJobs, ADirectoryThatEndsItsReaderIsNamed) {
    writeSeries({writeNine()});
    EXPECT_THAT(endingAt("DICOMDIR", {}),
                exitsSaying(1, "radvex: " + folder.file("DICOMDIR") +
                                   ": the reading process ended with signal 11 (SIGSEGV).\n"));
}

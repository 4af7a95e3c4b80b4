#include <csignal>
#include <filesystem>
#include <map>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

/// `radvex series` and `radvex anonymize` with several processes.
class MediumJobs : public ::testing::Test {
  protected:
    /// Files S01 to S12 of two series; numbers come twice, and one file holds two frames.
    void writeTwelve() const {
        std::vector<MediumRecord> series[2];
        for (int number = 1; number <= 12; ++number) {
            const std::string name = std::string(number < 10 ? "S0" : "S1") + std::to_string(number % 10);
            ImageFile file{.rows = 2, .columns = 2, .frames = number == 5 ? "2" : ""};
            for (int word = 0; word < (number == 5 ? 8 : 4); ++word) {
                file.words.push_back(static_cast<Uint16>(number * 100 + word * word));
            }
            file.more = [&](DcmDataset& dataset) {
                const auto text = [&](const DcmTagKey& key, const std::string& value) {
                    dataset.putAndInsertString(key, value.c_str());
                };
                text(DCM_InstanceNumber, std::to_string((13 - number) / 2));
                text(DCM_PatientID, "PATIENT-4711");
                text(DCM_PatientName, "Doe^Jane");
                text(DCM_StudyID, "STUDY-0815");
                text(DCM_StudyInstanceUID, "1.2.826.0.1.99");
                text(DCM_SeriesInstanceUID, "1.2.826.0.1.99." + std::to_string(number % 2));
                text(DCM_SOPInstanceUID, "1.2.826.0.1.99.7." + std::to_string(number));
                // What another file's attributes call by its identifier is found in the second round.
                text(DCM_ImageComments, "before 1.2.826.0.1.99.7." + std::to_string(13 - number));
            };
            writeImageFile(mediumPath(in, name), file);
            series[number % 2].push_back(imageRecord(name, 0));
        }
        writeMedium(
            in, {patientRecord("PATIENT-4711", "Doe^Jane",
                               {studyRecord("1.2.826.0.1.99", {seriesRecord("1.2.826.0.1.99.0", "CT", series[0]),
                                                               seriesRecord("1.2.826.0.1.99.1", "MR", series[1])})})});
    }

    using Tree = std::map<std::string, std::string>;
    /// The files below a folder by name. Removes the folder.
    static Tree take(const std::string& folder) {
        Tree files;
        if (fs::exists(folder)) {
            for (const auto& entry : fs::recursive_directory_iterator(folder)) {
                if (entry.is_regular_file()) {
                    files[fs::relative(entry.path(), folder).string()] = readFile(entry.path().string());
                }
            }
            fs::remove_all(folder);
        }
        return files;
    }
    struct Outcome {
        std::string said{};
        Tree files{};
        bool operator==(const Outcome&) const = default;
    };
    Outcome outcomeOf(const Words& words) const {
        const ProcessResult run = runRadvex(words);
        Outcome outcome{std::to_string(run.status) + run.output + run.errors, take(out)};
        outcome.files.erase("DICOMDIR"); // a directory that is written has a UID of its own in every run
        return outcome;
    }
    Outcome sameWithAny(Words words) const {
        words.insert(words.end(), {"--jobs", "0"});
        const Outcome without = outcomeOf(words);
        for (const char* jobs : {"1", "2", "5"}) {
            words.back() = jobs;
            const Outcome with = outcomeOf(words);
            EXPECT_EQ(with.said, without.said) << jobs;
            EXPECT_TRUE(with.files == without.files) << jobs;
        }
        return without;
    }
    ProcessResult endingAt(const std::string& file, const Words& words) const {
        return runProcess(
            joined({"env", "RADVEX_TEST_ENDS_AT=" + file, RADVEX_COMMAND, "--library", FAILING_LIBRARY}, words));
    }

    TemporaryFolder in{};
    TemporaryFolder around{};
    std::string out = around.file("out");
};

std::string endOf(const std::string& file) { return file + ": the reading process ended with signal 11 (SIGSEGV).\n"; }

} // namespace

TEST_F(MediumJobs, PicturesDoNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    fs::remove(in.file("S03"));
    for (const Words& more : {Words{}, {"--window", "100,50"}, {"--common-window"}, {"--scaling", "none"}}) {
        const Words words = joined({"series", in.file("DICOMDIR"), "-o", out, "--json", "--force"}, more);
        const Outcome outcome = sameWithAny(words);
        EXPECT_EQ(outcome.files.size(), 12U) << "eleven files, one of two frames";
        EXPECT_THAT(outcome.said, HasSubstr(in.file("S03") + ": "));
    }
}

TEST_F(MediumJobs, FilesOfOneNumberStandAsTheLibraryLeavesThem) {
    writeTwelve();
    // With a common window the library puts the series together itself.
    const Outcome alone = outcomeOf({"series", in.file("DICOMDIR"), "-o", out, "--json", "--window", "100,50"});
    const Outcome together = outcomeOf({"series", in.file("DICOMDIR"), "-o", out, "--json", "--common-window"});
    EXPECT_EQ(alone.said, together.said);
}

TEST_F(MediumJobs, APictureThatEndsItsReaderIsNamedAndTheOthersAreWritten) {
    writeTwelve();
    EXPECT_THAT(endingAt("/S04", {"series", in.file("DICOMDIR"), "-o", out, "--force", "--jobs", "2"}),
                exitsSaying(1, "radvex: " + endOf(in.file("S04"))));
    EXPECT_EQ(take(out).size(), 12U);
}

TEST_F(MediumJobs, AttributesDoNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    fs::remove(in.file("S03"));
    for (const Words& more : {Words{}, {"--tag", "InstanceNumber", "--json"}, {"--exclude", "PixelData"}}) {
        const Words words = joined({"tags", "--recursive", in.file("DICOMDIR")}, more);
        const Outcome outcome = sameWithAny(words);
        EXPECT_THAT(outcome.said, HasSubstr(in.file("S12")));
        EXPECT_THAT(outcome.said, HasSubstr("radvex: " + in.file("S03") + ": "));
    }
    const ProcessResult run = endingAt("/S04", {"tags", "--recursive", in.file("DICOMDIR"), "--tag", "PatientID"});
    EXPECT_THAT(run, exitsSaying(3, HasSubstr("radvex: " + endOf(in.file("S04")))));
    EXPECT_THAT(run.output, HasSubstr(in.file("S05")));
}

/// The content of a directory, without what differs in every run.
static std::string directoryOf(const std::string& folder) {
    return runRadvex({"tree", folder, "--files", "--json"}).output;
}

TEST_F(MediumJobs, AnIndexDoesNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    in.write("text", "no DICOM");
    in.write("broken", std::string(128, '\0') + "DICM and no more");
    fs::remove(in.file("DICOMDIR"));
    std::string tree;
    std::string said;
    for (const char* jobs : {"0", "1", "2", "5"}) {
        const ProcessResult run = runRadvex({"index", in.path().string(), "-o", out, "--json", "--jobs", jobs});
        EXPECT_THAT(run, exitsSaying(0, HasSubstr("1 file is not DICOM")));
        EXPECT_THAT(run.errors, HasSubstr(in.file("broken") + " was not indexed: "));
        if (std::string(jobs) == "0") {
            said = run.output + run.errors;
            tree = directoryOf(out);
            EXPECT_THAT(tree, HasSubstr("I0000011"));
        }
        EXPECT_EQ(run.output + run.errors, said) << jobs;
        EXPECT_EQ(directoryOf(out), tree) << jobs;
        fs::remove_all(out);
    }
}

#ifdef FAILING_OPEN // no library comes before the sanitizer's
TEST_F(MediumJobs, AFileThatEndsItsIndexerIsNamedAndTheOthersAreIndexed) {
    writeTwelve();
    fs::remove(in.file("DICOMDIR"));
    const auto index = [&](const std::string& jobs) {
        return runProcess({"env", "LD_PRELOAD=" FAILING_OPEN, "RADVEX_TEST_ENDS_AT=/S04", RADVEX_COMMAND, "index",
                           in.path().string(), "-o", out, "--jobs", jobs});
    };
    EXPECT_EQ(index("0").status, 128 + SIGSEGV) << "what the test relies on";
    const ProcessResult run = index("2");
    EXPECT_EQ(run.status, 0) << "as with any file that cannot be indexed";
    EXPECT_EQ(run.errors,
              "radvex: " + in.file("S04") + " was not indexed: the reading process ended with signal 11 (SIGSEGV).\n");
    EXPECT_THAT(run.output, HasSubstr("2 series, 11 files (0 skipped, 1 refused)"));
}
#endif

TEST_F(MediumJobs, IdentifiersDoNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    const std::string key = around.write("key", "0123456789abcdef");
    for (const Words& more : {Words{}, {"--profile", "basic"}, {"--strict"}, {"--neutral-names"}}) {
        const Words words = joined({"anonymize", in.path().string(), out, "--key", key, "--report", "-"}, more);
        const Outcome outcome = sameWithAny(words);
        const bool isStrict = !more.empty() && more.front() == "--strict";
        EXPECT_EQ(outcome.files.empty(), isStrict) << "names stay in the files without a profile";
        for (const auto& [name, bytes] : outcome.files) {
            EXPECT_THAT(bytes, Not(HasSubstr("PATIENT-4711"))) << name;
            EXPECT_THAT(bytes, Not(HasSubstr("1.2.826.0.1.99"))) << name << ", comments too";
        }
    }
}

TEST_F(MediumJobs, AFileThatEndsItsAnonymizerIsNamedAndTheOthersAreWritten) {
    writeTwelve();
    EXPECT_THAT(endingAt("/S04", {"anonymize", in.path().string(), out, "-q", "--profile", "none", "--jobs", "2"}),
                exitsSaying(1, HasSubstr("radvex: " + endOf(in.file("S04")))));
    EXPECT_EQ(fs::exists(out + "/S04"), false);
    const Tree files = take(out);
    EXPECT_EQ(files.size(), 12U) << "eleven files and the directory, and nothing half-made";
    EXPECT_EQ(endingAt("/S04", {"anonymize", in.path().string(), out, "--profile", "none", "--jobs", "0"}).status,
              128 + SIGSEGV);
}

#ifdef FAILING_OPEN
TEST_F(MediumJobs, AFileThatEndsItsReaderCostsOnlyThatFileWithAProfileToo) {
    writeTwelve();
    const ProcessResult run =
        runProcess({"env", "LD_PRELOAD=" FAILING_OPEN, "RADVEX_TEST_ENDS_AT=/S04", "RADVEX_TEST_SPARES=1",
                    RADVEX_COMMAND, "anonymize", in.path().string(), out, "-q", "--jobs", "2"});
    EXPECT_THAT(run, exitsSaying(1, HasSubstr("radvex: " + endOf(in.file("S04")))));
    EXPECT_FALSE(fs::exists(out + "/S04"));
    EXPECT_EQ(take(out).size(), 12U) << "eleven files and the directory, and nothing half-made";
}
#endif

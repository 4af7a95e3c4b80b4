#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>

#include "tests/support/ImageFiles.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using testing::HasSubstr;
using testing::Not;

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
    /// Files below a folder, which goes, by name.
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
    Outcome outcomeOf(const std::vector<std::string>& words) const {
        const ProcessResult run = radvex::test::radvex(words);
        Outcome outcome{std::to_string(run.status) + run.output + run.errors, take(out)};
        outcome.files.erase("DICOMDIR"); // a directory that is written has a UID of its own in every run
        return outcome;
    }
    Outcome sameWithAny(std::vector<std::string> words) const {
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
    ProcessResult endingAt(const std::string& file, std::vector<std::string> words) const {
        words.insert(words.begin(),
                     {"env", "RADVEX_TEST_ENDS_AT=" + file, RADVEX_COMMAND, "--library", FAILING_LIBRARY});
        return runProcess(words);
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
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{}, {"--window", "100,50"}, {"--common-window"}, {"--scaling", "none"}}) {
        std::vector<std::string> words{"series", in.file("DICOMDIR"), "-o", out, "--json"};
        words.insert(words.end(), more.begin(), more.end());
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
    const ProcessResult run = endingAt("/S04", {"series", in.file("DICOMDIR"), "-o", out, "--jobs", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "radvex: " + endOf(in.file("S04")));
    EXPECT_EQ(take(out).size(), 12U);
}

TEST_F(MediumJobs, AttributesDoNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    fs::remove(in.file("S03"));
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{}, {"--tag", "InstanceNumber", "--json"}, {"--exclude", "PixelData"}}) {
        std::vector<std::string> words{"tags", "--recursive", in.file("DICOMDIR")};
        words.insert(words.end(), more.begin(), more.end());
        const Outcome outcome = sameWithAny(words);
        EXPECT_THAT(outcome.said, HasSubstr(in.file("S12")));
        EXPECT_THAT(outcome.said, HasSubstr("radvex: " + in.file("S03") + ": "));
    }
    const ProcessResult run = endingAt("/S04", {"tags", "--recursive", in.file("DICOMDIR"), "--tag", "PatientID"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("radvex: " + endOf(in.file("S04"))));
    EXPECT_THAT(run.output, HasSubstr(in.file("S05")));
}

/// What a directory says, without what is new in every run.
static std::string directoryOf(const std::string& folder) {
    return radvex::test::radvex({"tree", folder, "--files", "--json"}).output;
}

TEST_F(MediumJobs, AnIndexDoesNotDependOnTheNumberOfProcesses) {
    writeTwelve();
    in.write("text", "no DICOM");
    in.write("broken", std::string(128, '\0') + "DICM and no more");
    fs::remove(in.file("DICOMDIR"));
    std::string tree;
    std::string said;
    for (const char* jobs : {"0", "1", "2", "5"}) {
        const ProcessResult run =
            radvex::test::radvex({"index", in.path().string(), "-o", out, "--json", "--jobs", jobs});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.errors, HasSubstr("1 file is not DICOM"));
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
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{}, {"--profile", "basic"}, {"--strict"}, {"--neutral-names"}}) {
        std::vector<std::string> words{"anonymize", in.path().string(), out, "--key", key, "--report", "-"};
        words.insert(words.end(), more.begin(), more.end());
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
    const ProcessResult run = endingAt("/S04", {"anonymize", in.path().string(), out, "-q", "--jobs", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("radvex: " + endOf(in.file("S04"))));
    EXPECT_EQ(fs::exists(out + "/S04"), false);
    const Tree files = take(out);
    EXPECT_EQ(files.size(), 12U) << "eleven files and the directory, and nothing half-made";
    EXPECT_EQ(endingAt("/S04", {"anonymize", in.path().string(), out, "--jobs", "0"}).status, 128 + SIGSEGV);
}

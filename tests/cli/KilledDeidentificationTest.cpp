#include <chrono>
#include <map>
#include <random>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 24;
constexpr int kKills = 50;

/// What no finished file may hold.
const std::vector<std::string> kWords{"Zyxwvut",  "Quirina",    "HOSP-550137",
                                      "19560317", "ACC7712938", "1.2.826.0.1.99.5"};

/// Bytes of all files below a folder by their relative path, hidden ones too.
std::map<std::string, std::string> bytesIn(const fs::path& folder) {
    std::map<std::string, std::string> bytes;
    std::error_code missing;
    for (const auto& entry : fs::recursive_directory_iterator(folder, missing)) {
        if (entry.is_regular_file()) {
            bytes[fs::relative(entry.path(), folder).string()] = readFile(entry.path().string());
        }
    }
    return bytes;
}

/// Below a hidden folder nothing has its final name yet.
bool isUnfinished(const std::string& name) { return name.starts_with(".") || name.find("/.") != std::string::npos; }

void writePatient(const TemporaryFolder& folder) {
    for (int number = 1; number <= kFiles; ++number) {
        const std::string directory = "S" + std::to_string(number % 3);
        fs::create_directories(folder.path() / directory);
        writeDicom(folder.file(directory + "/I" + std::to_string(number)), [&](DcmDataset& dataset) {
            put(dataset, {{DCM_PatientName, "Zyxwvut^Quirina"},
                          {DCM_PatientID, "HOSP-550137"},
                          {DCM_PatientBirthDate, "19560317"},
                          {DCM_AccessionNumber, "ACC7712938"},
                          {DCM_StudyInstanceUID, "1.2.826.0.1.99.5"},
                          {DCM_SeriesInstanceUID, "1.2.826.0.1.99.5." + directory.substr(1)},
                          {DCM_SOPInstanceUID, "1.2.826.0.1.99.5.9." + std::to_string(number)},
                          {DCM_SeriesDescription, "for Quirina"},
                          {DCM_ImageComments, "Zyxwvut lay still"}});
            const std::vector<Uint16> words(1U << 14, static_cast<Uint16>(number));
            dataset.putAndInsertUint16Array(DcmTag(DCM_PixelData, EVR_OW), words.data(), words.size());
        });
    }
}

class KilledDeidentification : public ::testing::Test {
  protected:
    void SetUp() override {
        writePatient(in);
        original = bytesIn(in.path());
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(runRadvex(wordsFor(folder.file("whole"))).status, 0);
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        whole = bytesIn(folder.file("whole"));
        ASSERT_EQ(whole.size(), static_cast<std::size_t>(kFiles));
    }

    Words wordsFor(const std::string& output) const {
        return {"anonymize", in.path().string(), output, "-q", "--key", key, "--clean", "descriptors"};
    }

    /// Kills a run after so many seconds, unless it is over by then.
    void killAfter(double wait, const Words& more = {}) const {
        std::string script = "'" RADVEX_COMMAND "'";
        for (const std::string& word : joined(wordsFor(out), more)) {
            script += " '" + word + '\'';
        }
        script += " & sleep " + std::to_string(wait) + "; kill -9 $!; wait";
        (void)runProcess({"bash", "-c", script});
    }

    /// Gives the number of files under their final name.
    int expectNoOriginalIsLeft() const {
        int finished = 0;
        for (const auto& [name, bytes] : bytesIn(out)) {
            if (isUnfinished(name)) {
                continue;
            }
            ++finished;
            for (const std::string& word : kWords) {
                EXPECT_EQ(bytes.find(word), std::string::npos) << word << " in " << name;
            }
        }
        return finished;
    }

    TemporaryFolder in{};
    TemporaryFolder folder{};
    std::string out = folder.file("out");
    std::string key = folder.write("key", "0123456789abcdef");
    std::map<std::string, std::string> original{};
    std::map<std::string, std::string> whole{};
    double seconds = 0;
};

} // namespace

TEST_F(KilledDeidentification, LeavesNoOriginalAndIsFinishedByTheNextRun) {
    std::mt19937 random(7); // its numbers are the same everywhere
    int cutShort = 0;
    for (int round = 0; round < kKills; ++round) {
        fs::remove_all(out);
        const double wait = seconds * static_cast<double>(random() % 1000) / 1000;
        killAfter(wait);
        cutShort += expectNoOriginalIsLeft() < kFiles ? 1 : 0;
        ASSERT_EQ(bytesIn(in.path()), original) << "the input is changed by a kill after " << wait << " s";
        const ProcessResult resumed = runRadvex(joined(wordsFor(out), {"--resume"}));
        ASSERT_EQ(resumed.status, 0) << "after " << wait << " s: " << resumed.errors;
        ASSERT_TRUE(bytesIn(out) == whole) << "after " << wait << " s";
    }
    EXPECT_GT(cutShort, kKills / 4) << "most runs were over before they were killed";
}

TEST_F(KilledDeidentification, IsFinishedAfterSeveralKillsInARow) {
    std::mt19937 random(8);
    for (int kill = 0; kill < 6; ++kill) {
        const Words more = kill == 0 ? Words{} : Words{"--resume"};
        killAfter(seconds * static_cast<double>(random() % 1000) / 1000, more);
        (void)expectNoOriginalIsLeft();
        ASSERT_EQ(bytesIn(in.path()), original);
    }
    ASSERT_EQ(runRadvex(joined(wordsFor(out), {"--resume"})).status, 0);
    EXPECT_TRUE(bytesIn(out) == whole);
}

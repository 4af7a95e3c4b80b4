// Volumes whose slices the processes write straight into the file, beside the same volumes by way of memory, which
// --preview needs.

#include "volume/PlacedVolume.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "host/Declarations.h"
#include "host/Host.h"
#include "media/Medium.h"
#include "media/MediumTree.h"
#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class PlacedVolumes : public ::testing::Test {
  protected:
    /// A medium of one series with slices of these words, from below; the files stand in another order.
    void writeSeries(const std::vector<std::vector<Uint16>>& slices, const ImageFile& file,
                     const std::string& uid = "1.2.3") {
        Words fileIds;
        for (std::size_t number = 0; number < slices.size(); ++number) {
            const std::string fileId = "F" + std::to_string(mFiles++);
            writeSlice(folder, {.fileId = fileId,
                                .number = static_cast<int>(number) + 1,
                                .position = "0\\0\\" + std::to_string(number * 2),
                                .words = slices[number],
                                .file = file});
            fileIds.insert(fileIds.begin() + static_cast<std::ptrdiff_t>(number / 2), fileId);
        }
        mSeries.push_back(seriesOf(uid, fileIds));
        writeMedium(folder, {patientRecord("P", "N", {studyRecord("1.2", mSeries)})});
    }

    ProcessResult run(const std::string& name, const Words& words = {}) const {
        std::filesystem::remove(folder.file(name));
        return runRadvex(joined({"volume", folder.file("DICOMDIR"), "-o", folder.file(name)}, words));
    }
    std::string bytesOf(const std::string& name, const Words& words = {}) const {
        const ProcessResult result = run(name, words);
        EXPECT_EQ(result.status, 0) << result.errors;
        return readFile(folder.file(name));
    }

    /// Whether the slices of the only series are put into a file of this name at once, by so many processes.
    bool isPlaced(const std::string& name, std::size_t jobs = 2) const {
        const auto host = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
        const radvex::media::Medium medium(folder.file("DICOMDIR"));
        const auto series =
            radvex::volume::seriesOf(radvex::media::listMedium(*host, medium, {}, radvex::media::Records::keys, 0));
        std::filesystem::remove(folder.file(name));
        const auto placed = radvex::volume::writePlacedVolume(
            *host, series.front(), {}, jobs, [&](const std::string&) { return folder.file(name); }, [] {});
        EXPECT_EQ(placed.has_value(), std::filesystem::exists(folder.file(name)));
        return placed.has_value();
    }
    /// The volume is the same by way of memory, in each format and with any number of processes.
    void expectSame() const {
        for (const char* name : {"v.nrrd", "v.nii", "v.npy"}) {
            const std::string byMemory = bytesOf(name, {"--preview", folder.file("preview.png"), "--force"});
            for (const char* jobs : {"0", "1", "3"}) {
                EXPECT_EQ(bytesOf(name, {"--jobs", jobs}), byMemory) << name << ", " << jobs;
            }
        }
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            EXPECT_FALSE(entry.path().filename().string().starts_with("."))
                << "nothing is left of it: " << entry.path();
        }
    }

    TemporaryFolder folder{};

  private:
    std::vector<MediumRecord> mSeries{};
    int mFiles = 0;
};

const ImageFile kTwo{.rows = 1, .columns = 2, .words = {}};

ImageFile two(const std::string& slope, const std::string& intercept, int sign = 0) {
    ImageFile file = kTwo;
    file.slope = slope;
    file.intercept = intercept;
    file.pixelRepresentation = sign;
    return file;
}

} // namespace

TEST_F(PlacedVolumes, AreThoseByWayOfMemory) {
    writeSeries({{1, 2}, {3, 4}, {5, 6}, {7, 60000}, {9, 10}}, kTwo);
    EXPECT_TRUE(isPlaced("p.nrrd"));
    EXPECT_TRUE(isPlaced("p.nii", 0));
    expectSame();
    const std::string bytes = bytesOf("v.npy");
    const std::vector<Uint16> values{1, 2, 3, 4, 5, 6, 7, 60000, 9, 10};
    EXPECT_EQ(bytes.substr(bytes.size() - 20), std::string(reinterpret_cast<const char*>(values.data()), 20));
}

TEST_F(PlacedVolumes, HaveSlicesOfNarrowerValuesInTheirType) {
    // Only the second slice needs a sign; the others alone would be unsigned.
    writeSeries({{2000, 3000}, {0, 1}, {1024, 1025}}, two("1", "-1024"));
    EXPECT_TRUE(isPlaced("p.nrrd"));
    expectSame();
}

TEST_F(PlacedVolumes, OfFractionsAreReals) {
    writeSeries({{1, 2}, {3, 65535}}, two("0.25", "-7.5"));
    EXPECT_TRUE(isPlaced("p.nrrd"));
    expectSame();
}

TEST_F(PlacedVolumes, OfAnotherTypeThanForetoldGoByWayOfMemory) {
    writeSeries({{2000, 3000}, {1024, 1025}}, two("1", "-1024")); // no value is negative
    EXPECT_FALSE(isPlaced("p.nrrd"));
    expectSame();
}

TEST_F(PlacedVolumes, WithValuesBeyondTheirTypeGoByWayOfMemory) {
    writeSeries({{1, 2}, {3, 40000}}, two("2", "0"));
    EXPECT_FALSE(isPlaced("p.nrrd"));
    expectSame();
    writeSeries({{1, 2}, {3, 4}}, two("2", "0"), "1.2.4");
    EXPECT_EQ(run("w.nrrd").status, 0) << "two series";
    EXPECT_TRUE(std::filesystem::exists(folder.file("w-0001.nrrd")));
    EXPECT_TRUE(std::filesystem::exists(folder.file("w-0002.nrrd")));
}

TEST_F(PlacedVolumes, WithAnythingToSayGoByWayOfMemory) {
    writeSeries({{1, 2}, {3, 4}, {5, 6}}, kTwo);
    EXPECT_TRUE(isPlaced("p.nrrd"));
    std::filesystem::remove(folder.file("F1"));
    EXPECT_FALSE(isPlaced("p.nrrd")) << "a file is missing";
    const ProcessResult result = run("p.nrrd");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("cannot be read"));
    EXPECT_FALSE(std::filesystem::exists(folder.file("p.nrrd")));
}

TEST_F(PlacedVolumes, OfRecordsWithoutFilesAreSentences) {
    writeMedium(folder, {patientRecord("P", "N", {studyRecord("1.2", {seriesOf("1.2.3", {})})})});
    const ProcessResult result = run("p.nrrd");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("The series holds no pictures."));
    EXPECT_EQ(run("p.nrrd", {"--rendered"}).status, 1);
}

TEST_F(PlacedVolumes, AreNamedByTheFirstSeriesNumberThatAFileHas) {
    writeSeries({{1, 2}, {3, 4}}, kTwo);
    ImageFile numbered = kTwo;
    int files = 0;
    numbered.more = [&files](DcmDataset& dataset) {
        if (++files == 2) {
            put(dataset, {{DCM_SeriesNumber, "17"}});
        }
    };
    writeSeries({{1, 2}, {3, 4}}, numbered, "1.2.4");
    ASSERT_EQ(run("p.nrrd").status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.file("p-0002-17.nrrd")));
}

TEST_F(PlacedVolumes, LoseOnlyTheSeriesOfAFileThatEndsItsReader) {
    writeSeries({{1, 2}}, kTwo);
    writeSeries({{1, 2}, {3, 4}, {5, 6}}, kTwo, "1.2.4");
    const ProcessResult result =
        runProcess({"env", "RADVEX_TEST_ENDS_AT=" + folder.file("F0"), RADVEX_COMMAND, "--library", FAILING_LIBRARY,
                    "volume", folder.file("DICOMDIR"), "-o", folder.file("p.nrrd")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr("F0"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("p-0002.nrrd")));
}

TEST_F(PlacedVolumes, ThatDoNotFitOntoTheDiskLeaveNothingBehind) {
    ImageFile file{.rows = 64, .columns = 64, .words = {}};
    writeSeries(std::vector<std::vector<Uint16>>(4, std::vector<Uint16>(4096, 7)), file);
    EXPECT_TRUE(isPlaced("p.nrrd"));
    std::filesystem::remove(folder.file("p.nrrd"));
    const std::string line = "ulimit -f 16; exec \"$0\" \"$@\""; // KiB, of 32 that are needed; SIGXFSZ is ignored
    const ProcessResult result = runProcess({"bash", "-c", "trap '' XFSZ; " + line, RADVEX_COMMAND, "volume",
                                             folder.file("DICOMDIR"), "-o", folder.file("p.nrrd")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.errors, HasSubstr(folder.file("p.nrrd") + " cannot be written: File too large"));
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".")) << entry.path();
        EXPECT_NE(entry.path().extension(), ".nrrd");
    }
}

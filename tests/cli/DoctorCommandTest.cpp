#include <sys/stat.h>

#include "tests/cli/Commands.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

/// Runs `radvex doctor` with a folder of its own for temporary files, of which nothing may be left.
class DoctorCommand : public testing::Test {
  protected:
    void TearDown() override { EXPECT_TRUE(fs::is_empty(folder.path())); }

    ProcessResult run(const Words& words, const Words& environment = {}) const {
        return runProcess(
            joined(joined({"env", "TMPDIR=" + folder.path().string()}, environment), joined({RADVEX_COMMAND}, words)));
    }
    Json findings(const Words& words, int status, const Words& environment = {}) const {
        const ProcessResult done = run(joined(words, {"doctor", "--json"}), environment);
        EXPECT_EQ(done.status, status) << done.errors;
        const Json report = Json::parse(done.output);
        Json bySubject;
        for (const Json& finding : report["findings"]) {
            bySubject[finding["subject"].get<std::string>()] = finding;
        }
        return bySubject;
    }

    TemporaryFolder folder{};
};

/// The transfer syntaxes that the library reads and that a file can be written in.
const std::vector<std::string> kCodecs{"Uncompressed",
                                       "JPEGLossless",
                                       "JPEGLosslessNonhierarchical",
                                       "JPEGLossy8bit",
                                       "JPEGLossy12bit",
                                       "JPEG-LSLossless",
                                       "JPEG-LSLossy",
                                       "RLE",
                                       "JPEG2000",
                                       "HTJ2K"};

} // namespace

TEST_F(DoctorCommand, TriesEveryCodec) {
    const Json found = findings({}, 0);
    for (const std::string& codec : kCodecs) {
        ASSERT_TRUE(found.contains(codec)) << codec;
        EXPECT_EQ(found[codec]["health"], "ok") << codec;
    }
    for (const char* subject : {"radvex", "library", "datasets library", "DCMTK", "cores", "memory", "terminal"}) {
        EXPECT_EQ(found[subject]["health"], "ok") << subject;
    }
    EXPECT_THAT(found["temporary folder"]["detail"].get<std::string>(), StartsWith(folder.path().string() + ", "));
}

TEST_F(DoctorCommand, NamesThePatchesThatDcmtkWasBuiltWith) {
    const Json report = Json::parse(run({"doctor", "--json"}).output);
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(RADVEX_SOURCE_DIR) / "cmake/dcmtk")) {
        names.insert(entry.path().stem().string());
    }
    EXPECT_EQ(report["dcmtkPatches"].get<std::set<std::string>>(), names);
    const std::string count = std::to_string(names.size()) + " patches";
    EXPECT_THAT(run({"doctor"}).output, HasSubstr("\nDCMTK                        ok      3.6.7 with " + count + '\n'));
}

TEST_F(DoctorCommand, ACodecThatCrashesIsNamedAndTheOthersAreTried) {
    const Words library{"--library", FAILING_LIBRARY};
    const Words environment{"RADVEX_TEST_ENDS_AT=/RLE.dcm"};
    const Json found = findings(library, 1, environment);
    for (const std::string& codec : kCodecs) {
        EXPECT_EQ(found[codec]["health"], codec == "RLE" ? "failed" : "ok") << codec;
    }
    EXPECT_THAT(run(joined(library, {"doctor", "--quiet"}), environment),
                exitsSaying(1, "radvex: RLE: the reading process ended with signal 11 (SIGSEGV). Files in this "
                               "compression cannot be trusted: install the command again with the libraries that it "
                               "was built with.\n"));
}

TEST_F(DoctorCommand, ASampleThatIsNotWhatWasWrittenIsAFailure) {
    const Json found = findings({"--library", FAILING_LIBRARY}, 1, {"RADVEX_TEST_SPOILS=/Uncompressed.dcm"});
    for (const std::string& codec : kCodecs) {
        EXPECT_EQ(found[codec]["health"], codec == "Uncompressed" ? "failed" : "ok") << codec;
    }
    EXPECT_EQ(found["Uncompressed"]["detail"], "Sample 959 is 254 in place of 255.");
}

TEST_F(DoctorCommand, ALibraryThatIsNotThereIsAFailure) {
    const ProcessResult done = run({"--library", "/nowhere/Radvex.so", "doctor"});
    EXPECT_THAT(done, exitsSaying(1, testing::AllOf(HasSubstr("/nowhere/Radvex.so"), HasSubstr("--library FILE.\n"))));
    EXPECT_THAT(done.output, HasSubstr("\nlibrary                      failed  "));
    EXPECT_THAT(done.output, Not(HasSubstr("RLE"))) << "nothing to try";
}

TEST_F(DoctorCommand, AFolderForTemporaryFilesIsNeeded) {
    const ProcessResult done = runProcess({"env", "TMPDIR=/nowhere", RADVEX_COMMAND, "doctor"});
    EXPECT_THAT(done, exitsSaying(1, StartsWith("radvex: temporary folder: No temporary folder can be made: ")));
    EXPECT_THAT(done.errors, HasSubstr("TMPDIR can name another folder for it.\n"));
}

TEST(Version, TheFirstLineIsTheVersionAlone) {
    const ProcessResult plain = runRadvex({"--version"});
    EXPECT_EQ(plain.status, 0);
    EXPECT_THAT(plain.output, testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    for (const Words& words : {Words{"--version", "--verbose"}, Words{"-v", "--version"}}) {
        const std::string more = runRadvex(words).output;
        EXPECT_THAT(more, StartsWith(plain.output));
        for (const char* library : {"DCMTK 3.6.7 with ", "ICU ", "OpenJPEG 2.", "libpng 1.", "zlib 1.", "CLI11 2."}) {
            EXPECT_THAT(more, HasSubstr(std::string("\n") + library)) << library;
        }
    }
}

TEST(Version, NeedsNoLibrary) {
    const ProcessResult plain = runRadvex({"--library", "/nowhere/Radvex.so", "--version", "--verbose"});
    EXPECT_EQ(plain.status, 0);
    EXPECT_THAT(plain.output, HasSubstr("\nDCMTK 3.6.7 with "));
    EXPECT_THAT(plain.errors, HasSubstr("/nowhere/Radvex.so"));
}
TEST_F(DoctorCommand, BlamesNoCompressionWhereThereIsNoRoom) {
    const std::string script = "trap '' XFSZ; ulimit -f 100; exec '" RADVEX_COMMAND "' doctor";
    const ProcessResult done = runProcess({"bash", "-c", script});
    EXPECT_THAT(done, exitsSaying(1, HasSubstr("There is no room for small files: make some, or name another folder")));
    EXPECT_THAT(done.errors, testing::Not(HasSubstr("compression")));
}

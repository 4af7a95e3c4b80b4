#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

/// A kind of picture that may show the patient, and the word that accepts it.
struct Kind {
    std::string name{};
    std::string accepted{};
    Attributes attributes{}; ///< of the suspect picture
    Attributes clearance{};  ///< says that it shows nobody
};

const std::vector<Kind> kKinds{
    {"secondary capture",
     "secondary-capture",
     {{DCM_SOPClassUID, UID_SecondaryCaptureImageStorage}, {DCM_Modality, "OT"}, {DCM_ConversionType, "WSD"}},
     {{DCM_BurnedInAnnotation, "NO"}}},
    {"ultrasound",
     "ultrasound",
     {{DCM_SOPClassUID, UID_UltrasoundImageStorage}, {DCM_Modality, "US"}},
     {{DCM_BurnedInAnnotation, "NO"}}},
    {"head",
     "face",
     {{DCM_SOPClassUID, UID_CTImageStorage}, {DCM_Modality, "CT"}, {DCM_BodyPartExamined, "HEAD"}},
     {{DCM_RecognizableVisualFeatures, "NO"}, {DCM_BurnedInAnnotation, "NO"}}}};

class PixelAcceptance : public ::testing::Test {
  protected:
    std::string write(const Kind& kind, const Attributes& more = {}) {
        ImageFile image{.rows = 2, .columns = 2, .words = {1, 2, 3, 4}};
        image.more = [&](DcmDataset& dataset) {
            put(dataset, {{DCM_PatientName, "Zyxwvut^Quirina"},
                          {DCM_PatientID, "HOSP-550137"},
                          {DCM_StudyInstanceUID, "1.2.826.0.1.99.5"},
                          {DCM_SeriesInstanceUID, "1.2.826.0.1.99.5.1"}});
            put(dataset, kind.attributes);
            put(dataset, more);
        };
        return writeImageFile(folder.file("in"), image);
    }

    ProcessResult anonymize(const std::string& input, const Words& more) {
        fs::remove(out);
        return runRadvex(joined({"anonymize", input, out, "--jobs", "0"}, more));
    }

    TemporaryFolder folder{};
    std::string out = folder.file("out");
};

} // namespace

TEST_F(PixelAcceptance, StrictWritesNoPictureThatMayShowThePatient) {
    for (const Kind& kind : kKinds) {
        const std::string input = write(kind);
        const ProcessResult run = anonymize(input, {"--strict"});
        EXPECT_EQ(run.status, 1) << kind.name;
        EXPECT_FALSE(fs::exists(out)) << kind.name;
        EXPECT_THAT(run.errors, HasSubstr(input)) << kind.name;
    }
}

TEST_F(PixelAcceptance, AKindThatIsAcceptedIsWrittenAndNoOther) {
    for (const Kind& kind : kKinds) {
        const std::string input = write(kind);
        for (const Kind& accepted : kKinds) {
            const ProcessResult run = anonymize(input, {"--strict", "--accept-pixels", accepted.accepted});
            const bool isAccepted = kind.name == accepted.name;
            EXPECT_EQ(run.status, isAccepted ? 0 : 1) << kind.name << ", " << accepted.name << ": " << run.errors;
            EXPECT_EQ(fs::exists(out), isAccepted) << kind.name << ", " << accepted.name;
        }
    }
}

TEST_F(PixelAcceptance, SeveralKindsMayBeAcceptedAtOnce) {
    for (const Kind& kind : kKinds) {
        EXPECT_EQ(anonymize(write(kind), {"--strict", "--accept-pixels", "secondary-capture,ultrasound,face"}).status,
                  0)
            << kind.name;
        EXPECT_TRUE(fs::exists(out)) << kind.name;
    }
    EXPECT_NE(anonymize(write(kKinds.front()), {"--accept-pixels", "anything"}).status, 0) << "no such kind";
}

TEST_F(PixelAcceptance, APictureThatSaysThatItShowsNobodyIsWritten) {
    for (const Kind& kind : kKinds) {
        EXPECT_EQ(anonymize(write(kind, kind.clearance), {"--strict"}).status, 0) << kind.name;
        EXPECT_TRUE(fs::exists(out)) << kind.name;
    }
}

TEST_F(PixelAcceptance, WithoutStrictTheyAreWrittenAndNamed) {
    for (const Kind& kind : kKinds) {
        const ProcessResult run = anonymize(write(kind), {});
        EXPECT_EQ(run.status, 0) << kind.name << ": " << run.errors;
        EXPECT_TRUE(fs::exists(out)) << kind.name;
        EXPECT_THAT(run.output, Not(IsEmpty())) << kind.name;
    }
}

// Pixels in JPEG 2000 and HTJ2K, through the command.

#include "cli/doctor/StoredPictures.h"
#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace radvex::cli {

void PrintTo(const StoredPicture& picture, std::ostream* out) { *out << picture.name; }

} // namespace radvex::cli

namespace {

using radvex::cli::StoredPicture;

class Jpeg2000Files : public testing::TestWithParam<StoredPicture> {
  protected:
    std::string write(const std::string& name, const std::string& codestream) {
        StoredPicture picture = GetParam();
        picture.codestream = codestream;
        return mFolder.write(name, radvex::cli::dicomFileOf(picture));
    }

    /// Samples of the picture as `radvex data` writes them.
    std::vector<int> samplesIn(const std::string& path) {
        const std::string out = mFolder.file("values.npy");
        EXPECT_THAT(runRadvex({"data", path, "-o", out, "--force"}), exitsSaying(0, ""));
        const std::string bytes = readFile(out);
        const std::size_t count = GetParam().samples.size();
        EXPECT_NE(bytes.find("|u1"), std::string::npos);
        std::vector<int> samples;
        for (std::size_t index = bytes.size() - count; index < bytes.size(); ++index) {
            samples.push_back(static_cast<unsigned char>(bytes[index]));
        }
        return samples;
    }

    static std::string syntaxOf(const std::string& path) {
        return Json::parse(
            runRadvex({"tags", "--json", "--tag", "TransferSyntaxUID", path}).output)["TransferSyntaxUID"];
    }

    TemporaryFolder mFolder{};
};

} // namespace

TEST_P(Jpeg2000Files, HaveTheSamplesThatWereEncoded) {
    EXPECT_EQ(samplesIn(write("in.dcm", GetParam().codestream)), GetParam().samples);
}

TEST_P(Jpeg2000Files, AreRefusedWhenTheyAreCut) {
    const std::string cut = write("cut.dcm", GetParam().codestream.substr(0, GetParam().codestream.size() - 5));
    for (const Words& words : {Words{"data", cut}, Words{"image", cut, "-o", mFolder.file("picture.png")}}) {
        EXPECT_THAT(runRadvex(words), exitsSaying(1, HasSubstr("its JPEG 2000 codestream ends too early")));
    }
    EXPECT_FALSE(std::filesystem::exists(mFolder.file("picture.png")));
}

TEST_P(Jpeg2000Files, KeepTheirCodestreamWithoutAPatient) {
    const std::string path = write("in.dcm", GetParam().codestream);
    const std::string out = mFolder.file("out.dcm");
    EXPECT_EQ(runRadvex({"anonymize", path, out, "--set", "PatientName=Nobody"}).status, 0);
    EXPECT_EQ(syntaxOf(out), GetParam().transferSyntax);
    EXPECT_NE(readFile(out).find(GetParam().codestream), std::string::npos);
}

TEST_P(Jpeg2000Files, AreMaskedAndCompressedWithoutLoss) {
    const std::string path = write("in.dcm", GetParam().codestream);
    const std::string out = mFolder.file("out.dcm");
    const std::string rules = mFolder.write("rules.json", R"([{"match": {}, "rectangles": [[2, 1, 5, 3]]}])");
    EXPECT_EQ(runRadvex({"anonymize", path, out, "--mask", rules}).status, 0);
    EXPECT_EQ(syntaxOf(out), UID_JPEGProcess14SV1TransferSyntax);
    std::vector<int> masked = GetParam().samples;
    for (std::size_t index = 0; index < masked.size(); ++index) {
        const std::size_t row = index / 8;
        const std::size_t column = index % 8;
        if (row >= 1 && row < 4 && column >= 2 && column < 7) {
            masked[index] = 0;
        }
    }
    EXPECT_EQ(samplesIn(out), masked);
}

INSTANTIATE_TEST_SUITE_P(All, Jpeg2000Files, testing::ValuesIn(radvex::cli::storedPictures()),
                         [](const auto& picture) { return picture.param.name; });

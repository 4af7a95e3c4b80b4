#include <filesystem>

#include "tests/dicom/DicomTest.h"

using namespace radvex::test;

namespace {

class Counts : public LibraryTest {
  protected:
    std::string write(const std::string& name, const Fill& fill = {}) { return writeDicom(folder.file(name), fill); }
};

using CloseAndClear = Counts;
using OpenFailures = Counts;

} // namespace

TEST_F(Counts, FrameCountIsNumberOfFrames) {
    const auto path = write("a.dcm", with({{DCM_NumberOfFrames, "15"}}));
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 15);
}

TEST_F(Counts, ASingleFrameFileWithoutNumberOfFramesCountsZeroFrames) {
    EXPECT_EQ(call("GetFrameCount", {write("a.dcm")}).get<vint>(), 0);
}

TEST_F(Counts, AFrameCountThatIsNoNumberIsZero) {
    const auto path = write("a.dcm", with({{DCM_NumberOfFrames, "many"}}));
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
}

TEST_F(Counts, RepresentativeFrameIsZeroWithoutTheAttribute) {
    EXPECT_EQ(call("GetRepresentativeFrameIndex", {write("a.dcm")}).get<vint>(), 0);
}

TEST_F(Counts, RepresentativeFrameIsTheAttributesNumber) {
    const auto path =
        write("a.dcm", [](DcmDataset& dataset) { dataset.putAndInsertUint16(DCM_RepresentativeFrameNumber, 40000); });
    EXPECT_EQ(call("GetRepresentativeFrameIndex", {path}).get<vint>(), 40000);
}

TEST_F(Counts, OverlaysAreThoseWithDataOfTheirOwn) {
    const auto path = write("a.dcm", [](DcmDataset& dataset) {
        const Uint16 bits[] = {1};
        dataset.putAndInsertUint16Array(DcmTag(0x6000, 0x3000, EVR_OW), bits, 1);
        dataset.putAndInsertUint16(DcmTag(0x6002, 0x0010, EVR_US), 4); // embedded in the pixel data: no (6002,3000)
        dataset.putAndInsertUint16Array(DcmTag(0x6004, 0x3000, EVR_OW), bits, 1);
    });
    EXPECT_EQ(call("GetOverlayCount", {path}).get<vint>(), 2);
}

TEST_F(Counts, OverlaysOfTheLastGroupCountAndThoseBehindItDoNot) {
    const auto path = write("a.dcm", [](DcmDataset& dataset) {
        const Uint16 bits[] = {1};
        dataset.putAndInsertUint16Array(DcmTag(0x601E, 0x3000, EVR_OW), bits, 1);
        dataset.putAndInsertUint16Array(DcmTag(0x6020, 0x3000, EVR_OW), bits, 1);
    });
    EXPECT_EQ(call("GetOverlayCount", {path}).get<vint>(), 1);
}

TEST_F(OpenFailures, AMissingFileFailsEveryTimeWithItsPathAndTheReason) {
    const std::string path = folder.file("missing.dcm");
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(codeOf("GetFrameCount", {path}), -62);
        EXPECT_EQ(messageOf("GetFrameCount", {path}),
                  "Error when opening file " + path + ": No such file or directory.");
    }
}

TEST_F(OpenFailures, AFileThatAppearsAfterAFailureOpens) {
    const std::string path = folder.file("late.dcm");
    EXPECT_EQ(codeOf("GetFrameCount", {path}), -62);
    write("late.dcm");
    EXPECT_EQ(codeOf("GetFrameCount", {path}), 0);
}

TEST_F(OpenFailures, AFileThatIsNotDicomIsRefused) {
    EXPECT_EQ(codeOf("GetFrameCount", {folder.write("a.txt", std::string(5000, 'x'))}), -62);
    EXPECT_EQ(codeOf("GetFrameCount", {folder.write("empty", "")}), -62);
}

TEST_F(OpenFailures, ADashIsAFileNameAndNotTheStandardInput) {
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(codeOf("GetFrameCount", {"-"}), -62);
    write("-");
    EXPECT_EQ(codeOf("GetFrameCount", {"-"}), 0);
    std::filesystem::current_path("/");
}

TEST_F(OpenFailures, APathThatTheHostRefusesIsNamed) {
    const auto path = write("a.dcm");
    host().services().allowReadingBelow({"/nowhere"});
    EXPECT_EQ(codeOf("GetFrameCount", {path}), -59);
    EXPECT_EQ(messageOf("GetFrameCount", {path}),
              "File path " + path + " could not be validated under desired open mode.");
}

TEST_F(OpenFailures, APathThatIsNoUtf8StillArrivesInTheMessage) {
    const std::string message = messageOf("GetFrameCount", {folder.file("caf\xE9")});
    EXPECT_NE(message.find("caf\xC3\xA9: No such file"), std::string::npos) << message;
}

TEST_F(OpenFailures, EveryCutOfAFileGivesDataOrAnError) {
    const std::string bytes = readFile(write("whole.dcm", [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_NumberOfFrames, "3");
        const Uint8 pixels[64] = {};
        dataset.putAndInsertUint8Array(DCM_PixelData, pixels, 64);
    }));
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        const int code = codeOf("GetFrameCount", {folder.write("cut.dcm", bytes.substr(0, length))});
        EXPECT_TRUE(code == 0 || code == -62) << "cut at " << length << " gives " << code;
        call("ClearCache");
    }
    EXPECT_EQ(call("GetFrameCount", {folder.write("cut.dcm", bytes)}).get<vint>(), 3);
}

TEST_F(CloseAndClear, AChangedFileIsSeenOnlyAfterItsReaderIsClosed) {
    const auto path = write("a.dcm", with({{DCM_NumberOfFrames, "2"}}));
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
    write("a.dcm", with({{DCM_NumberOfFrames, "3"}}));
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 2);
    EXPECT_TRUE(call("CloseReader", {path}).is<velmora::Null>());
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 3);
}

TEST_F(CloseAndClear, ClearCacheForgetsEveryReader) {
    const auto path = write("a.dcm", with({{DCM_NumberOfFrames, "2"}}));
    call("GetFrameCount", {path});
    write("a.dcm");
    EXPECT_TRUE(call("ClearCache").is<velmora::Null>());
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
}

TEST_F(CloseAndClear, ClosingAPathThatIsNotOpenIsNoError) {
    EXPECT_EQ(codeOf("CloseReader", {folder.file("never-opened.dcm")}), 0);
}

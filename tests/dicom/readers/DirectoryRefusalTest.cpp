#include "tests/dicom/readers/Refusals.h"
#include "tests/dicom/readers/SeriesFiles.h"
#include "tests/support/MediumFiles.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Two series of two files each, read by each function that reads a directory.
class DirectoryRefusals : public Refusals {
  protected:
    void SetUp() override {
        Refusals::SetUp();
        const auto series = [](const std::string& uid, const std::string& first, const std::string& second) {
            return seriesRecord(uid, "CT", {imageRecord(first, 1), imageRecord(second, 2)});
        };
        path = writeMedium(
            folder, {patientRecord("P", "N", {studyRecord("1", {series("1.1", "A", "B"), series("1.2", "C", "D")})})});
        for (const char* name : {"A", "B", "C", "D"}) {
            writeImageFile(folder.file(name), grey16(1, 2, {1, 2}));
        }
    }

    /// @param expected  beside the refusal of the first path, which is that of the DICOMDIR
    void sweepReads(const std::string& function, const std::vector<Value>& arguments,
                    std::map<std::string, Codes> expected) {
        expected["validatePath"].insert({1, -59});
        sweep(
            [&] {
                const int code = codeOf(function, arguments);
                call("ClearCache"); // so that the next run asks the host again
                return code;
            },
            0, expected);
    }
    static Value scaling(double first) { return Tensor(std::vector<vint>{2}, std::vector<double>{first, 0.0}); }

    std::string path{};
};

} // namespace

TEST_F(DirectoryRefusals, OfAStructure) {
    sweepReads("ReadDICOMDIRStructure", {path, ".*", ".*", ".*", true}, {{"createDataStore", {{0, -25}}}});
}

TEST_F(DirectoryRefusals, OfInfo) {
    const std::map<std::string, Codes> expected{{"createDataStore", {{0, -25}}},
                                                {"DataStoreNode_getDataType", {{0, -50}}},
                                                {"DataStoreNode_getData", {{0, -51}}}};
    sweepReads("ReadPatientInfo", {path, Store::ofTexts({"ID"}), ".*"}, expected);
    sweepReads("ReadStudyInfo", {path, Store::ofTexts({"ID"}), ".*", ".*"}, expected);
    sweepReads("ReadSeriesInfo", {path, Store::ofTexts({"UID"}), ".*", ".*", ".*"}, expected);
}

TEST_F(DirectoryRefusals, OfPicturesCostTheirFileAtMost) {
    // A path that is refused is a file that cannot be read, and a picture that cannot be made is left to the fallback.
    for (const double first : {0.0, -2.0}) {
        sweepReads("Read2DImagesDir", {path, scaling(first), false, 1, ".*", ".*", ".*"},
                   {{"createDataStore", {{0, -25}}}});
    }
}

TEST_F(DirectoryRefusals, OfAVolumeEndTheRead) {
    for (const double first : {0.0, -2.0}) {
        sweepReads("Read3DImage", {path, ".*", ".*", ".*", scaling(first), 1},
                   {{"createDataStore", {{0, -25}}}, {"VImage_new3D", {{0, -20}}}});
    }
}

TEST_F(DirectoryRefusals, OfMetadataEndTheRead) {
    const std::map<std::string, Codes> expected{{"validatePath", {{0, -59}}},
                                                {"createDataStore", {{0, -25}}},
                                                {"VTensor_new", {{0, -15}}},
                                                {"VNumericArray_new", {{0, -9}}},
                                                {"DataStoreNode_getDataType", {{0, -50}}},
                                                {"DataStoreNode_getData", {{0, -51}}}};
    sweepReads("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}, expected);
    sweepReads("ReadAllMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}, expected);
}

TEST_F(DirectoryRefusals, OfMetadataByNumberEndTheRead) {
    sweep(
        [&] {
            // The library consumes the inner lists, so that every call needs new ones.
            const int code =
                codeOf("ReadMetadataIntTagsRecursive", {path, Store::of({Store::ofTexts({"0028", "0010"})})});
            call("ClearCache");
            return code;
        },
        0,
        {{"validatePath", {{0, -59}}},
         {"createDataStore", {{0, -25}}},
         {"DataStoreNode_getDataType", {{0, -50}}},
         {"DataStoreNode_getData", {{0, -51}}}});
}

TEST_F(DirectoryRefusals, OfEveryFileOfASeriesLeaveNoneForAVolume) {
    host().services().allowReadingBelow({path}); // the DICOMDIR alone
    EXPECT_EQ(codeOf("Read3DImage", {path, ".*", ".*", ".*", scaling(0), 1}), -71);
    EXPECT_EQ(codeOf("Read2DImagesDir", {path, scaling(0), false, 1, ".*", ".*", ".*"}), 0);
    EXPECT_EQ(codeOf("ReadMetadataRecursive", {path, Store::ofTexts({"Rows"}), ".*", false}), -59);
}

#include <cstring>
#include <filesystem>

#include "tests/cli/Commands.h"

using namespace radvex::test;
using testing::EndsWith;

namespace {

/// An NRRD file, read here from what the format says.
struct NrrdFile {
    std::string header{};
    std::string data{};

    template <typename T>
    std::vector<T> samples() const {
        std::vector<T> values(data.size() / sizeof(T));
        std::memcpy(values.data(), data.data(), values.size() * sizeof(T));
        return values;
    }
};

NrrdFile readNrrd(const std::string& path) {
    const std::string bytes = readFile(path);
    const std::size_t end = bytes.find("\n\n");
    return {bytes.substr(0, end + 1), bytes.substr(end + 2)};
}

class VolumeCommand : public ::testing::Test {
  protected:
    void write(Slice slice) const {
        slice.file.more = [more = slice.file.more](DcmDataset& dataset) {
            put(dataset, {{DCM_SeriesNumber, "7"}});
            if (more) {
                more(dataset);
            }
        };
        writeSlice(folder, slice);
    }
    /// A medium of one series of these slices, which may list other files too.
    std::string writeSeries(const std::vector<Slice>& slices, const Words& missing = {}) const {
        Words fileIds;
        for (const Slice& slice : slices) {
            write(slice);
            fileIds.push_back(slice.fileId);
        }
        return writeMedium(
            folder, {patientRecord("P", "N", {studyRecord("1.2", {seriesOf("1.2.3", joined(fileIds, missing))})})});
    }
    /// Runs the command where no volume is yet.
    ProcessResult run(const Words& words, const std::string& name = "out.nrrd") const {
        std::filesystem::remove(folder.file(name));
        return runRadvex(joined({"volume", folder.file("DICOMDIR"), "-o", folder.file(name)}, words));
    }
    bool isThere(const std::string& name = "out.nrrd") const { return std::filesystem::exists(folder.file(name)); }
    NrrdFile out(const std::string& name = "out.nrrd") const { return readNrrd(folder.file(name)); }

    TemporaryFolder folder{};
};

/// Three slices whose numbers are 3, 1, 2 in the order of the medium, at heights that follow the numbers.
std::vector<Slice> threeSlices() {
    return {{"A", 3, "1\\2\\9", {30, 31}}, {"B", 1, "1\\2\\5", {10, 11}}, {"C", 2, "1\\2\\7", {20, 21}}};
}

} // namespace

TEST_F(VolumeCommand, StacksByInstanceNumberAndSaysWhereTheSlicesLie) {
    writeSeries(threeSlices());
    const ProcessResult done = run({});
    EXPECT_THAT(done, exitsSaying(0, ""));
    EXPECT_EQ(done.output, folder.file("out.nrrd") + ": 2 x 1 x 3, u16, 0.25 x 0.5 x 2 mm\n");
    EXPECT_THAT(out().header, HasSubstr("type: uint16\ndimension: 3\nsizes: 2 1 3\nspace: left-posterior-superior\n"
                                        "space directions: (0.25,0,0) (0,0.5,0) (0,0,2)\nspace origin: (1,2,5)\n"));
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(10, 11, 20, 21, 30, 31));
}

TEST_F(VolumeCommand, SortsByPositionWhatIsNotInOrder) {
    auto slices = threeSlices();
    slices[1].position = "1\\2\\8"; // number 1 lies between the others
    slices[2].position = "1\\2\\7";
    writeSeries(slices);
    EXPECT_THAT(run({"--sort", "instance"}),
                exitsSaying(1, HasSubstr(folder.file("out.nrrd") + ": The order by InstanceNumber is not the order in "
                                                                   "space (--sort position mends it).")));
    EXPECT_FALSE(isThere());
    EXPECT_EQ(run({"--sort", "instance", "--force"}).status, 0);
    EXPECT_EQ(out().header.find("space"), std::string::npos) << "no matrix holds this order";
    EXPECT_THAT(out().header, HasSubstr("spacings: 0.25 0.5 1\n"));
    for (const Words& words : {Words{}, Words{"--sort", "position"}}) {
        EXPECT_EQ(run(words).status, 0);
        EXPECT_THAT(out().samples<Uint16>(), ElementsAre(20, 21, 10, 11, 30, 31));
        EXPECT_THAT(out().header, HasSubstr("(0,0,1)\nspace origin: (1,2,7)\n"));
    }
}

TEST_F(VolumeCommand, ValuesAreThoseOfTheModality) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.file.pixelRepresentation = 1;
        slice.file.bitsStored = 12;
        slice.file.slope = "1";
        slice.file.intercept = "-1024";
    }
    slices[0].words = {0x0800, 0x07FF}; // -2048 and 2047 in 12 bits
    writeSeries(slices);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_THAT(out().header, HasSubstr("type: int16\n"));
    EXPECT_THAT(out().samples<Sint16>(), ElementsAre(-1014, -1013, -1004, -1003, -3072, 1023));
    slices[0].file.bitsStored = 16; // -32768 - 1024 needs 17 bits
    slices[0].words = {0x8000, 0x7FFF};
    writeSeries(slices);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_THAT(out().samples<Sint32>(), ElementsAre(-1014, -1013, -1004, -1003, -33792, 31743));
}

TEST_F(VolumeCommand, FractionsAreKept) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.file.slope = "1";
        slice.file.intercept = "0";
    }
    slices[0].file.slope = "0.25";
    slices[0].file.intercept = "-0.5";
    writeSeries(slices);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_THAT(out().samples<float>(), ElementsAre(10, 11, 20, 21, 7, 7.25F));
}

TEST_F(VolumeCommand, AModalityTableIsApplied) {
    auto slices = threeSlices();
    for (Slice* slice : {&slices[0], &slices[2]}) { // all have values of the modality
        slice->file.slope = "1";
        slice->file.intercept = "0";
    }
    slices[1].words = {0, 1};
    slices[1].file.more = [](DcmDataset& dataset) {
        DcmItem* item = nullptr;
        dataset.findOrCreateSequenceItem(DCM_ModalityLUTSequence, item, 0);
        const Uint16 descriptor[] = {2, 0, 16};
        const Uint16 data[] = {500, 700};
        item->putAndInsertUint16Array(DcmTag(DCM_LUTDescriptor, EVR_US), descriptor, 3);
        item->putAndInsertUint16Array(DcmTag(DCM_LUTData, EVR_US), data, 2);
    };
    writeSeries(slices);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(500, 700, 20, 21, 30, 31));
}

TEST_F(VolumeCommand, MissingSlicesAreAnErrorUnlessForced) {
    auto slices = threeSlices();
    slices.push_back({"D", 4, "1\\2\\13", {40, 41}}); // 11 is missing
    writeSeries(slices);
    EXPECT_THAT(run({}), exitsSaying(1, HasSubstr("1 slice is missing: neighbours lie up to 4 mm apart instead of 2: " +
                                                  folder.file("A") + ", " + folder.file("D") + ".")));
    EXPECT_FALSE(isThere());
    EXPECT_THAT(run({"--force"}), exitsSaying(0, HasSubstr("warning: ")));
    EXPECT_EQ(out().samples<Uint16>().size(), 8U);
}

TEST_F(VolumeCommand, DoubledAndDifferentlyOrientedSlicesAreErrors) {
    auto slices = threeSlices();
    slices.push_back({"D", 4, "1\\2\\9", {40, 41}});
    writeSeries(slices);
    EXPECT_THAT(run({}), exitsSaying(1, HasSubstr("2 slices lie at one position, and nothing tells their volumes")));
    slices.back() = {"D", 4, "1\\2\\11", {40, 41}, "0\\1\\0\\0\\0\\-1"};
    writeSeries(slices);
    EXPECT_THAT(run({}), exitsSaying(1, HasSubstr("1 slice lies in another direction than most: " + folder.file("D"))));
    EXPECT_FALSE(isThere());
    EXPECT_EQ(run({"--force"}).status, 0);
    EXPECT_EQ(out().header.find("space"), std::string::npos);
}

TEST_F(VolumeCommand, ATiltIsToldAndStaysInTheMatrix) {
    writeSeries({{"A", 1, "0\\0\\0", {1, 1}}, {"B", 2, "0\\1\\4", {2, 2}}, {"C", 3, "0\\2\\8", {3, 3}}});
    const ProcessResult done = run({});
    EXPECT_EQ(done.status, 0);
    EXPECT_THAT(done.errors, HasSubstr("stacked at 14.0362 degrees to their normal (gantry tilt)")); // atan(1 / 4)
    EXPECT_THAT(out().header, HasSubstr("(0,1,4)\n"));
}

TEST_F(VolumeCommand, FilesThatCannotBeReadAreNamed) {
    writeSeries(threeSlices(), {"GONE"});
    for (const Words& words : {Words{}, {"--rendered"}}) {
        EXPECT_THAT(run(words), exitsSaying(1, HasSubstr("1 file cannot be read: " + folder.file("GONE"))));
        EXPECT_FALSE(isThere());
    }
    EXPECT_EQ(run({"--force"}).status, 3);
    EXPECT_EQ(out().samples<Uint16>().size(), 6U);
}

TEST_F(VolumeCommand, SlicesOfDifferentSizeAreNamedAndLeftOutOrSplitOff) {
    auto slices = threeSlices();
    slices[0].file.columns = 1; // the size of the first file is not the measure
    slices[0].words = {1};
    writeSeries(slices);
    for (const char* word : {"--force", "--rendered"}) {
        EXPECT_THAT(run({word}), exitsSaying(1, HasSubstr("1 slice differs in size from most, which are 2 x 1: " +
                                                          folder.file("A") + ". --largest writes")));
        EXPECT_FALSE(isThere());
    }
    EXPECT_THAT(run({"--largest"}), exitsSaying(0, HasSubstr("1 slice is left out: " + folder.file("A"))));
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(10, 11, 20, 21));
    EXPECT_EQ(run({"--split"}).status, 0);
    EXPECT_THAT(out("out-part1.nrrd").samples<Uint16>(), ElementsAre(10, 11, 20, 21));
    EXPECT_THAT(out("out-part2.nrrd").samples<Uint16>(), ElementsAre(1));
}

TEST_F(VolumeCommand, ColourBecomesRgb) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.file.samples = 3;
        slice.file.bitsAllocated = slice.file.bitsStored = 8;
        slice.file.photometric = "RGB";
        slice.file.planarConfiguration = 0;
        slice.words = {0x0201, 0x0403, 0x0605};
    }
    writeSeries(slices);
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["values"], "rendered");
    EXPECT_THAT(out().header, HasSubstr("type: uint8\ndimension: 4\nsizes: 3 2 1 3\n"));
    EXPECT_THAT(out().data.substr(0, 6), "\1\2\3\4\5\6");
    EXPECT_EQ(run({}, "out.nii").status, 0);
    EXPECT_EQ(readFile(folder.file("out.nii")).size(), 352U + 18U);
}

TEST_F(VolumeCommand, PlanarColourIsInterleaved) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.file.samples = 3;
        slice.file.bitsAllocated = slice.file.bitsStored = 8;
        slice.file.photometric = "RGB";
        slice.file.planarConfiguration = 1;
        slice.words = {0x0201, 0x0403, 0x0605}; // two reds, two greens, two blues
    }
    writeSeries(slices);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_EQ(out().data.substr(0, 6), "\1\3\5\2\4\6");
}

TEST_F(VolumeCommand, AGreySliceAmongColourIsAStranger) {
    auto slices = threeSlices();
    for (const std::size_t index : {0U, 1U}) {
        slices[index].file.samples = 3;
        slices[index].file.bitsAllocated = slices[index].file.bitsStored = 8;
        slices[index].file.photometric = "RGB";
        slices[index].file.planarConfiguration = 0;
        slices[index].words = {0x0201, 0x0403, 0x0605};
    }
    writeSeries(slices);
    for (const Words& words : {Words{}, Words{"--rendered"}}) {
        EXPECT_THAT(run(words),
                    exitsSaying(1, HasSubstr("1 slice is grey, and most are in colour: " + folder.file("C"))));
    }
}

TEST_F(VolumeCommand, RenderedSlicesOfDifferentDepthsShareOneType) {
    auto slices = threeSlices();
    slices[0].file.slope = slices[2].file.slope = "0.002"; // few levels, which are rendered with 8 bits
    slices[0].file.intercept = slices[2].file.intercept = "0";
    for (const std::size_t index : {0U, 2U}) {
        slices[index].words = {0, 60000};
    }
    slices[1].words = {0, 0xFFFF};
    writeSeries(slices);
    EXPECT_EQ(run({"--rendered"}).status, 0);
    EXPECT_THAT(out().header, HasSubstr("type: uint16\n"));
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(0, 65535, 0, 65535, 0, 65535)) << "each with its own window";
    EXPECT_EQ(run({"--rendered", "--window", "131070,65535"}).status, 0);
    const auto shared = out().samples<Uint16>();
    EXPECT_NEAR(shared[1], 32767, 200) << "65535 is the middle of the window";
    EXPECT_NEAR(shared[3], 60, 257) << "120 is near its start";
    EXPECT_NEAR(shared[5], 60, 257);
}

TEST_F(VolumeCommand, RenderedVolumesTakeAWindow) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.file.bitsAllocated = slice.file.bitsStored = 8;
    }
    slices[1].words = {0x6400}; // 0, 100
    slices[2].words = {0xC832}; // 50, 200
    slices[0].words = {0x0000};
    writeSeries(slices);
    // One window from 0 to 200, which 8 bits show as 0 to 255.
    EXPECT_EQ(run({"--rendered", "--common-window"}).status, 0);
    const std::string common = out().data;
    ASSERT_EQ(common.size(), 6U);
    EXPECT_EQ(static_cast<unsigned char>(common[0]), 0);
    EXPECT_NEAR(static_cast<unsigned char>(common[1]), 127, 2);
    EXPECT_NEAR(static_cast<unsigned char>(common[2]), 64, 2);
    EXPECT_EQ(static_cast<unsigned char>(common[3]), 255);
    EXPECT_EQ(run({"--rendered"}).status, 0);
    EXPECT_NEAR(static_cast<unsigned char>(out().data[1]), 255, 2) << "each slice by itself";
    EXPECT_EQ(run({"--rendered", "--sort", "position"}).status, 0);
}

TEST_F(VolumeCommand, SlicesOfOneNumberAreSortedByPosition) {
    auto slices = threeSlices();
    slices[0].number = 1;
    writeSeries(slices);
    for (const Words& words : {Words{}, Words{"--rendered"}}) {
        EXPECT_EQ(run(words).status, 0);
        EXPECT_THAT(out().header, HasSubstr("(0,0,2)\nspace origin: (1,2,5)\n"));
    }
    EXPECT_THAT(run({"--sort", "instance"}), exitsSaying(1, HasSubstr("2 files have InstanceNumber 1")));
}

TEST_F(VolumeCommand, FramesTakeTheirPositionAndRescaleFromTheFunctionalGroups) {
    Slice multi{"M", 1, "", {1, 2, 3, 4, 5, 6}, ""};
    multi.file.frames = "3";
    multi.file.more = [](DcmDataset& dataset) {
        DcmItem* shared = nullptr;
        DcmItem* inner = nullptr;
        dataset.findOrCreateSequenceItem(DCM_SharedFunctionalGroupsSequence, shared, 0);
        shared->findOrCreateSequenceItem(DCM_PlaneOrientationSequence, inner, 0);
        inner->putAndInsertString(DCM_ImageOrientationPatient, "1\\0\\0\\0\\0\\-1");
        shared->findOrCreateSequenceItem(DCM_PixelMeasuresSequence, inner, 0);
        inner->putAndInsertString(DCM_PixelSpacing, "2\\3");
        for (int frame = 0; frame < 3; ++frame) {
            DcmItem& item = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
            item.findOrCreateSequenceItem(DCM_PlanePositionSequence, inner, 0);
            inner->putAndInsertString(DCM_ImagePositionPatient, ("0\\" + std::to_string(4 * frame) + "\\0").c_str());
            item.findOrCreateSequenceItem(DCM_PixelValueTransformationSequence, inner, 0);
            inner->putAndInsertString(DCM_RescaleSlope, std::to_string(frame + 1).c_str());
            inner->putAndInsertString(DCM_RescaleIntercept, "-1");
        }
    };
    writeSeries({multi});
    const ProcessResult done = run({"--json"});
    EXPECT_THAT(done, exitsSaying(0, ""));
    EXPECT_THAT(out().header, HasSubstr("space directions: (3,0,0) (0,0,-2) (0,4,0)\nspace origin: (0,0,0)\n"));
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(0, 1, 5, 7, 14, 17));
    EXPECT_EQ(Json::parse(done.output)[0]["slices"],
              Json({folder.file("M") + " frame 1", folder.file("M") + " frame 2", folder.file("M") + " frame 3"}));
    EXPECT_THAT(run({"--rendered"}), exitsSaying(1, HasSubstr("whose scaling pictures would ignore")));
}

TEST_F(VolumeCommand, FramesWithoutFunctionalGroupsHaveNoPosition) {
    Slice multi{"M", 1, "5\\5\\5", {1, 2, 3, 4}};
    multi.file.frames = "2";
    multi.file.more = with({{DCM_SpacingBetweenSlices, "4"}});
    writeSeries({multi});
    EXPECT_THAT(run({}), exitsSaying(0, HasSubstr("2 slices have no usable ImagePositionPatient")));
    EXPECT_THAT(out().header, HasSubstr("spacings: 0.25 0.5 4\n"));
}

TEST_F(VolumeCommand, SeveralSeriesBecomeNumberedFiles) {
    const auto slices = threeSlices();
    for (const Slice& slice : slices) {
        write(slice);
    }
    const auto series = [](const std::string& uid, const std::string& fileId) {
        return seriesRecord(uid, "CT", {imageRecord(fileId, 1)});
    };
    writeDicom(mediumPath(folder, "REPORT"), {});
    writeMedium(
        folder,
        {patientRecord("P", "N",
                       {studyRecord("1.2", {series("1.2.1", "A"), series("1.2.2", "REPORT"), series("1.2.3", "B")})})});
    EXPECT_THAT(run({}), exitsSaying(0, "radvex: warning: Series 1.2.2: The series holds no pictures.\n"));
    EXPECT_THAT(out("out-0001-7.nrrd").samples<Uint16>(), ElementsAre(30, 31));
    EXPECT_THAT(out("out-0003-7.nrrd").samples<Uint16>(), ElementsAre(10, 11));
    EXPECT_FALSE(isThere());
    EXPECT_EQ(run({"--series", "1\\.2\\.3"}).status, 0);
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(10, 11));
    const ProcessResult piped = runRadvex({"volume", folder.file("DICOMDIR"), "-o", "-"});
    EXPECT_EQ(piped.status, 2);
    EXPECT_TRUE(piped.errors.starts_with("radvex: Several series cannot go to the standard output"));
    EXPECT_THAT(run({"--series", "1.2.2"}), exitsSaying(1, "radvex: The series holds no pictures.\n"));
}

TEST_F(VolumeCommand, SeriesThatShareAKeyAreKeptApart) {
    for (const Slice& slice : threeSlices()) {
        write(slice);
    }
    writeMedium(folder, {patientRecord("P", "N",
                                       {studyRecord("1.2", {seriesRecord("1.9", "CT", {imageRecord("A", 1)}),
                                                            seriesRecord("1.9", "CT", {imageRecord("B", 1)})})})});
    EXPECT_EQ(run({"--rendered", "--scaling", "none"}).status, 0);
    EXPECT_THAT(out("out-0001-7.nrrd").samples<Uint16>(), ElementsAre(30, 31));
    EXPECT_THAT(out("out-0002-7.nrrd").samples<Uint16>(), ElementsAre(10, 11));
}

TEST_F(VolumeCommand, SaysAsJsonWhatWasFoundAndWritten) {
    auto slices = threeSlices();
    slices[0].position = "1\\2\\13";
    writeSeries(slices);
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 1);
    const Json series = Json::parse(done.output)[0];
    EXPECT_EQ(series["series"], "1.2.3");
    EXPECT_EQ(series["seriesNumber"], "7");
    EXPECT_EQ(series["written"], nullptr);
    EXPECT_EQ(series["values"], "modality");
    EXPECT_EQ(series["type"], "u16");
    EXPECT_EQ(series["shape"], Json({3, 1, 2}));
    EXPECT_EQ(series["findings"][0]["kind"], "missingSlices");
    EXPECT_EQ(series["findings"][0]["error"], true);
    EXPECT_EQ(series["findings"][0]["files"], Json({folder.file("C"), folder.file("A")}));
    EXPECT_EQ(series["slices"], Json({folder.file("B"), folder.file("C"), folder.file("A")}));
    EXPECT_EQ(series["geometry"]["hasPosition"], false);
    EXPECT_EQ(series["geometry"]["origin"], nullptr);
    EXPECT_EQ(series["geometry"]["spacing"], Json({0.25, 0.5, 2.0}));
    writeSeries(threeSlices());
    const Json placed = Json::parse(run({"--json"}).output)[0];
    EXPECT_EQ(placed["geometry"]["hasPosition"], true);
    EXPECT_EQ(placed["geometry"]["origin"], Json({1.0, 2.0, 5.0}));
    EXPECT_EQ(placed["group"], Json::object());
    EXPECT_EQ(placed["unit"], nullptr);
}

TEST_F(VolumeCommand, GoesToTheStandardOutput) {
    writeSeries(threeSlices());
    const ProcessResult done = runRadvex({"volume", folder.file("DICOMDIR"), "-o", "-"});
    EXPECT_EQ(done.status, 0);
    EXPECT_TRUE(done.output.starts_with("NRRD0005\n"));
    EXPECT_EQ(done.output.size(), done.output.find("\n\n") + 2 + 12);
}

TEST_F(VolumeCommand, EveryFormatHoldsTheSameValues) {
    writeSeries(threeSlices());
    EXPECT_EQ(run({"--gzip"}).status, 0);
    EXPECT_EQ(runProcess({"gzip", "-dc", folder.write("packed.gz", out().data)}).output.size(), 12U);
    EXPECT_EQ(run({}, "out.npy").status, 0);
    EXPECT_EQ(run({}, "out.nii.gz").status, 0);
    const ProcessResult numpy = runProcess(
        {"/usr/bin/python3", "-c",
         "import numpy,nibabel,sys; a=numpy.load(sys.argv[1]); b=numpy.asarray(nibabel.load(sys.argv[2]).dataobj); "
         "print(a.tolist(), (a == b.T).all())",
         folder.file("out.npy"), folder.file("out.nii.gz")});
    EXPECT_EQ(numpy.output, "[[[10, 11]], [[20, 21]], [[30, 31]]] True\n") << numpy.errors;
}

TEST_F(VolumeCommand, APlainFolderIsAMedium) {
    for (Slice slice : threeSlices()) {
        slice.file.more = [&, uid = "1.2.3.4." + std::to_string(slice.number)](DcmDataset& dataset) {
            for (const auto& [key, value] :
                 std::vector<std::pair<DcmTagKey, std::string>>{{DCM_SOPInstanceUID, uid},
                                                                {DCM_PatientID, "P"},
                                                                {DCM_PatientName, "N"},
                                                                {DCM_StudyInstanceUID, "1.2"},
                                                                {DCM_StudyID, "1"},
                                                                {DCM_SeriesInstanceUID, "1.2.3"},
                                                                {DCM_Modality, "CT"}}) {
                dataset.putAndInsertString(key, value.c_str());
            }
        };
        slice.fileId = "plain\\" + slice.fileId;
        write(slice);
    }
    std::filesystem::rename(folder.file("plain/A"), folder.file("plain/a long name.dcm"));
    const ProcessResult done = runRadvex({"volume", folder.file("plain"), "-o", folder.file("out.nrrd"), "--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_THAT(out().samples<Uint16>(), ElementsAre(10, 11, 20, 21, 30, 31));
    EXPECT_EQ(Json::parse(done.output)[0]["slices"][2], folder.file("plain/a long name.dcm"));
}

TEST_F(VolumeCommand, WrongUseIsToldBeforeAnythingIsRead) {
    writeSeries(threeSlices());
    const auto refused = [&](const Words& words, const std::string& name, const std::string& sentence) {
        EXPECT_THAT(run(words, name), exitsSaying(2, HasSubstr(sentence)));
    };
    refused({}, "out.png", "has no known format: .nrrd, .nii, .nii.gz or .npy is expected.");
    refused({"--window", "400,40"}, "out.nrrd", "Windows need --rendered");
    refused({"--common-window"}, "out.nrrd", "Windows need --rendered");
    refused({"--rendered", "--common-window", "--window", "400,40"}, "out.nrrd", "exclude each other");
    refused({"--gzip"}, "out.nii", "--gzip is for .nrrd");
    refused({"--series", "("}, "out.nrrd", "--series '(' is not a usable regular expression");
    refused({"--sort", "colour"}, "out.nrrd", "--sort");
    EXPECT_THAT(run({"--series", "9.*"}), exitsSaying(1, EndsWith("holds no series that matches.\n")));
    EXPECT_EQ(runRadvex({"volume", folder.file("nowhere"), "-o", folder.file("out.nrrd")}).status, 1);
}

TEST_F(VolumeCommand, SortingByPositionNeedsPositions) {
    auto slices = threeSlices();
    for (Slice& slice : slices) {
        slice.position = "1\\nan\\3";
    }
    writeSeries(slices);
    EXPECT_THAT(run({"--sort", "position"}),
                exitsSaying(1, HasSubstr("The slices have no positions to sort them by.")));
    EXPECT_EQ(run({}).status, 0);
}

TEST_F(VolumeCommand, NothingOnTheMediumChanges) {
    writeSeries(threeSlices());
    const std::string before = readFile(folder.file("A")) + readFile(folder.file("DICOMDIR"));
    EXPECT_EQ(run({}).status, 0);
    EXPECT_EQ(run({"--rendered"}).status, 0);
    EXPECT_EQ(readFile(folder.file("A")) + readFile(folder.file("DICOMDIR")), before);
}

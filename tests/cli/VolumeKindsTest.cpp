// `radvex volume` of series that are more, or something else, than one stack of slices.

#include <cstring>
#include <filesystem>
#include <optional>

#include "tests/cli/Commands.h"
#include "tests/support/CsaHeaders.h"

using namespace radvex::test;

namespace {

/// Samples of an NRRD file, behind its header.
template <typename T>
std::vector<T> samplesOf(const std::string& path) {
    const std::string bytes = readFile(path);
    const std::string data = bytes.substr(bytes.find("\n\n") + 2);
    std::vector<T> samples(data.size() / sizeof(T));
    std::memcpy(samples.data(), data.data(), samples.size() * sizeof(T));
    return samples;
}

std::string headerOf(const std::string& path) {
    const std::string bytes = readFile(path);
    return bytes.substr(0, bytes.find("\n\n"));
}

void putPrivate(DcmItem& item, Uint16 group, Uint16 element, DcmEVR vr, const std::string& bytes) {
    const DcmTag tag(group, element, vr);
    if (vr == EVR_LO) {
        item.putAndInsertString(tag, bytes.c_str());
        return;
    }
    auto* const value = new DcmOtherByteOtherWord(tag); // the item frees it
    value->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), bytes.size());
    item.insert(value, OFTrue);
}

/// What a mosaic of five tiles says in private attributes.
struct MosaicFile {
    std::optional<Uint16> count = 5;               ///< NumberOfImagesInMosaic
    std::string normal = "1.00000000";             ///< the last part of SliceNormalVector
    Uint16 block = 0x11;                           ///< of private attributes; another creator has the first one
    std::optional<DcmEVR> representation = EVR_OB; ///< of the CSA image header; none: it is left out
    Attributes more{};

    void put(DcmItem& item) const {
        radvex::test::put(item,
                          {{DCM_ImageType, "ORIGINAL\\PRIMARY\\M\\ND\\MOSAIC"}, {DCM_SpacingBetweenSlices, "2.5"}});
        radvex::test::put(item, more);
        const auto number = [this](Uint16 element) { return static_cast<Uint16>(block * 0x100 + element); };
        for (const Uint16 group : {Uint16{0x0019}, Uint16{0x0029}}) {
            putPrivate(item, group, 0x10, EVR_LO, "SOMEBODY ELSE");
            putPrivate(item, group, block, EVR_LO, group == 0x0019 ? "SIEMENS MR HEADER" : "SIEMENS CSA HEADER");
        }
        if (count) {
            item.putAndInsertUint16(DcmTag(0x0019, number(0x0A), EVR_US), *count);
        }
        if (representation) {
            putPrivate(item, 0x0029, number(0x10), *representation,
                       csaHeader({{"NumberOfImagesInMosaic", {"5"}}, {"SliceNormalVector", {"0.0", "0.0", normal}}}));
        }
    }
};

class VolumeKinds : public ::testing::Test {
  protected:
    /// Adds a slice of 1 x 2 pixels with its value and one more.
    void add(double height, Uint16 value, const Attributes& attributes = {}) {
        Slice slice{.fileId = "S" + std::to_string(mFileIds.size()),
                    .number = static_cast<int>(mFileIds.size()) + 1,
                    .position = "0\\0\\" + std::to_string(height),
                    .words = {value, static_cast<Uint16>(value + 1)}};
        slice.file.more = with(attributes);
        add(slice);
    }
    void add(const Slice& slice) {
        writeSlice(folder, slice);
        mFileIds.push_back(slice.fileId);
    }
    ProcessResult run(const Words& words = {}, const std::string& name = "out.nrrd") {
        writeMedium(folder, {patientRecord("P", "N", {studyRecord("1.2", {seriesOf("1.2.3", mFileIds)})})});
        std::filesystem::remove(folder.file(name)); // of an earlier run
        return runRadvex(joined({"volume", folder.file("DICOMDIR"), "-o", folder.file(name)}, words));
    }
    /// Adds a mosaic of 3 x 3 tiles, the last four of which are empty. A tile has two rows and three columns, whose
    /// values are their places: 1000 * time + 100 * slice + 10 * row + column, all from 1.
    void addMosaic(Uint16 time, const MosaicFile& mosaic = {}) {
        Slice file{.fileId = "M" + std::to_string(time),
                   .number = time,
                   .position = "9.25\\19\\30", // for a first slice at 10, 20, 30
                   .file = {.rows = 6, .columns = 9, .words = std::vector<Uint16>(54), .more = {}}};
        for (std::size_t slice = 0; slice < 5; ++slice) {
            for (std::size_t row = 0; row < 2; ++row) {
                for (std::size_t column = 0; column < 3; ++column) {
                    file.file.words[(slice / 3 * 2 + row) * 9 + slice % 3 * 3 + column] =
                        static_cast<Uint16>(1000 * time + 100 * (slice + 1) + 10 * (row + 1) + column + 1);
                }
            }
        }
        file.file.more = [mosaic](DcmDataset& dataset) { mosaic.put(dataset); };
        add(file);
    }
    /// What the command says against a mosaic.
    std::string refusalOf(const MosaicFile& mosaic) {
        mFileIds.clear();
        addMosaic(1, mosaic);
        const ProcessResult done = run({"--json"});
        EXPECT_EQ(done.status, 1);
        EXPECT_FALSE(isThere("out.nrrd"));
        return findingOf(done, "mosaic")["sentence"];
    }
    bool isThere(const std::string& name) const { return std::filesystem::exists(folder.file(name)); }
    static Json findingOf(const ProcessResult& done, const std::string& kind) {
        const Json volumes = Json::parse(done.output);
        for (const Json& finding : volumes[0]["findings"]) {
            if (finding["kind"] == kind) {
                return finding;
            }
        }
        ADD_FAILURE() << kind << " is not among " << done.output;
        return {};
    }

    TemporaryFolder folder{};

  private:
    Words mFileIds{};
};

} // namespace

TEST_F(VolumeKinds, EchoesBecomeFilesOfTheirOwnOrOneOfFourDimensions) {
    for (int height = 0; height < 3; ++height) {
        add(height, static_cast<Uint16>(10 * height), {{DCM_EchoTime, "20"}});
        add(height, static_cast<Uint16>(100 + 10 * height), {{DCM_EchoTime, "80"}});
    }
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out-echo1.nrrd")), ElementsAre(0, 1, 10, 11, 20, 21));
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out-echo2.nrrd")), ElementsAre(100, 101, 110, 111, 120, 121));
    EXPECT_EQ(Json::parse(done.output)[1]["group"], Json({{"EchoTime", "80"}}));
    EXPECT_FALSE(isThere("out.nrrd"));
    const ProcessResult joined = run({"--4d", "--json"});
    EXPECT_EQ(joined.status, 0) << joined.errors;
    EXPECT_EQ(Json::parse(joined.output)[0]["shape"], Json({2, 3, 1, 2}));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("dimension: 4\nsizes: 2 1 3 2\n"));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("kinds: domain domain domain list\n"));
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out.nrrd")),
                ElementsAre(0, 1, 10, 11, 20, 21, 100, 101, 110, 111, 120, 121));
    EXPECT_THAT(
        runRadvex({"volume", folder.file("DICOMDIR"), "-o", "-"}),
        exitsSaying(1, HasSubstr("holds 2 volumes, which cannot all go to the standard output; --4d joins them")));
}

TEST_F(VolumeKinds, PointsInTimeHaveAFourthSpacing) {
    for (int time = 0; time < 3; ++time) {
        for (int height = 0; height < 2; ++height) {
            add(height, static_cast<Uint16>(100 * time + height), {{DCM_TriggerTime, std::to_string(250 * time)}});
        }
    }
    const ProcessResult done = run({"--4d", "--json"}, "out.nii");
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["seconds"], Json({0.0, 0.25, 0.5}));
    const ProcessResult header =
        runProcess({"/usr/bin/python3", "-c",
                    "import nibabel,sys; i=nibabel.load(sys.argv[1]); print(i.shape, i.header.get_zooms()[3], "
                    "i.header.get_xyzt_units(), i.get_fdata()[0,0,1,2])",
                    folder.file("out.nii")});
    EXPECT_EQ(header.output, "(2, 1, 2, 3) 0.25 ('mm', 'sec') 201.0\n") << header.errors;
    EXPECT_EQ(run({"--4d"}).status, 0);
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("\nspacings: NaN NaN NaN 0.25\n"));
}

TEST_F(VolumeKinds, AnIncompleteSetNamesWhatIsMissing) {
    for (int time = 1; time <= 3; ++time) {
        for (int height = 0; height < 3; ++height) {
            if (time != 2 || height != 2) {
                add(height, 1, {{DCM_TemporalPositionIdentifier, std::to_string(time)}});
            }
        }
    }
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(findingOf(done, "incompleteSet")["sentence"],
              "The volumes of the series have different positions: time2 has 2 of 3 and lacks 0\\0\\2.");
    EXPECT_FALSE(isThere("out-time1.nrrd"));
    EXPECT_THAT(run({"--4d", "--force"}), exitsSaying(1, HasSubstr("do not fit into one file of four dimensions")));
}

TEST_F(VolumeKinds, UnevenSlicesAreInterpolatedOnRequest) {
    for (const double height : {0.0, 2.0, 4.8, 6.8}) {
        add(height, static_cast<Uint16>(100 * height));
    }
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("(--resample interpolates an even volume)")));
    EXPECT_FALSE(isThere("out.nrrd"));
    EXPECT_THAT(run({"--resample"}), exitsSaying(0, HasSubstr("interpolated between its slices to an even distance")));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("space origin: (0,0,0)\n"));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("resampled:=along the stack"));
    const auto samples = samplesOf<float>(folder.file("out.nrrd"));
    ASSERT_EQ(samples.size(), 8U); // four slices at a third of 6.8 mm; the values are a hundred times the height
    for (std::size_t index = 0; index < 4; ++index) {
        const double value = 100 * 6.8 / 3 * static_cast<double>(index);
        EXPECT_NEAR(samples[2 * index], value, 0.01);
        EXPECT_NEAR(samples[2 * index + 1], value + 1, 0.01);
    }
    EXPECT_EQ(run({"--force"}).status, 0);
    EXPECT_EQ(headerOf(folder.file("out.nrrd")).find("space"), std::string::npos) << "not placed by force";
}

TEST_F(VolumeKinds, StoredValuesKeepTheirSlope) {
    for (int height = 0; height < 2; ++height) {
        Slice slice{.fileId = "S" + std::to_string(height),
                    .number = height + 1,
                    .position = "0\\0\\" + std::to_string(height),
                    .words = {1000, 2000}};
        slice.file.slope = "0.5";
        slice.file.intercept = "-10";
        add(slice);
    }
    EXPECT_EQ(run({"--stored"}, "out.nii").status, 0);
    const ProcessResult header =
        runProcess({"/usr/bin/python3", "-c",
                    "import nibabel,sys; i=nibabel.load(sys.argv[1]); print(i.header.get_data_dtype(), "
                    "i.dataobj.slope, i.dataobj.inter, i.get_fdata()[:,0,0].tolist())",
                    folder.file("out.nii")});
    EXPECT_EQ(header.output, "uint16 0.5 -10.0 [490.0, 990.0]\n") << header.errors;
    EXPECT_THAT(run({"--stored"}), exitsSaying(2, HasSubstr("--stored is for .nii and .nii.gz")));
    Slice other{.fileId = "S2", .number = 3, .position = "0\\0\\2", .words = {1, 2}};
    other.file.slope = "2";
    other.file.intercept = "0";
    add(other);
    EXPECT_THAT(run({"--stored"}, "out.nii"), exitsSaying(1, HasSubstr("has another slope or intercept")));
}

TEST_F(VolumeKinds, ARescaleThatIsNoTwoNumbersIsAnError) {
    const std::pair<const char*, const char*> pairs[] = {{"2,5", "0"}, {"2.5", ""}, {"", "-1024"}, {"1", "-1024,5"}};
    for (const auto& [slope, intercept] : pairs) {
        Slice slice{.fileId = "S", .number = 1, .position = "0\\0\\0", .words = {1, 2}};
        slice.file.slope = slope;
        slice.file.intercept = intercept;
        if (slope[0] == '\0' || std::strcmp(slope, "2,5") == 0) {
            add(slice);
        } else {
            writeSlice(folder, slice);
        }
        EXPECT_THAT(run(), exitsSaying(1, HasSubstr("are no usable pair of numbers, so that nobody knows the values.")))
            << slope;
    }
}

TEST_F(VolumeKinds, HalfARescaleThatChangesNothingIsRead) {
    Slice slice{.fileId = "S", .number = 1, .position = "0\\0\\0", .words = {1, 2}};
    slice.file.slope = "1";
    add(slice);
    EXPECT_EQ(run().status, 0);
    slice.file.slope.clear();
    slice.file.intercept = "0";
    writeSlice(folder, slice);
    EXPECT_EQ(run().status, 0);
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out.nrrd")), ElementsAre(1, 2));
}

TEST_F(VolumeKinds, ARescaleOfFramesCountsForAllFramesOrNone) {
    Slice multi{.fileId = "M", .number = 1, .position = "", .words = {1, 2, 3, 4}};
    multi.file.frames = "2";
    multi.file.slope = "5"; // does not count beside that of the frames
    multi.file.intercept = "0";
    int rescaled = 2;
    multi.file.more = [&](DcmDataset& dataset) {
        for (int frame = 0; frame < 2; ++frame) {
            DcmItem& item = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
            if (frame < rescaled) {
                put(addItem(item, DCM_PixelValueTransformationSequence),
                    {{DCM_RescaleSlope, std::to_string(frame + 2)}, {DCM_RescaleIntercept, "0"}});
            }
        }
    };
    add(multi);
    EXPECT_EQ(run().status, 0);
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out.nrrd")), ElementsAre(2, 4, 9, 12));
    rescaled = 1;
    writeSlice(folder, multi);
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("Some frames have a rescale and others have none.")));
}

TEST_F(VolumeKinds, ThreeSamplesOfAGreyPictureAreGrey) {
    Slice slice{.fileId = "S", .number = 1, .position = "0\\0\\0", .words = {0x0201, 0x0403, 0x0605}};
    slice.file.samples = 3;
    slice.file.bitsAllocated = slice.file.bitsStored = 8;
    slice.file.planarConfiguration = 0;
    add(slice);
    const ProcessResult done = run({"--json"});
    if (done.status == 0) { // the header says what follows it
        const Json shape = Json::parse(done.output)[0]["shape"];
        EXPECT_EQ(samplesOf<Uint8>(folder.file("out.nrrd")).size(), shape.size() == 4 ? 6U : 2U);
    }
}

TEST_F(VolumeKinds, StoredValuesBesideColourKeepTheirOwnSlope) {
    Slice colour{.fileId = "C", .number = 1, .position = "0\\0\\9", .words = {0x0201, 0x0403, 0x0605}};
    colour.file.samples = 3;
    colour.file.bitsAllocated = colour.file.bitsStored = 8;
    colour.file.photometric = "RGB";
    colour.file.planarConfiguration = 0;
    add(colour);
    for (int height = 0; height < 2; ++height) {
        Slice slice{.fileId = "S" + std::to_string(height),
                    .number = height + 2,
                    .position = "0\\0\\" + std::to_string(height),
                    .words = {1000, 2000}};
        slice.file.slope = "0.5";
        slice.file.intercept = "-10";
        add(slice);
    }
    const ProcessResult done = run({"--stored", "--split", "--json"}, "out.nii");
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["slope"], 0.5);
    EXPECT_EQ(Json::parse(done.output)[1]["slope"], 1.0);
}

TEST_F(VolumeKinds, AMosaicIsNoSlice) {
    add(0, 1, {{DCM_ImageType, "ORIGINAL\\PRIMARY\\M\\MOSAIC"}});
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(findingOf(done, "mosaic")["sentence"].get<std::string>(),
                HasSubstr("Its slices are tiles of one picture"));
    EXPECT_FALSE(isThere("out.nrrd"));
    EXPECT_EQ(run({"--force"}).status, 0);
    EXPECT_EQ(headerOf(folder.file("out.nrrd")).find("space"), std::string::npos) << "the tiles lie elsewhere";
}

TEST_F(VolumeKinds, AMosaicWhosePrivateAttributesGiveItsTilesIsAVolume) {
    addMosaic(1);
    EXPECT_THAT(run(), exitsSaying(0, ""));
    const std::vector<Uint16> slices{1111, 1112, 1113, 1121, 1122, 1123, 1211, 1212, 1213, 1221,
                                     1222, 1223, 1311, 1312, 1313, 1321, 1322, 1323, 1411, 1412,
                                     1413, 1421, 1422, 1423, 1511, 1512, 1513, 1521, 1522, 1523};
    EXPECT_EQ(samplesOf<Uint16>(folder.file("out.nrrd")), slices);
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("sizes: 3 2 5\n"));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")),
                HasSubstr("space directions: (0.25,0,0) (0,0.5,0) (0,0,2.5)\nspace origin: (10,20,30)\n"));
}

TEST_F(VolumeKinds, MosaicsAreVolumesInTime) {
    addMosaic(1, {.more = {{DCM_AcquisitionNumber, "1"}, {DCM_AcquisitionTime, "100000"}}});
    addMosaic(2, {.more = {{DCM_AcquisitionNumber, "2"}, {DCM_AcquisitionTime, "100002.5"}}});
    const ProcessResult done = run({"--4d", "--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["shape"], Json({2, 5, 2, 3}));
    EXPECT_EQ(Json::parse(done.output)[0]["findings"], Json::array());
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("\nspacings: NaN NaN NaN 2.5\n"));
    const auto samples = samplesOf<Uint16>(folder.file("out.nrrd"));
    ASSERT_EQ(samples.size(), 60U);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const std::size_t place = 1000 * (index / 30 + 1) + 100 * (index / 6 % 5 + 1) + 10 * (index / 3 % 2 + 1);
        EXPECT_EQ(samples[index], place + index % 3 + 1) << index;
    }
    EXPECT_EQ(run({"--rendered", "--4d"}).status, 0);
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("sizes: 3 2 5 2\n"));
    EXPECT_EQ(run({"--stored", "--4d"}, "out.nii").status, 0);
    EXPECT_EQ(run({}).status, 0);
    EXPECT_TRUE(isThere("out-time1.nrrd"));
    EXPECT_TRUE(isThere("out-time2.nrrd"));
}

TEST_F(VolumeKinds, AMosaicSaysWhichAttributeIsMissingOrContradicts) {
    EXPECT_THAT(refusalOf({.count = 6}), HasSubstr("NumberOfImagesInMosaic contradicts itself: 6 and 5."));
    EXPECT_THAT(refusalOf({.representation = {}}), HasSubstr("the CSA image header, private attribute (0029,xx10)"));
    EXPECT_THAT(refusalOf({.representation = EVR_UN}), HasSubstr("is missing or of unknown representation (UN)"));
    EXPECT_THAT(refusalOf({.normal = "-1.0"}), HasSubstr("points against the normal"));
    EXPECT_THAT(refusalOf({.more = {{DCM_SpacingBetweenSlices, ""}}}), HasSubstr("SpacingBetweenSlices is missing"));
    EXPECT_THAT(refusalOf({.more = {{DCM_NumberOfFrames, "2"}}}), HasSubstr("several frames"));
}

TEST_F(VolumeKinds, CopiesOfAnInstanceAreSaidAndDropped) {
    for (const double height : {0.0, 1.0, 2.0}) {
        add(height, 7, {{DCM_SOPInstanceUID, "1.2.3." + std::to_string(static_cast<int>(height) + 1)}});
    }
    Slice copy{.fileId = "COPY", .number = 2, .position = "0\\0\\1.000000", .words = {7, 8}};
    copy.file.more = with({{DCM_SOPInstanceUID, "1.2.3.2"}});
    add(copy);
    EXPECT_THAT(run(), exitsSaying(0, HasSubstr("1 slice is a copy of another (same SOPInstanceUID) and left out: " +
                                                folder.file("COPY"))));
    EXPECT_EQ(samplesOf<Uint16>(folder.file("out.nrrd")).size(), 6U);
    copy.words = {9, 9};
    writeSlice(folder, copy);
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("2 slices lie at one position"))) << "other pixels are no copy";
}

TEST_F(VolumeKinds, ADoseHasItsOffsetsScalingAndUnit) {
    Slice dose{.fileId = "D", .number = 1, .position = "10\\20\\30", .words = {1, 2, 3, 4, 5, 6}};
    dose.file.frames = "3";
    dose.file.more = with({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"},
                           {DCM_GridFrameOffsetVector, "0\\2.5\\5"},
                           {DCM_DoseGridScaling, "0.25"},
                           {DCM_DoseUnits, "GY"}});
    add(dose);
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(Json::parse(done.output)[0]["unit"], "GY");
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("(0,0,2.5)\nspace origin: (10,20,30)\n"));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("sample units: \"GY\"\n"));
    EXPECT_THAT(samplesOf<float>(folder.file("out.nrrd")), ElementsAre(0.25F, 0.5F, 0.75F, 1, 1.25F, 1.5F));
    dose.file.more = with({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"},
                           {DCM_GridFrameOffsetVector, "30\\32.5\\35"}, // heights themselves
                           {DCM_DoseGridScaling, "0.25"}});
    writeSlice(folder, dose);
    EXPECT_EQ(run().status, 0);
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("(0,0,2.5)\nspace origin: (10,20,30)\n"));
    dose.file.more = with({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"}, {DCM_GridFrameOffsetVector, "0\\2\\4"}});
    writeSlice(folder, dose);
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("is a dose without DoseGridScaling")));
    dose.file.more = [](DcmItem& item) {
        auto scaling = std::make_unique<DcmOtherByteOtherWord>(DcmTag(DCM_DoseGridScaling, EVR_UN));
        scaling->putUint8Array(reinterpret_cast<const Uint8*>("0.25"), 4);
        item.insert(scaling.release());
        with({{DCM_GridFrameOffsetVector, "0\\2\\4"}})(item);
    };
    writeSlice(folder, dose);
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("DoseGridScaling stands there in an unknown representation (UN)")));
    dose.file.more = with({{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.481.2"},
                           {DCM_GridFrameOffsetVector, "7\\9\\11"}, // neither of the two
                           {DCM_DoseGridScaling, "0.25"}});
    writeSlice(folder, dose);
    EXPECT_THAT(run(), exitsSaying(0, HasSubstr("no usable ImagePositionPatient")));
    EXPECT_EQ(headerOf(folder.file("out.nrrd")).find("space"), std::string::npos);
}

TEST_F(VolumeKinds, ANegativeSpacingOfNuclearMedicineGoesTheOtherWay) {
    Slice file{.fileId = "N", .number = 1, .position = "", .words = {1, 2, 3, 4}};
    file.file.frames = "2";
    file.file.more = [](DcmDataset& dataset) {
        put(dataset, {{DCM_SOPClassUID, "1.2.840.10008.5.1.4.1.1.20"},
                      {DCM_ImageType, "ORIGINAL\\PRIMARY\\RECON TOMO\\EMISSION"},
                      {DCM_SpacingBetweenSlices, "-4"},
                      {DCM_PixelSpacing, "3\\3"}});
        put(addItem(dataset, DCM_DetectorInformationSequence),
            {{DCM_ImagePositionPatient, "1\\2\\100"}, {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"}});
    };
    add(file);
    const ProcessResult done = run();
    EXPECT_THAT(done, exitsSaying(0, ""));
    EXPECT_THAT(headerOf(folder.file("out.nrrd")), HasSubstr("(0,0,-4)\nspace origin: (1,2,100)\n"));
}

TEST_F(VolumeKinds, AFileThatIsTooShortForItsPixelsIsAnError) {
    add(0, 1);
    Slice file{.fileId = "SHORT", .number = 2, .position = "0\\0\\1", .words = {1, 2}};
    add(file);
    const std::string path = mediumPath(folder, "SHORT");
    DcmFileFormat format;
    ASSERT_TRUE(format.loadFile(path.c_str()).good());
    for (const char* const id : {"S0", "SHORT"}) {
        DcmFileFormat each;
        ASSERT_TRUE(each.loadFile(mediumPath(folder, id).c_str()).good());
        each.getDataset()->putAndInsertUint16(DCM_Rows, 100);
        each.getDataset()->putAndInsertUint16(DCM_Columns, 100);
        if (std::strcmp(id, "S0") == 0) {
            const std::vector<Uint16> words(10000, 5);
            each.getDataset()->putAndInsertUint16Array(DCM_PixelData, words.data(), words.size());
        }
        ASSERT_TRUE(each.saveFile(mediumPath(folder, id).c_str(), EXS_LittleEndianExplicit).good());
    }
    const ProcessResult done = run({"--json"});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(findingOf(done, "shortPixelData")["files"], Json::array({folder.file("SHORT")}));
}

TEST_F(VolumeKinds, AFileOfTheFolderThatCannotBeParsedIsAnErrorOfTheVolume) {
    for (int height = 0; height < 5; ++height) {
        add(height, 1,
            {{DCM_SOPInstanceUID, "1.2.3." + std::to_string(height + 1)},
             {DCM_StudyInstanceUID, "1.2"},
             {DCM_SeriesInstanceUID, "1.2.3"},
             {DCM_PatientID, "P"}});
    }
    const auto convert = [&](const Words& words) {
        return runRadvex(joined({"volume", folder.path().string(), "-o", folder.file("out.nrrd"), "--json"}, words));
    };
    EXPECT_EQ(convert({}).status, 0);
    std::filesystem::remove(folder.file("out.nrrd"));
    const std::string path = mediumPath(folder, "S2");
    folder.write("S2", readFile(path).substr(0, 400)); // cut in the middle of an element
    const ProcessResult done = convert({});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(findingOf(done, "unreadableFile")["files"], Json::array({path}));
    EXPECT_FALSE(isThere("out.nrrd"));
    std::filesystem::remove(path);
    for (const auto& [name, bytes] : std::vector<std::pair<std::string, std::string>>{
             {"S2.dcm", ""}, {"S2.DCM", "an interrupted copy"}, {"S2.ima", "x"}, {"S2", "DICM\2\0\0\0"}}) {
        folder.write(name, bytes);
        EXPECT_EQ(findingOf(convert({}), "unreadableFile")["files"], Json::array({folder.file(name)}));
        std::filesystem::remove(folder.file(name));
    }
    folder.write("S2", "Notes about the scan."); // no DICOM file, but now a slice is missing
    EXPECT_EQ(findingOf(convert({}), "missingSlices")["error"], true);
}

TEST_F(VolumeKinds, SyntaxesThatNobodyDecodesAreNamed) {
    add(0, 1);
    std::string bytes = readFile(mediumPath(folder, "S0"));
    const std::string plain = std::string("1.2.840.10008.1.2.1") + '\0';
    const std::string other = "1.2.840.10008.1.2.4.92";
    bytes.replace(bytes.find(plain), plain.size(), other);
    bytes[bytes.find(other) - 2] = static_cast<char>(other.size());
    const std::size_t group = bytes.find(std::string("\x02\0\0\0UL\x04\0", 8)) + 8;
    bytes[group] = static_cast<char>(bytes[group] + static_cast<char>(other.size() - plain.size()));
    folder.write("S0", bytes);
    EXPECT_THAT(run(), exitsSaying(1, HasSubstr("JPEG 2000 Part 2, which cannot be decoded")));
}

TEST_F(VolumeKinds, AnInstanceNumberCountsByItsFirstDigits) {
    add(0, 1, {{DCM_InstanceNumber, "10a"}});
    add(1, 2, {{DCM_InstanceNumber, "2"}});
    add(2, 3, {{DCM_InstanceNumber, "1"}});
    EXPECT_THAT(run(), exitsSaying(0, "")); // 1, 2, 10: descending in space
    EXPECT_THAT(samplesOf<Uint16>(folder.file("out.nrrd")), ElementsAre(3, 4, 2, 3, 1, 2));
}

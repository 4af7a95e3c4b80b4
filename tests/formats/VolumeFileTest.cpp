#include "formats/volumes/VolumeFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "files/OutputFile.h"
#include "formats/volumes/Nifti.h"
#include "formats/volumes/Nrrd.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using radvex::FileError;
using namespace radvex::formats;
using namespace radvex::test;
using testing::HasSubstr;

namespace {

/// 2 columns, 3 rows, 2 slices of 16-bit samples that spell their index.
struct Sample {
    VolumeHeader header{
        VNumericArray_S16, 1, 2, 3, 2, {{-10.5, 20, 1e-7}, {0.7, 0, 0}, {0, 0.6, 0}, {0, 0, 2.5}, true}};
    std::vector<std::int16_t> samples{0, 1, 10, 11, 20, 21, 100, 101, 110, 111, 120, 121};

    std::vector<SliceBytes> slices() const {
        const SliceBytes all = std::as_bytes(std::span(samples));
        return {all.first(all.size() / 2), all.last(all.size() / 2)};
    }
    std::string bytes() const { return {reinterpret_cast<const char*>(samples.data()), samples.size() * 2}; }
};

template <typename T>
T at(const std::string& bytes, std::size_t offset) {
    T value{};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// Part (row, column) of the matrix that the rotation form of a NIfTI header says (NIfTI-1, method 2).
float rotationForm(const std::string& header, int row, int column) {
    const double b = at<float>(header, 256);
    const double c = at<float>(header, 260);
    const double d = at<float>(header, 264);
    const double a = std::sqrt(std::max(0.0, 1 - b * b - c * c - d * d));
    const double r[3][3] = {{a * a + b * b - c * c - d * d, 2 * b * c - 2 * a * d, 2 * b * d + 2 * a * c},
                            {2 * b * c + 2 * a * d, a * a + c * c - b * b - d * d, 2 * c * d - 2 * a * b},
                            {2 * b * d - 2 * a * c, 2 * c * d + 2 * a * b, a * a + d * d - c * c - b * b}};
    const double sign = column == 2 ? at<float>(header, 76) : 1;
    return static_cast<float>(r[row][column] * sign * at<float>(header, 80 + 4 * static_cast<std::size_t>(column)));
}

float affineForm(const std::string& header, int row, int column) {
    return at<float>(header, 280 + 16 * static_cast<std::size_t>(row) + 4 * static_cast<std::size_t>(column));
}

} // namespace

TEST(Nrrd, SaysWhereTheSamplesLie) {
    const Sample sample;
    EXPECT_EQ(nrrdHeader(sample.header, false), "NRRD0005\n"
                                                "type: int16\n"
                                                "dimension: 3\n"
                                                "sizes: 2 3 2\n"
                                                "space: left-posterior-superior\n"
                                                "space directions: (0.7,0,0) (0,0.6,0) (0,0,2.5)\n"
                                                "space origin: (-10.5,20,1e-07)\n"
                                                "space units: \"mm\" \"mm\" \"mm\"\n"
                                                "kinds: domain domain domain\n"
                                                "endian: little\n"
                                                "encoding: raw\n\n");
}

TEST(Nrrd, AVolumeWithoutAPositionHasSpacingsAlone) {
    Sample sample;
    sample.header.geometry.hasPosition = false;
    const std::string header = nrrdHeader(sample.header, true);
    EXPECT_THAT(header, HasSubstr("\nspacings: 0.7 0.6 2.5\nunits: \"mm\" \"mm\" \"mm\"\n"));
    EXPECT_THAT(header, HasSubstr("encoding: gzip\n\n"));
    EXPECT_EQ(header.find("space"), std::string::npos);
}

TEST(Nrrd, ColourIsAnAxisOfItsOwn) {
    Sample sample;
    sample.header.type = VNumericArray_U8;
    sample.header.channels = 3;
    const std::string header = nrrdHeader(sample.header, false);
    EXPECT_THAT(header, HasSubstr("type: uint8\ndimension: 4\nsizes: 3 2 3 2\n"));
    EXPECT_THAT(header, HasSubstr("space directions: none (0.7,0,0)"));
    EXPECT_THAT(header, HasSubstr("kinds: RGB-color domain domain domain\n"));
    EXPECT_EQ(header.find("endian"), std::string::npos) << "bytes have no order";
}

TEST(Nrrd, EveryTypeHasItsName) {
    VolumeHeader header = Sample{}.header;
    for (const auto& [type, name] : std::vector<std::pair<vint, std::string>>{{VNumericArray_U8, "uint8"},
                                                                              {VNumericArray_S8, "int8"},
                                                                              {VNumericArray_U16, "uint16"},
                                                                              {VNumericArray_S16, "int16"},
                                                                              {VNumericArray_U32, "uint32"},
                                                                              {VNumericArray_S32, "int32"},
                                                                              {VNumericArray_F32, "float"},
                                                                              {VNumericArray_F64, "double"}}) {
        header.type = type;
        EXPECT_THAT(nrrdHeader(header, false), HasSubstr("type: " + name + "\n"));
    }
}

TEST(Nrrd, SamplesFollowTheHeaderInTheirOrder) {
    const TemporaryFolder folder;
    const Sample sample;
    auto slices = sample.slices();
    std::swap(slices[0], slices[1]);
    writeVolume(folder.file("v.nrrd"), sample.header, slices, false);
    EXPECT_EQ(readFile(folder.file("v.nrrd")),
              nrrdHeader(sample.header, false) + sample.bytes().substr(12) + sample.bytes().substr(0, 12));
}

TEST(Nrrd, GzipUnpacksToTheSamples) {
    const TemporaryFolder folder;
    const Sample sample;
    writeVolume(folder.file("v.nrrd"), sample.header, sample.slices(), true);
    const std::string bytes = readFile(folder.file("v.nrrd"));
    const std::string packed = folder.write("v.gz", bytes.substr(nrrdHeader(sample.header, true).size()));
    EXPECT_EQ(runProcess({"gzip", "-dc", packed}).output, sample.bytes());
}

TEST(Nifti, HeaderFollowsTheFormat) {
    const Sample sample;
    const std::string header = niftiHeader(sample.header);
    ASSERT_EQ(header.size(), 352U);
    EXPECT_EQ(at<std::int32_t>(header, 0), 348);
    const std::int16_t dimensions[] = {3, 2, 3, 2, 1, 1, 1, 1};
    for (std::size_t index = 0; index < 8; ++index) {
        EXPECT_EQ(at<std::int16_t>(header, 40 + 2 * index), dimensions[index]);
    }
    EXPECT_EQ(at<std::int16_t>(header, 70), 4) << "DT_INT16";
    EXPECT_EQ(at<std::int16_t>(header, 72), 16);
    EXPECT_EQ(at<float>(header, 80), 0.7F);
    EXPECT_EQ(at<float>(header, 84), 0.6F);
    EXPECT_EQ(at<float>(header, 88), 2.5F);
    EXPECT_EQ(at<float>(header, 108), 352);
    EXPECT_EQ(at<float>(header, 112), 1) << "scl_slope";
    EXPECT_EQ(at<float>(header, 116), 0) << "scl_inter";
    EXPECT_EQ(header[123], 2) << "mm";
    EXPECT_EQ(header.substr(344), std::string("n+1\0\0\0\0\0", 8));
}

TEST(Nifti, PositionsAreTurnedFromLpsToRas) {
    const std::string header = niftiHeader(Sample{}.header);
    EXPECT_EQ(at<std::int16_t>(header, 254), 1) << "sform_code";
    const float expected[3][4] = {{-0.7F, 0, 0, 10.5F}, {0, -0.6F, 0, -20}, {0, 0, 2.5F, 1e-7F}};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 4; ++column) {
            EXPECT_FLOAT_EQ(affineForm(header, row, column), expected[row][column]) << row << ", " << column;
        }
    }
}

TEST(Nifti, BothFormsSayTheSameInEveryOrientation) {
    const double s = std::sqrt(0.5);
    const std::vector<std::pair<Vector3, Vector3>> directions{
        {{1, 0, 0}, {0, 1, 0}},   {{-1, 0, 0}, {0, 1, 0}}, {{1, 0, 0}, {0, -1, 0}},
        {{-1, 0, 0}, {0, -1, 0}}, {{0, 1, 0}, {0, 0, -1}}, {{1, 0, 0}, {0, 0, -1}},
        {{0, 0, 1}, {1, 0, 0}},   {{s, s, 0}, {0, 0, -1}}, {{0.36, 0.48, -0.8}, {-0.8, 0.6, 0}}};
    for (const auto& [column, row] : directions) {
        for (const double turn : {1.0, -1.0}) { // the second one is left-handed
            VolumeHeader volume = Sample{}.header;
            volume.geometry = {{1, 2, 3}, 0.5 * column, 0.75 * row, turn * 3 * cross(column, row), true};
            const std::string header = niftiHeader(volume);
            EXPECT_EQ(at<std::int16_t>(header, 252), 1) << "qform_code";
            for (int part = 0; part < 9; ++part) {
                EXPECT_NEAR(rotationForm(header, part / 3, part % 3), affineForm(header, part / 3, part % 3), 2e-6);
            }
            for (int part = 0; part < 3; ++part) {
                EXPECT_EQ(at<float>(header, 268 + 4 * static_cast<std::size_t>(part)), affineForm(header, part, 3));
            }
        }
    }
}

TEST(Nifti, AShearedMatrixIsInTheAffineFormOnly) {
    VolumeHeader volume = Sample{}.header;
    volume.geometry.sliceStep = {0, 0.5, 2.5};
    const std::string header = niftiHeader(volume);
    EXPECT_EQ(at<std::int16_t>(header, 252), 0) << "qform_code";
    EXPECT_EQ(at<std::int16_t>(header, 254), 1) << "sform_code";
    EXPECT_EQ(affineForm(header, 1, 2), -0.5F);
    EXPECT_EQ(affineForm(header, 2, 2), 2.5F);
}

TEST(Nifti, AVolumeWithoutAPositionHasSpacingsAlone) {
    VolumeHeader volume = Sample{}.header;
    volume.geometry.hasPosition = false;
    const std::string header = niftiHeader(volume);
    EXPECT_EQ(at<std::int16_t>(header, 252), 0);
    EXPECT_EQ(at<std::int16_t>(header, 254), 0);
    EXPECT_EQ(at<float>(header, 88), 2.5F);
}

TEST(Nifti, EveryTypeHasItsCode) {
    VolumeHeader volume = Sample{}.header;
    for (const auto& [type, code] : std::vector<std::pair<vint, int>>{{VNumericArray_U8, 2},
                                                                      {VNumericArray_S16, 4},
                                                                      {VNumericArray_S32, 8},
                                                                      {VNumericArray_F32, 16},
                                                                      {VNumericArray_F64, 64},
                                                                      {VNumericArray_S8, 256},
                                                                      {VNumericArray_U16, 512},
                                                                      {VNumericArray_U32, 768}}) {
        volume.type = type;
        EXPECT_EQ(at<std::int16_t>(niftiHeader(volume), 70), code);
    }
    volume.type = VNumericArray_U8;
    volume.channels = 3;
    EXPECT_EQ(at<std::int16_t>(niftiHeader(volume), 70), 128) << "RGB24";
    EXPECT_EQ(at<std::int16_t>(niftiHeader(volume), 72), 24);
}

TEST(Nifti, WhatItCannotHoldIsRefused) {
    VolumeHeader volume = Sample{}.header;
    volume.slices = 32768;
    EXPECT_THROW(niftiHeader(volume), VolumeError);
    volume.slices = 32767;
    EXPECT_EQ(at<std::int16_t>(niftiHeader(volume), 46), 32767);
    volume.type = VNumericArray_U16;
    volume.channels = 3;
    EXPECT_THROW(niftiHeader(volume), VolumeError);
}

TEST(Nifti, AnIndependentReaderFindsValuesAndMatrix) {
    const TemporaryFolder folder;
    const Sample sample;
    for (const char* name : {"v.nii", "v.nii.gz"}) {
        writeVolume(folder.file(name), sample.header, sample.slices(), false);
        const ProcessResult read =
            runProcess({"/usr/bin/python3", "-c",
                        "import nibabel,sys; i=nibabel.load(sys.argv[1]); d=i.dataobj; "
                        "print(i.shape, i.get_data_dtype(), d[1,2,1], d[0,1,0], i.affine[2,2], i.affine[0,3])",
                        folder.file(name)});
        EXPECT_EQ(read.output, "(2, 3, 2) int16 121 10 2.5 10.5\n") << read.errors;
    }
}

TEST(VolumeFile, TheEndOfThePathSaysTheFormat) {
    EXPECT_EQ(volumeExtension("a.b.nii.gz"), ".nii.gz");
    EXPECT_EQ(volumeExtension("x.nrrd"), ".nrrd");
    EXPECT_EQ(volumeExtension("x.gz"), "");
    EXPECT_TRUE(isVolumePath("-"));
    EXPECT_FALSE(isVolumePath("x.png"));
}

TEST(VolumeFile, NpyHoldsColourAsItsLastAxis) {
    const TemporaryFolder folder;
    const Sample sample;
    writeVolume(folder.file("v.npy"), sample.header, sample.slices(), false);
    EXPECT_THAT(readFile(folder.file("v.npy")), HasSubstr("'descr': '<i2', 'fortran_order': False, 'shape': (2,3,2,)"));
    VolumeHeader colour{VNumericArray_U8, 3, 2, 2, 2, {}};
    writeVolume(folder.file("c.npy"), colour, sample.slices(), false);
    EXPECT_THAT(readFile(folder.file("c.npy")), HasSubstr("'shape': (2,2,2,3,)"));
}

TEST(VolumeFile, AFullDiskIsToldAndNothingIsLeft) {
    const Sample sample;
    const TemporaryFolder folder;
    for (const char* name : {"/v.nrrd", "/v.nii.gz", "/v.nii"}) {
        EXPECT_THROW(writeVolume(folder.file("missing") + name, sample.header, sample.slices(), false), FileError);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(Nifti, PositionsAndSpacingsHaveToFitThirtyTwoBits) {
    VolumeHeader header = Sample().header;
    header.geometry.origin = {100000.25, 0, 0}; // held exactly
    EXPECT_NO_THROW(niftiHeader(header));
    header.geometry.origin = {100000000.3, 0, 0}; // 2.3 mm off as a float
    EXPECT_THROW(niftiHeader(header), VolumeError);
    header = Sample().header;
    header.geometry.sliceStep = {0, 0, 1e39};
    EXPECT_THROW(niftiHeader(header), VolumeError);
}

TEST(Nifti, SlopesHaveToFitThirtyTwoBits) {
    VolumeHeader header = Sample().header;
    header.slope = 1e-30;
    EXPECT_NO_THROW(niftiHeader(header));
    for (const double slope : {1e-46, 1e300}) { // 0 and infinity as floats
        header.slope = slope;
        EXPECT_THROW(niftiHeader(header), VolumeError) << slope;
    }
}

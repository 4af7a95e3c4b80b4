#include "volume/slices/Diffusion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "formats/volumes/VolumeFile.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"
#include "volume/slices/AttributeValues.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::test::addItem;
using radvex::test::put;
using radvex::test::with;
using velmora::Store;

namespace {

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kTolerance = 1e-8;

/// Weightings that come from files, through the library.
class DiffusionTest : public radvex::test::LibraryTest {
  protected:
    /// That of a classic file.
    std::optional<DiffusionWeighting> ofFile(const radvex::test::FillItem& fill) {
        const std::string path = radvex::test::writeDicom(folder.file("classic.dcm"), fill);
        const std::vector<std::string> keywords(kDiffusionKeywords.begin(), kDiffusionKeywords.end());
        const auto found = read(path, keywords);
        return diffusionOf(found.get<Store>().view());
    }
    /// That of the first frame of an enhanced file, whose macro is filled.
    std::optional<DiffusionWeighting> ofFrame(const radvex::test::FillItem& fillMacro) {
        const std::string path = radvex::test::writeDicom(folder.file("enhanced.dcm"), [&](DcmDataset& dataset) {
            DcmItem& frame = addItem(dataset, DCM_PerFrameFunctionalGroupsSequence);
            fillMacro(addItem(frame, DCM_MRDiffusionSequence));
        });
        const auto found = read(path, {"PerFrameFunctionalGroupsSequence"});
        return diffusionOf(firstItem(found.get<Store>().view(), "PerFrameFunctionalGroupsSequence"));
    }

  private:
    velmora::Value read(const std::string& path, const std::vector<std::string>& keywords) {
        velmora::Value found = call("ReadMetadata", {path, Store::ofTexts(keywords), false});
        call("CloseReader", {path}); // the next file has the same name
        return found;
    }
};

void expectDirection(const std::optional<DiffusionWeighting>& found, const Vector3& expected) {
    ASSERT_TRUE(found && found->direction);
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_NEAR((*found->direction)[index], expected[index], kTolerance) << "part " << index;
    }
}

void expectBValueOnly(const std::optional<DiffusionWeighting>& found, double bValue) {
    ASSERT_TRUE(found);
    EXPECT_EQ(found->bValue, bValue);
    EXPECT_FALSE(found->direction);
}

/// A macro with the b-matrix that gradients of these b-values along unit vectors add up to.
radvex::test::FillItem withMatrix(const std::vector<std::pair<double, Vector3>>& gradients) {
    return [gradients](DcmItem& macro) {
        put(macro, {{DCM_DiffusionDirectionality, "BMATRIX"}});
        DcmItem& item = addItem(macro, DCM_DiffusionBMatrixSequence);
        const auto set = [&](const DcmTagKey& key, std::size_t row, std::size_t column) {
            double sum = 0;
            for (const auto& [bValue, g] : gradients) {
                sum += bValue * g[row] * g[column];
            }
            item.putAndInsertFloat64(key, sum);
        };
        set(DCM_DiffusionBValueXX, 0, 0);
        set(DCM_DiffusionBValueXY, 0, 1);
        set(DCM_DiffusionBValueXZ, 0, 2);
        set(DCM_DiffusionBValueYY, 1, 1);
        set(DCM_DiffusionBValueYZ, 1, 2);
        set(DCM_DiffusionBValueZZ, 2, 2);
    };
}

VolumeGeometry geometryWith(const Vector3& column, const Vector3& row, const Vector3& slice) {
    return {.origin = {}, .columnStep = column, .rowStep = row, .sliceStep = slice, .hasPosition = true};
}

std::string vectorsOf(const VolumeGeometry& geometry, const std::vector<Vector3>& directions) {
    std::vector<DiffusionWeighting> volumes;
    for (const Vector3& direction : directions) {
        volumes.push_back({.bValue = 1000, .direction = direction});
    }
    return bvecText(volumes, geometry);
}

/// One number of each line.
Vector3 columnOf(const std::string& text) {
    std::istringstream lines(text);
    Vector3 column{};
    lines >> column[0] >> column[1] >> column[2];
    return column;
}

} // namespace

TEST_F(DiffusionTest, AClassicFileSaysItInItsDataset) {
    const auto found =
        ofFile(with({{DCM_DiffusionBValue, "1000"}, {DCM_DiffusionGradientOrientation, "0.6\\-0.8\\0"}}));
    expectDirection(found, {0.6, -0.8, 0});
    EXPECT_EQ(found->bValue, 1000);
}

TEST_F(DiffusionTest, AnEnhancedFileSaysItInItsMacro) {
    const auto found = ofFrame([](DcmItem& macro) {
        put(macro, {{DCM_DiffusionBValue, "2500.5"}, {DCM_DiffusionDirectionality, "DIRECTIONAL"}});
        put(addItem(macro, DCM_DiffusionGradientDirectionSequence),
            {{DCM_DiffusionGradientOrientation, "0\\0.28\\0.96"}});
    });
    expectDirection(found, {0, 0.28, 0.96});
    EXPECT_EQ(found->bValue, 2500.5);
}

TEST_F(DiffusionTest, WithoutAWeightingThereIsNone) {
    EXPECT_FALSE(ofFile([](DcmItem&) {}));
    EXPECT_FALSE(ofFile(with({{DCM_DiffusionGradientOrientation, "1\\0\\0"}})));
    EXPECT_FALSE(ofFrame(with({{DCM_DiffusionDirectionality, "NONE"}}))) << "a map computed from several images";
}

TEST_F(DiffusionTest, NoDirectionForNoWeightingAndForAllDirections) {
    expectBValueOnly(ofFile(with({{DCM_DiffusionBValue, "0"}, {DCM_DiffusionGradientOrientation, "1\\0\\0"}})), 0);
    expectBValueOnly(ofFile(with({{DCM_DiffusionBValue, "800"}})), 800);
    expectBValueOnly(ofFile(with({{DCM_DiffusionBValue, "800"}, {DCM_DiffusionGradientOrientation, "0\\0\\0"}})), 800);
    for (const char* directionality : {"ISOTROPIC", "NONE"}) {
        expectBValueOnly(ofFrame([&](DcmItem& macro) {
                             put(macro, {{DCM_DiffusionBValue, "800"}, {DCM_DiffusionDirectionality, directionality}});
                             put(addItem(macro, DCM_DiffusionGradientDirectionSequence),
                                 {{DCM_DiffusionGradientOrientation, "1\\0\\0"}});
                         }),
                         800);
    }
}

TEST_F(DiffusionTest, DirectionsOfAnotherLengthAreScaled) {
    expectDirection(ofFile(with({{DCM_DiffusionBValue, "700"}, {DCM_DiffusionGradientOrientation, "0.3\\0\\-0.4"}})),
                    {0.6, 0, -0.8});
}

TEST_F(DiffusionTest, UnusableNumbersAreNone) {
    EXPECT_FALSE(ofFile(with({{DCM_DiffusionBValue, "-5"}})));
    EXPECT_FALSE(ofFile(with({{DCM_DiffusionBValue, "1000\\2000"}})));
    EXPECT_FALSE(ofFile([](DcmItem& item) { item.putAndInsertFloat64(DCM_DiffusionBValue, kNotANumber); }));
    EXPECT_FALSE(ofFile([](DcmItem& item) { addItem(item, DCM_MRDiffusionSequence); })) << "an empty item";
    for (const char* direction : {"1\\0", "1\\0\\0\\0", "1e200\\1e200\\0", "1e-200\\0\\0"}) {
        expectBValueOnly(ofFile(with({{DCM_DiffusionBValue, "900"}, {DCM_DiffusionGradientOrientation, direction}})),
                         900);
    }
    expectBValueOnly(ofFile([](DcmItem& item) {
                         const Float64 parts[] = {1, kNotANumber, 0};
                         put(item, {{DCM_DiffusionBValue, "900"}});
                         item.putAndInsertFloat64Array(DCM_DiffusionGradientOrientation, parts, 3);
                     }),
                     900);
}

TEST_F(DiffusionTest, AWeightingInTextsIsReadToo) {
    const auto found = ofFile([](DcmItem& item) {
        item.putAndInsertString(DcmTag(DCM_DiffusionBValue, EVR_DS), " 1000 ");
        item.putAndInsertString(DcmTag(DCM_DiffusionGradientOrientation, EVR_DS), "0\\1.0 \\0");
    });
    expectDirection(found, {0, 1, 0});
    expectBValueOnly(ofFile([](DcmItem& item) {
                         item.putAndInsertString(DcmTag(DCM_DiffusionBValue, EVR_IS), "50");
                         item.putAndInsertString(DcmTag(DCM_DiffusionGradientOrientation, EVR_LO), "0\\up\\0");
                     }),
                     50);
}

TEST_F(DiffusionTest, AMatrixOfOneGradientGivesItsDirection) {
    const auto found = ofFrame(withMatrix({{1200, {-0.48, 0.6, 0.64}}}));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->bValue, 1200, 1e-9) << "the trace";
    ASSERT_TRUE(found->direction);
    const double sign = (*found->direction)[1] < 0 ? -1 : 1; // a matrix does not say it
    expectDirection(DiffusionWeighting{1200, sign * *found->direction}, {-0.48, 0.6, 0.64});
    const auto disturbed = ofFrame(withMatrix({{1000, {0, 0, 1}}, {100, {1, 0, 0}}}));
    ASSERT_TRUE(disturbed && disturbed->direction);
    EXPECT_NEAR(std::abs((*disturbed->direction)[2]), 1, kTolerance);
}

TEST_F(DiffusionTest, AMatrixOfSeveralGradientsHasNoDirection) {
    const auto plane = ofFrame(withMatrix({{500, {1, 0, 0}}, {500, {0, 1, 0}}}));
    ASSERT_TRUE(plane);
    EXPECT_FALSE(plane->direction);
    const auto negative = ofFrame([](DcmItem& macro) {
        put(macro, {{DCM_DiffusionBValue, "1000"}});
        withMatrix({{-1000, {0, 0, 1}}})(macro);
    });
    expectBValueOnly(negative, 1000);
    EXPECT_FALSE(ofFrame(withMatrix({{-1000, {0, 0, 1}}})));
}

TEST(DiffusionText, BValuesStandInOneLine) {
    const DiffusionWeighting volumes[] = {{0, {}}, {1000, Vector3{1, 0, 0}}, {2500.5, {}}, {100000, {}}};
    EXPECT_EQ(bvalText(volumes), "0 1000 2500.5 100000\n");
}

TEST(DiffusionText, AnAxialAscendingVolumeHasItsFirstComponentNegated) {
    // The matrix is diag(-0.6, -0.7, 2.5) in RAS, whose determinant is positive. The numbers are what dcm2niix writes
    // for this series with -y n, which leaves the rows in their order.
    const VolumeGeometry axial = geometryWith({0.6, 0, 0}, {0, 0.7, 0}, {0, 0, 2.5});
    EXPECT_EQ(vectorsOf(axial, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0.48, -0.6, 0.64}, {-0.36, 0.48, 0.8}}),
              "-1 0 0 -0.48 0.36\n0 1 0 -0.6 0.48\n0 0 1 0.64 0.8\n");
}

TEST(DiffusionText, AnAxialDescendingVolumeKeepsIt) {
    const VolumeGeometry axial = geometryWith({2, 0, 0}, {0, 2, 0}, {0, 0, -3});
    EXPECT_EQ(vectorsOf(axial, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0.6, -0.8, 0}}), "1 0 0 0.6\n0 1 0 -0.8\n0 0 -1 0\n");
}

TEST(DiffusionText, ComponentsAreAlongTheAxesOfTheImage) {
    // Sagittal: columns to the back, rows to the feet, slices to the right.
    const VolumeGeometry sagittal = geometryWith({0, 2, 0}, {0, 0, -2}, {-3, 0, 0});
    EXPECT_EQ(vectorsOf(sagittal, {{0.6, 0.8, 0}, {0, 0.28, 0.96}}), "-0.8 -0.28\n0 -0.96\n-0.6 0\n");
    const VolumeGeometry backwards = geometryWith({0, 2, 0}, {0, 0, -2}, {3, 0, 0});
    EXPECT_EQ(vectorsOf(backwards, {{0.6, 0.8, 0}, {0, 0.28, 0.96}}), "0.8 0.28\n0 -0.96\n0.6 0\n");
}

TEST(DiffusionText, ThePhysicalDirectionComesBackFromAnObliqueVolume) {
    const double cosine = std::cos(0.3);
    const double sine = std::sin(0.3);
    const Vector3 column{cosine, sine, 0};
    const Vector3 row{-sine * cosine, cosine * cosine, -sine};
    const Vector3 normal = cross(column, row);
    const Vector3 direction{0.48, -0.6, 0.64};
    for (const double step : {2.5, -2.5}) {
        const auto parts = columnOf(vectorsOf(geometryWith(1.5 * column, 1.25 * row, step * normal), {direction}));
        // As FSL's readers do: undo the sign, then add the components along the axes.
        const Vector3 back =
            (step > 0 ? -parts[0] : parts[0]) * column + parts[1] * row + (step > 0 ? parts[2] : -parts[2]) * normal;
        EXPECT_NEAR(length(back - direction), 0, 1e-7);
    }
}

TEST(DiffusionText, UnderATiltVectorsKeepTheirLength) {
    const VolumeGeometry tilted = geometryWith({2, 0, 0}, {0, 2, 0}, {0, 1, 3});
    EXPECT_EQ(vectorsOf(tilted, {{0, 0.6, 0.8}}), "0\n0.6\n0.8\n");
}

TEST(DiffusionText, RoundingErrorsAreNoDirections) {
    const VolumeGeometry axial = geometryWith({2, 0, 0}, {0, 2, 0}, {0, 0, 3});
    EXPECT_EQ(vectorsOf(axial, {{1e-17, 1, -1e-12}}), "0\n1\n0\n");
}

TEST(DiffusionText, VolumesWithoutADirectionHaveZeros) {
    const VolumeGeometry axial = geometryWith({2, 0, 0}, {0, 2, 0}, {0, 0, 3});
    const DiffusionWeighting volumes[] = {{0, {}}, {1000, Vector3{0, 0, 1}}, {1000, {}}};
    EXPECT_EQ(bvecText(volumes, axial), "0 0 0\n0 0 0\n0 1 0\n");
}

TEST(DiffusionText, DirectionsNeedTheAxesOfTheVolume) {
    VolumeGeometry unknown = geometryWith({2, 0, 0}, {0, 2, 0}, {0, 0, 3});
    unknown.hasPosition = false;
    EXPECT_THROW(vectorsOf(unknown, {{1, 0, 0}}), VolumeError);
    const DiffusionWeighting volumes[] = {{0, {}}, {1000, {}}};
    EXPECT_EQ(bvecText(volumes, unknown), "0 0\n0 0\n0 0\n");
}

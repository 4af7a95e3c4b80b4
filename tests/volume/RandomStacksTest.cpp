// The rule of volumes: either every voxel lies where its slice was generated, or an error names the reason.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>
#include <random>
#include <set>

#include "formats/json/Text.h"
#include "volume/geometry/VolumePlan.h"

using namespace radvex::formats;
using namespace radvex::volume;

namespace {

/// A series of slices as a scanner might have made it, and what was done to it afterwards.
class RandomStack {
  public:
    explicit RandomStack(unsigned seed) : mRandom(seed) {
        choosePlane();
        chooseVolumes();
        make();
        spoil();
        number();
        std::shuffle(slices.begin(), slices.end(), mRandom);
    }

    std::vector<SliceRecord> slices{};
    double step = 1;
    double pixel = 1;
    std::size_t volumes = 1;
    std::size_t slicesEach = 1;
    std::size_t copies = 0;
    bool mayBeRefused = false;  ///< not a stack that one matrix describes
    bool mustBeRefused = false; ///< far from being one
    bool isScrambled = false;   ///< the order by InstanceNumber is none in space

  private:
    double real(double low, double high) { return std::uniform_real_distribution<>(low, high)(mRandom); }
    std::size_t whole(std::size_t low, std::size_t high) {
        return std::uniform_int_distribution<std::size_t>(low, high)(mRandom);
    }
    bool isOnce(unsigned in) { return whole(1, in) == 1; }

    Vector3 direction() {
        for (;;) {
            const Vector3 any{real(-1, 1), real(-1, 1), real(-1, 1)};
            if (const double size = length(any); size > 0.1 && size <= 1) {
                return 1 / size * any;
            }
        }
    }

    void choosePlane() {
        if (isOnce(3)) {
            mOrientation = {{1, 0, 0}, {0, 1, 0}};
        } else {
            mOrientation.alongColumns = direction();
            const Vector3 across = cross(mOrientation.alongColumns, direction());
            if (length(across) < 0.1) {
                return choosePlane();
            }
            mOrientation.alongRows = 1 / length(across) * across;
        }
        step = isOnce(10) ? real(0.02, 0.1) : real(0.3, 8);
        pixel = real(0.2, 3);
        const Vector3 normal = mOrientation.normal();
        mStep = (isOnce(2) ? step : -step) * normal;
        if (isOnce(4)) { // a tilted gantry
            mStep = mStep + step * real(0.05, 0.5) * mOrientation.alongRows;
        }
        mOrigin = {real(-300, 300), real(-300, 300), real(-1000, 1000)};
    }

    void chooseVolumes() {
        slicesEach = whole(5, 14);
        volumes = isOnce(2) ? 1 : whole(2, 4);
        mKind = whole(0, 6);
    }

    void setTraits(SliceTraits& traits, std::size_t volume, std::size_t position) {
        const std::string number = std::to_string(volume + 1);
        // Slices of one volume may have been acquired one after the other, and volumes interleaved.
        const double seconds = static_cast<double>(volume) * 0.4 + static_cast<double>(position) * 2;
        traits.set(Trait::acquisitionTime, shortestText(seconds));
        switch (mKind) {
        case 0: traits.set(Trait::echoTime, std::to_string(10 * (volume + 1))); break;
        case 1: traits.set(Trait::temporalIndex, number); break;
        case 2: traits.set(Trait::diffusionBValue, std::to_string(1000 * volume)); break;
        case 3:
            traits.set(Trait::imageType, volume == 0 ? "ORIGINAL\\PRIMARY\\M" : "ORIGINAL\\PRIMARY\\" + number);
            break;
        case 4: traits.set(Trait::acquisitionNumber, number); break;
        case 5: // echoes, each in two points in time
            traits.set(Trait::echoTime, std::to_string(10 * (volume / 2 + 1)));
            traits.set(Trait::temporalIdentifier, std::to_string(volume % 2 + 1));
            break;
        default: break; // the time of acquisition alone
        }
    }

    void make() {
        for (std::size_t volume = 0; volume < volumes; ++volume) {
            for (std::size_t position = 0; position < slicesEach; ++position) {
                SliceRecord slice;
                slice.file = std::to_string(volume) + "/" + std::to_string(position);
                slice.rows = slice.columns = 4;
                slice.sopInstanceUid = "1.2." + std::to_string(volume) + "." + std::to_string(position);
                slice.orientation = mOrientation;
                slice.position = mOrigin + static_cast<double>(position) * mStep;
                slice.pixelSpacing = PixelSpacing{pixel, pixel};
                setTraits(slice.traits, volume, position);
                slices.push_back(slice);
            }
        }
    }

    Vector3& positionAt(std::size_t index) { return *slices[index].position; }

    void spoil() {
        const Vector3 normal = mOrientation.normal();
        switch (whole(0, 11)) {
        case 0: { // a slice in the middle is missing
            const std::size_t position = whole(1, slicesEach - 2);
            slices.erase(slices.begin() + static_cast<std::ptrdiff_t>(whole(0, volumes - 1) * slicesEach + position));
            mayBeRefused = mustBeRefused = true;
            break;
        }
        case 1: // a slice comes twice, as the same instance
            slices.push_back(slices[whole(0, slices.size() - 1)]);
            slices.back().file += " again";
            copies = 1;
            break;
        case 2: // a slice comes twice, as another instance
            slices.push_back(slices[whole(0, slices.size() - 1)]);
            slices.back().file += " anew";
            slices.back().sopInstanceUid += ".1";
            mayBeRefused = mustBeRefused = true;
            break;
        case 3: { // one slice lies elsewhere along the stack
            const double shift = real(-0.4, 0.4) * step;
            const std::size_t index = whole(0, slices.size() - 1);
            positionAt(index) = positionAt(index) + shift * normal;
            mayBeRefused = true;
            mustBeRefused = std::abs(shift) > 0.25 * step;
            break;
        }
        case 4: { // one slice lies aside
            const double shift = real(0, 3) * pixel;
            const std::size_t index = whole(0, slices.size() - 1);
            positionAt(index) = positionAt(index) + shift * mOrientation.alongColumns;
            mayBeRefused = true;
            mustBeRefused = shift > 0.5 * pixel;
            break;
        }
        case 5: { // a block is far away
            const std::size_t from = slicesEach / 2;
            for (std::size_t index = 0; index < slices.size(); ++index) {
                if (index % slicesEach >= from) {
                    positionAt(index) = positionAt(index) + real(1.6, 1.6 + 1e-9) * mStep;
                }
            }
            mayBeRefused = mustBeRefused = true;
            break;
        }
        case 6: { // a slice in another direction
            slices[whole(0, slices.size() - 1)].orientation =
                Orientation{mOrientation.alongRows, mOrientation.alongColumns};
            mayBeRefused = mustBeRefused = true;
            break;
        }
        case 7: // the rounding of two decimals
            for (SliceRecord& slice : slices) {
                for (double& part : *slice.position) {
                    part = std::round(part * 100) / 100;
                }
            }
            mayBeRefused = step < 0.2;
            break;
        case 8: // the distance grows
            for (std::size_t index = 0; index < slices.size(); ++index) {
                const auto position = static_cast<double>(index % slicesEach);
                positionAt(index) = positionAt(index) + 0.1 * position * position * mStep;
            }
            mayBeRefused = mustBeRefused = true;
            break;
        default: break;
        }
    }

    void number() {
        const std::size_t way = whole(0, 4);
        Indices numbers(slices.size());
        std::iota(numbers.begin(), numbers.end(), std::size_t{1});
        if (way == 1) {
            std::reverse(numbers.begin(), numbers.end());
        } else if (way == 2) {
            std::shuffle(numbers.begin(), numbers.end(), mRandom);
        } else if (way == 3) {
            std::fill(numbers.begin(), numbers.end(), 1);
        }
        for (std::size_t index = 0; index < slices.size(); ++index) {
            if (way != 4) {
                slices[index].instanceNumber = static_cast<vint>(numbers[index]);
            }
        }
        if (copies == 1) { // a copy has the number of its original
            for (SliceRecord& slice : slices) {
                if (slice.sopInstanceUid == slices.back().sopInstanceUid) {
                    slices.back().instanceNumber = slice.instanceNumber;
                    break;
                }
            }
        }
    }

    std::mt19937 mRandom;
    Orientation mOrientation{};
    Vector3 mStep{};
    Vector3 mOrigin{};
    std::size_t mKind = 0;
};

std::string saidAbout(const VolumePlan& plan) {
    std::string text;
    for (const Finding& finding : plan.findings) {
        text += finding.sentence + "\n";
    }
    for (const PlannedVolume& volume : plan.volumes) {
        for (const Finding& finding : volume.findings) {
            text += volume.label + ": " + finding.sentence + "\n";
        }
    }
    return text;
}

std::string volumeOf(const SliceRecord& slice) { return slice.file.substr(0, slice.file.find('/')); }

/// Every slice lies where the matrix puts it, within a tenth of the spacing and of a pixel.
void expectPlaces(const RandomStack& stack, const PlannedVolume& volume) {
    ASSERT_TRUE(volume.geometry.hasPosition);
    for (std::size_t index = 0; index < volume.order.size(); ++index) {
        const SliceRecord& slice = stack.slices[volume.order[index]];
        const Vector3 found = volume.geometry.origin + static_cast<double>(index) * volume.geometry.sliceStep;
        const Vector3 off = found - *slice.position;
        const double along = dot(off, slice.orientation->normal());
        ASSERT_LE(std::abs(along), 0.1 * stack.step + 0.011) << slice.file;
        ASSERT_LE(length(off - along * slice.orientation->normal()), 0.11 * stack.pixel + 0.02) << slice.file;
        ASSERT_EQ(volumeOf(slice), volumeOf(stack.slices[volume.order.front()])) << "volumes are mixed";
    }
    EXPECT_NEAR(length(volume.geometry.columnStep), stack.pixel, 1e-9);
    EXPECT_NEAR(length(volume.geometry.rowStep), stack.pixel, 1e-9);
}

bool isRefused(const VolumePlan& plan) {
    return plan.hasErrors() || std::ranges::any_of(plan.volumes, &PlannedVolume::hasErrors);
}

} // namespace

TEST(RandomStacks, LieWhereTheyWereGeneratedOrAreRefused) {
    std::size_t refused = 0;
    for (unsigned seed = 1; seed <= 10000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomStack stack(seed);
        const VolumePlan plan = planVolumes(stack.slices, {});
        const bool isError = isRefused(plan);
        refused += isError ? 1 : 0;
        ASSERT_TRUE(!isError || stack.mayBeRefused) << saidAbout(plan);
        ASSERT_TRUE(isError || !stack.mustBeRefused) << saidAbout(plan);
        if (isError) {
            continue;
        }
        ASSERT_EQ(plan.volumes.size(), stack.volumes) << saidAbout(plan);
        std::set<std::size_t> used;
        for (const PlannedVolume& volume : plan.volumes) {
            ASSERT_NO_FATAL_FAILURE(expectPlaces(stack, volume)) << saidAbout(plan);
            used.insert(volume.order.begin(), volume.order.end());
        }
        ASSERT_EQ(used.size(), stack.slices.size() - stack.copies);
    }
    EXPECT_GT(refused, 2000U);
    EXPECT_LT(refused, 8000U);
}

TEST(RandomStacks, AreNeverPlacedByForceWhereTheyAreNot) {
    for (unsigned seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomStack stack(seed);
        const VolumePlan plan = planVolumes(stack.slices, {.isForced = true});
        for (const PlannedVolume& volume : plan.volumes) {
            if (volume.geometry.hasPosition && !plan.hasErrors()) {
                ASSERT_NO_FATAL_FAILURE(expectPlaces(stack, volume)) << saidAbout(plan);
            }
        }
    }
}

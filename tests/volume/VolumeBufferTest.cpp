#include "volume/samples/VolumeBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "host/Value.h"
#include "tests/support/HostTest.h"

using namespace radvex::formats;
using namespace radvex::volume;
using radvex::workers::SharedMemory;
using testing::ElementsAre;

namespace {

class VolumeBufferTest : public radvex::test::ServicesTest {
  protected:
    /// A volume whose slices have that many samples.
    VolumeBuffer bufferOf(std::size_t sliceSamples) {
        mSliceSamples = sliceSamples;
        return VolumeBuffer(memory);
    }
    template <typename T>
    void add(VolumeBuffer& buffer, vint type, const std::vector<T>& samples, const std::vector<ModalityRule>& rules) {
        const velmora::NumericArray array(type, {static_cast<vint>(samples.size())});
        std::copy(samples.begin(), samples.end(), array.data<T>().begin());
        const auto allocate = [&](std::size_t bytes) { return memory.allocate(bytes); };
        buffer.add(storeSlices(allocate, mSliceSamples, *array.handle(), rules));
    }
    static std::vector<SliceBytes> slicesOf(VolumeBuffer& buffer) {
        return buffer.bytesOf(allOf(buffer), typeOf(buffer));
    }
    static vint typeOf(const VolumeBuffer& buffer) { return buffer.typeOf(allOf(buffer)).type(); }
    static std::vector<std::size_t> allOf(const VolumeBuffer& buffer) {
        std::vector<std::size_t> all(buffer.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        return all;
    }
    template <typename T>
    static std::vector<T> slice(VolumeBuffer& buffer, std::size_t index) {
        const SliceBytes bytes = slicesOf(buffer).at(index);
        std::vector<T> samples(bytes.size() / sizeof(T));
        std::memcpy(samples.data(), bytes.data(), bytes.size());
        return samples;
    }

    SharedMemory memory{false};

  private:
    std::size_t mSliceSamples = 0;
};

ModalityRule rule(vint bits, bool isSigned, double slope = 1, double intercept = 0) {
    return {.bitsStored = bits, .isSigned = isSigned, .slope = slope, .intercept = intercept};
}

} // namespace

TEST_F(VolumeBufferTest, RescalesIntoTheTypeOfTheRule) {
    VolumeBuffer buffer = bufferOf(3);
    add<std::int16_t>(buffer, VNumericArray_S16, {-2048, 0, 2047}, {rule(12, true, 2, -1024)});
    EXPECT_EQ(typeOf(buffer), VNumericArray_S16);
    EXPECT_THAT(slice<std::int16_t>(buffer, 0), ElementsAre(-5120, -1024, 3070));
}

TEST_F(VolumeBufferTest, ALaterSliceTurnsThoseBeforeIt) {
    VolumeBuffer buffer = bufferOf(2);
    add<std::uint8_t>(buffer, VNumericArray_U8, {0, 255}, {rule(8, false)});
    EXPECT_EQ(typeOf(buffer), VNumericArray_U8);
    add<std::int16_t>(buffer, VNumericArray_S16, {-32768, 32767}, {rule(16, true)});
    EXPECT_EQ(typeOf(buffer), VNumericArray_S16);
    add<std::uint16_t>(buffer, VNumericArray_U16, {65535, 1}, {rule(16, false)});
    EXPECT_EQ(typeOf(buffer), VNumericArray_S32);
    add<std::uint8_t>(buffer, VNumericArray_U8, {1, 3}, {rule(8, false, 0.5, 0)});
    EXPECT_EQ(typeOf(buffer), VNumericArray_F32);
    EXPECT_THAT(slice<float>(buffer, 0), ElementsAre(0, 255));
    EXPECT_THAT(slice<float>(buffer, 1), ElementsAre(-32768, 32767));
    EXPECT_THAT(slice<float>(buffer, 2), ElementsAre(65535, 1));
    EXPECT_THAT(slice<float>(buffer, 3), ElementsAre(0.5F, 1.5F));
}

TEST_F(VolumeBufferTest, EachFrameHasItsRule) {
    VolumeBuffer buffer = bufferOf(2);
    add<std::uint16_t>(buffer, VNumericArray_U16, {1, 2, 1, 2}, {rule(16, false, 0.5, 0), rule(16, false, 2, 1)});
    EXPECT_THAT(slice<float>(buffer, 0), ElementsAre(0.5F, 1));
    EXPECT_THAT(slice<float>(buffer, 1), ElementsAre(3, 5));
}

TEST_F(VolumeBufferTest, AttributesThatLieCostNoValue) {
    VolumeBuffer buffer = bufferOf(2);
    add<std::uint16_t>(buffer, VNumericArray_U16, {7, 60000}, {rule(8, false)}); // 8 bits are promised
    EXPECT_EQ(typeOf(buffer), VNumericArray_U16);
    EXPECT_THAT(slice<std::uint16_t>(buffer, 0), ElementsAre(7, 60000));
    add<std::int32_t>(buffer, VNumericArray_S32, {-5, 70000},
                      {{.bitsStored = 12, .needsLibrary = true, .tableBits = 8}});
    EXPECT_EQ(typeOf(buffer), VNumericArray_S32);
    EXPECT_THAT(slice<std::int32_t>(buffer, 0), ElementsAre(7, 60000));
    EXPECT_THAT(slice<std::int32_t>(buffer, 1), ElementsAre(-5, 70000));
}

TEST_F(VolumeBufferTest, AnotherNumberOfSamplesIsRefused) {
    VolumeBuffer buffer = bufferOf(2);
    EXPECT_THROW(add<std::uint8_t>(buffer, VNumericArray_U8, {1, 2, 3}, {rule(8, false)}), VolumeError);
}

TEST_F(VolumeBufferTest, SlicesThatHaveTheTypeStayWhereTheyAre) {
    VolumeBuffer buffer = bufferOf(2);
    add<std::uint8_t>(buffer, VNumericArray_U8, {0, 255}, {rule(8, false)});
    const std::byte* address = slicesOf(buffer).at(0).data();
    add<std::uint8_t>(buffer, VNumericArray_U8, {1, 2}, {rule(7, false)});
    EXPECT_EQ(slicesOf(buffer).at(0).data(), address);
    add<std::uint16_t>(buffer, VNumericArray_U16, {300, 2}, {rule(16, false)});
    EXPECT_NE(slicesOf(buffer).at(0).data(), address);
    EXPECT_THAT(slice<std::uint16_t>(buffer, 1), ElementsAre(1, 2));
}

TEST_F(VolumeBufferTest, AVolumeTakesTheTypeOfItsOwnSlices) {
    VolumeBuffer buffer = bufferOf(2);
    add<std::uint8_t>(buffer, VNumericArray_U8, {1, 2}, {rule(8, false)});
    add<std::uint16_t>(buffer, VNumericArray_U16, {300, 400}, {rule(16, false)});
    const std::size_t first[] = {0};
    EXPECT_EQ(buffer.typeOf(first).type(), VNumericArray_U8);
    EXPECT_EQ(buffer.bytesOf(first, VNumericArray_U8).at(0).size(), 2U);
    EXPECT_FALSE(buffer.isSame(0, 1));
    EXPECT_TRUE(buffer.isSame(1, 1));
}

TEST_F(VolumeBufferTest, TheOrderOfTheFilesDoesNotChangeTheirValues) {
    const auto valuesOf = [&](bool isReversed) {
        VolumeBuffer buffer = bufferOf(2);
        for (int file = 0; file < 2; ++file) {
            if ((file == 0) != isReversed) {
                add<std::uint16_t>(buffer, VNumericArray_U16, {1, 3}, {rule(16, false, 0.1, 0)});
            } else {
                add<std::int32_t>(buffer, VNumericArray_S32, {2147483647, -2147483647}, {rule(32, true)});
            }
        }
        EXPECT_EQ(typeOf(buffer), VNumericArray_F64);
        return std::pair(slice<double>(buffer, isReversed ? 1 : 0), slice<double>(buffer, isReversed ? 0 : 1));
    };
    EXPECT_EQ(valuesOf(false), valuesOf(true));
    EXPECT_THAT(valuesOf(false).first, ElementsAre(0.1F, static_cast<float>(3 * 0.1))) << "its own type is f32";
    EXPECT_THAT(valuesOf(false).second, ElementsAre(2147483647.0, -2147483647.0));
}

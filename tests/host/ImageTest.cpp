#include <climits>
#include <cstring>

#include "tests/host/HandleTest.h"

using radvex::test::disguised;

namespace {

using Images = radvex::test::HandleTest;

/// Bytes of an element, by type code 0 to 4.
constexpr std::size_t kSampleSizes[] = {1, 1, 2, 4, 8};

TEST_F(Images, In2DOfEachTypeAndLayoutIsZeroFilledAndWritableToItsEnd) {
    for (vint type = VImage_Bit; type <= VImage_F64; ++type) {
        for (const vbool interleaved : {0, 1}) {
            SCOPED_TRACE(std::to_string(type) + (interleaved != 0 ? " interleaved" : " planar"));
            VImage image = nullptr;
            ASSERT_EQ(images().VImage_new2D(5, 3, 3, type, VColorSpace_RGB, interleaved, &image), 0);
            EXPECT_EQ(images().VImage_getDataType(image), type);
            EXPECT_EQ(images().VImage_getColumnCount(image), 5);
            EXPECT_EQ(images().VImage_getRowCount(image), 3);
            EXPECT_EQ(images().VImage_getSliceCount(image), 1);
            EXPECT_EQ(images().VImage_getRank(image), 2);
            EXPECT_EQ(images().VImage_getChannels(image), 3);
            EXPECT_EQ(images().VImage_interleavedQ(image), interleaved);
            EXPECT_EQ(images().VImage_getColorSpace(image), VColorSpace_RGB);
            EXPECT_EQ(images().VImage_getFlattenedLength(image), 45);
            EXPECT_EQ(images().VImage_shareCount(image), 0);
            const std::size_t bytes = 45 * kSampleSizes[type];
            auto* data = static_cast<char*>(images().VImage_getRawData(image));
            EXPECT_EQ(std::string(data, bytes), std::string(bytes, '\0'));
            std::memset(data, 1, bytes); // the sanitizer tells when this is too far
            images().VImage_free(image);
        }
    }
}

TEST_F(Images, In3DOfEachTypeAndLayoutCountsItsSlices) {
    for (vint type = VImage_Bit; type <= VImage_F64; ++type) {
        for (const vbool interleaved : {0, 1}) {
            SCOPED_TRACE(std::to_string(type) + (interleaved != 0 ? " interleaved" : " planar"));
            VImage image = nullptr;
            ASSERT_EQ(images().VImage_new3D(7, 5, 3, 2, type, VColorSpace_Grey, interleaved, &image), 0);
            EXPECT_EQ(images().VImage_getDataType(image), type);
            EXPECT_EQ(images().VImage_getSliceCount(image), 7);
            EXPECT_EQ(images().VImage_getColumnCount(image), 5);
            EXPECT_EQ(images().VImage_getRowCount(image), 3);
            EXPECT_EQ(images().VImage_getRank(image), 3);
            EXPECT_EQ(images().VImage_getChannels(image), 2);
            EXPECT_EQ(images().VImage_interleavedQ(image), interleaved);
            EXPECT_EQ(images().VImage_getFlattenedLength(image), 210);
            std::memset(images().VImage_getRawData(image), 1, 210 * kSampleSizes[type]);
            images().VImage_free(image);
        }
    }
}

TEST_F(Images, OfOneSliceKeepsItsThirdDimension) {
    VImage image = nullptr;
    ASSERT_EQ(images().VImage_new3D(1, 5, 3, 1, VImage_U8, VColorSpace_Grey, 1, &image), 0);
    EXPECT_EQ(images().VImage_getRank(image), 3);
    EXPECT_EQ(images().VImage_getSliceCount(image), 1);
    images().VImage_free(image);
}

TEST_F(Images, HasAnAlphaChannelWithTwoOrFourChannels) {
    const std::pair<vint, vbool> rule[] = {{1, 0}, {2, 1}, {3, 0}, {4, 1}, {5, 0}};
    for (const auto& [channels, hasAlpha] : rule) {
        const VImage image = makeImage(VImage_U8, channels);
        EXPECT_EQ(images().VImage_alphaChannelQ(image), hasAlpha) << channels << " channels";
        images().VImage_free(image);
    }
}

TEST_F(Images, ImpossibleRequestsAreErrorsAndGiveNothing) {
    VImage image = nullptr;
    const auto make2D = [&](vint width, vint height, vint channels, vint type) {
        return images().VImage_new2D(width, height, channels, type, VColorSpace_Grey, 1, &image);
    };
    EXPECT_EQ(make2D(5, 3, 1, -1), VELMORA_TYPE_ERROR);
    EXPECT_EQ(make2D(5, 3, 1, 5), VELMORA_TYPE_ERROR);
    EXPECT_EQ(make2D(0, 3, 1, VImage_U8), VELMORA_DIMENSIONS_ERROR);
    EXPECT_EQ(make2D(5, -3, 1, VImage_U8), VELMORA_DIMENSIONS_ERROR);
    EXPECT_EQ(make2D(5, 3, 0, VImage_U8), VELMORA_DIMENSIONS_ERROR);
    EXPECT_NE(make2D(65536, 32768, 1, VImage_U8), 0);           // 2^31 elements
    EXPECT_NE(make2D(INT_MAX, INT_MAX, INT_MAX, VImage_U8), 0); // about 2^93
    EXPECT_EQ(images().VImage_new3D(0, 5, 3, 1, VImage_U8, VColorSpace_Grey, 1, &image), VELMORA_DIMENSIONS_ERROR);
    EXPECT_EQ(images().VImage_new3D(-2, 5, 3, 1, VImage_U8, VColorSpace_Grey, 1, &image), VELMORA_DIMENSIONS_ERROR);
    EXPECT_EQ(image, nullptr);
}

TEST_F(Images, ACloneIsEqualInEverythingAndHasMemoryOfItsOwn) {
    VImage image = nullptr;
    ASSERT_EQ(images().VImage_new3D(2, 5, 3, 4, VImage_U16, VColorSpace_RGB, 0, &image), 0);
    auto* elements = static_cast<std::uint16_t*>(images().VImage_getRawData(image));
    for (int index = 0; index < 120; ++index) {
        elements[index] = static_cast<std::uint16_t>(500 + index);
    }
    VImage copy = nullptr;
    ASSERT_EQ(images().VImage_clone(image, &copy), 0);
    elements[119] = 0;
    images().VImage_free(image);
    EXPECT_EQ(images().VImage_getSliceCount(copy), 2);
    EXPECT_EQ(images().VImage_getColumnCount(copy), 5);
    EXPECT_EQ(images().VImage_getRowCount(copy), 3);
    EXPECT_EQ(images().VImage_getChannels(copy), 4);
    EXPECT_EQ(images().VImage_getRank(copy), 3);
    EXPECT_EQ(images().VImage_getDataType(copy), VImage_U16);
    EXPECT_EQ(images().VImage_getColorSpace(copy), VColorSpace_RGB);
    EXPECT_EQ(images().VImage_interleavedQ(copy), 0);
    EXPECT_EQ(static_cast<std::uint16_t*>(images().VImage_getRawData(copy))[119], 619);
    images().VImage_free(copy);
}

TEST_F(Images, DeadAndForeignHandlesGetEmptyAnswers) {
    const VImage dead = makeImage();
    images().VImage_free(dead);
    const DataStore store = makeStore();
    for (const VImage image : {VImage{nullptr}, dead, disguised<VImage>(store)}) {
        EXPECT_EQ(velmora::imageElementSize(images().VImage_getDataType(image)), 0U) << "no type of an image";
        EXPECT_EQ(images().VImage_getRowCount(image), 0);
        EXPECT_EQ(images().VImage_getColumnCount(image), 0);
        EXPECT_EQ(images().VImage_getSliceCount(image), 0);
        EXPECT_EQ(images().VImage_getRank(image), 0);
        EXPECT_EQ(images().VImage_getChannels(image), 0);
        EXPECT_EQ(images().VImage_alphaChannelQ(image), 0);
        EXPECT_EQ(images().VImage_interleavedQ(image), 0);
        EXPECT_EQ(images().VImage_getColorSpace(image), 0);
        EXPECT_EQ(images().VImage_getFlattenedLength(image), 0);
        EXPECT_EQ(images().VImage_getRawData(image), nullptr);
        EXPECT_EQ(images().VImage_shareCount(image), 0);
        VImage copy = nullptr;
        EXPECT_NE(images().VImage_clone(image, &copy), 0);
        EXPECT_EQ(copy, nullptr);
    }
    stores().deleteDataStore(store);
}

TEST_F(Images, FreeingTwiceOrTheHostsIsAViolation) {
    const VImage image = makeImage();
    images().VImage_free(image);
    images().VImage_free(image);
    {
        const velmora::Image hosts(0, 3, 5, 1, VImage_Bit, VColorSpace_Grey, true);
        images().VImage_free(hosts.handle());
        images().VImage_disown(hosts.handle());
        EXPECT_EQ(hosts.info().columns, 5);
    }
    expectViolations({"The library freed an image that does not exist.",
                      "The library freed an image that it does not own.",
                      "The library dropped a share of an image that it does not share."});
}

TEST_F(Images, LeftBehindStandsInTheAccounting) {
    const VImage image = makeImage();
    EXPECT_EQ(velmora::ledger().ownedByLibrary(velmora::ObjectKind::image), 1);
    EXPECT_EQ(velmora::ledger().ownedBy(velmora::Owner::library, velmora::ObjectKind::image),
              std::vector<const void*>{image});
    images().VImage_free(image);
    EXPECT_EQ(velmora::ledger().ownedByLibrary(velmora::ObjectKind::image), 0);
}

} // namespace

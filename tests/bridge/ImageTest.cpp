#include "tests/bridge/BridgeTest.h"

using GTU::Image;
using GTU::ImageView;
using Dims = std::vector<vint>;

namespace radvex::test {

class Images : public BridgeTest {
  protected:
    /// An image of the host with bytes.
    static velmora::Image hostImage(vint slices, vint rows, vint columns, vint channels, bool interleaved = true,
                                    vint type = VImage_U8) {
        return {slices, rows, columns, channels, type, VColorSpace_Automatic, interleaved};
    }

    static Dims dimensionsOf(const velmora::Image& image) {
        return GTU::dimensionsFromGenericImage(image.handle()).getDimensions();
    }

    static long alive() { return ledger().counts(ObjectKind::image).alive(); }
};

TEST_F(Images, InColourHaveTheirChannelsBehindWhenInterleavedAndElseInFront) {
    EXPECT_EQ(dimensionsOf(hostImage(0, 10, 20, 3, true)), (Dims{10, 20, 3}));
    EXPECT_EQ(dimensionsOf(hostImage(0, 10, 20, 3, false)), (Dims{3, 10, 20}));
    EXPECT_EQ(dimensionsOf(hostImage(2, 10, 20, 3, true)), (Dims{2, 10, 20, 3}));
    EXPECT_EQ(dimensionsOf(hostImage(2, 10, 20, 3, false)), (Dims{3, 2, 10, 20}));
}

TEST_F(Images, InGreyHaveNoDimensionForTheirChannel) {
    EXPECT_EQ(dimensionsOf(hostImage(0, 10, 20, 1, true)), (Dims{10, 20}));
    EXPECT_EQ(dimensionsOf(hostImage(0, 10, 20, 1, false)), (Dims{10, 20}));
}

TEST_F(Images, OfSeveralSlicesStrideOverThem) {
    const velmora::Image image = hostImage(5, 3, 7, 1);
    const auto dims = GTU::dimensionsFromGenericImage(image.handle());
    EXPECT_EQ(dims.getDimensions(), (Dims{5, 3, 7}));
    EXPECT_EQ(dims.getOffsets(), (Dims{21, 7, 1}));
}

TEST_F(Images, OfOneSliceAreStill3D) { EXPECT_EQ(dimensionsOf(hostImage(1, 3, 7, 1)), (Dims{1, 3, 7})); }

TEST_F(Images, WithoutChannelsContradictTheirRank) {
    const velmora::Image image = hostImage(0, 3, 7, 0);
    EXPECT_EQ(thrownBy([&] { (void)GTU::dimensionsFromGenericImage(image.handle()); }).name, "ImageSizeError");
    EXPECT_EQ(thrownBy([&] { Image<unsigned char, Automatic> wrapped(image.handle()); }).id, -23);
}

TEST_F(Images, OfANullHandleHaveNoDimensions) {
    EXPECT_EQ(thrownBy([] { (void)GTU::dimensionsFromGenericImage(nullptr); }).name, "DimensionsError");
}

TEST_F(Images, OfTheHostAreNotFreed) {
    const velmora::Image image = hostImage(0, 3, 5, 1);
    {
        const Image<unsigned char, Automatic> wrapped(image.handle());
        EXPECT_FALSE(wrapped.isOwnedByLibrary());
        EXPECT_EQ(wrapped.getInternal(), image.handle());
    }
    EXPECT_TRUE(ledger().isAlive(ObjectKind::image, image.handle()));
}

TEST_F(Images, OfANullHandleAreRefused) {
    EXPECT_THAT(thrownBy([] { Image<float, Automatic> image(nullptr); }), isError(-25, "CreateFromNullError"));
}

TEST_F(Images, OfEachTypeAreWrappedAsThatTypeOnly) {
    const auto accepted = [](vint type) {
        const velmora::Image image = hostImage(0, 3, 5, 1, true, type);
        const VImage handle = image.handle();
        const Thrown attempts[] = {thrownBy([&] { Image<signed char, Automatic> wrapped(handle); }),
                                   thrownBy([&] { Image<unsigned char, Automatic> wrapped(handle); }),
                                   thrownBy([&] { Image<unsigned short, Automatic> wrapped(handle); }),
                                   thrownBy([&] { Image<float, Automatic> wrapped(handle); }),
                                   thrownBy([&] { Image<double, Automatic> wrapped(handle); })};
        std::string pattern;
        for (const Thrown& attempt : attempts) {
            pattern += attempt.name.empty() ? '+' : attempt.name == "ImageTypeError" ? '-' : '?';
        }
        return pattern;
    };
    EXPECT_EQ(accepted(0), "+----");
    EXPECT_EQ(accepted(1), "-+---");
    EXPECT_EQ(accepted(2), "--+--");
    EXPECT_EQ(accepted(3), "---+-");
    EXPECT_EQ(accepted(4), "----+");
}

TEST_F(Images, ShareTheirElementsWithTheHost) {
    const velmora::Image image = hostImage(0, 3, 5, 1, true, VImage_U16);
    const Image<unsigned short, Automatic> wrapped(image.handle());
    EXPECT_EQ(wrapped.getSize(), 15);
    EXPECT_EQ(static_cast<void*>(wrapped.getData()), image.handle()->data.get());
    wrapped.at(wrapped.dimensions().getIndexChecked({2, 4})) = 24;
    EXPECT_EQ(image.data<unsigned short>()[14], 24);
    EXPECT_EQ(wrapped[14], 24);
    EXPECT_EQ(wrapped.end() - wrapped.begin(), 15);
    EXPECT_EQ(thrownBy([&] { (void)wrapped.at(15); }).name, "VArrayElementIndexError");
}

TEST_F(Images, MadeByTheLibraryHaveTheSizesAskedFor) {
    Image<unsigned short, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true);
    EXPECT_EQ(image.dimensions().getDimensions(), (Dims{3, 5})) << "rows are the height";
    EXPECT_EQ(image.rows(), 3);
    EXPECT_EQ(image.columns(), 5);
    EXPECT_EQ(image.slices(), 1);
    EXPECT_EQ(image.channels(), 1);
    EXPECT_EQ(image.type(), 2);
    EXPECT_EQ(image.colorspace(), VColorSpace_Grey);
    EXPECT_FALSE(image.is3D());
    EXPECT_TRUE(image.isOwnedByLibrary());
    EXPECT_TRUE(ledger().isOwnedBy(velmora::Owner::library, ObjectKind::image, image.getInternal()));
}

TEST_F(Images, MadeByTheLibraryWithSlicesAre3D) {
    const Image<float, Manual> image(2, 5, 3, 3, VColorSpace_RGB, false);
    EXPECT_EQ(image.dimensions().getDimensions(), (Dims{3, 2, 3, 5}));
    EXPECT_TRUE(image.is3D());
    EXPECT_EQ(image.slices(), 2);
    EXPECT_FALSE(image.interleavedQ());
    EXPECT_EQ(image.getRank(), 3);
    EXPECT_EQ(image.getFlattenedLength(), 90);
    EXPECT_EQ(image.type(), 3);
    EXPECT_EQ(ledger().calls(Operation::VImage_new3D), 1);
    EXPECT_EQ(ledger().calls(Operation::VImage_new2D), 0);
}

TEST_F(Images, MadeByTheLibraryAreFreedAtTheirEnd) {
    { const Image<double, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true); }
    EXPECT_EQ(alive(), 0);
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, 1);
}

TEST_F(Images, HandedOverAreTheHosts) {
    auto frame = frameOf({});
    {
        Image<signed char, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true);
        image.getData()[14] = 1;
        image.passAsResult(frame.res());
    }
    const velmora::Value result = frame.takeResult(VType_Image);
    ASSERT_TRUE(result.is<velmora::Image>());
    EXPECT_EQ(result.get<velmora::Image>().data<signed char>()[14], 1);
}

TEST_F(Images, ThatTheHostRefusesToMakeAreErrors) {
    ledger().refuse(Operation::VImage_new2D, 1);
    EXPECT_THAT(thrownBy([] { Image<float, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true); }),
                isError(-20, "ImageNewError"));
    ledger().refuse(Operation::VImage_new3D, 1);
    EXPECT_EQ(thrownBy([] { Image<float, Manual> image(2, 5, 3, 1, VColorSpace_Grey, true); }).id, -20);
    EXPECT_EQ(thrownBy([] { Image<float, Manual> image(0, 0, 3, 1, VColorSpace_Grey, true); }).id, -20);
    EXPECT_EQ(alive(), 0);
}

TEST_F(Images, MadeOfAnotherTypeThanAskedForAreFreedAgain) {
    alterTable().images.VImage_getDataType = [](VImage) -> vint { return VImage_F64; };
    EXPECT_EQ(thrownBy([] { Image<float, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true); }).name, "ImageTypeError");
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, 1);
    EXPECT_EQ(alive(), 0);
}

TEST_F(Images, MadeWithContradictingSizesAreFreedAgain) {
    alterTable().images.VImage_getChannels = [](VImage) -> vint { return 0; };
    EXPECT_EQ(thrownBy([] { Image<float, Manual> image(0, 5, 3, 1, VColorSpace_Grey, true); }).name, "ImageSizeError");
    EXPECT_EQ(ledger().counts(ObjectKind::image).made, 1);
    EXPECT_EQ(alive(), 0);
}

TEST_F(Images, SeenThroughAViewAnswerEveryQuestionAndStay) {
    Image<unsigned char, Manual> image(2, 5, 3, 4, VColorSpace_RGB, true);
    {
        const ImageView view(image.getInternal());
        EXPECT_EQ(view.slices(), 2);
        EXPECT_EQ(view.rows(), 3);
        EXPECT_EQ(view.columns(), 5);
        EXPECT_EQ(view.channels(), 4);
        EXPECT_EQ(view.colorspace(), VColorSpace_RGB);
        EXPECT_TRUE(view.alphaChannelQ());
        EXPECT_TRUE(view.interleavedQ());
        EXPECT_TRUE(view.is3D());
        EXPECT_EQ(view.getRank(), 3);
        EXPECT_EQ(view.getFlattenedLength(), 120);
        EXPECT_EQ(view.type(), 1);
        EXPECT_EQ(view.rawData(), image.getData());
    }
    EXPECT_EQ(alive(), 1);
}

} // namespace radvex::test

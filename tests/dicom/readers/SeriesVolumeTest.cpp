#include "dicom/readers/SeriesVolume.h"

#include "dcmtk/dcmimage/diregist.h" // colour in this program too
#include "dicom/readers/DcmFileReader.h"
#include "host/Objects.h"
#include "tests/dicom/readers/SeriesFiles.h"

using namespace radvex;
using namespace radvex::test;

namespace {

class SlicesOfASeries : public ClassTest {
  protected:
    /// A file and the image that is made of it, which needs its dataset.
    struct Opened {
        std::unique_ptr<DcmFileReader> reader;
        std::shared_ptr<Picture> image;
    };
    Opened open(const ImageFile& file) {
        auto reader = std::make_unique<DcmFileReader>(writeImageFile(folder.file("a.dcm"), file));
        std::shared_ptr<Picture> image = reader->openPicture(ImageOpenOptions{}, DcmFileReader::PictureUse{});
        return {std::move(reader), std::move(image)};
    }
    static std::string nameOfError(const OpenImages& images) {
        return errorOf([&] { (void)consolidateImages(images, ImageReadOptions{}); });
    }
};

} // namespace

TEST_F(SlicesOfASeries, OfNothingIsAnError) { EXPECT_EQ(nameOfError({}), "NoImagesError"); }

TEST_F(SlicesOfASeries, ThatNoIntegerOfTheHostCountsIsRefusedBeforeItIsMade) {
    const std::vector<int> zeros(1024 * 1024);
    const Opened file = open(grey8(1024, 1024, zeros));
    EXPECT_EQ(nameOfError(OpenImages(2048, file.image)), "DimensionsError") << "2^31 voxels";
    EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::image).made, 0);
}

TEST_F(SlicesOfASeries, TakesTheWindowOfTheOptions) {
    const Opened file = open(grey8(1, 3, {0, 10, 100}));
    ImageReadOptions options;
    options.scaling = kExplicitWindow;
    options.windowCenter = 50;
    options.windowWidth = 100;
    const Volume volume = consolidateImages({file.image, file.image}, options);
    const auto* data = static_cast<const std::uint8_t*>(volume.rawHandle()->data.get());
    EXPECT_THAT(std::vector<int>(data, data + 6),
                ElementsAreArray(joined({windowed({0, 10, 100}, 50, 100, 255), windowed({0, 10, 100}, 50, 100, 255)})));
}

TEST_F(SlicesOfASeries, TheCommonWindowIsTheSpanAndItsMiddle) {
    const auto windowOf = [](const OpenImages& images) {
        ImageReadOptions options;
        setWindowForSeries(images, options);
        return std::pair(*options.windowWidth, *options.windowCenter);
    };
    const Opened dark = open(grey8(1, 2, {0, 100}));
    const Opened bright = open(grey8(1, 2, {50, 200}));
    const Opened middle = open(grey8(1, 2, {60, 90}));
    const Opened constant = open(grey8(1, 2, {70, 70}));
    const Opened colour = open(colour8(1, 1, {200, 210, 220}));
    EXPECT_EQ(windowOf({dark.image, bright.image}), std::pair(200.0, 100.0)) << "not the width minus one";
    EXPECT_EQ(windowOf({bright.image, middle.image, dark.image}), std::pair(200.0, 100.0));
    EXPECT_EQ(windowOf({middle.image}), std::pair(30.0, 75.0));
    EXPECT_EQ(windowOf({constant.image, constant.image}), std::pair(0.0, 70.0));
    EXPECT_EQ(windowOf({colour.image, middle.image}), std::pair(90.0, 45.0)) << "colour counts as 0";
    EXPECT_EQ(windowOf({colour.image}), std::pair(0.0, 0.0));
}

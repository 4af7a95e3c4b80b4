#include "tests/support/PictureComparison.h"

#include <utility>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dicom/pixels/ImageRendering.h"

namespace radvex::test {

namespace {

std::string windowText(const ImageReadOptions& window) {
    return "window mode " + std::to_string(window.scaling) + " " + std::to_string(window.windowCenter.value_or(0)) +
           "/" + std::to_string(window.windowWidth.value_or(0));
}

/// What differs between two buffers; empty when nothing does.
std::string firstDifference(const std::vector<unsigned char>& wanted, const std::vector<unsigned char>& found) {
    for (std::size_t index = 0; index < wanted.size(); ++index) {
        if (wanted[index] != found[index]) {
            return "byte " + std::to_string(index) + " is " + std::to_string(found[index]) + " in place of " +
                   std::to_string(wanted[index]);
        }
    }
    return "";
}

std::string shapeText(const Picture& picture) {
    double low = 0;
    double high = 0;
    const int known = picture.image().getMinMaxValues(low, high, 0);
    return std::to_string(picture.width()) + " x " + std::to_string(picture.height()) + " x " +
           std::to_string(picture.frames()) + ", " + std::to_string(picture.image().getDepth()) + " bits, " +
           std::to_string(picture.frameBytes(0)) + " bytes, " + (known != 0 ? "" : "un") + "known from " +
           std::to_string(low) + " to " + std::to_string(high);
}

std::string renderingDifference(Picture& wanted, Picture& found, int bits, bool isByPlane) {
    for (unsigned long frame = 0; frame <= wanted.frames(); ++frame) { // one more than there are
        std::vector<unsigned char> left(wanted.frameBytes(bits));
        std::vector<unsigned char> right(found.frameBytes(bits));
        if (left.size() != right.size()) {
            return "frames of other sizes";
        }
        const bool isWanted = wanted.render(left.data(), left.size(), bits, frame, isByPlane);
        if (isWanted != found.render(right.data(), right.size(), bits, frame, isByPlane)) {
            return "only one is rendered";
        }
        if (const std::string difference = firstDifference(left, right); isWanted && !difference.empty()) {
            return "frame " + std::to_string(frame) + ": " + difference;
        }
    }
    return "";
}

std::string valuesDifference(Picture& wanted, Picture& found) {
    const auto left = wanted.values();
    const auto right = found.values();
    if (left.has_value() != right.has_value()) {
        return "only one has values";
    }
    if (!left) {
        return "";
    }
    if (left->representation != right->representation || left->count != right->count) {
        return "values of another kind or number";
    }
    std::vector<unsigned char> wantedBytes(left->count * bytesOf(left->representation));
    std::vector<unsigned char> foundBytes(wantedBytes.size());
    if (!wanted.copyValues(wantedBytes.data()) || !found.copyValues(foundBytes.data())) {
        return "values cannot be copied";
    }
    const std::string difference = firstDifference(wantedBytes, foundBytes);
    return difference.empty() ? "" : "values: " + difference;
}

struct Asked {
    bool values;
    bool byPlane;
};

std::string differenceOf(Picture& wanted, Picture& found, const std::vector<ImageReadOptions>& windows,
                         const Asked& asked) {
    if (shapeText(wanted) != shapeText(found)) {
        return shapeText(found) + " in place of " + shapeText(wanted);
    }
    for (const ImageReadOptions& window : windows) {
        for (Picture* picture : {&wanted, &found}) {
            setOverlayVisibility(picture->image(), false);
            setScalingWindow(picture->image(), window);
        }
        for (const int bits : {8, 16, 32}) {
            const std::string difference = renderingDifference(wanted, found, bits, asked.byPlane);
            if (!difference.empty()) {
                return windowText(window) + ", " + std::to_string(bits) + " bits: " + difference;
            }
        }
    }
    return asked.values ? valuesDifference(wanted, found) : "";
}

} // namespace

PictureComparison comparePictures(DcmDataset& dataset, const ImageOpenOptions& options, SampleSource source,
                                  const std::vector<ImageReadOptions>& windows) {
    TabledPicture::Request request{.flags = options.flags,
                                   .frameStart = options.frameStart,
                                   .frameCount = options.frameCount,
                                   .source = source,
                                   .use = TabledPicture::Use::values,
                                   .worth = TabledPicture::Worth::always};
    auto tabled = TabledPicture::tryToOpen(dataset, request);
    const bool hasValues = tabled.picture != nullptr;
    if (!hasValues) {
        request.use = TabledPicture::Use::rendering;
        tabled = TabledPicture::tryToOpen(dataset, request);
    }
    if (tabled.picture == nullptr) {
        return {tabled.reason, ""};
    }
    auto image = std::make_unique<DicomImage>(&dataset, dataset.getCurrentXfer(), options.flags,
                                              static_cast<unsigned long>(options.frameStart),
                                              static_cast<unsigned long>(options.frameCount));
    if (image->getStatus() != EIS_Normal) {
        return {"", std::string("DCMTK does not open it: ") + DicomImage::getString(image->getStatus())};
    }
    Picture direct(std::move(image));
    Uint16 planes = 0;
    (void)dataset.findAndGetUint16(DCM_PlanarConfiguration, planes, 0, OFFalse);
    return {"", differenceOf(direct, *tabled.picture, windows, {hasValues, planes != 0})};
}

} // namespace radvex::test

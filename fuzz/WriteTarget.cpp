#include <cstring>
#include <stdexcept>

#include "dcmtk/config/osconfig.h"
#include "fuzz/WriteInput.h"

#include "dcmtk/dcmdata/dctk.h"

namespace radvex::fuzz {

namespace {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;
using velmora::Value;

/// A default value is another one while this lives.
class OtherDefault {
  public:
    OtherDefault(Harness& harness, const std::string& keyword, const std::string& value)
        : mHarness(harness), mKeyword(keyword) {
        if (!keyword.empty()) {
            mFormer = mHarness.call("GetDefaultTagValue", {keyword});
            (void)mHarness.call("SetDefaultTagValue", {keyword, value});
        }
    }
    ~OtherDefault() {
        if (!mKeyword.empty()) {
            (void)mHarness.call("SetDefaultTagValue", {mKeyword, mFormer});
        }
    }
    OtherDefault(const OtherDefault&) = delete;
    OtherDefault& operator=(const OtherDefault&) = delete;

  private:
    Harness& mHarness;
    std::string mKeyword;
    Value mFormer{};
};

bool write(Harness& harness, const WriteInput& input, const std::string& path) {
    const OtherDefault other(harness, input.defaultKeyword, input.defaultValue);
    try {
        (void)harness.host().call("WriteImage", {path, input.image, input.metadata, input.overlays, input.compression,
                                                 input.first, input.second, input.overlayOptions});
        return true;
    } catch (const velmora::LibraryError&) {
        return false;
    }
}

/// The largest difference of a sample that the compression allows; -1 when there is no bound.
int boundOf(const WriteInput& input) {
    const auto& image = input.image.info();
    const bool isJpeg = input.compression == "JPEGLossless" || input.compression == "JPEGLosslessNonhierarchical";
    if (input.hasOtherLayout || image.rows > 65535 || image.columns > 65535) {
        return -1;
    }
    if (image.channels == 2) { // the file does not say how two samples lie, and the library reads none
        return -1;
    }
    if (isJpeg) { // DCMTK's decoder tells of three samples where there are four; a point transform drops bits
        return input.second == 0 && (image.channels == 1 || image.channels == 3) ? 0 : -1;
    }
    if (input.compression == "JPEG-LSLossy") {
        return input.first >= 0 && input.first < 128 ? static_cast<int>(input.first) : -1;
    }
    return input.compression.starts_with("JPEGLossy") ? -1 : 0;
}

/// Index of a sample of the image in a file whose layout is the other one.
std::size_t transposed(const VelmoraImage& image, std::size_t index) {
    const auto pixels = static_cast<std::size_t>(image.rows * image.columns);
    const auto channels = static_cast<std::size_t>(image.channels);
    const std::size_t frame = index / (pixels * channels) * pixels * channels;
    const std::size_t inFrame = index - frame;
    return frame + (image.interleaved ? inFrame % channels * pixels + inFrame / channels
                                      : inFrame % pixels * channels + inFrame / pixels);
}

/// All samples of a file that holds integers, frame after frame, as the library reads them.
template <typename T>
std::vector<T> samplesOf(const Value& metadata) {
    std::vector<T> samples;
    if (!metadata.is<Store>()) {
        return samples;
    }
    for (const NodeView node : metadata.get<Store>()) {
        if (node.name() != "PixelData") {
            continue;
        }
        for (const NodeView frame : StoreView(node.cell().dataStore)) {
            const auto* data = static_cast<const T*>(frame.cell().numericArray->data.get());
            samples.insert(samples.end(), data, data + frame.cell().numericArray->length);
        }
    }
    return samples;
}

vint planarConfigurationOf(const Value& metadata) {
    if (metadata.is<Store>()) {
        for (const NodeView node : metadata.get<Store>()) {
            if (node.name() == "PlanarConfiguration") {
                return node.cell().integer;
            }
        }
    }
    return 0;
}

template <typename T>
void expectIntegers(Harness& harness, const velmora::Image& image, const std::string& path, int bound) {
    const Value read =
        harness.callOnOwn("ReadMetadata", {path, Store::ofTexts({"PlanarConfiguration", "PixelData"}), false});
    const std::vector<T> found = samplesOf<T>(read);
    const auto written = image.data<T>();
    if (found.size() != written.size()) {
        throw std::runtime_error("The written file has " + std::to_string(found.size()) + " samples, the image " +
                                 std::to_string(written.size()) + ".");
    }
    const bool isSameLayout =
        image.info().channels < 3 || (planarConfigurationOf(read) == 0) == image.info().interleaved;
    for (std::size_t index = 0; index < found.size(); ++index) {
        const int difference = int{found[isSameLayout ? index : transposed(image.info(), index)]} - int{written[index]};
        if (std::abs(difference) > bound) {
            throw std::runtime_error("Sample " + std::to_string(index) + " differs by " + std::to_string(difference) +
                                     ".");
        }
    }
}

void expectReals(const velmora::Image& image, const std::string& path) {
    DcmFileFormat file;
    DcmElement* pixels = nullptr;
    Uint8* bytes = nullptr;
    const bool isDouble = image.info().type == VImage_F64;
    if (file.loadFile(path.c_str()).bad() ||
        file.getDataset()->findAndGetElement(isDouble ? DCM_DoubleFloatPixelData : DCM_FloatPixelData, pixels).bad()) {
        throw std::runtime_error("The written file has no real pixels.");
    }
    Float32* floats = nullptr;
    Float64* doubles = nullptr;
    const bool isRead = isDouble ? pixels->getFloat64Array(doubles).good() : pixels->getFloat32Array(floats).good();
    bytes = isDouble ? reinterpret_cast<Uint8*>(doubles) : reinterpret_cast<Uint8*>(floats);
    const auto written = image.bytes();
    if (!isRead || bytes == nullptr || pixels->getLength() != written.size() ||
        std::memcmp(bytes, written.data(), written.size()) != 0) {
        throw std::runtime_error("The written file has other real pixels than the image.");
    }
}

void expectPixels(Harness& harness, const WriteInput& input, const std::string& path) {
    const int bound = boundOf(input);
    if (bound < 0) {
        return;
    }
    switch (input.image.info().type) {
    case VImage_F32:
    case VImage_F64: return expectReals(input.image, path);
    case VImage_U16: return expectIntegers<std::uint16_t>(harness, input.image, path, bound);
    default: return expectIntegers<std::uint8_t>(harness, input.image, path, bound);
    }
}

/// The bits of the first plane, when it is one frame: what of it is 1 in the image.
void expectFirstOverlay(Harness& harness, const WriteInput& input, const std::string& path) {
    if (input.overlays.size() == 0) {
        return;
    }
    const VelmoraImage& written = *(*input.overlays.begin()).cell().image;
    if (written.slices != 1) {
        return;
    }
    const Value read = harness.callOnOwn("ReadMetadata", {path, Store::ofTexts({"OverlayData"}), false});
    if (!read.is<Store>() || read.get<Store>().size() != 1) {
        throw std::runtime_error("The written file has no overlay data.");
    }
    for (const NodeView frame : StoreView((*read.get<Store>().begin()).cell().dataStore)) {
        const VelmoraNumericArray& found = *frame.cell().numericArray;
        if (found.length != written.length ||
            std::memcmp(found.data.get(), written.data.get(), static_cast<std::size_t>(found.length)) != 0) {
            throw std::runtime_error("The written overlay has other bits.");
        }
    }
}

/// Reads that must end, with a result or an error.
void readAll(Harness& harness, const std::string& path) {
    const velmora::Tensor asStored(std::vector<vint>{2}, std::vector<double>{-3.0, 0.0});
    (void)harness.callOnOwn("ReadAllMetadata", {path, Store::empty(), false});
    (void)harness.callOnOwn("ReadImageData", {path, 0, 0, asStored, true, 1});
    (void)harness.callOnOwn("ReadOverlays", {path});
}

} // namespace

void runWrite(Bytes bytes) {
    const WriteInput input = writeInputOf(bytes);
    Harness& harness = Harness::instance();
    const std::string path = harness.claim("w.dcm");
    if (!write(harness, input, path)) {
        return;
    }
    expectPixels(harness, input, path);
    expectFirstOverlay(harness, input, path);
    readAll(harness, path);
}

} // namespace radvex::fuzz

#include "volume/samples/PixelValues.h"

#include "media/Rendering.h"

namespace radvex::volume {

using velmora::NumericArray;

namespace {

constexpr vint kStoredValues = 0x40; // image flag: no modality transformation

std::size_t sizeOf(vint dimension) { return static_cast<std::size_t>(dimension); }

[[noreturn]] void refuseShape(const std::string& path) {
    throw formats::VolumeError(path + ": its pixels have another shape than its attributes say.");
}

} // namespace

PixelValues::PixelValues(velmora::Host& host, const std::string& path, const FileMetadata& metadata, PixelKind kind)
    : mRows(sizeOf(metadata.rows())), mColumns(sizeOf(metadata.columns())) {
    if (kind == PixelKind::colour) {
        const media::Rendering asStored{.scaling = media::Rendering::Scaling::none};
        mOwner = host.call("ReadImageData", {path, 0, 0, asStored.scalingTensor(), false, media::kImageFlags});
        takeColour();
    } else {
        const bool areStored = kind == PixelKind::stored || !metadata.needsLibrary();
        mOwner =
            host.call("ReadIntermediatePixelData", {path, media::kImageFlags | (areStored ? kStoredValues : 0), 0});
        if (!mOwner.is<NumericArray>()) {
            throw formats::VolumeError(path + ": DCMTK's intermediate values have no array type.");
        }
        takeGrey(metadata, kind);
    }
    for (const VelmoraNumericArray* array : mArrays) {
        const std::size_t frames = mArrays.size() == 1 ? mFrames : 1;
        if (array->length < 0 || sizeOf(array->length) != frames * mRows * mColumns * mChannels) {
            refuseShape(path);
        }
    }
}

void PixelValues::takeGrey(const FileMetadata& metadata, PixelKind kind) {
    const VelmoraNumericArray* array = mOwner.get<NumericArray>().handle();
    mArrays = {array};
    mFrames = array->dimensions.size() > 2 ? sizeOf(array->dimensions.front()) : 1;
    if (kind == PixelKind::modality && !metadata.needsLibrary()) {
        mRules = metadata.rules(static_cast<vint>(mFrames));
    }
}

void PixelValues::takeColour() {
    for (const velmora::NodeView frame : mOwner.get<velmora::Store>()) {
        if (frame.type() == VType_NumericArray) {
            mArrays.push_back(frame.cell().numericArray);
        }
    }
    mFrames = mArrays.size();
    const auto& dimensions = mArrays.empty() ? std::vector<vint>{} : mArrays.front()->dimensions;
    if (dimensions.size() == 3) {
        mIsPlanar = sizeOf(dimensions.back()) != 3 || (sizeOf(dimensions.front()) == 3 && mRows != 3);
        mChannels = 3;
    }
}

PixelValues::Place PixelValues::placeOf(std::size_t frame, std::size_t row, std::size_t channel) const {
    const std::size_t plane = mRows * mColumns;
    const std::size_t start = mArrays.size() == 1 ? frame * plane * mChannels : 0;
    return mIsPlanar ? Place{start + channel * plane + row * mColumns, 1}
                     : Place{start + row * mColumns * mChannels + channel, mChannels};
}

void PixelValues::readRow(std::size_t frame, std::size_t row, std::vector<double>& line) const {
    const VelmoraNumericArray& array = *mArrays[mArrays.size() == 1 ? 0 : frame];
    const double slope = mRules.empty() ? 1 : mRules[frame].slope;
    const double intercept = mRules.empty() ? 0 : mRules[frame].intercept;
    line.resize(mColumns * mChannels);
    withType(array.type, [&](auto sample) {
        const auto* values = static_cast<const decltype(sample)*>(array.data.get());
        for (std::size_t channel = 0; channel < mChannels; ++channel) {
            const auto [start, step] = placeOf(frame, row, channel);
            for (std::size_t column = 0; column < mColumns; ++column) {
                line[column * mChannels + channel] =
                    static_cast<double>(values[start + column * step]) * slope + intercept;
            }
        }
    });
}

const char* nameOf(PixelKind kind) {
    switch (kind) {
    case PixelKind::stored: return "stored";
    case PixelKind::modality: return "modality";
    default: return "colour";
    }
}

} // namespace radvex::volume

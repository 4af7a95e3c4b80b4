#include "volume/samples/ModalityArray.h"

#include <cmath>
#include <span>

#include "media/Rendering.h"
#include "volume/samples/PixelValues.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/KnownScaling.h"
#include "volume/slices/PromisedFrames.h"

namespace radvex::volume {

using velmora::NumericArray;

namespace {

bool isInteger(double number) { return std::trunc(number) == number; }

bool isRescaledHere(const FileMetadata& metadata) {
    if (metadata.isColour() || metadata.needsLibrary()) {
        return false;
    }
    if (metadata.isDose() || metadata.isRescaledByFrame()) {
        return true;
    }
    const ModalityRule rule = metadata.rules(1).front(); // that of all frames
    const double largest = std::ldexp(std::abs(rule.slope), rule.bitsStored) + std::abs(rule.intercept);
    const bool mayOverflow = !rule.isIdentity() && largest >= std::ldexp(1, 31); // the library counts in 32 bits
    return mayOverflow || !isInteger(rule.slope) || !isInteger(rule.intercept);
}

ModalityArray rescaledArray(const PixelValues& values, const FrameSpan& frames) {
    ModalityArray array{.type = VNumericArray_F64,
                        .shape = {static_cast<vint>(values.rows()), static_cast<vint>(values.columns())}};
    if (frames.count > 1) {
        array.shape.insert(array.shape.begin(), frames.count);
    }
    const auto first = static_cast<std::size_t>(frames.first);
    const auto count = static_cast<std::size_t>(frames.count);
    array.rescaled.reserve(count * values.rows() * values.columns());
    std::vector<double> line;
    for (std::size_t frame = first; frame < first + count; ++frame) {
        for (std::size_t row = 0; row < values.rows(); ++row) {
            values.readRow(frame, row, line);
            array.rescaled.insert(array.rescaled.end(), line.begin(), line.end());
        }
    }
    array.bytes = std::as_bytes(std::span(array.rescaled));
    return array;
}

/// The library reads all frames, of which the chosen ones are taken.
ModalityArray chosenOf(velmora::Value owner, const ChooseFrames& choose) {
    const NumericArray& all = owner.get<NumericArray>();
    ModalityArray array{.type = all.type(), .shape = all.dimensions(), .bytes = all.bytes()};
    const vint available = array.shape.size() > 2 ? array.shape.front() : 1;
    const FrameSpan frames = choose(available);
    if (frames.count < available) {
        const std::size_t frameBytes = array.bytes.size() / static_cast<std::size_t>(available);
        array.bytes = array.bytes.subspan(static_cast<std::size_t>(frames.first) * frameBytes,
                                          static_cast<std::size_t>(frames.count) * frameBytes);
        array.shape.front() = frames.count;
    }
    if (array.shape.size() > 2 && frames.count == 1 && available > 1) {
        array.shape.erase(array.shape.begin());
    }
    array.owner = std::move(owner);
    return array;
}

} // namespace

void requireWhole(const FileMetadata& metadata, const std::string& path, std::size_t frames) {
    if (metadata.name() != path) {
        return;
    }
    requireAllFrames(path, frames);
    if (metadata.lacksPixels(path, frames)) {
        throw formats::VolumeError(path + " holds fewer pixels than its attributes promise.");
    }
}

ModalityArray readModalityArray(velmora::Host& host, const std::string& path, const std::string& name,
                                const ChooseFrames& choose) {
    const FileMetadata metadata(host, path, name);
    if (!metadata.isColour()) {
        requireKnownScaling(metadata, path);
    }
    if (isRescaledHere(metadata)) {
        const PixelValues values(host, path, metadata, PixelKind::modality);
        requireWhole(metadata, path, values.frames());
        return rescaledArray(values, choose(static_cast<vint>(values.frames())));
    }
    velmora::Value all = host.call("ReadIntermediatePixelData", {path, media::kImageFlags, 0});
    if (!all.is<NumericArray>()) {
        throw velmora::LibraryError(0, "", name + ": DCMTK's intermediate values have no array type.");
    }
    const std::vector<vint>& shape = all.get<NumericArray>().dimensions();
    requireWhole(metadata, path, shape.size() > 2 ? static_cast<std::size_t>(shape.front()) : 1);
    return chosenOf(std::move(all), choose);
}

} // namespace radvex::volume

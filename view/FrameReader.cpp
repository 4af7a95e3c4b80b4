#include "view/FrameReader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "files/Errors.h"
#include "formats/pictures/NpyHeader.h"
#include "formats/pictures/Picture.h"
#include "formats/pictures/Png.h"
#include "media/Rendering.h"
#include "view/Thumbnail.h"
#include "volume/samples/ModalityArray.h"
#include "volume/samples/VolumeBuffer.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/PixelMeaning.h"

namespace radvex::view {

using formats::Json;
using velmora::Store;

namespace {

[[noreturn]] void refuseFrame(const std::string& file, std::size_t frame) {
    throw Error(file + " has no frame " + std::to_string(frame + 1) + ".");
}

void addWindows(Json& json, const volume::OwnWindows& own) {
    Json windows = Json::array();
    Json names = Json::array();
    for (const volume::OwnWindow& window : own.windows) {
        windows.push_back({window.window.center, window.window.width});
        names.push_back(window.name);
    }
    json["windows"] = std::move(windows);
    json["windowNames"] = std::move(names);
    json["function"] = own.windows.empty() ? "LINEAR" : own.windows.front().function; // of all
    json["windowProblem"] = own.problem;
}

/// A frame as the library draws it.
formats::Picture pictureOf(velmora::Host& host, const std::string& file, vint frame,
                           const media::Rendering& rendering) {
    const volume::FileMetadata metadata(host, file);
    const velmora::Value found =
        host.call("ReadImageData", {file, frame, 1, rendering.scalingTensor(), false, media::kImageFlags});
    std::unique_ptr<std::byte[]> bytes;
    const volume::StoredSlices stored = volume::storePictures(
        [&bytes](std::size_t count) {
            bytes = std::make_unique<std::byte[]>(count);
            return bytes.get();
        },
        metadata.rows(), metadata.columns(), found.get<Store>().view());
    const auto pixels = static_cast<std::size_t>(metadata.rows()) * static_cast<std::size_t>(metadata.columns());
    formats::Picture picture{.rows = metadata.rows(),
                             .columns = metadata.columns(),
                             .channels = stored.sliceSamples == pixels ? 1 : 3,
                             .bits = 8,
                             .samples = std::vector<std::uint16_t>(stored.sliceSamples)};
    volume::withType(stored.wanted.type(), [&](auto sample) {
        const auto* const first = reinterpret_cast<const decltype(sample)*>(stored.samples);
        constexpr bool isByte = sizeof(sample) == 1;
        std::transform(first, first + stored.sliceSamples, picture.samples.begin(), [](auto value) {
            return static_cast<std::uint16_t>(isByte ? static_cast<unsigned>(value)
                                                     : static_cast<unsigned>(value) >> 8);
        });
    });
    return picture;
}

} // namespace

const volume::SliceFile& FrameReader::read(const std::string& file) {
    if (mPath != file) {
        mSlices = volume::readSliceFile(mHost, file, {}, [this](std::size_t bytes) {
            mSamples = std::make_unique_for_overwrite<std::byte[]>(bytes);
            return mSamples.get();
        });
        mPath = file;
    }
    return mSlices;
}

void FrameReader::forget() {
    mPath.clear();
    mSlices = {};
    mSamples.reset();
}

Message FrameReader::values(const std::string& file, std::size_t frame) {
    const volume::PixelMeaning meaning = volume::readPixelMeaning(mHost, file);
    const volume::SliceFile& found = read(file);
    if (!found.refusal.empty()) {
        throw Error(found.refusal);
    }
    if (!found.reason.empty()) {
        throw Error(found.reason.starts_with(file) ? found.reason : file + ": " + found.reason);
    }
    if (found.rows < 1 || found.columns < 1) {
        throw Error(file + " holds no picture.");
    }
    if (found.isShort) {
        volume::requireWhole(volume::FileMetadata(mHost, file), file, found.samples.count);
    }
    if (frame >= found.slices.size() || frame >= found.samples.count) {
        refuseFrame(file, frame);
    }
    const volume::SliceRecord& slice = found.slices[frame];
    const vint type = found.samples.wanted.type();
    const std::size_t bytes = volume::storedBytes(1, found.samples.sliceSamples, type);
    Message answer{{{"type", formats::numpyType(type)}, {"shape", {slice.rows, slice.columns}}, {"unit", slice.unit}},
                   std::string(bytes, '\0')};
    std::memcpy(answer.body.data(), found.samples.samples + frame * bytes, bytes);
    if (slice.isColour) {
        answer.json["shape"].push_back(3);
    }
    const bool isTile = frame >= static_cast<std::size_t>(std::max(vint{1}, meaning.frames));
    addWindows(answer.json, slice.isColour ? volume::OwnWindows{}
                                           : volume::ownWindows(mHost, file, isTile ? 0 : static_cast<vint>(frame)));
    answer.json["photometricInterpretation"] = meaning.photometricInterpretation;
    return answer;
}

Message FrameReader::overlays(const std::string& file, std::size_t frame) const {
    const velmora::Value found = mHost.call("ReadOverlays", {file});
    Message answer{{{"planes", Json::array()}}, ""};
    for (const velmora::NodeView node : found.get<Store>()) {
        const std::vector<formats::Picture> pictures = formats::picturesOf(std::get<velmora::Image>(node.value()));
        if (pictures.empty()) {
            continue;
        }
        const formats::Picture& picture = pictures[std::min(frame, pictures.size() - 1)];
        answer.json["planes"].push_back(
            {{"plane", std::stoi(std::string(node.name()))}, {"rows", picture.rows}, {"columns", picture.columns}});
        std::ranges::transform(picture.samples, std::back_inserter(answer.body),
                               [](std::uint16_t sample) { return sample == 0 ? '\0' : '\1'; });
    }
    return answer;
}

Message FrameReader::preview(const std::string& file, std::size_t frame) const {
    constexpr int kSide = 160;
    const volume::PixelMeaning meaning = volume::readPixelMeaning(mHost, file);
    const vint shown = frame < static_cast<std::size_t>(meaning.frames) ? static_cast<vint>(frame) : 0; // or a tile
    media::Rendering rendering;
    const volume::FileMetadata metadata(mHost, file);
    volume::requireWhole(metadata, file, static_cast<std::size_t>(metadata.promisedFrames())); // none is made up
    const bool isGrey = meaning.photometricInterpretation.starts_with("MONOCHROME");
    if (isGrey && !volume::ownWindows(mHost, file, shown).windows.empty()) {
        rendering.named = media::windowNamed("file");
        try {
            rendering = volume::renderingOf(mHost, file, file, rendering, {shown, 1});
        } catch (const Error&) { // the values are shown all the same
            rendering.named.reset();
        }
    }
    return {{{"type", "image/png"}}, formats::pngOf(thumbnailOf(pictureOf(mHost, file, shown, rendering), kSide))};
}

} // namespace radvex::view

#include "volume/SliceFile.h"

#include <memory>

#include "media/Rendering.h"
#include "volume/FileMetadata.h"
#include "workers/Parcel.h"

namespace radvex::volume {

namespace {

constexpr vint kStoredValues = 0x40; // image flag: no modality transformation

void readSamples(velmora::Host& host, const std::string& path, const FileMetadata& metadata, const Allocate& allocate,
                 SliceFile& file) {
    // Stored values are rescaled here: the library would truncate fractions to integers, and DCMTK is slower.
    const vint flags = media::kImageFlags | (metadata.needsLibrary() ? 0 : kStoredValues);
    const velmora::Value values = host.call("ReadIntermediatePixelData", {path, flags, 0});
    if (!values.is<velmora::NumericArray>()) {
        throw formats::VolumeError(metadata.name() + ": DCMTK's intermediate values have no array type.");
    }
    const VelmoraNumericArray& array = *values.get<velmora::NumericArray>().handle();
    const vint frames = array.dimensions.size() > 2 ? array.dimensions.front() : 1;
    const auto samples = static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.columns); // 16-bit each
    file.samples = storeSlices(allocate, samples, array, metadata.rules(frames));
    file.slices = metadata.slices(frames);
}

} // namespace

SliceFile readSliceFile(velmora::Host& host, const std::string& path, const std::string& name,
                        const Allocate& allocate) {
    const auto close = [&host](const std::string* opened) {
        try {
            host.call("CloseReader", {*opened});
        } catch (const std::exception&) { // the file was never opened
        }
    };
    const std::unique_ptr<const std::string, decltype(close)> closing(&path, close); // whatever happens to the file
    SliceFile file;
    try {
        const FileMetadata metadata(host, path, name);
        file.isKnown = true;
        file.seriesNumber = metadata.seriesNumber();
        file.rows = metadata.rows();
        file.columns = metadata.columns();
        file.isColour = metadata.isColour();
        if (file.rows > 0 && file.columns > 0 && !file.isColour) {
            readSamples(host, path, metadata, allocate, file);
        }
    } catch (const velmora::LibraryError& error) {
        file.reason = error.what();
    } catch (const Error& error) {
        file.refusal = error.what();
    }
    return file;
}

std::string toParcel(SliceFile file, const workers::SharedMemory& memory) {
    file.offset = file.samples.count == 0 ? 0 : memory.offsetOf(file.samples.samples);
    return workers::toParcel(file);
}

SliceFile fromParcel(const std::string& parcel, const std::string& name, const workers::SharedMemory& memory) {
    auto file = workers::fromParcel<SliceFile>(parcel);
    if (file.slices.size() != file.samples.count) {
        throw Error("A process described other slices than it sent.");
    }
    if (file.samples.count > 0) {
        file.samples.samples = memory.at(file.offset, file.bytes());
    }
    for (SliceRecord& slice : file.slices) {
        slice.file = name;
    }
    return file;
}

} // namespace radvex::volume

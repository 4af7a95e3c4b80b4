#include "SliceFile.h"

#include "Parcel.h"
#include "PictureOptions.h"
#include "SliceMetadata.h"

namespace radvex::cli {

namespace {

constexpr vint kStoredValues = 0x40; // the flag by which the modality transformation is left out

/// Gives back the library's copy of a file, whatever happened to it.
class OpenFile {
  public:
    OpenFile(velmora::Host& host, const std::string& path) : mHost(host), mPath(path) {}
    ~OpenFile() {
        try {
            mHost.call("CloseReader", {mPath});
        } catch (const std::exception&) { // a file that was never opened
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

  private:
    velmora::Host& mHost;
    const std::string& mPath;
};

void readSamples(velmora::Host& host, const std::string& path, const FileMetadata& metadata, const Allocate& allocate,
                 SliceFile& file) {
    // Stored values are rescaled here: the library's integers would cut fractions off, and DCMTK takes longer.
    const vint flags = kImageFlags | (metadata.needsLibrary() ? 0 : kStoredValues);
    const velmora::Value values = host.call("ReadIntermediatePixelData", {path, flags, 0});
    if (!values.is<velmora::NumericArray>()) {
        throw VolumeError(metadata.name() + ": DCMTK's intermediate values have no array type.");
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
    SliceFile file;
    try {
        const OpenFile closing(host, path);
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
    } catch (const VolumeError& error) {
        file.refusal = error.what();
    }
    return file;
}

std::string toParcel(const SliceFile& file, const SharedMemory& memory) {
    ParcelWriter parcel;
    parcel.putText(file.reason);
    parcel.putText(file.refusal);
    parcel.put(file.isKnown);
    parcel.putText(file.seriesNumber);
    parcel.put(file.rows);
    parcel.put(file.columns);
    parcel.put(file.isColour);
    parcel.put(file.samples.wanted);
    parcel.put(file.samples.count);
    parcel.put(file.samples.count == 0 ? 0 : memory.offsetOf(file.samples.samples));
    for (const SliceRecord& slice : file.slices) {
        parcel.put(slice.frame);
        parcel.put(slice.frames);
        parcel.put(slice.instanceNumber);
        parcel.put(slice.position);
        parcel.put(slice.orientation);
        parcel.put(slice.pixelSpacing);
        parcel.put(slice.sliceThickness);
        parcel.put(slice.spacingBetweenSlices);
    }
    return parcel.take();
}

SliceFile sliceFileOfParcel(const std::string& bytes, const std::string& name, const SharedMemory& memory) {
    ParcelReader parcel(bytes);
    SliceFile file;
    file.reason = parcel.getText();
    file.refusal = parcel.getText();
    file.isKnown = parcel.get<bool>();
    file.seriesNumber = parcel.getText();
    file.rows = parcel.get<vint>();
    file.columns = parcel.get<vint>();
    file.isColour = parcel.get<bool>();
    file.samples.wanted = parcel.get<VolumeType>();
    file.samples.count = parcel.get<std::size_t>();
    const auto offset = parcel.get<std::size_t>();
    if (file.samples.count > 0) {
        file.samples.samples = memory.at(offset, file.bytes());
    }
    for (std::size_t index = 0; index < file.samples.count; ++index) {
        SliceRecord slice;
        slice.file = name;
        slice.frame = parcel.get<vint>();
        slice.frames = parcel.get<vint>();
        slice.instanceNumber = parcel.get<std::optional<vint>>();
        slice.position = parcel.get<std::optional<Vector3>>();
        slice.orientation = parcel.get<std::optional<Orientation>>();
        slice.pixelSpacing = parcel.get<std::optional<PixelSpacing>>();
        slice.sliceThickness = parcel.get<std::optional<double>>();
        slice.spacingBetweenSlices = parcel.get<std::optional<double>>();
        file.slices.push_back(std::move(slice));
    }
    return file;
}

} // namespace radvex::cli

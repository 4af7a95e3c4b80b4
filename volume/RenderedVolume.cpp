#include "volume/RenderedVolume.h"

#include <algorithm>

#include "media/Rendering.h"
#include "volume/FileMetadata.h"

namespace radvex::volume {

using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;

namespace {

/// The store at an index; empty if there is none, since files may have changed after they were listed.
StoreView innerStoreAt(StoreView stores, std::size_t index) {
    return index < stores.size() && stores.at(index).isStore() ? stores.at(index).store() : StoreView(nullptr);
}

/// The volume of the series in the library's result; null if there is none.
const VelmoraImage* volumeOf(const velmora::Value& read, const SeriesFiles& series) {
    std::size_t repetition = series.repetition;
    const StoreView studies = innerStoreAt(read.get<Store>().view(), series.patientIndex);
    for (const NodeView node : innerStoreAt(studies, series.studyIndex)) {
        if (node.name() == series.series && node.type() == VType_Image && repetition-- == 0) {
            return node.cell().image;
        }
    }
    return nullptr;
}

/// Metadata of the files that can be opened. The library silently drops the others.
std::vector<FileMetadata> readAllMetadata(const SeriesReading& reading, const SeriesFiles& series,
                                          SeriesVolume& result) {
    std::vector<FileMetadata> files;
    std::vector<std::string> dropped;
    std::string reason;
    for (const std::string& path : series.files) {
        try {
            files.emplace_back(reading.host, path, reading.medium.userPath(path), FileMetadata::Extent::positions);
            reading.host.call("CloseReader", {path});
        } catch (const velmora::LibraryError& error) {
            dropped.push_back(reading.medium.userPath(path));
            reason = reason.empty() ? reading.medium.userText(error.what()) : reason;
        }
        reading.step();
    }
    if (files.empty() && !dropped.empty()) {
        throw formats::VolumeError("No file of the series can be read: " + reason);
    }
    if (!dropped.empty()) {
        result.findings.push_back(unreadableFiles(std::move(dropped), "cannot be read", reason));
    }
    return files;
}

void requirePictures(const std::vector<FileMetadata>& files) {
    std::vector<std::string> others;
    const auto hasPicture = [](const FileMetadata& file) { return file.rows() > 0 && file.columns() > 0; };
    if (std::none_of(files.begin(), files.end(), hasPicture)) {
        throw NoPicturesError("The series holds no pictures.");
    }
    for (const FileMetadata& file : files) {
        if (file.rows() != files.front().rows() || file.columns() != files.front().columns()) {
            others.push_back(file.name());
        }
    }
    if (!others.empty()) {
        failBecauseOfSizes(files.front().name(), files.front().columns(), files.front().rows(), others);
    }
}

/// First frames in the library's order.
void addSlices(SeriesVolume& result, const std::vector<FileMetadata>& files) {
    std::vector<std::string> longer;
    for (const FileMetadata& file : files) {
        result.slices.push_back(file.slices(1).front());
        if (file.promisedFrames() > 1) {
            longer.push_back(file.name());
        }
    }
    std::ranges::stable_sort(result.slices, std::less(),
                             [](const SliceRecord& slice) { return slice.instanceNumber.value_or(0); });
    if (!longer.empty()) {
        const std::string sentence =
            "Only the first frame is in the rendered volume of " + namesOf(longer) + "; without --rendered all are.";
        result.findings.push_back({FindingKind::framesLeftOut, false, sentence, std::move(longer)});
    }
}

void addBytes(SeriesVolume& result, const VelmoraImage& image) {
    if (static_cast<std::size_t>(image.slices) != result.slices.size()) {
        throw formats::VolumeError("Files of the series changed while they were read.");
    }
    result.header = {image.type == VImage_U8 ? VNumericArray_U8 : VNumericArray_U16,
                     image.channels,
                     image.columns,
                     image.rows,
                     image.slices,
                     {}};
    const std::size_t size = static_cast<std::size_t>(image.rows) * static_cast<std::size_t>(image.columns) *
                             static_cast<std::size_t>(image.channels) * velmora::imageElementSize(image.type);
    const auto* first = static_cast<const std::byte*>(image.data.get());
    for (std::size_t index = 0; index < result.slices.size(); ++index) {
        result.bytes.emplace_back(first + index * size, size);
    }
}

} // namespace

SeriesVolume readRenderedVolume(const SeriesReading& reading, const SeriesFiles& series,
                                const velmora::Tensor& scaling) {
    SeriesVolume result;
    const auto files = readAllMetadata(reading, series, result);
    requirePictures(files);
    result.seriesNumber = files.front().seriesNumber();
    addSlices(result, files);
    // The pattern has to match the series' UID, which is empty if another attribute is the key.
    const std::string pattern = "(?:" + media::exactPattern(series.series) + ")?";
    auto read = std::make_shared<velmora::Value>(
        reading.host.call("Read3DImage", {reading.medium.dicomdir(), reading.selection.patient, reading.selection.study,
                                          pattern, scaling, media::kImageFlags}));
    const VelmoraImage* image = volumeOf(*read, series);
    if (image == nullptr) {
        throw formats::VolumeError("The library gave no volume for the series.");
    }
    addBytes(result, *image);
    result.owner = std::move(read);
    return result;
}

} // namespace radvex::volume

#include "python/module/VolumeFiles.h"

#include <cstddef>
#include <span>

#include "files/Errors.h"
#include "formats/volumes/VolumeFile.h"
#include "python/HeaderJson.h"
#include "volume/preview/VolumePreview.h"

namespace radvex::python {

namespace py = pybind11;
using formats::SliceBytes;
using formats::VolumeHeader;

namespace {

/// The samples of the array. @throws UsageError  it is not the one that the header describes
SliceBytes samplesOf(const VolumeHeader& header, const py::array& samples) {
    const std::vector<vint> shape = header.shape();
    bool fits = static_cast<std::size_t>(samples.ndim()) == shape.size() &&
                (samples.flags() & py::array::c_style) != 0 &&
                static_cast<std::size_t>(samples.itemsize()) == velmora::numericArrayElementSize(header.type);
    for (std::size_t axis = 0; fits && axis < shape.size(); ++axis) {
        fits = samples.shape(static_cast<py::ssize_t>(axis)) == shape[axis];
    }
    if (!fits) {
        throw UsageError("The array does not have the shape and the element type of its volume, or does not lie "
                         "slice by slice in memory.");
    }
    return {static_cast<const std::byte*>(samples.data()), static_cast<std::size_t>(samples.nbytes())};
}

volume::FindingKind findingKind(const std::string& name) {
    for (const auto& [kind, known] : volume::kFindingNames) {
        if (name == known) {
            return kind;
        }
    }
    throw UsageError("'" + name + "' is no kind of finding.");
}

} // namespace

void saveVolume(const std::string& path, const std::string& header, const py::array& samples, bool mayReplace) {
    const VolumeHeader volume = headerOf(formats::parseJson(header));
    const SliceBytes bytes = samplesOf(volume, samples);
    if (!formats::isVolumePath(path) || path == "-") {
        throw UsageError("'" + path + "' has no known format: .nrrd, .nii, .nii.gz or .npy is expected.");
    }
    const py::gil_scoped_release released;
    const files::Output output(path, mayReplace ? files::Existing::MayBeReplaced : files::Existing::Stays);
    files::requireWritable(output);
    formats::writeVolume(output, volume, {bytes}, false);
}

void savePreview(const std::string& path, const std::string& header, const py::array& samples, const std::string& title,
                 const std::vector<FindingTuple>& findings) {
    VolumeHeader volume = headerOf(formats::parseJson(header));
    SliceBytes bytes = samplesOf(volume, samples);
    const py::gil_scoped_release released;
    bytes = bytes.first(bytes.size() / static_cast<std::size_t>(volume.volumes)); // the first of several volumes
    volume.volumes = 1;
    volume::PreviewText text{.title = title, .unit = volume.unit, .findings = {}};
    for (const auto& [kind, isError, sentence] : findings) {
        text.findings.push_back({findingKind(kind), isError, sentence, {}, {}});
    }
    volume::writePreview(path, volume, {bytes}, text);
}

} // namespace radvex::python

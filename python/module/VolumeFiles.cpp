#include "python/module/VolumeFiles.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "files/Errors.h"
#include "formats/volumes/VolumeFile.h"
#include "python/HeaderJson.h"
#include "python/module/Conversion.h"
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

/// Memory that was mapped.
class Mapping {
  public:
    Mapping(void* memory, std::size_t bytes) : mMemory(memory), mBytes(bytes) {}
    ~Mapping() { (void)::munmap(mMemory, mBytes); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

  private:
    void* mMemory;
    std::size_t mBytes;
};

volume::FindingKind findingKind(const std::string& name) {
    for (const auto& [kind, known] : volume::kFindingNames) {
        if (name == known) {
            return kind;
        }
    }
    throw UsageError("'" + name + "' is no kind of finding.");
}

} // namespace

py::array mapSamples(int descriptor) {
    loadNumpy();
    struct stat found {};
    const bool isKnown = ::fstat(descriptor, &found) == 0;
    const auto bytes = isKnown ? static_cast<std::size_t>(found.st_size) : 0;
    void* const memory =
        bytes == 0 ? nullptr : ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE, descriptor, 0);
    (void)::close(descriptor);
    if (!isKnown || memory == MAP_FAILED) {
        throw velmora::HostError("There is no room for the volume in the memory of this process.");
    }
    if (bytes == 0) {
        return py::array_t<std::uint8_t>(0);
    }
    auto mapping = std::make_unique<Mapping>(memory, bytes);
    const py::capsule owner(mapping.get(), [](void* held) { delete static_cast<Mapping*>(held); });
    (void)mapping.release();
    return py::array_t<std::uint8_t>(static_cast<py::ssize_t>(bytes), static_cast<std::uint8_t*>(memory), owner);
}

void saveVolume(const std::string& path, const std::string& header, const py::array& samples, bool mayReplace) {
    const VolumeHeader volume = headerOf(formats::parseJson(header));
    const SliceBytes bytes = samplesOf(volume, samples);
    if (path.find('\0') != std::string::npos) {
        throw py::value_error("A text with a null character is no path.");
    }
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

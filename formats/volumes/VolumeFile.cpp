#include "formats/volumes/VolumeFile.h"

#include "formats/pictures/Npy.h"
#include "formats/volumes/Nifti.h"
#include "formats/volumes/Nrrd.h"

namespace radvex::formats {

std::string volumeExtension(const std::string& path) {
    for (const char* extension : {".nrrd", ".nii", ".nii.gz", ".npy"}) {
        if (path.ends_with(extension)) {
            return extension;
        }
    }
    return "";
}

bool isVolumePath(const std::string& path) { return path == "-" || !volumeExtension(path).empty(); }

void writeVolume(const std::string& path, const VolumeHeader& header, const std::vector<SliceBytes>& slices,
                 bool compress) {
    const std::string extension = volumeExtension(path);
    if (path == "-" || extension == ".nrrd") {
        return writeNrrd(path, header, slices, compress);
    }
    if (extension == ".npy") {
        std::vector<vint> shape{header.slices, header.rows, header.columns};
        if (header.channels > 1) {
            shape.push_back(header.channels);
        }
        return writeNpy(path, header.type, shape, slices);
    }
    writeNifti(path, header, slices);
}

} // namespace radvex::formats

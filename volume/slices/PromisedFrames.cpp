#include "volume/slices/PromisedFrames.h"

#include <algorithm>

#include "formats/json/Text.h"
#include "formats/volumes/VolumeFile.h"
#include "media/StoredAttributes.h"
#include "media/scan/FileStart.h"
#include "volume/slices/SliceRecord.h"

namespace radvex::volume {

std::size_t promisedCompressedFrames(const std::string& path) {
    if (!media::FileStart(path).isCompressed()) {
        return 0;
    }
    vint frames = 1;
    for (const media::Element& element : media::storedAttributes(path, {"NumberOfFrames"})) {
        frames = integerOf(firstValue(element.text)).value_or(1);
    }
    return static_cast<std::size_t>(std::max(1, frames));
}

std::string missingFrames(const std::string& path, std::size_t frames) {
    const std::size_t promised = promisedCompressedFrames(path);
    return frames >= promised ? ""
                              : "holds " + std::to_string(frames) + " of the " +
                                    formats::counted(promised, "frame", "frames") + " that its attributes promise";
}

void requireAllFrames(const std::string& path, std::size_t frames) {
    if (const std::string missing = missingFrames(path, frames); !missing.empty()) {
        throw formats::VolumeError(path + ' ' + missing + '.');
    }
}

} // namespace radvex::volume

#pragma once

#include <string>
#include <vector>

#include "Session.h"
#include "SliceRecord.h"
#include "VolumeBuffer.h"

namespace radvex::cli {

/// What a file gives to a volume of modality values.
struct SliceFile {
    std::string reason{};  ///< why the library cannot read it, else empty
    std::string refusal{}; ///< why there can be no volume with it, else empty
    bool isKnown = false;  ///< what follows was read
    std::string seriesNumber{};
    vint rows = 0; ///< 0 in a file without a picture
    vint columns = 0;
    bool isColour = false; ///< colour has no modality values
    StoredSlices samples{};
    std::vector<SliceRecord> slices{}; ///< as many as there are samples of

    std::size_t bytes() const {
        const auto samplesOfSlice = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
        return storedBytes(samples.count, samplesOfSlice, samples.wanted.type());
    }
};

/// Reads a file, all its frames.
/// @param path  as the library takes it
/// @param name  of the file, as the user knows it
SliceFile readSliceFile(velmora::Host& host, const std::string& path, const std::string& name,
                        const Allocate& allocate);

/// The same for a process that had another read it, which shares the memory.
std::string toParcel(const SliceFile& file, const SharedMemory& memory);
/// @throws std::runtime_error, VolumeError
SliceFile sliceFileOfParcel(const std::string& bytes, const std::string& name, const SharedMemory& memory);

} // namespace radvex::cli

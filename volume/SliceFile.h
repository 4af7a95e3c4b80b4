#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "host/Host.h"
#include "volume/SliceRecord.h"
#include "volume/VolumeBuffer.h"

namespace radvex::volume {

/// What a file contributes to a volume of modality values.
struct SliceFile {
    std::string reason{};  ///< why the library cannot read it; empty if it can
    std::string refusal{}; ///< why there can be no volume with this file; empty if there can
    bool isKnown = false;  ///< the attributes were read
    std::string seriesNumber{};
    vint rows = 0; ///< below 1 in a file without a picture
    vint columns = 0;
    bool isColour = false; ///< colour has no modality values
    StoredSlices samples{};
    std::vector<SliceRecord> slices{}; ///< one for each slice of the samples
    std::size_t offset = 0;            ///< of the samples in shared memory, while another process sends the file

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.reason, self.refusal, self.isKnown, self.seriesNumber, self.rows, self.columns,
                        self.isColour, self.samples.wanted, self.samples.count, self.slices, self.offset);
    }

    std::size_t bytes() const {
        const auto samplesOfSlice = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
        return storedBytes(samples.count, samplesOfSlice, samples.wanted.type());
    }
};

/// Reads a file with all its frames.
/// @param path  for the library
/// @param name  of the file, as the user knows it
SliceFile readSliceFile(velmora::Host& host, const std::string& path, const std::string& name,
                        const Allocate& allocate);

/// Serialises a file for another process, which shares the memory of the samples.
std::string toParcel(SliceFile file, const workers::SharedMemory& memory);
/// @param name  of the file, which the parcel does not contain
/// @throws Error, std::runtime_error  the parcel is malformed, or the memory has no such samples
SliceFile fromParcel(const std::string& parcel, const std::string& name, const workers::SharedMemory& memory);

} // namespace radvex::volume

#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "host/Host.h"
#include "volume/SliceRecord.h"
#include "volume/VolumeBuffer.h"

namespace radvex::volume {

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

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.reason, self.refusal, self.isKnown, self.seriesNumber, self.rows, self.columns,
                        self.isColour, self.samples.wanted, self.samples.count, self.slices);
    }

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

/// A file as one process tells another of it. They share the memory that the samples are in.
struct SliceFileParcel {
    SliceFile file{};       ///< without samples, and slices without the name of the file
    std::size_t offset = 0; ///< of the samples in the memory

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.file, self.offset);
    }
};

SliceFileParcel packSliceFile(SliceFile file, const workers::SharedMemory& memory);
/// @throws Error  the memory holds no such samples
SliceFile unpackSliceFile(SliceFileParcel parcel, const std::string& name, const workers::SharedMemory& memory);

} // namespace radvex::volume

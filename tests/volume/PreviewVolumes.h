#pragma once

#include <functional>
#include <span>
#include <vector>

#include "formats/volumes/VolumeFile.h"
#include "volume/preview/PreviewPanels.h"

namespace radvex::test {

/// A volume made by code.
template <typename T>
struct TestVolume {
    formats::VolumeHeader header{};
    std::vector<T> samples{};

    /// @param valueAt  called with column, row, slice and channel
    TestVolume(const formats::VolumeHeader& itsHeader, const std::function<T(vint, vint, vint, vint)>& valueAt)
        : header(itsHeader) {
        for (vint slice = 0; slice < header.slices; ++slice) {
            for (vint row = 0; row < header.rows; ++row) {
                for (vint column = 0; column < header.columns; ++column) {
                    for (vint channel = 0; channel < header.channels; ++channel) {
                        samples.push_back(valueAt(column, row, slice, channel));
                    }
                }
            }
        }
    }

    /// In pieces of that many slices each; the last one may be smaller.
    std::vector<formats::SliceBytes> pieces(std::size_t slicesEach) const {
        const formats::SliceBytes all = std::as_bytes(std::span(samples));
        const std::size_t size = all.size() / static_cast<std::size_t>(header.slices) * slicesEach;
        std::vector<formats::SliceBytes> parts;
        for (std::size_t offset = 0; offset < all.size(); offset += size) {
            parts.push_back(all.subspan(offset, std::min(size, all.size() - offset)));
        }
        return parts;
    }
    volume::VoxelReader reader() const { return {header, pieces(1)}; }
};

/// A grey volume with axes along those of the patient: left, back, head.
inline formats::VolumeHeader headerOf(vint type, vint columns, vint rows, vint slices) {
    formats::VolumeHeader header{type, 1, columns, rows, slices, {}};
    header.geometry.hasPosition = true;
    return header;
}

} // namespace radvex::test

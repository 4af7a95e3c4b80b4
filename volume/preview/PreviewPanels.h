#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "formats/volumes/VolumeFile.h"

namespace radvex::volume {

/// Single samples of a volume whose slices lie in several pieces of memory.
class VoxelReader {
  public:
    /// Samples along columns, rows and slices, in this order.
    using Index = std::array<std::size_t, 3>;

    /// @param pieces  in the order of the file, each of one or several whole slices
    /// @throws VolumeError  no voxels, or not the bytes that the header says
    VoxelReader(const formats::VolumeHeader& header, const std::vector<formats::SliceBytes>& pieces);

    /// The value of a sample; channels count from 0.
    double at(const Index& index, std::size_t channel) const;

    const Index& sizes() const { return mSizes; }
    std::size_t channels() const { return mChannels; }
    vint type() const { return mType; }

  private:
    vint mType;
    std::size_t mChannels;
    std::size_t mSampleBytes = 0;
    Index mSizes;
    std::vector<const std::byte*> mSlices{};
};

/// A plane through the middle of a volume, as it is shown.
struct PreviewPanel {
    std::string caption{}; ///< which plane: "axial, slice 151 of 300"
    int rows = 0;          ///< in pixels of the picture
    int columns = 0;
    std::vector<double> values{}; ///< row by row, interleaved channels; NaN where there is no number
    double pixelsPerMm = 1;
    bool isWider = false;  ///< drawn wider than it is, because it would be too thin to see
    bool isHigher = false; ///< the same for its height
    /// Where its edges point to in the patient, such as "L" or "LA"; empty when unknown.
    std::string left{};
    std::string right{};
    std::string top{};
    std::string bottom{};
};

/// The middle slice as it is stored, then the planes of the middle row and of the middle column. Those two are turned
/// as radiologists look at them when their position in space is known: head up, or else front up; left to the right, or
/// else front to the left. Otherwise the first slice is on top.
///
/// Millimetres are square. The longest side of all is 480 pixels; a panel that would stay below 320 has a scale of its
/// own. A side has at least 24 pixels, which `isWider` and `isHigher` tell.
std::vector<PreviewPanel> previewPanels(const VoxelReader& voxels, const formats::VolumeGeometry& geometry);

/// The end of the patient that a direction points to: "L", "R", "A", "P", "S", "I", or two of them, the main one first,
/// when the second part of the direction is over 0.4 of its length. Empty for a direction without length.
std::string orientationLetters(const formats::Vector3& direction);

} // namespace radvex::volume

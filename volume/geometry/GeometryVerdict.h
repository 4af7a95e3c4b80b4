#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace radvex::volume {

/// What may be wrong with the slices of a volume.
enum class FindingKind {
    instanceOrder,             ///< the order by InstanceNumber is not the order in space
    noInstanceNumber,          ///< no InstanceNumber
    duplicateInstanceNumber,   ///< several files with one InstanceNumber
    noPosition,                ///< no usable position and orientation
    noPixelSpacing,            ///< no usable PixelSpacing
    assumedSpacing,            ///< nothing says how far apart the slices lie
    unevenSpacing,             ///< distances between slices differ
    missingSlices,             ///< a distance is much larger than the usual one
    duplicatePosition,         ///< several slices at one position, which nothing tells apart
    copies,                    ///< several files are one instance; one of them is in the volume
    incompleteSet,             ///< volumes of one series, such as points in time, have different positions
    differentSize,             ///< numbers of rows or columns differ
    differentColour,           ///< some slices are in colour, others are grey
    differentFrameOfReference, ///< frames of reference differ
    differentContrast,         ///< echo time, b-value or the like differ inside a volume
    differentOrientation,      ///< orientations differ
    differentPixelSpacing,     ///< pixel spacings differ
    leftOut,                   ///< slices that do not fit the largest stack are left out
    tilt,                      ///< slices are not stacked along their normal
    drift,                     ///< slices shift sideways, and not along a line
    resampled,                 ///< the volume was interpolated to an even grid
    mosaic,                    ///< pictures that hold several slices as tiles
    shortPixelData,            ///< a file holds fewer pixels than its attributes say
    differentUnits,            ///< the units of the values differ
    unreadableFile,            ///< a file of the series or of the folder cannot be read, or has no picture
};

/// All kinds with their names in JSON.
inline constexpr std::pair<FindingKind, const char*> kFindingNames[] = {
    {FindingKind::instanceOrder, "instanceOrder"},
    {FindingKind::noInstanceNumber, "noInstanceNumber"},
    {FindingKind::duplicateInstanceNumber, "duplicateInstanceNumber"},
    {FindingKind::noPosition, "noPosition"},
    {FindingKind::noPixelSpacing, "noPixelSpacing"},
    {FindingKind::assumedSpacing, "assumedSpacing"},
    {FindingKind::unevenSpacing, "unevenSpacing"},
    {FindingKind::missingSlices, "missingSlices"},
    {FindingKind::duplicatePosition, "duplicatePosition"},
    {FindingKind::copies, "copies"},
    {FindingKind::incompleteSet, "incompleteSet"},
    {FindingKind::differentSize, "differentSize"},
    {FindingKind::differentColour, "differentColour"},
    {FindingKind::differentFrameOfReference, "differentFrameOfReference"},
    {FindingKind::differentContrast, "differentContrast"},
    {FindingKind::differentOrientation, "differentOrientation"},
    {FindingKind::differentPixelSpacing, "differentPixelSpacing"},
    {FindingKind::leftOut, "leftOut"},
    {FindingKind::tilt, "tilt"},
    {FindingKind::drift, "drift"},
    {FindingKind::resampled, "resampled"},
    {FindingKind::mosaic, "mosaic"},
    {FindingKind::shortPixelData, "shortPixelData"},
    {FindingKind::differentUnits, "differentUnits"},
    {FindingKind::unreadableFile, "unreadableFile"},
};

/// Name of a kind in JSON.
const char* findingName(FindingKind kind);

/// Something that a user should know about the slices of a volume.
struct Finding {
    FindingKind kind;
    bool isError = false; ///< no volume is written unless the user insists
    std::string sentence{};
    std::vector<std::string> files{}; ///< the affected files, with the frame if a file has several
    std::string processEnd{};         ///< how the process that read the file ended; empty if none did
};

bool hasErrors(const std::vector<Finding>& findings);

/// What the slices of one volume say together. Orders are indices of slices.
struct Verdict {
    std::vector<std::size_t> byInstance{}; ///< by InstanceNumber (absent counts as 0), then in the order of the slices
    std::vector<std::size_t> byPosition{}; ///< along the normal; byInstance without positions
    bool hasPositions = false;
    bool isInstanceOrderSpatial = true;  ///< ascending or descending along the normal
    std::optional<double> tiltDegrees{}; ///< angle between the direction of stacking and the normal
    std::vector<Finding> findings{};

    bool has(FindingKind kind) const;
};

/// The first few of the names, and how many more there are.
std::string namesOf(const std::vector<std::string>& files);

} // namespace radvex::volume

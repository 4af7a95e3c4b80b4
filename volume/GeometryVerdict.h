#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace radvex::volume {

/// What may be wrong with the slices of a volume.
enum class FindingKind {
    instanceOrder,           ///< the order by InstanceNumber is not the order in space
    noInstanceNumber,        ///< no InstanceNumber
    duplicateInstanceNumber, ///< several files with one InstanceNumber
    noPosition,              ///< no usable position and orientation
    noPixelSpacing,          ///< no usable PixelSpacing
    unevenSpacing,           ///< distances between slices differ
    missingSlices,           ///< a distance is a multiple of the usual one
    duplicatePosition,       ///< several slices at one position
    differentOrientation,    ///< orientations differ
    differentPixelSpacing,   ///< pixel spacings differ
    tilt,                    ///< slices are not stacked along their normal
    drift,                   ///< slices shift sideways, and not along a line
    unreadableFile,          ///< a listed file cannot be read, or has no picture
    framesLeftOut,           ///< only the first frame of a file is in the volume
};

/// All kinds with their names in JSON.
inline constexpr std::pair<FindingKind, const char*> kFindingNames[] = {
    {FindingKind::instanceOrder, "instanceOrder"},
    {FindingKind::noInstanceNumber, "noInstanceNumber"},
    {FindingKind::duplicateInstanceNumber, "duplicateInstanceNumber"},
    {FindingKind::noPosition, "noPosition"},
    {FindingKind::noPixelSpacing, "noPixelSpacing"},
    {FindingKind::unevenSpacing, "unevenSpacing"},
    {FindingKind::missingSlices, "missingSlices"},
    {FindingKind::duplicatePosition, "duplicatePosition"},
    {FindingKind::differentOrientation, "differentOrientation"},
    {FindingKind::differentPixelSpacing, "differentPixelSpacing"},
    {FindingKind::tilt, "tilt"},
    {FindingKind::drift, "drift"},
    {FindingKind::unreadableFile, "unreadableFile"},
    {FindingKind::framesLeftOut, "framesLeftOut"},
};

/// Name of a kind in JSON.
const char* findingName(FindingKind kind);

/// Something that a user should know about the slices of a volume.
struct Finding {
    FindingKind kind;
    bool isError = false; ///< no volume is written unless the user insists
    std::string sentence{};
    std::vector<std::string> files{}; ///< the affected files, with the frame if a file has several
};

/// What the slices say together. Orders are indices into the slices.
struct Verdict {
    std::vector<std::size_t> byInstance{}; ///< by InstanceNumber (absent counts as 0), then in the order of the slices
    std::vector<std::size_t> byPosition{}; ///< along the normal; then slices without position or in another direction
    bool hasPositions = false;             ///< false: byPosition is byInstance
    bool hasOneNumberEach = true;          ///< no two files share an InstanceNumber
    std::optional<double> tiltDegrees{};   ///< angle between the direction of stacking and the normal
    std::vector<Finding> findings{};

    bool hasErrors() const;
    bool has(FindingKind kind) const;
};

/// The first few of the names, and how many more there are.
std::string namesOf(const std::vector<std::string>& files);

} // namespace radvex::volume

#include "formats/volumes/Nrrd.h"

#include <bit>

#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

static_assert(std::endian::native == std::endian::little, "The samples are written as they lie in memory.");

constexpr const char* kTypes[] = {"",       "int8",  "uint8",  "int16", "uint16", "int32",
                                  "uint32", "int64", "uint64", "float", "double"};

std::string exact(double value) { return shortestText(value == 0 ? 0.0 : value); } // no "-0"

std::string vectorOf(const Vector3& vector) {
    return "(" + exact(vector[0]) + "," + exact(vector[1]) + "," + exact(vector[2]) + ")";
}

/// Fields have one value for each axis: that of the channels, those of space, and that of the volumes.
std::string perAxis(const VolumeHeader& header, const std::string& channels, const std::string& space,
                    const std::string& volumes) {
    return (header.channels > 1 ? channels + " " : "") + space + (header.volumes > 1 ? " " + volumes : "") + "\n";
}

std::string positionOf(const VolumeHeader& header) {
    const VolumeGeometry& geometry = header.geometry;
    return "space: left-posterior-superior\nspace directions: " +
           perAxis(header, "none",
                   vectorOf(geometry.columnStep) + " " + vectorOf(geometry.rowStep) + " " +
                       vectorOf(geometry.sliceStep),
                   "none") +
           (header.secondsBetweenVolumes > 0
                ? "spacings: " + perAxis(header, "NaN", "NaN NaN NaN", exact(header.secondsBetweenVolumes)) +
                      "units: " + perAxis(header, "\"\"", "\"\" \"\" \"\"", "\"s\"")
                : "") +
           "space origin: " + vectorOf(geometry.origin) + "\nspace units: \"mm\" \"mm\" \"mm\"\n";
}

std::string spacingsOf(const VolumeHeader& header) {
    const VolumeGeometry& geometry = header.geometry;
    return "spacings: " +
           perAxis(header, "NaN",
                   exact(length(geometry.columnStep)) + " " + exact(length(geometry.rowStep)) + " " +
                       exact(length(geometry.sliceStep)),
                   header.secondsBetweenVolumes > 0 ? exact(header.secondsBetweenVolumes) : "NaN") +
           "units: " +
           perAxis(header, "\"\"", "\"mm\" \"mm\" \"mm\"", header.secondsBetweenVolumes > 0 ? "\"s\"" : "\"\"");
}

/// Printable ASCII without what ends a quoted text.
std::string quotable(const std::string& text) {
    std::string safe;
    for (const char letter : text) {
        safe += letter >= ' ' && letter <= '~' && letter != '"' && letter != '\\' ? letter : '_';
    }
    return safe;
}

} // namespace

std::string nrrdHeader(const VolumeHeader& header, bool isCompressed) {
    const bool isInTime = header.secondsBetweenVolumes > 0;
    const int dimensions = 3 + (header.channels > 1 ? 1 : 0) + (header.volumes > 1 ? 1 : 0);
    std::string text = "NRRD0005\ntype: " + std::string(kTypes[header.type]) +
                       "\ndimension: " + std::to_string(dimensions) + "\nsizes: " +
                       perAxis(header, "3",
                               std::to_string(header.columns) + " " + std::to_string(header.rows) + " " +
                                   std::to_string(header.slices),
                               std::to_string(header.volumes));
    text += header.geometry.hasPosition ? positionOf(header) : spacingsOf(header);
    text += "kinds: " + perAxis(header, "RGB-color", "domain domain domain", isInTime ? "time" : "list");
    if (!header.unit.empty()) {
        text += "sample units: \"" + quotable(header.unit) + "\"\n";
    }
    // Single bytes have no order, and strict readers refuse the field for them.
    const bool hasOrder = header.type != VNumericArray_S8 && header.type != VNumericArray_U8;
    text += std::string(hasOrder ? "endian: little\n" : "") + "encoding: " + (isCompressed ? "gzip" : "raw") + "\n";
    return text + (header.isResampled ? "resampled:=along the stack\n" : "") + "\n";
}

} // namespace radvex::formats

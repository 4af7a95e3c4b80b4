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

std::string positionOf(const VolumeGeometry& geometry, bool isColour) {
    return "space: left-posterior-superior\nspace directions: " + std::string(isColour ? "none " : "") +
           vectorOf(geometry.columnStep) + " " + vectorOf(geometry.rowStep) + " " + vectorOf(geometry.sliceStep) +
           "\nspace origin: " + vectorOf(geometry.origin) + "\nspace units: \"mm\" \"mm\" \"mm\"\n";
}

std::string spacingsOf(const VolumeGeometry& geometry, bool isColour) {
    return "spacings: " + std::string(isColour ? "NaN " : "") + exact(length(geometry.columnStep)) + " " +
           exact(length(geometry.rowStep)) + " " + exact(length(geometry.sliceStep)) +
           "\nunits: " + (isColour ? "\"\" " : "") + "\"mm\" \"mm\" \"mm\"\n";
}

} // namespace

std::string nrrdHeader(const VolumeHeader& header, bool isCompressed) {
    const bool isColour = header.channels > 1;
    std::string text = "NRRD0005\ntype: " + std::string(kTypes[header.type]) +
                       "\ndimension: " + (isColour ? "4" : "3") + "\nsizes: " + (isColour ? "3 " : "") +
                       std::to_string(header.columns) + " " + std::to_string(header.rows) + " " +
                       std::to_string(header.slices) + "\n";
    text += header.geometry.hasPosition ? positionOf(header.geometry, isColour) : spacingsOf(header.geometry, isColour);
    text += "kinds: " + std::string(isColour ? "RGB-color " : "") + "domain domain domain\n";
    // Single bytes have no order, and strict readers refuse the field for them.
    const bool hasOrder = header.type != VNumericArray_S8 && header.type != VNumericArray_U8;
    return text + (hasOrder ? "endian: little\n" : "") + "encoding: " + (isCompressed ? "gzip" : "raw") + "\n\n";
}

} // namespace radvex::formats

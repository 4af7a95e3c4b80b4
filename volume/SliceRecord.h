#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "formats/volumes/VolumeGeometry.h"
#include "velmora/VelmoraLibrary.h"

namespace radvex::volume {

/// Directions of a slice: unit vectors along which the column index and the row index grow.
struct Orientation {
    formats::Vector3 alongColumns{}; ///< from one column to the next, the first three of ImageOrientationPatient
    formats::Vector3 alongRows{};    ///< from one row to the next, the last three

    formats::Vector3 normal() const { return cross(alongColumns, alongRows); }
};

/// Distances in mm between the centres of neighbouring pixels.
struct PixelSpacing {
    double betweenRows = 1;
    double betweenColumns = 1;
};

/// What one slice of a volume says about its place. What it does not say, or says in numbers that make no sense, is
/// absent.
struct SliceRecord {
    std::string file{}; ///< as the user knows it
    vint frame = 1;     ///< from 1
    vint frames = 1;    ///< of the file
    std::optional<vint> instanceNumber{};
    std::optional<formats::Vector3> position{}; ///< centre of the first pixel
    std::optional<Orientation> orientation{};
    std::optional<PixelSpacing> pixelSpacing{};
    std::optional<double> sliceThickness{};       ///< mm
    std::optional<double> spacingBetweenSlices{}; ///< mm

    /// All but the file, which is the same for all slices of it.
    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.frame, self.frames, self.instanceNumber, self.position, self.orientation,
                        self.pixelSpacing, self.sliceThickness, self.spacingBetweenSlices);
    }

    bool hasPosition() const { return position.has_value() && orientation.has_value(); }
    /// The file, and the frame where the file has several.
    std::string name() const;
};

/// The first value of an attribute that may have several.
inline std::string_view firstValue(std::string_view text) { return text.substr(0, text.find('\\')); }

/// A decimal string as DICOM writes it, spaces around it allowed. Absent for anything else, infinity and NaN included.
std::optional<double> decimalOf(std::string_view text);
/// An integer string that fits. A number with a fraction is none.
std::optional<vint> integerOf(std::string_view text);
/// A length in mm: a decimal above zero.
std::optional<double> lengthOf(std::string_view text);
/// Three decimals, separated by backslashes.
std::optional<formats::Vector3> positionOf(std::string_view text);
/// Six decimals that are two unit vectors at a right angle, within 0.01: directions written with two decimals pass,
/// and the vectors come back with length 1.
std::optional<Orientation> orientationOf(std::string_view text);
/// Two lengths, rows first.
std::optional<PixelSpacing> pixelSpacingOf(std::string_view text);

} // namespace radvex::volume

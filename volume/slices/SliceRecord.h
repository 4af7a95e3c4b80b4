#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "formats/volumes/VolumeGeometry.h"
#include "velmora/VelmoraLibrary.h"
#include "volume/slices/SliceTraits.h"

namespace radvex::volume {

/// Orientation of a slice: unit vectors along which the column index and the row index grow.
struct Orientation {
    formats::Vector3 alongColumns{}; ///< from one column to the next, the first three of ImageOrientationPatient
    formats::Vector3 alongRows{};    ///< from one row to the next, the last three

    /// A unit vector.
    formats::Vector3 normal() const {
        const formats::Vector3 product = cross(alongColumns, alongRows);
        return 1 / length(product) * product;
    }
};

/// Distances in mm between the centres of neighbouring pixels.
struct PixelSpacing {
    double betweenRows = 1;
    double betweenColumns = 1;
};

/// The attributes that tell where one slice of a volume lies, and which volume it belongs to. Missing and unusable ones
/// are absent.
struct SliceRecord {
    std::string file{}; ///< as the user knows it
    vint frame = 1;     ///< from 1
    vint frames = 1;    ///< of the file
    vint rows = 0;
    vint columns = 0;
    bool isColour = false;
    std::optional<vint> instanceNumber{};
    std::string sopInstanceUid{};
    std::string frameOfReferenceUid{};
    std::string unit{};                         ///< of the modality values; empty if unknown
    bool isRescaled = false;                    ///< the modality values are not the stored ones as they are
    std::optional<formats::Vector3> position{}; ///< centre of the first pixel
    std::optional<Orientation> orientation{};
    std::optional<PixelSpacing> pixelSpacing{};
    std::optional<double> sliceThickness{};       ///< mm
    std::optional<double> spacingBetweenSlices{}; ///< mm, from centre to centre
    SliceTraits traits{};

    /// All fields but the file, which is the same for all slices of a file.
    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.frame, self.frames, self.rows, self.columns, self.isColour, self.instanceNumber,
                        self.sopInstanceUid, self.frameOfReferenceUid, self.unit, self.isRescaled, self.position,
                        self.orientation, self.pixelSpacing, self.sliceThickness, self.spacingBetweenSlices,
                        self.traits);
    }

    bool hasPosition() const { return position.has_value() && orientation.has_value(); }
    /// The file, and the frame if the file has several.
    std::string name() const;
};

/// The first value of an attribute that may have several.
inline std::string_view firstValue(std::string_view text) { return text.substr(0, text.find('\\')); }

/// A value without the spaces and other padding around it.
std::string_view trimmed(std::string_view text);
/// A decimal string of DICOM, which may have spaces around it. Nothing for other texts, infinity and NaN included.
std::optional<double> decimalOf(std::string_view text);
/// An integer string that fits. Nothing for a number with a fraction.
std::optional<vint> integerOf(std::string_view text);
/// The integer that a text begins with: 3 for "3a", as the library orders the files of a series.
std::optional<vint> leadingInteger(std::string_view text);
/// A length in mm: a decimal from a nanometre to a kilometre.
std::optional<double> lengthOf(std::string_view text);
/// Three decimals, separated by backslashes, of ten kilometres at most.
std::optional<formats::Vector3> positionOf(std::string_view text);
/// Six decimals that are two perpendicular unit vectors, within 0.01, so that directions with two decimals pass. The
/// result has length 1.
std::optional<Orientation> orientationOf(std::string_view text);
/// Two lengths, rows first.
std::optional<PixelSpacing> pixelSpacingOf(std::string_view text);

} // namespace radvex::volume

#pragma once

#include <array>
#include <cmath>

namespace radvex::formats {

/// A point or direction in the patient's system: x grows to the left, y to the back, z to the head (LPS), in mm.
struct Vector3 : std::array<double, 3> {};

inline Vector3 operator+(const Vector3& a, const Vector3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vector3 operator*(double factor, const Vector3& a) { return {factor * a[0], factor * a[1], factor * a[2]}; }

inline double dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline double length(const Vector3& a) { return std::sqrt(dot(a, a)); }

inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Where the samples of a volume lie: maps the index (column, row, slice), from 0, to the patient's system in mm.
struct VolumeGeometry {
    Vector3 origin{};            ///< centre of the first sample
    Vector3 columnStep{1, 0, 0}; ///< from one column to the next
    Vector3 rowStep{0, 1, 0};    ///< from one row to the next
    Vector3 sliceStep{0, 0, 1};  ///< from one slice to the next; sheared, not straightened, under a gantry tilt
    /// False if the positions of the slices are unknown, or if one matrix cannot describe them in their order. Then
    /// only the lengths of the steps are meaningful.
    bool hasPosition = false;
};

} // namespace radvex::formats

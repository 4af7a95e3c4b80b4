#pragma once

#include <array>
#include <cmath>

namespace radvex::cli {

/// A point or direction in the patient's system: x grows to the left, y to the back, z to the head (LPS), in mm.
using Vector3 = std::array<double, 3>;

inline Vector3 operator+(const Vector3& a, const Vector3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vector3 operator*(double factor, const Vector3& a) { return {factor * a[0], factor * a[1], factor * a[2]}; }

inline double dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline double length(const Vector3& a) { return std::sqrt(dot(a, a)); }

inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

} // namespace radvex::cli

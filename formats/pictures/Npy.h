#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "files/OutputFile.h"
#include "host/Value.h"

namespace radvex::formats {

/// What an axis of an array counts.
enum class Axis { frames, rows, columns, channels };

/// The meaning of the axes of an array: given by name, slowest first, or found by a rule.
struct AxesRule {
    std::vector<Axis> given{};  ///< empty: found by the rule of readNpy
    bool isNeverColour = false; ///< the rule takes three dimensions as frames, rows and columns in any case
};

/// Axes from words such as "frames,rows,columns". Empty text gives none.
/// @throws UsageError  an unknown word, one twice, no rows or no columns
std::vector<Axis> parseAxes(const std::string& text);

/// The array of a .npy file as an image: bool becomes a bit image; u1, u2, f4 and f8 keep their type.
///
/// Unless axes are given, an array [a][b] is rows and columns; [a][b][3] is rows, columns and RGB; any other [a][b][c]
/// is frames, rows and columns; [a][b][c][d] is frames, rows, columns and channels. Frames of three columns look like
/// colour under this rule, so their axes have to be given.
/// @param name  the file, for error messages
/// @throws FileError  whatever readNpyHeader and newPicture refuse, another type, another number of dimensions
velmora::Image readNpy(const std::string& name, std::span<const std::byte> bytes, const AxesRule& axes);

/// Writes a .npy file: a header with type and shape (slowest index first), then the parts one after the other,
/// little-endian.
/// @throws FileError
void writeNpy(const files::Output& output, vint type, const std::vector<vint>& shape,
              const std::vector<std::span<const std::byte>>& parts);

} // namespace radvex::formats

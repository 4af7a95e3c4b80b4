#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "host/Value.h"

namespace radvex::formats {

/// What an index of an array counts.
enum class Axis { frames, rows, columns, channels };

/// How the axes of an array are told: by name, slowest first, or by a rule.
struct AxesRule {
    std::vector<Axis> given{};  ///< empty: by the rule of readNpy
    bool isNeverColour = false; ///< the rule takes three dimensions for frames, rows and columns in any case
};

/// Axes from words such as "frames,rows,columns". Empty text gives none.
/// @throws UsageError  an unknown word, one twice, no rows or no columns
std::vector<Axis> parseAxes(const std::string& text);

/// The array of a .npy file as an image: bool becomes a bit image; u1, u2, f4 and f8 keep their type.
///
/// Unless axes are given, an array [a][b] is rows and columns; [a][b][3] is rows, columns and RGB; any other [a][b][c]
/// is frames, rows and columns; [a][b][c][d] is frames, rows, columns and channels. So three columns make frames look
/// like colour, and have to be given.
/// @param name  the file, for the sentence of an error
/// @throws FileError  what readNpyHeader and newPicture refuse, another type, another number of dimensions
velmora::Image readNpy(const std::string& name, std::span<const std::byte> bytes, const AxesRule& axes);

} // namespace radvex::formats

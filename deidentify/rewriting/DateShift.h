#pragma once

#include <optional>
#include <string>

namespace radvex::deidentify {

/// A date or date-time moved by whole days. Times of day, fractions and offsets from UTC stay. A date without day or
/// month is moved from the middle of what it names.
/// @param value  of type DA or DT (PS3.5, 6.2), one value or several with backslashes; the old form 2020.01.31 is read
/// @param days   may be negative
/// @return nothing when a value is no date
std::optional<std::string> shiftDates(const std::string& value, int days);

} // namespace radvex::deidentify

#pragma once

#include <string_view>

namespace radvex::deidentify {

/// 1 to 12 for the name of a month, in full or in short, in English, German, French, Spanish, Italian, Portuguese,
/// Dutch or Polish; 0 for other words.
int monthOf(std::string_view foldedWord);

/// 1 to 12 for a month that is counted in Roman digits, "iv"; 0 for other words.
int romanMonthOf(std::string_view foldedWord);

} // namespace radvex::deidentify

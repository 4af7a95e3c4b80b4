#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

#include "deidentify/identifiers/TextWords.h"

namespace radvex::deidentify {

/// A day as somebody may have meant it.
struct SpelledDate {
    int year = 0; ///< 0 to 99 when it was spelled with two digits
    int month = 0;
    int day = 0;
    bool isShort = false;      ///< "700305", "05-03-70", "5. 3. 70": such numbers are often something else
    bool hasTwoDigits = false; ///< of the year
    std::size_t begin = 0;     ///< bytes of the folded text
    std::size_t end = 0;

    /// 19700305, or 700305 for a year of two digits.
    int number() const { return (year * 100 + month) * 100 + day; }
};

/// Calls `seen` with every reading of a date that begins with a word. Digits that are days of no calendar are read too.
void readDates(const TextWords& words, std::size_t index, const std::function<void(const SpelledDate&)>& seen);

/// 19700305 for the value of a DICOM date, "19700305" or "1970.03.05"; nothing for other texts.
std::optional<int> numberOfDate(std::string_view text);

} // namespace radvex::deidentify

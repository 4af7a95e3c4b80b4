#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace radvex::deidentify {

/// A part of a text.
struct TextSpan {
    std::size_t begin = 0; ///< offset in bytes
    std::size_t length = 0;
};

/// Parts of a free text that look like identifiers of a person although no file of the run says whose they are: full
/// dates, telephone numbers, numbers of seven or more digits, also in a word, addresses of mail and of the web, what
/// follows a label such as "MRN:", "Tel.", "born on" or "Name:", and the word behind a title such as "Dr.". They stand
/// in order and do not overlap.
/// @param text  UTF-8; other bytes are taken for letters
std::vector<TextSpan> suspiciousParts(std::string_view text);

} // namespace radvex::deidentify

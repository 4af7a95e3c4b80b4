#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// ASCII letters in capitals; every other byte stays as it is, in whatever character set.
inline std::string inCapitals(std::string_view text) {
    std::string capitals(text);
    for (char& letter : capitals) {
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return capitals;
}

/// Without spaces and NULs around it: files pad with either (PS3.5 6.2).
inline std::string trimmed(std::string_view text) {
    constexpr std::string_view kPadding(" \t\r\n\0", 5);
    const std::size_t begin = text.find_first_not_of(kPadding);
    return begin == std::string_view::npos
               ? std::string()
               : std::string(text.substr(begin, text.find_last_not_of(kPadding) - begin + 1));
}

/// All values of an attribute as one text, with backslashes between them. Empty when it is absent or has no text.
inline std::string wholeText(DcmItem& item, const DcmTagKey& key) {
    OFString text;
    return item.findAndGetOFStringArray(key, text, OFFalse).good() ? trimmed({text.c_str(), text.size()})
                                                                   : std::string();
}

/// The values, trimmed and in capitals; none when the attribute is absent or empty.
inline std::vector<std::string> capitalValues(DcmItem& item, const DcmTagKey& key) {
    const std::string text = inCapitals(wholeText(item, key));
    std::vector<std::string> values;
    for (std::size_t begin = 0; !text.empty() && begin <= text.size();) {
        const std::size_t end = std::min(text.find('\\', begin), text.size());
        values.push_back(trimmed(std::string_view(text).substr(begin, end - begin)));
        begin = end + 1;
    }
    return values;
}

} // namespace radvex::deidentify

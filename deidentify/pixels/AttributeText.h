#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/identifiers/AsciiText.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// All values of an attribute as one text, with backslashes between them. Empty when it is absent or has no text.
inline std::string wholeText(DcmItem& item, const DcmTagKey& key) {
    OFString text;
    return item.findAndGetOFStringArray(key, text, OFFalse).good() ? std::string(trimmed({text.c_str(), text.size()}))
                                                                   : std::string();
}

/// The values, trimmed and in capitals; none when the attribute is absent or empty.
inline std::vector<std::string> capitalValues(DcmItem& item, const DcmTagKey& key) {
    const std::string text = capitals(wholeText(item, key));
    std::vector<std::string> values;
    for (std::size_t begin = 0; !text.empty() && begin <= text.size();) {
        const std::size_t end = std::min(text.find('\\', begin), text.size());
        values.emplace_back(trimmed(std::string_view(text).substr(begin, end - begin)));
        begin = end + 1;
    }
    return values;
}

} // namespace radvex::deidentify

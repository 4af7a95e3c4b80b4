#pragma once

#include <string>

#include "host/Host.h"
#include "view/Wire.h"

namespace radvex::view {

/// All attributes of a file as "elements": "tag", "vr", "keyword", "creator" of a private one, "value" and "bytes", or
/// the "items" of a sequence; and what a de-identification by the basic profile does to it, "action", in the words of
/// its report, empty where nothing changes. "actionProblem" is a sentence where that is not known, or empty.
/// @throws Error  a sentence: the file cannot be read
Message listElements(velmora::Host& host, const std::string& file);

} // namespace radvex::view

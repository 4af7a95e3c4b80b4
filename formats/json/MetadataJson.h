#pragma once

#include <string>

#include "host/Value.h"

// Metadata results as JSON text. Their nodes are integers, reals and texts; tensors (bytes or words); stores of unnamed
// numbers (several values), of unnamed stores (the items of a sequence) or of unnamed arrays (frames of pixels).

namespace radvex::formats {

/// Appends a JSON object of numbers, texts, lists of numbers, and lists of objects for sequences; frames of pixels have
/// only type and dims. Text that is not valid UTF-8 becomes {"bytes":"base64"}, so that nothing is lost. A repeated key
/// becomes `Key#2`, `Key#3`. The JSON is valid UTF-8 whatever the file holds.
void appendJson(std::string& text, velmora::StoreView attributes);

/// Appends text as a JSON string; bytes that are not valid UTF-8 become U+FFFD.
void appendJsonText(std::string& json, std::string_view text);

} // namespace radvex::formats

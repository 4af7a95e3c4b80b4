#pragma once

#include <string>

#include "host/Value.h"

// A metadata result as text. Its nodes: integers, reals, texts; tensors (bytes or words); stores of unnamed numbers
// (several values), of unnamed stores (the items of a sequence) or of unnamed arrays (frames of pixels).

namespace radvex::formats {

/// Appends a JSON object: numbers, texts, lists of numbers, lists of objects for sequences; frames of pixels by type
/// and dims only. A text that is no UTF-8 is {"bytes":"base64"}, so that nothing is lost. A key that comes again is
/// `Key#2`, `Key#3`. The JSON is valid UTF-8 whatever the file holds.
void appendJson(std::string& text, velmora::StoreView attributes);

/// Appends text as a JSON string; bytes that are no UTF-8 become U+FFFD.
void appendJsonText(std::string& json, std::string_view text);

} // namespace radvex::formats

#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/Value.h"

// Metadata results as JSON text. Their nodes are integers, reals and texts; tensors (bytes or words); stores of unnamed
// numbers (several values), of unnamed stores (the items of a sequence) or of unnamed arrays (frames of pixels).

namespace radvex::formats {

/// Appends a JSON object of numbers, texts, lists of numbers, and lists of objects for sequences; frames of pixels have
/// only type and dims. Text that is not valid UTF-8 becomes {"bytes":"base64"}, so that nothing is lost. A repeated key
/// becomes `Key#2`, `Key#3`. The JSON is valid UTF-8 whatever the file holds.
void appendJson(std::string& text, velmora::StoreView attributes);

/// Appends the value of one attribute in the same form.
void appendJsonValue(std::string& json, velmora::NodeView node);

/// Appends the keys of one object, and numbers those that repeat: `Key`, `Key#2`.
class JsonKeys {
  public:
    /// @param key  has to outlive the keys
    void append(std::string& json, std::string_view key);

  private:
    int next(std::string_view key);

    std::vector<std::string_view> mFew{};
    std::unordered_map<std::string_view, int> mMany{};
};

/// Appends text as a JSON string; bytes that are not valid UTF-8 become U+FFFD.
void appendJsonText(std::string& json, std::string_view text);

} // namespace radvex::formats

#pragma once

#include <map>
#include <string>
#include <vector>

#include "formats/json/Dictionary.h"

namespace radvex::formats {

/// What of a file's attributes another file that is made from pictures cannot take: the description of other pixels,
/// the file meta information, and what the dictionary has no keyword for. It is left out, and named.
class LeftOut {
  public:
    explicit LeftOut(Dictionary& dictionary) : mDictionary(dictionary) {}

    /// Whether an attribute is left out; if so, it will be named.
    /// @param keyword  empty for a tag that the dictionary does not know
    /// @param shown  as the user knows it: keyword or tag
    /// @param level  of nesting, 0 for the file itself
    bool holds(const std::string& keyword, const std::string& shown, int level);

    /// A sentence for each reason, each with the start `name`.
    std::vector<std::string> remarks(const std::string& name) const;

  private:
    Dictionary& mDictionary;
    std::map<std::string, std::vector<std::string>> mNames{}; ///< why -> which ones
};

} // namespace radvex::formats

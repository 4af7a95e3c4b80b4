#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "host/Host.h"

namespace radvex::formats {

/// Looks keywords up in the library's dictionary and remembers the answers.
class Dictionary {
  public:
    explicit Dictionary(velmora::Host& host) : mHost(host) {}

    /// Value representation; "UN" for an unknown keyword.
    const std::string& vrOf(const std::string& keyword);
    struct Tag {
        std::uint16_t group = 0;
        std::uint16_t element = 0;
    };
    /// @throws velmora::LibraryError  unknown keyword
    Tag tagOf(const std::string& keyword);
    /// Keyword of a tag of eight hexadecimal digits; empty for an unknown and for a private one.
    const std::string& keywordOf(const std::string& tag);
    /// Whether the attribute belongs to the file meta information.
    bool isFileMetaInformation(const std::string& keyword);

    /// Whether the keyword is that of a private attribute: the dictionary has names for those of some makers.
    bool isPrivate(const std::string& keyword);

  private:
    /// 0 for what is no keyword.
    std::uint16_t groupOf(const std::string& keyword);

    velmora::Host& mHost;
    std::unordered_map<std::string, std::string> mVrs{};
    std::unordered_map<std::string, std::string> mKeywords{};
};

} // namespace radvex::formats

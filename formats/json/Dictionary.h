#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "host/Host.h"

namespace radvex::formats {

/// What the library's dictionary says of keywords; each is asked for once.
class Dictionary {
  public:
    explicit Dictionary(velmora::Host& host) : mHost(host) {}

    /// Value representation; "UN" for a keyword that is not known.
    const std::string& vrOf(const std::string& keyword);
    struct Tag {
        std::uint16_t group = 0;
        std::uint16_t element = 0;
    };
    /// @throws velmora::LibraryError  no such keyword
    Tag tagOf(const std::string& keyword);
    /// Whether the attribute belongs to the meta information in front of a dataset.
    bool isFileMetaInformation(const std::string& keyword);

  private:
    velmora::Host& mHost;
    std::unordered_map<std::string, std::string> mVrs{};
};

} // namespace radvex::formats

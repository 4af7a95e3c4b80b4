#pragma once

#include <string>
#include <vector>

#include "deidentify/Anonymization.h"
#include "host/Host.h"

namespace radvex::deidentify {

/// New values by keyword, each keyword once.
class ReplacementRules {
  public:
    /// The value of a keyword that has one already is replaced.
    void set(const std::string& keyword, const std::string& value);

    /// Takes the rules of a JSON file: one object of keywords and texts or numbers.
    /// @throws FileError  it cannot be read  @throws JsonError  a sentence that names the place
    void read(const std::string& path);

    /// As the library takes them.
    velmora::Store toStore() const;

    /// With tags in place of keywords. @throws velmora::LibraryError  an unknown keyword
    std::vector<GivenValue> resolve(velmora::Host& host) const;

  private:
    std::vector<ProfileRule> mRules{};
};

} // namespace radvex::deidentify

#pragma once

#include <string>
#include <vector>

#include "deidentify/Anonymization.h"
#include "host/Host.h"

namespace radvex::deidentify {

/// A new value for one attribute.
struct ReplacementRule {
    std::string keyword{};
    std::string value{}; ///< may be empty
};

/// New values by keyword. Each keyword stands once.
class ReplacementRules {
  public:
    /// Replaces the value of a keyword that has one already.
    void set(const std::string& keyword, const std::string& value);

    /// Adds the rules of a JSON file: one object of keywords and texts or numbers.
    /// @throws FileError  it cannot be read  @throws JsonError  a sentence that names the file
    void read(const std::string& path);

    /// The rules in the form that the library takes.
    velmora::Store toStore() const;

    /// The rules with tags instead of keywords. @throws velmora::LibraryError  an unknown keyword
    std::vector<GivenValue> resolve(velmora::Host& host) const;

  private:
    std::vector<ReplacementRule> mRules{};
};

} // namespace radvex::deidentify

#pragma once

#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"
#include "deidentify/ReplacementRules.h"

namespace radvex::cli {

/// New values of attributes, from words and from a file.
class ReplacementArguments {
  public:
    /// Adds --set and --rules. @param what  stands for their values in the help text: "the attribute's new value"
    void addTo(const CommandLine& command, const std::string& what);

    bool isGiven() const { return !mAssignments.empty() || !mRules.empty(); }

    /// Values of --set take precedence over the file of --rules.
    /// @throws UsageError  a word has no keyword  @throws FileError, JsonError  the file cannot be read
    deidentify::ReplacementRules rules() const;

  private:
    std::vector<std::string> mAssignments{};
    std::string mRules{};
};

} // namespace radvex::cli

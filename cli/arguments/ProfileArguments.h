#pragma once

#include <set>
#include <string>
#include <vector>

#include "cli/arguments/CommandLine.h"
#include "deidentify/Anonymization.h"

namespace radvex::cli {

/// The options of a command that say which options of the confidentiality profile count.
class ProfileArguments {
  public:
    /// Adds --keep, --shift-dates, --clean, --keep-private and --accept-pixels.
    void addTo(const CommandLine& command);

    /// One of --keep, --shift-dates and --clean was given.
    bool hasOptions() const { return !mKept.empty() || !mCleaned.empty() || mShiftsDates; }
    /// Any of them was given.
    bool isGiven() const { return hasOptions() || !mKeptPrivates.empty() || !mAcceptedPixels.empty(); }

    /// @throws UsageError  an unknown word, or options that exclude each other
    deidentify::ProfileOptions options() const;
    /// @throws FileError, JsonError  the file of --keep-private cannot be read
    std::set<deidentify::KeptPrivate> keptPrivates() const;
    /// @param known  the classes of pixels that may be named  @throws UsageError  an unknown word
    std::set<std::string> acceptedPixels(const std::vector<std::string>& known) const;

  private:
    std::vector<std::string> mKept{};
    std::vector<std::string> mCleaned{};
    std::vector<std::string> mAcceptedPixels{};
    std::string mKeptPrivates{};
    bool mShiftsDates = false;
};

} // namespace radvex::cli

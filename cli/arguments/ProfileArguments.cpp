#include "cli/arguments/ProfileArguments.h"

#include <algorithm>
#include <array>

#include "cli/arguments/Words.h"
#include "deidentify/KeptPrivates.h"
#include "files/Errors.h"

namespace radvex::cli {

namespace {

// What the options take.
constexpr std::array kMayBeKept{
    deidentify::ProfileOption::Uids, deidentify::ProfileOption::Device, deidentify::ProfileOption::Institution,
    deidentify::ProfileOption::PatientCharacteristics, deidentify::ProfileOption::FullDates};
constexpr std::array kMayBeCleaned{deidentify::ProfileOption::Descriptors, deidentify::ProfileOption::StructuredContent,
                                   deidentify::ProfileOption::Graphics};

template <typename Options>
std::vector<std::string> wordsFor(const Options& options) {
    std::vector<std::string> words;
    words.reserve(std::size(options));
    for (const deidentify::ProfileOption option : options) {
        words.emplace_back(deidentify::namesOf(option).word);
    }
    return words;
}

/// Adds the options that the words of one option of the command name.
void choose(deidentify::ProfileOptions& profile, const char* option, const std::vector<std::string>& words,
            const std::vector<deidentify::ProfileOption>& allowed) {
    const auto [chosen, unknown] = deidentify::parseProfileOptions(words, allowed);
    if (!unknown.empty()) {
        std::string known;
        for (const deidentify::ProfileOption one : allowed) {
            known.append(known.empty() ? "" : ", ").append(deidentify::namesOf(one).word);
        }
        throw UsageError(std::string(option) + " does not know '" + unknown + "'; it takes a list of " + known + ".");
    }
    for (const deidentify::ProfileOption one : chosen) {
        profile.choose(one);
    }
}

} // namespace

void ProfileArguments::addTo(const CommandLine& command) {
    command.addRepeatable("--keep", mKept, "LIST: keep uids, device, institution, patient (characteristics), dates");
    command.addFlag("--shift-dates", mShiftsDates, "Move all dates of a patient by the same number of days");
    command.addRepeatable("--clean", mCleaned,
                          "LIST: clean descriptors, structured-content, graphics instead of removing them");
    command.suggest("--keep", wordsFor(kMayBeKept));
    command.suggest("--clean", wordsFor(kMayBeCleaned));
    command.addOption("--keep-private", mKeptPrivates,
                      "JSON file with private creators and lists of their attributes that identify nobody",
                      Takes::File);
    command.addRepeatable("--accept-pixels", mAcceptedPixels,
                          "LIST: classes of pixels that somebody has looked at, such as face, ultrasound");
}

deidentify::ProfileOptions ProfileArguments::options() const {
    using enum deidentify::ProfileOption;
    deidentify::ProfileOptions profile;
    choose(profile, "--keep", mKept, {kMayBeKept.begin(), kMayBeKept.end()});
    choose(profile, "--clean", mCleaned, {kMayBeCleaned.begin(), kMayBeCleaned.end()});
    if (mShiftsDates && profile.has(FullDates)) {
        throw UsageError("--shift-dates moves the dates that --keep dates would leave; name one of them.");
    }
    if (mShiftsDates) {
        profile.choose(ModifiedDates);
    }
    if (!mKeptPrivates.empty()) {
        profile.choose(SafePrivate);
    }
    return profile;
}

std::set<deidentify::KeptPrivate> ProfileArguments::keptPrivates() const {
    return mKeptPrivates.empty() ? std::set<deidentify::KeptPrivate>() : deidentify::readKeptPrivates(mKeptPrivates);
}

std::set<std::string> ProfileArguments::acceptedPixels(const std::vector<std::string>& known) const {
    std::set<std::string> accepted;
    for (const std::string& list : mAcceptedPixels) {
        for (const std::string& word : deidentify::splitList(list)) {
            if (std::ranges::find(known, word) == known.end()) {
                throw UsageError("--accept-pixels does not know '" + word + "'; it takes a list of " + joined(known) +
                                 ".");
            }
            accepted.insert(word);
        }
    }
    return accepted;
}

} // namespace radvex::cli

#include "cli/arguments/ProfileArguments.h"

#include <algorithm>

#include "cli/arguments/Words.h"
#include "deidentify/KeptPrivates.h"
#include "files/Errors.h"

namespace radvex::cli {

namespace {

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
    command.addOption("--keep-private", mKeptPrivates,
                      "JSON file with private creators and lists of their attributes that identify nobody");
    command.addRepeatable("--accept-pixels", mAcceptedPixels,
                          "LIST: classes of pixels that somebody has looked at, such as face, ultrasound");
}

deidentify::ProfileOptions ProfileArguments::options() const {
    using enum deidentify::ProfileOption;
    deidentify::ProfileOptions profile;
    choose(profile, "--keep", mKept, {Uids, Device, Institution, PatientCharacteristics, FullDates});
    choose(profile, "--clean", mCleaned, {Descriptors, StructuredContent, Graphics});
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

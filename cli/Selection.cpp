#include "Selection.h"

#include <regex>

#include "Output.h"
#include "Session.h"

namespace radvex::cli {

namespace {

void checkPattern(const char* option, const std::string& pattern) {
    constexpr std::size_t kLongest = 1024; // the library's limit too; longer ones cost the matcher's stack
    try {
        if (pattern.size() > kLongest) {
            throw std::regex_error(std::regex_constants::error_space);
        }
        (void)std::regex(pattern, std::regex::ECMAScript);
    } catch (const std::regex_error& error) {
        throw UsageError(std::string(option) + " '" + shortened(pattern) +
                         "' is no regular expression that can be used: " + error.what());
    }
}

} // namespace

void Selection::addTo(const CommandLine& command) {
    command.addOption("--patient", patient, "Only if the whole PatientID matches this regular expression");
    command.addOption("--study", study, "Only if the whole StudyInstanceUID matches");
    command.addOption("--series", series, "Only if the whole SeriesInstanceUID matches");
}

void Selection::check() const {
    checkPattern("--patient", patient);
    checkPattern("--study", study);
    checkPattern("--series", series);
}

std::string exactPattern(const std::string& text) {
    static const std::string kSpecial = R"(^$\.*+?()[]{}|/)";
    std::string pattern;
    for (const char letter : text) {
        if (kSpecial.find(letter) != std::string::npos) {
            pattern += '\\';
        }
        pattern += letter;
    }
    return pattern;
}

} // namespace radvex::cli

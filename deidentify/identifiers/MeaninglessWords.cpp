#include "deidentify/identifiers/MeaninglessWords.h"

#include <algorithm>
#include <array>

namespace radvex::deidentify {

namespace {

constexpr std::array<std::string_view, 58> kMeaningless{
    // Where no name was wanted.
    "anon", "anonym", "anonymized", "anonymised", "anonymous", "anonymize", "deidentified", "identified", "removed",
    "blank", "empty", "null", "nil", "none", "noname", "name", "unknown", "undefined", "unspecified", "unnamed",
    "other", "default", "various", "pseudonym",
    // Files that are no person's.
    "test", "testing", "tester", "phantom", "demo", "dummy", "example", "sample", "service", "calibration", "research",
    "study", "series", "image", "subject", "case", "volunteer", "quality",
    // Roles and places that say what, not who.
    "patient", "person", "hospital", "clinic", "klinik", "department", "radiology", "physician", "doctor", "operator",
    "technologist", "user", "admin", "emergency", "trauma", "system"};

constexpr std::array<std::string_view, 35> kTitles{
    "dr",  "drs",  "doc",   "prof", "professor", "pd",   "med",  "medic", "habil", "dipl", "ing",  "mr",
    "mrs", "ms",   "miss",  "sir",  "lady",      "herr", "frau", "fr",    "hr",    "mme",  "mlle", "sr",
    "sra", "srta", "senor", "jr",   "phd",       "md",   "msc",  "bsc",   "mba",   "esq",  "rev"};

constexpr std::array<std::string_view, 42> kParticles{
    "von", "van", "vom", "der", "den", "dem", "de",  "da",  "di",  "du",  "del", "della", "dos",  "das",
    "des", "do",  "la",  "le",  "las", "los", "el",  "al",  "abu", "bin", "ibn", "ben",   "bint", "zu",
    "zum", "zur", "af",  "av",  "ter", "ten", "und", "and", "st",  "mac", "san", "the",   "y",    "e"};

/// What stands before or behind names in scripts without spaces: doctor, teacher, professor, patient, Mr and Mrs.
constexpr std::array<std::string_view, 20> kUnspacedTitles{"\u5148\u751F",
                                                           "\u69D8",
                                                           "\u533B\u5E2B",
                                                           "\u533B\u751F",
                                                           "\u6559\u6388",
                                                           "\u60A3\u8005",
                                                           "\u6C0F\u540D",
                                                           "\u59D3\u540D",
                                                           "\u5973\u58EB",
                                                           "\u5C0F\u59D0",
                                                           "\uC120\uC0DD\uB2D8",
                                                           "\uC120\uC0DD",
                                                           "\uAD50\uC218",
                                                           "\uD658\uC790",
                                                           "\u0E19\u0E32\u0E22",
                                                           "\u0E19\u0E32\u0E07",
                                                           "\u0E19\u0E32\u0E07\u0E2A\u0E32\u0E27",
                                                           "\u0E04\u0E38\u0E13",
                                                           "\u0E40\u0E14\u0E47\u0E01\u0E0A\u0E32\u0E22",
                                                           "\u0E40\u0E14\u0E47\u0E01\u0E2B\u0E0D\u0E34\u0E07"};

template <typename Words>
bool isIn(const Words& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

bool isMeaningless(std::string_view foldedWord) { return isIn(kMeaningless, foldedWord); }

bool isTitle(std::string_view foldedWord) { return isIn(kTitles, foldedWord) || isIn(kUnspacedTitles, foldedWord); }

bool isParticle(std::string_view foldedWord) { return isIn(kParticles, foldedWord); }

} // namespace radvex::deidentify

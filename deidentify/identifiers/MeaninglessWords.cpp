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

template <typename Words>
bool isIn(const Words& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

bool isMeaningless(std::string_view foldedWord) { return isIn(kMeaningless, foldedWord); }

bool isTitle(std::string_view foldedWord) { return isIn(kTitles, foldedWord); }

bool isParticle(std::string_view foldedWord) { return isIn(kParticles, foldedWord); }

} // namespace radvex::deidentify

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Host.h"
#include "media/ElementList.h"

namespace radvex::cli {

/// One attribute on the way to another one, which is in an item of it.
struct TagStep {
    std::uint16_t group = 0;
    std::uint16_t number = 0;          ///< with a creator only the low byte counts
    std::string creator{};             ///< of a private attribute that is looked for in whatever block it has
    std::optional<std::size_t> item{}; ///< from 0; of every step but the last, unless it goes through all items
    bool everyItem = false;
};

/// An attribute that somebody asked for.
struct TagPath {
    std::string words{};   ///< as it was given
    std::string keyword{}; ///< in the dictionary's spelling, when it is a single keyword
    std::vector<TagStep> steps{};

    const TagStep& last() const { return steps.back(); }
    /// Whether the library can read it: one attribute of the dataset itself, by its number.
    bool isInDataset() const { return steps.size() == 1 && last().creator.empty() && last().group != 2; }
};

/// Reads "PatientName" in any case, "0010,0010", "(0010,0010)", "00100010", "Sequence[0].PatientID" with [*] for every
/// item, "CREATOR:0029,10", and "0029,1010 CREATOR", which is how private attributes are shown.
/// @throws UsageError  a tag or path that is malformed
/// @throws Error       a keyword that the dictionary does not know, with a suggestion
TagPath parseTagPath(velmora::Host& host, const std::string& words);

/// The dictionary's spelling of a keyword. @throws Error
std::string knownKeyword(velmora::Host& host, const std::string& keyword);

/// The message of an error; if the library does not know a keyword, with a suggestion.
std::string messageOf(const velmora::LibraryError& error);

bool matches(const TagStep& step, const media::Element& element);

struct FoundElement {
    std::string key{}; ///< "PatientID", or "OtherPatientIDsSequence[0].PatientID" in an item
    const media::Element* element = nullptr;
};

/// The elements that a path leads to: several when it goes through every item.
std::vector<FoundElement> findElements(const std::vector<media::Element>& elements, const TagPath& path);

} // namespace radvex::cli

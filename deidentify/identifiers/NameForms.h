#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace radvex::deidentify {

/// What of one person's name is looked for. All words are folded.
struct NameForms {
    /// Two words of the name that may stand beside each other, in this order.
    struct Link {
        std::string first{};
        std::string second{};
        bool isTelling = false; ///< both are words of the name itself, no initials and no "de"
    };

    std::vector<std::string> words{};                  ///< found by themselves
    std::vector<std::vector<std::string>> sequences{}; ///< of scripts without spaces: characters
    std::vector<Link> links{};
};

/// The forms of a name with all its spellings.
/// @param text  UTF-8 as in a value of type PN: "Family^Given^Middle^Prefix^Suffix=ideographic=phonetic", several
///              values with backslashes
NameForms formsOfName(std::string_view text);

/// The spellings that a name or an address is looked for in, each once: with its umlauts as one letter and as two.
std::vector<std::string> spellingsOf(std::string_view utf8);

/// The parts of a text between separators, without padding and without empty ones.
/// @param separators  ASCII characters
std::vector<std::string_view> partsOf(std::string_view text, std::string_view separators);

} // namespace radvex::deidentify

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dcmtk/config/osconfig.h"
#include "deidentify/identifiers/IdentifierFinder.h"

#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::deidentify {

/// How much of a text may go.
enum class Cleaning {
    Patient,      ///< only what tells the patient: an option keeps the rest, such as the name of an institution
    Vocabulary,   ///< identifiers, but no single word of a name: "Stone" is more likely a finding than Mr Stone
    Identifiers,  ///< what is known from the files of the run; a number such as "1" is too short to be known here
    Texts,        ///< the same, and what looks like an identifier
    Descriptions, ///< all identifiers of any length, and what looks like one
};

/// Replaces identifiers in texts.
class TextCleaner {
  public:
    /// What stands for an identifier that was found.
    /// @param found  as it was spelt
    using NewText = std::function<std::string(const Identifier& identifier, std::string_view found)>;

    TextCleaner(const IdentifierFinder& finder, NewText newText) : mFinder(finder), mNewText(std::move(newText)) {}

    /// @param text  UTF-8, with backslashes between values
    /// @return the new text, no longer than the type allows; nothing when it holds nothing to replace. Where the type
    ///         has no room for what stands for identifiers, less stands there
    std::optional<std::string> clean(const std::string& text, DcmEVR vr, Cleaning cleaning) const;

    /// A name whose bytes stand in a text of which nobody knows the character set, see TextDecoder::isDoubtful. Nothing
    /// where a single word of a name may stay.
    /// @param bytes  as the file has them
    std::optional<Identifier> nameInBytes(std::string_view bytes, Cleaning cleaning) const;

    /// The identifiers in a text that have to go. @param text  as for `clean`
    std::vector<Find> identifiersIn(const std::string& text, Cleaning cleaning) const;

  private:
    struct Part {
        std::size_t end = 0;
        std::string replacement{};
    };
    using Parts = std::map<std::size_t, Part>; // by their begin

    Parts partsToReplace(const std::string& text, Cleaning cleaning) const;

    const IdentifierFinder& mFinder;
    NewText mNewText;
};

/// Stands in texts for what was removed.
inline constexpr std::string_view kRemovedText = "[removed]";

} // namespace radvex::deidentify

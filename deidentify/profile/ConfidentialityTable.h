#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "deidentify/profile/ProfileOptions.h"

namespace radvex::deidentify {

/// What table E.1-1 does to an attribute.
enum class Action {
    Remove, ///< X
    Empty,  ///< Z: no value, or a dummy
    Dummy,  ///< D: a value that says nothing
    NewUid, ///< U: another UID, the same one for the same original
    Keep,   ///< K
    Clean   ///< C: keep what does not identify anybody
};

/// One row of the table.
struct ConfidentialityRow {
    std::string_view basicLetters{};                              ///< "X/Z/D"
    std::vector<Action> basic{};                                  ///< in that order; U* is NewUid
    std::array<std::string_view, kProfileOptionCount> optional{}; ///< "K", "C", or empty, by option
    bool isAddition = false; ///< not of the standard's table: see additions-to-2024b.tsv
};

/// What to do, and why.
struct Decision {
    Action action = Action::Remove;
    std::string rule{}; ///< the column and the letters of the table: "basic X/Z", "clean descriptors C"
};

/// Table E.1-1 of PS3.15 in the edition `kProfileEdition`: the application level confidentiality profile.
class ConfidentialityTable {
  public:
    /// The one table of this program.
    static const ConfidentialityTable& instance();

    /// The row of an attribute, with repeating groups and private attributes; null when the table has none.
    const ConfidentialityRow* find(std::uint16_t group, std::uint16_t element) const;

    /// Tags of all rows that name one attribute, additions included.
    std::vector<std::pair<std::uint16_t, std::uint16_t>> tags() const;

  private:
    ConfidentialityTable();

    std::map<std::uint32_t, ConfidentialityRow> mRows{};
    ConfidentialityRow mCurves{};
    ConfidentialityRow mOverlayData{};
    ConfidentialityRow mOverlayComments{};
    ConfidentialityRow mPrivate{};
};

/// The action that the chosen options want. What one of them keeps is kept, what one of them cleans is cleaned; else
/// the basic profile decides.
/// @param type  of the attribute in its IOD, 1 to 3; 0: not known, then the value is chosen that every type allows
Decision decide(const ConfidentialityRow& row, const ProfileOptions& options, int type);

} // namespace radvex::deidentify

#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace radvex::test {

/// A row of PS3.15 table E.1-1. The tests read the table and the rules for its columns on their own, so that an error
/// in the reading of the program does not repeat itself here.
struct ConfidentialityRow {
    std::string tag{};                          ///< "0010,0010", or a pattern: "50XX,XXXX"
    std::string basic{};                        ///< action of the basic profile: "X", "X/Z/D", "X/Z/U*"
    std::map<std::string, std::string> options; ///< column of an option -> "K" or "C"; only those with an action
};

/// Names of columns in the table.
using Choice = std::set<std::string>;

/// All rows. @throws std::runtime_error  when the table cannot be read or has another header
std::vector<ConfidentialityRow> confidentialityRows();

/// Columns that a run can choose without a list of private attributes. Full and modified dates exclude each other.
const std::vector<std::string>& choosableColumns();

/// The words of the command line that choose these columns.
Words wordsOf(const Choice& choice);

/// What the choice asks for: to keep stands above to clean, and that above the basic action.
std::string wantedAction(const ConfidentialityRow& row, const Choice& choice);

/// Nothing, each column alone, each pair, and all with either kind of dates; then as many made by chance, always the
/// same ones.
std::vector<Choice> loneChoices();
std::vector<Choice> pairsOfChoices();
std::vector<Choice> fullChoices();
std::vector<Choice> randomChoices(std::size_t count);

/// "keep uids + clean graphics", for messages.
std::string nameOf(const Choice& choice);

} // namespace radvex::test

#pragma once

#include <string>
#include <vector>

namespace radvex::cli {

/// The text with small letters for ASCII capitals.
std::string inLowerCase(std::string text);

/// What a person who typed `word` probably meant: the candidate with the fewest mistakes, where a mistake is a letter
/// too many, too few, wrong, or swapped with the next one; of equally near ones the first. The case of ASCII letters
/// does not count.
/// @return a candidate as it stands in the list; empty when every one needs more than one mistake in three letters
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

/// "; did you mean NEAREST?" as the end of a sentence that refuses `word`; a full stop when no candidate is near.
std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates);

} // namespace radvex::cli

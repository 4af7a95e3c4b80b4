#include "cli/arguments/Suggestions.h"

#include <algorithm>
#include <cstddef>

namespace radvex::cli {

namespace {

/// Nobody types a name this long, and the work grows with the square of the length.
constexpr std::size_t kLongestWord = 100;

/// Number of mistakes between two texts: the distance of Damerau and Levenshtein in which no part is edited twice.
std::size_t mistakes(const std::string& one, const std::string& other) {
    const std::size_t width = other.size() + 1;
    std::vector<std::size_t> beforeLast(width);
    std::vector<std::size_t> last(width);
    std::vector<std::size_t> row(width);
    for (std::size_t column = 0; column < width; ++column) {
        row[column] = column;
    }
    for (std::size_t line = 1; line <= one.size(); ++line) {
        std::swap(beforeLast, last);
        std::swap(last, row);
        row[0] = line;
        for (std::size_t column = 1; column < width; ++column) {
            const bool isEqual = one[line - 1] == other[column - 1];
            row[column] = std::min({last[column] + 1, row[column - 1] + 1, last[column - 1] + (isEqual ? 0U : 1U)});
            if (line > 1 && column > 1 && one[line - 1] == other[column - 2] && one[line - 2] == other[column - 1]) {
                row[column] = std::min(row[column], beforeLast[column - 2] + 1);
            }
        }
    }
    return row[other.size()];
}

std::size_t difference(std::size_t one, std::size_t other) { return one > other ? one - other : other - one; }

} // namespace

std::string inLowerCase(std::string text) {
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return text;
}

std::string nearest(const std::string& word, const std::vector<std::string>& candidates) {
    if (word.empty() || word.size() > kLongestWord) {
        return "";
    }
    const std::string typed = inLowerCase(word);
    std::size_t fewest = std::max<std::size_t>(1, word.size() / 3) + 1;
    std::string found;
    for (const std::string& candidate : candidates) {
        if (candidate.size() > kLongestWord || difference(candidate.size(), typed.size()) >= fewest) {
            continue; // the difference in length alone is that many mistakes
        }
        const std::size_t count = mistakes(typed, inLowerCase(candidate));
        // A short word with every letter wrong is another word.
        if (count < fewest && count < std::max(typed.size(), candidate.size())) {
            fewest = count;
            found = candidate;
        }
    }
    return found;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates) {
    const std::string meant = nearest(word, candidates);
    return meant.empty() ? "." : "; did you mean " + meant + "?";
}

} // namespace radvex::cli

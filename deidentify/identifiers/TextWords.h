#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/identifiers/FoldedText.h"

namespace radvex::deidentify {

/// A run of letters and digits in a folded text. A dot between two digits belongs to it, so that a UID is one word and
/// a part of it is none. Each character of a script that is written without spaces is a word of its own.
struct Word {
    std::size_t begin = 0; ///< bytes of the folded text
    std::size_t end = 0;
    std::size_t characters = 0;
    bool isUnspaced = false; ///< of a script without spaces between words
    bool hasLetter = false;
};

/// A folded text and its words, in their order.
class TextWords {
  public:
    explicit TextWords(std::string_view utf8);

    std::size_t count() const { return mWords.size(); }
    const Word& operator[](std::size_t index) const { return mWords[index]; }
    std::string_view text() const { return mFolded.text(); }
    /// The folded characters of a word.
    std::string_view wordAt(std::size_t index) const { return between(mWords[index].begin, mWords[index].end); }
    /// What stands before a word, from the end of the word before it; for the first one, from the start of the text.
    std::string_view gapBefore(std::size_t index) const {
        return between(index == 0 ? 0 : mWords[index - 1].end, mWords[index].begin);
    }
    const FoldedText& folded() const { return mFolded; }

  private:
    std::string_view between(std::size_t begin, std::size_t end) const {
        return std::string_view(mFolded.text()).substr(begin, end - begin);
    }

    FoldedText mFolded;
    std::vector<Word> mWords{};
};

/// Whether a text has nothing but digits, at least one.
bool isNumber(std::string_view text);

} // namespace radvex::deidentify

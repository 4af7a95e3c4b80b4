#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace radvex::deidentify {

/// A text in which spellings that people take for the same are the same: without case, accents, ligatures, full widths
/// and characters that nobody sees; "ß" is "ss". Each byte of it knows where it came from.
///
/// A byte that is no UTF-8 becomes U+FFFD, by itself, whatever stands around it.
class FoldedText {
  public:
    /// @param utf8  any bytes
    explicit FoldedText(std::string_view utf8);

    /// The folded text in UTF-8, which is always valid.
    const std::string& text() const { return mText; }
    /// Where the character of a folded byte begins in the original. @param offset  less than the folded size
    std::size_t beginOf(std::size_t offset) const { return mBegins.empty() ? offset : mBegins[offset]; }
    /// Where the character of a folded byte ends in the original. @param offset  less than the folded size
    std::size_t endOf(std::size_t offset) const { return mEnds.empty() ? offset + 1 : mEnds[offset]; }

  private:
    void foldAll(std::string_view utf8);
    void append(std::string_view folded, std::size_t begin, std::size_t end);

    std::string mText{};
    // Empty for ASCII, whose bytes stay where they are.
    std::vector<std::size_t> mBegins{};
    std::vector<std::size_t> mEnds{};
};

/// The folded text alone.
std::string folded(std::string_view utf8);

/// A text whose umlauts are spelled with two letters, "Müller" as "Mueller", as in German and Nordic names that had to
/// be written without them.
std::string withDigraphs(std::string_view utf8);

/// A character of UTF-8 and its number of bytes, at least 1.
struct Character {
    char32_t code = U'\uFFFD';
    std::size_t size = 1;
};

/// The character at an offset. A byte that begins no character is U+FFFD with size 1.
/// @param offset  less than the size
Character characterAt(std::string_view utf8, std::size_t offset);

/// How many characters a text has.
std::size_t charactersIn(std::string_view utf8);

} // namespace radvex::deidentify

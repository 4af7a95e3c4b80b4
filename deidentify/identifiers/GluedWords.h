#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "deidentify/identifiers/TextWords.h"
#include "deidentify/identifiers/WordTree.h"

namespace radvex::deidentify {

/// Finds identifiers at the boundaries of letters and digits inside words, where people leave a separator out or put
/// one: the ID "AB-123" in "AB123", the ID "12345" in "MRN12345", the name "smith" in "smith2020".
class GluedWords {
  public:
    /// Adds an ID or the name of a device. One that is too short to be told from other texts is left out.
    /// @param number  what `seen` is called with
    void addCode(const TextWords& words, std::uint32_t number);
    /// Adds a folded word of a name. One of fewer than 4 characters, or with digits, is left out.
    void addName(std::string_view word, std::uint32_t number);

    /// Calls `seen` with begin, end and number of every find in a folded text.
    using Seen = std::function<void(std::size_t begin, std::size_t end, std::uint32_t number)>;
    void findIn(const TextWords& words, const Seen& seen) const;

  private:
    /// Letters or digits of one word. Dots between digits belong to these.
    struct Piece {
        std::size_t begin = 0; ///< bytes of the folded text
        std::size_t end = 0;
        bool hasDigits = false;
        bool opensWord = false;
        bool closesWord = false;
    };
    static std::vector<Piece> piecesOf(const TextWords& words);
    static void splitWord(const TextWords& words, std::size_t index, std::vector<Piece>& pieces);
    static bool isTelling(const std::vector<Piece>& pieces, std::string_view text);
    void collectCodes(const std::vector<Piece>& pieces, std::size_t first, std::string_view text,
                      const Seen& seen) const;
    WordTree::Node nextAfterGap(WordTree::Node node, std::string_view gap) const;

    WordTree mTree{2}; ///< of codes and of names
    bool mIsEmpty = true;
};

/// Whether nobody minds the characters between two parts of an ID: people and names of files have others there.
bool isCodeGap(std::string_view gap);

} // namespace radvex::deidentify

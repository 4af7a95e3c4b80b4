#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "deidentify/identifiers/IdentifierIndex.h"

namespace radvex::deidentify {

/// What identifiers look like in bytes, for telling most bytes that are none from those worth a close look.
class ByteEncodings {
  public:
    explicit ByteEncodings(const IdentifierIndex& index);

    /// Where the next bytes stand that may be a part of an identifier: the first of a few in which letters are beside
    /// each other or beside zeros. No identifier lies before them and behind `from`. The size of the bytes when there
    /// are none.
    std::size_t nextText(std::string_view bytes, std::size_t from) const;
    /// Whether the bytes can stand beside each other in an identifier, in any of the encodings.
    bool isPair(char first, char second) const { return mIsPair[pairOf(first, second)]; }
    /// The fewest bytes of an identifier.
    std::size_t shortestRun() const { return mShortestRun; }
    /// The most bytes of an identifier, with much punctuation between its words.
    std::size_t longestRun() const { return mLongestRun; }

    /// Whether a run of text may hold an identifier. Wrong once in a while, but never when it does.
    bool mayHold(std::string_view run) const;

  private:
    /// How many bytes `nextText` looks at.
    static constexpr std::size_t kWindow = 4;
    /// What a byte can be.
    enum Class : unsigned char { kNothing = 0, kZero = 1, kText = 3 };

    static std::size_t pairOf(char first, char second) {
        return std::size_t{static_cast<unsigned char>(first)} << 8U | static_cast<unsigned char>(second);
    }
    void allowAscii();
    void allow(std::string_view encoded);
    void allowEncodingsOf(std::string_view utf8);
    void addAnchor(std::string_view word);
    void addAsciiPartsOf(std::string_view utf8);
    bool isAnchor(std::uint64_t hash) const;
    bool holdsAnchor(std::string_view text, std::size_t first, std::size_t step) const;

    std::array<unsigned char, 256> mClasses{};
    std::bitset<65536> mIsPair{};
    std::vector<bool> mAnchors{};
    bool mHasTelephones = false;
    bool mHasUnanchored = false; ///< an identifier has a word with hardly an ASCII letter
    std::size_t mShortestRun = 7;
    std::size_t mLongestRun = 0;
};

/// The texts that bytes may be: as UTF-8, Latin-1 and UTF-16 with each byte order and from each of the first two bytes.
/// All in UTF-8. Encodings that cannot make a difference are left out.
std::vector<std::string> readingsOf(std::string_view bytes);

} // namespace radvex::deidentify

#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "deidentify/identifiers/IdentifierIndex.h"

namespace radvex::deidentify {

/// What identifiers look like in bytes, for telling most bytes that are none from those worth a close look.
class ByteEncodings {
  public:
    explicit ByteEncodings(const IdentifierIndex& index);

    /// Whether the byte can be a character of an identifier, in any of the encodings.
    bool isText(unsigned char byte) const { return mIsText[byte] != 0; }
    /// Whether the bytes can stand beside each other in an identifier, in any of the encodings.
    bool isPair(unsigned char first, unsigned char second) const { return mIsPair[std::size_t{first} << 8U | second]; }
    /// Of this many bytes beside each other in an identifier one is a text byte, also of letter-zero pairs.
    std::size_t step() const { return mShortestRun; }
    /// The fewest bytes of an identifier.
    std::size_t shortestRun() const { return mShortestRun; }
    /// The most bytes of an identifier, with much punctuation between its words.
    std::size_t longestRun() const { return mLongestRun; }

    /// Whether a run of text may hold an identifier. Wrong once in a while, but never when it does.
    bool mayHold(std::string_view run) const;

  private:
    void allowAscii();
    void allow(std::string_view encoded);
    void allowEncodingsOf(std::string_view utf8);
    void addAnchors(const IdentifierIndex& index);
    bool isAnchor(std::uint64_t hash) const;
    bool holdsAnchor(std::string_view text, std::size_t first, std::size_t step) const;

    std::vector<unsigned char> mIsText = std::vector<unsigned char>(256);
    std::bitset<65536> mIsPair{};
    std::vector<bool> mAnchors{};
    bool mHasTelephones = false;
    std::size_t mShortestRun = 7;
    std::size_t mLongestRun = 0;
};

/// The texts that bytes may be: as UTF-8, Latin-1 and UTF-16 with each byte order and from each of the first two bytes.
/// All in UTF-8. Encodings that cannot make a difference are left out.
std::vector<std::string> readingsOf(std::string_view bytes);

} // namespace radvex::deidentify

#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "deidentify/identifiers/KnownIdentifiers.h"

namespace radvex::deidentify {

/// Finds the bytes of names in bytes whose character set nobody knows. The time does not depend on how many names are
/// known, and hardly any is taken where none has bytes beyond ASCII.
///
/// - Bytes of a script without spaces are found beside any others, those of another script as whole words only.
/// - Bytes of ASCII, which mean characters only behind an escape sequence, are found behind one; 8 of them anywhere.
/// - In bytes that may be pixels, fewer than 6 bytes must have punctuation, spaces or control characters on both sides,
///   and are not looked for when there are very many of them.
class NameBytesFinder {
  public:
    explicit NameBytesFinder(const std::set<NameBytes>& known);

    bool isEmpty() const { return mByStart.empty(); }

    /// Bytes, and what is known about them.
    struct Piece {
        std::string_view bytes{};
        bool isText = false;    ///< too few for a find by chance
        bool isAtStart = true;  ///< no byte came before
        bool isComplete = true; ///< no byte follows
    };
    /// The first find; null when there is none. What touches an end of a piece that goes on there is no find: it has to
    /// be searched again with what stands beside it.
    const NameBytes* findIn(const Piece& piece) const;

    /// So many bytes around a find may say whether it is one.
    static constexpr std::size_t kMostAround = 512;

  private:
    using Start = std::uint32_t; ///< the first bytes of a name, of which it has at least as many

    static Start startAt(std::string_view bytes, std::size_t offset);
    static std::size_t filterIndex(Start start);
    void add(const NameBytes& name);
    const NameBytes* findAt(const Piece& piece, std::size_t begin) const;
    bool counts(const NameBytes& name, const Piece& piece, std::size_t begin) const;

    std::unordered_map<Start, std::vector<NameBytes>> mByStart{};
    std::bitset<65536> mPairs{};  ///< each two bytes beside each other in a start
    std::bitset<65536> mFilter{}; ///< of starts
    bool mHasManyShort = false;
};

} // namespace radvex::deidentify

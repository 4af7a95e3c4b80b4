#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "deidentify/identifiers/IdentifierFinder.h"

namespace radvex::deidentify {

/// Looks for identifiers in a stream of bytes that comes in pieces. An identifier may lie on the seam of pieces.
class ByteSearch {
  public:
    /// @param finder  must outlive this object
    explicit ByteSearch(const IdentifierFinder& finder) : mFinder(finder) {}

    /// Takes the next bytes. @return an identifier in the bytes so far, perhaps not yet one in the last of them
    std::optional<Identifier> add(std::string_view piece);
    /// Looks at what is left when no more bytes come.
    std::optional<Identifier> finish();

  private:
    std::optional<Identifier> searchHeld(bool isLast);
    std::optional<Identifier> lookCloselyAt(std::size_t begin, std::size_t end, bool isLast) const;

    const IdentifierFinder& mFinder;
    std::string mHeld{};    ///< bytes not looked at, and those before in which an identifier may begin
    bool mIsAtStart = true; ///< no byte came before those held
};

} // namespace radvex::deidentify

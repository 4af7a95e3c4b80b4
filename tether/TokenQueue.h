#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

namespace tether {

/// One part of an expression. Expressions are kept in prefix order: the arguments follow their function.
struct Token {
    enum class Kind { function, symbol, string, integer, real, endOfPacket };

    Kind kind = Kind::symbol;
    std::string text{};       ///< head of a function, name of a symbol, text of a string; UTF-8
    std::int64_t integer = 0; ///< value of an integer, number of arguments of a function
    double real = 0.0;
};

/// Expressions that a writer has put and a reader has not yet taken, first in, first out.
///
/// A position is the number of tokens written before it since the queue was made, so it stays valid while tokens are
/// read. Functions that can fail return an error code of velmora/Tether.h; a failure changes nothing.
class TokenQueue {
  public:
    using Position = std::uint64_t;

    /// Appends a token. Inside a function it counts as an argument, and the end of a packet is refused.
    int write(Token token);
    /// Drops everything unread, an unfinished expression included.
    void reset();

    Position readPosition() const { return mReadPosition; }
    Position endPosition() const { return mFirstKept + mTokens.size(); }
    const Token& at(Position position) const { return mTokens[static_cast<std::size_t>(position - mFirstKept)]; }

    /// The first position from `start` on that is not the end of a packet, or the end of the queue.
    Position skipPacketEnds(Position start) const;
    /// Sets `end` to the position behind the expression at `start`.
    int findExpressionEnd(Position start, Position& end) const;
    /// True when the writer is inside an expression.
    bool isHalfWritten() const { return !mOpenArguments.empty(); }

    /// Reads on from `position`, which is at or after the read position or a mark.
    void readFrom(Position position);

    /// Keeps the tokens from `mark` on until the mark is removed, even when they are read. A reset moves the mark to
    /// the end.
    void addMark(Position& mark) { mMarks.insert(&mark); }
    void removeMark(Position& mark);

  private:
    /// Frees the tokens that no reader can reach any more.
    void dropUnreachable();

    std::deque<Token> mTokens{};
    Position mFirstKept = 0;
    Position mReadPosition = 0;
    std::set<Position*> mMarks{};
    std::vector<std::int64_t> mOpenArguments{}; ///< arguments still missing, outermost function first
};

} // namespace tether

#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

namespace tether {

/// One step of an expression in prefix order: a function is followed by its arguments.
struct Token {
    enum class Kind { function, symbol, string, integer, real, endOfPacket };

    Kind kind = Kind::symbol;
    std::string text{};       ///< head of a function, name of a symbol, text of a string; UTF-8
    std::int64_t integer = 0; ///< value of an integer, number of arguments of a function
    double real = 0.0;
};

/// Expressions on their way from a writer to a reader, first in, first out.
///
/// Positions are counted from the first token ever written and stay valid while tokens are read. Functions that can
/// fail return an error code of velmora/Tether.h and change nothing when they fail.
class TokenQueue {
  public:
    using Position = std::uint64_t;

    /// Appends a token; one that is no end of packet counts as an argument of the function that is open, if any.
    int write(Token token);
    /// Drops what is unread, and what the writer has begun.
    void reset();

    Position readPosition() const { return mReadPosition; }
    Position endPosition() const { return mFirstKept + mTokens.size(); }
    const Token& at(Position position) const { return mTokens[static_cast<std::size_t>(position - mFirstKept)]; }

    /// First position from `start` on that is no end of packet; the end of the queue when there is none.
    Position skipPacketEnds(Position start) const;
    /// Finds the position behind the whole expression at `start`.
    int findExpressionEnd(Position start, Position& end) const;
    /// True when the writer is inside an expression.
    bool isHalfWritten() const { return !mOpenArguments.empty(); }

    /// Goes on reading from `position`, which is no earlier than the earliest mark.
    void readFrom(Position position);

    /// Keeps what is read from `mark` on, until the mark is removed. A reset moves the mark to the end.
    void addMark(Position& mark) { mMarks.insert(&mark); }
    void removeMark(Position& mark);

  private:
    void dropRead();

    std::deque<Token> mTokens{};
    Position mFirstKept = 0;
    Position mReadPosition = 0;
    std::set<Position*> mMarks{};
    std::vector<std::int64_t> mOpenArguments{}; ///< arguments still to come, outermost function first
};

} // namespace tether

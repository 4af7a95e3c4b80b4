#include "tether/TokenQueue.h"

#include <algorithm>

#include "velmora/Tether.h"

namespace tether {

int TokenQueue::write(Token token) {
    if (token.kind == Token::Kind::endOfPacket) {
        if (isHalfWritten()) {
            return TTE_SEQUENCE;
        }
        mTokens.push_back(std::move(token));
        return TTE_OK;
    }
    const bool opensFunction = token.kind == Token::Kind::function && token.integer > 0;
    const std::int64_t argumentCount = token.integer;
    if (opensFunction && mOpenArguments.size() == mOpenArguments.capacity()) {
        mOpenArguments.reserve(2 * mOpenArguments.size() + 1); // nothing may fail after the token is in
    }
    mTokens.push_back(std::move(token));
    if (opensFunction) {
        mOpenArguments.push_back(argumentCount);
        return TTE_OK;
    }
    while (!mOpenArguments.empty() && --mOpenArguments.back() == 0) {
        mOpenArguments.pop_back();
    }
    return TTE_OK;
}

void TokenQueue::reset() {
    mOpenArguments.clear();
    for (Position* mark : mMarks) {
        *mark = endPosition();
    }
    readFrom(endPosition());
}

TokenQueue::Position TokenQueue::skipPacketEnds(Position start) const {
    while (start < endPosition() && at(start).kind == Token::Kind::endOfPacket) {
        ++start;
    }
    return start;
}

int TokenQueue::findExpressionEnd(Position start, Position& end) const {
    std::int64_t missing = 1;
    Position position = start;
    for (; missing > 0; ++position) {
        if (position >= endPosition()) {
            return TTE_EMPTY;
        }
        const Token& token = at(position);
        if (token.kind == Token::Kind::endOfPacket) {
            return TTE_SEQUENCE;
        }
        missing += (token.kind == Token::Kind::function ? token.integer : 0) - 1;
    }
    end = position;
    return TTE_OK;
}

void TokenQueue::readFrom(Position position) {
    mReadPosition = position;
    dropUnreachable();
}

void TokenQueue::removeMark(Position& mark) {
    mMarks.erase(&mark);
    dropUnreachable();
}

void TokenQueue::dropUnreachable() {
    Position keepFrom = mReadPosition;
    for (const Position* mark : mMarks) {
        keepFrom = std::min(keepFrom, *mark);
    }
    while (mFirstKept < keepFrom) {
        mTokens.pop_front();
        ++mFirstKept;
    }
}

} // namespace tether

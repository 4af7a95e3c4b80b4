// Transfer of whole expressions, packets, functions and symbols.

#include <vector>

#include "tether/Link.h"

using tether::guarded;
using tether::Token;
using tether::TokenQueue;

namespace {

/// Appends the tokens [start, end) of `source` to `target`, without the ends of packets.
int copyTokens(TokenQueue& target, const TokenQueue& source, TokenQueue::Position start, TokenQueue::Position end) {
    // Source and target may be the same loopback, so the tokens are copied before any is written.
    std::vector<Token> tokens;
    tokens.reserve(static_cast<std::size_t>(end - start));
    for (auto position = start; position < end; ++position) {
        if (source.at(position).kind != Token::Kind::endOfPacket) {
            tokens.push_back(source.at(position));
        }
    }
    for (Token& token : tokens) {
        if (const int error = target.write(std::move(token)); error != TTE_OK) {
            return error;
        }
    }
    return TTE_OK;
}

int putText(TTLink link, Token::Kind kind, const char* text, int argumentCount) {
    if (text == nullptr) {
        return TTE_NULL;
    }
    if (argumentCount < 0) {
        return TTE_SEQUENCE;
    }
    if (!tether::isUTF8(text)) {
        return TTE_ENCODING;
    }
    return link->outgoing->write(Token{kind, text, argumentCount});
}

int packetNumber(const std::string& head) {
    if (head == "ReturnPacket") {
        return TTP_RETURN;
    }
    return head == "EvaluatePacket" ? TTP_EVALUATE : TTP_ILLEGAL;
}

/// @param argumentCount  receives the number of arguments of a function; null for a symbol
int getText(TTLink link, Token::Kind kind, const char** text, int* argumentCount) {
    return tether::readToken(link, kind, [&](const Token& token) {
        *text = tether::newTextBuffer(link, token.text.data(), token.text.size());
        if (argumentCount != nullptr) {
            *argumentCount = static_cast<int>(token.integer);
        }
        return *text == nullptr ? TTE_MEMORY : TTE_OK;
    });
}

} // namespace

int TTTransferExpression(TTLink target, TTLink source) {
    if (target == nullptr || target->error != TTE_OK) {
        return 0;
    }
    return guarded(source, __func__, [&]() -> int {
        TokenQueue& queue = *source->incoming;
        const auto start = queue.skipPacketEnds(queue.readPosition());
        TokenQueue::Position end = start;
        if (const int error = queue.findExpressionEnd(start, end); error != TTE_OK) {
            return error;
        }
        if (const int error = copyTokens(*target->outgoing, queue, start, end); error != TTE_OK) {
            return error;
        }
        queue.readFrom(end);
        return TTE_OK;
    });
}

int TTTransferToEndOfLoopbackLink(TTLink target, TTLink loopback) {
    return guarded(target, __func__, [&]() -> int {
        if (loopback == nullptr) {
            return TTE_NULL;
        }
        if (!loopback->isLoopback() || loopback == target) {
            return TTE_LINK;
        }
        if (loopback->error != TTE_OK) {
            return loopback->error;
        }
        TokenQueue& queue = *loopback->incoming;
        if (queue.isHalfWritten()) {
            return TTE_SEQUENCE;
        }
        const int error = copyTokens(*target->outgoing, queue, queue.readPosition(), queue.endPosition());
        if (error == TTE_OK) {
            queue.readFrom(queue.endPosition());
        }
        return error;
    });
}

int TTNextPacket(TTLink link) {
    int packet = TTP_ILLEGAL;
    guarded(link, __func__, [&] {
        return tether::readToken(link, Token::Kind::function, [&](const Token& token) {
            packet = packetNumber(token.text);
            return packet == TTP_ILLEGAL ? TTE_HEAD : TTE_OK;
        });
    });
    return packet;
}

int TTNewPacket(TTLink link) {
    return guarded(link, __func__, [&] {
        TokenQueue& queue = *link->incoming;
        auto position = queue.readPosition();
        while (position < queue.endPosition() && queue.at(position).kind != Token::Kind::endOfPacket) {
            ++position;
        }
        queue.readFrom(queue.skipPacketEnds(position));
        return TTE_OK;
    });
}

int TTEndPacket(TTLink link) {
    return guarded(link, __func__, [&] { return link->outgoing->write(Token{Token::Kind::endOfPacket}); });
}

int TTFlush(TTLink link) {
    return guarded(link, __func__, [] { return TTE_OK; });
}

int TTGetNext(TTLink link) {
    int type = TTTK_ERROR;
    guarded(link, __func__, [&] {
        const TokenQueue& queue = *link->incoming;
        const auto position = queue.skipPacketEnds(queue.readPosition());
        if (position == queue.endPosition()) {
            return TTE_EMPTY;
        }
        switch (queue.at(position).kind) {
        case Token::Kind::function: type = TTTK_FUNCTION; break;
        case Token::Kind::symbol: type = TTTK_SYMBOL; break;
        case Token::Kind::string: type = TTTK_STRING; break;
        case Token::Kind::integer: type = TTTK_INTEGER; break;
        case Token::Kind::real: type = TTTK_REAL; break;
        case Token::Kind::endOfPacket: break; // skipped above
        }
        return TTE_OK;
    });
    return type;
}

int TTPutFunction(TTLink link, const char* head, int argumentCount) {
    return guarded(link, __func__, [&] { return putText(link, Token::Kind::function, head, argumentCount); });
}

int TTPutSymbol(TTLink link, const char* name) {
    return guarded(link, __func__, [&] { return putText(link, Token::Kind::symbol, name, 0); });
}

int TTGetFunction(TTLink link, const char** head, int* argumentCount) {
    return guarded(link, __func__, [&]() -> int {
        if (head == nullptr || argumentCount == nullptr) {
            return TTE_NULL;
        }
        return getText(link, Token::Kind::function, head, argumentCount);
    });
}

int TTGetSymbol(TTLink link, const char** name) {
    return guarded(link, __func__, [&]() -> int {
        if (name == nullptr) {
            return TTE_NULL;
        }
        return getText(link, Token::Kind::symbol, name, nullptr);
    });
}

void TTReleaseSymbol(TTLink link, const char* name) { tether::release(link, name); }

int TTTestHead(TTLink link, const char* head, int* argumentCount) {
    return guarded(link, __func__, [&]() -> int {
        if (head == nullptr || argumentCount == nullptr) {
            return TTE_NULL;
        }
        return tether::readToken(link, Token::Kind::function, [&](const Token& token) {
            if (token.text != head) {
                return TTE_HEAD;
            }
            *argumentCount = static_cast<int>(token.integer);
            return TTE_OK;
        });
    });
}

int TTTestSymbol(TTLink link, const char* name) {
    return guarded(link, __func__, [&]() -> int {
        if (name == nullptr) {
            return TTE_NULL;
        }
        return tether::readToken(link, Token::Kind::symbol,
                                 [&](const Token& token) { return token.text == name ? TTE_OK : TTE_HEAD; });
    });
}

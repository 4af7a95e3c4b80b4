#pragma once

#include <memory>
#include <new>
#include <set>
#include <unordered_set>

#include "tether/TokenQueue.h"
#include "velmora/Tether.h"

/// Keeps what was opened and handed out, so that leaks can be counted and nothing is released twice.
struct TTEnvironmentRecord {
    std::set<TTLink> links{};
    std::unordered_set<const void*> buffers{};
    TTFaultHook faultHook = nullptr;
    void* faultContext = nullptr;

    bool refuses(const char* function) const { return faultHook != nullptr && faultHook(function, faultContext) != 0; }

    /// A buffer for the caller of a get function; null when there is no memory.
    void* newBuffer(std::size_t bytes);
    /// Frees a buffer made by newBuffer; anything else is left alone.
    void releaseBuffer(const void* buffer);
};

struct TTMarkRecord {
    tether::TokenQueue::Position position = 0;
};

struct TTLinkRecord {
    TTEnvironment environment = nullptr;
    std::shared_ptr<tether::TokenQueue> incoming{};
    std::shared_ptr<tether::TokenQueue> outgoing{}; ///< the same queue for a loopback
    std::set<std::unique_ptr<TTMarkRecord>> marks{};
    int error = TTE_OK;

    bool isLoopback() const { return incoming == outgoing; }
};

namespace tether {

/// Frame of every link function that can fail: null link, standing error, refusal and lost memory end here.
/// `body` returns an error code. Gives 1 for success and 0 for failure.
template <typename Body>
int guarded(TTLink link, const char* function, Body body) {
    if (link == nullptr || link->error != TTE_OK) {
        return 0;
    }
    if (link->environment->refuses(function)) {
        link->error = TTE_REFUSED;
        return 0;
    }
    try {
        link->error = body();
    } catch (const std::bad_alloc&) {
        link->error = TTE_MEMORY;
    }
    return link->error == TTE_OK ? 1 : 0;
}

/// A copy of `length` units and a zero unit behind them, owned by the caller of a get function.
template <typename Unit>
Unit* newTextBuffer(TTLink link, const Unit* units, std::size_t length) {
    auto* buffer = static_cast<Unit*>(link->environment->newBuffer((length + 1) * sizeof(Unit)));
    if (buffer != nullptr) {
        std::copy(units, units + length, buffer);
        buffer[length] = Unit{0};
    }
    return buffer;
}

/// Reads the next token when it is of the given kind. `consume` gets it and returns an error code; only when that is
/// TTE_OK the token is taken off.
template <typename Consume>
int readToken(TTLink link, Token::Kind kind, Consume consume) {
    TokenQueue& queue = *link->incoming;
    const auto position = queue.skipPacketEnds(queue.readPosition());
    if (position == queue.endPosition()) {
        return TTE_EMPTY;
    }
    const Token& token = queue.at(position);
    if (token.kind != kind) {
        return TTE_TYPE;
    }
    if (const int error = consume(token); error != TTE_OK) {
        return error;
    }
    queue.readFrom(position + 1);
    return TTE_OK;
}

} // namespace tether

#pragma once

#include <algorithm>
#include <memory>
#include <new>
#include <set>
#include <string_view>
#include <unordered_set>

#include "tether/TokenQueue.h"
#include "velmora/Tether.h"

/// Keeps every open link and every buffer that was handed out, so that leaks can be counted and nothing is released
/// twice.
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

/// Every link function that can fail runs its body here. A null link, an error that the link has already, a refusal by
/// the fault hook and a lack of memory are failures. `body` returns an error code.
/// @return 1 for success, 0 for failure
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

/// True for text that is well-formed UTF-8, the form in which text is kept on a link.
bool isUTF8(std::string_view text);

/// Releases what a get function handed out.
inline void release(TTLink link, const void* buffer) {
    if (link != nullptr) {
        link->environment->releaseBuffer(buffer);
    }
}

/// A copy of `length` units and a zero unit behind them, for the caller of a get function; null without memory.
template <typename Unit>
Unit* newTextBuffer(TTLink link, const Unit* units, std::size_t length) {
    auto* buffer = static_cast<Unit*>(link->environment->newBuffer((length + 1) * sizeof(Unit)));
    if (buffer != nullptr) {
        std::copy(units, units + length, buffer);
        buffer[length] = Unit{0};
    }
    return buffer;
}

/// Calls `consume` with the next token if that is of the given kind. `consume` returns an error code; the token is
/// removed from the queue only for TTE_OK.
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

#include "tether/Link.h"

#include <cstdlib>
#include <cstring>

using tether::guarded;
using tether::TokenQueue;

void* TTEnvironmentRecord::newBuffer(std::size_t bytes) {
    void* buffer = std::malloc(bytes);
    if (buffer != nullptr) {
        try {
            buffers.insert(buffer);
        } catch (const std::bad_alloc&) {
            std::free(buffer);
            buffer = nullptr;
        }
    }
    return buffer;
}

void TTEnvironmentRecord::releaseBuffer(const void* buffer) {
    if (buffers.erase(buffer) != 0) {
        std::free(const_cast<void*>(buffer));
    }
}

namespace {

TTLink newLink(TTEnvironment environment, std::shared_ptr<TokenQueue> incoming, std::shared_ptr<TokenQueue> outgoing) {
    auto link = std::make_unique<TTLinkRecord>();
    link->environment = environment;
    link->incoming = std::move(incoming);
    link->outgoing = std::move(outgoing);
    environment->links.insert(link.get());
    return link.release();
}

/// Runs `open` unless an output pointer is missing or the fault hook refuses, and sets `*error`. @return 1 for success
template <typename Open>
int openLinks(TTEnvironment environment, bool hasOutputs, const char* function, int* error, Open open) {
    int code = TTE_OK;
    if (environment == nullptr || !hasOutputs) {
        code = TTE_NULL;
    } else if (environment->refuses(function)) {
        code = TTE_REFUSED;
    } else {
        try {
            open();
        } catch (const std::bad_alloc&) {
            code = TTE_MEMORY;
        }
    }
    if (error != nullptr) {
        *error = code;
    }
    return code == TTE_OK ? 1 : 0;
}

auto findMark(TTLink link, TTMark mark) {
    return std::find_if(link->marks.begin(), link->marks.end(), [&](const auto& known) { return known.get() == mark; });
}

const char* errorSentence(int error) {
    switch (error) {
    case TTE_OK: return nullptr;
    case TTE_NULL: return "A null pointer was passed.";
    case TTE_MEMORY: return "There is not enough memory.";
    case TTE_EMPTY: return "No whole expression is left to read.";
    case TTE_TYPE: return "The next expression is of another type.";
    case TTE_RANGE: return "The number does not fit the type asked for.";
    case TTE_SEQUENCE: return "Arguments or packets are out of sequence.";
    case TTE_ENCODING: return "The text is not well formed, or the encoding cannot hold it.";
    case TTE_HEAD: return "The next expression has another head.";
    case TTE_SHAPE: return "The nested lists do not form a rectangular array.";
    case TTE_REFUSED: return "The host refused the call.";
    case TTE_LINK: return "This kind of link cannot do that.";
    default: return "An unknown error occurred.";
    }
}

} // namespace

TTEnvironment TTInitialize(void) { return new (std::nothrow) TTEnvironmentRecord; }

void TTDeinitialize(TTEnvironment environment) {
    if (environment == nullptr) {
        return;
    }
    while (!environment->links.empty()) {
        TTClose(*environment->links.begin());
    }
    while (!environment->buffers.empty()) {
        environment->releaseBuffer(*environment->buffers.begin());
    }
    delete environment;
}

void TTSetFaultHook(TTEnvironment environment, TTFaultHook hook, void* context) {
    if (environment != nullptr) {
        environment->faultHook = hook;
        environment->faultContext = context;
    }
}

int TTOpenLinkCount(TTEnvironment environment) {
    if (environment == nullptr) {
        return 0;
    }
    std::size_t count = environment->links.size();
    for (const TTLink link : environment->links) {
        count += link->marks.size();
    }
    return static_cast<int>(count);
}

int TTOpenBufferCount(TTEnvironment environment) {
    return environment == nullptr ? 0 : static_cast<int>(environment->buffers.size());
}

TTLink TTLoopbackOpen(TTEnvironment environment, int* error) {
    TTLink link = nullptr;
    openLinks(environment, true, __func__, error, [&] {
        auto queue = std::make_shared<TokenQueue>();
        link = newLink(environment, queue, queue);
    });
    return link;
}

int TTOpenPair(TTEnvironment environment, TTLink* first, TTLink* second, int* error) {
    return openLinks(environment, first != nullptr && second != nullptr, __func__, error, [&] {
        auto toSecond = std::make_shared<TokenQueue>();
        auto toFirst = std::make_shared<TokenQueue>();
        std::unique_ptr<TTLinkRecord, void (*)(TTLink)> opened(newLink(environment, toFirst, toSecond), TTClose);
        *second = newLink(environment, toSecond, toFirst);
        *first = opened.release();
    });
}

TTEnvironment TTLinkEnvironment(TTLink link) {
    return link == nullptr || link->environment->refuses(__func__) ? nullptr : link->environment;
}

void TTClose(TTLink link) {
    if (link == nullptr) {
        return;
    }
    while (!link->marks.empty()) {
        TTDestroyMark(link, link->marks.begin()->get());
    }
    link->environment->links.erase(link);
    delete link;
}

int TTReset(TTLink link) {
    if (link == nullptr) {
        return 0;
    }
    link->incoming->reset();
    link->outgoing->reset();
    link->error = TTE_OK;
    return 1;
}

int TTError(TTLink link) { return link == nullptr ? TTE_NULL : link->error; }

const char* TTErrorMessage(TTLink link) {
    if (link == nullptr || link->environment->refuses(__func__)) {
        return nullptr;
    }
    const char* sentence = errorSentence(link->error);
    return sentence == nullptr ? nullptr : tether::newTextBuffer(link, sentence, std::strlen(sentence));
}

void TTReleaseErrorMessage(TTLink link, const char* message) { tether::release(link, message); }

int TTClearError(TTLink link) {
    if (link == nullptr) {
        return 0;
    }
    link->error = TTE_OK;
    return 1;
}

TTMark TTCreateMark(TTLink link) {
    TTMark created = nullptr;
    guarded(link, __func__, [&] {
        auto mark = std::make_unique<TTMarkRecord>();
        mark->position = link->incoming->readPosition();
        const auto inserted = link->marks.insert(std::move(mark)).first;
        try {
            link->incoming->addMark((*inserted)->position);
        } catch (const std::bad_alloc&) {
            link->marks.erase(inserted);
            throw;
        }
        created = inserted->get();
        return TTE_OK;
    });
    return created;
}

TTMark TTSeekMark(TTLink link, TTMark mark, int skip) {
    const int done = guarded(link, __func__, [&]() -> int {
        if (mark == nullptr || findMark(link, mark) == link->marks.end()) {
            return TTE_NULL;
        }
        if (skip < 0) {
            return TTE_SEQUENCE;
        }
        TokenQueue& queue = *link->incoming;
        auto position = mark->position;
        for (int skipped = 0; skipped < skip; ++skipped) {
            if (const int error = queue.findExpressionEnd(queue.skipPacketEnds(position), position); error != TTE_OK) {
                return error;
            }
        }
        queue.readFrom(position);
        return TTE_OK;
    });
    return done != 0 ? mark : nullptr;
}

void TTDestroyMark(TTLink link, TTMark mark) {
    if (link == nullptr) {
        return;
    }
    if (const auto found = findMark(link, mark); found != link->marks.end()) {
        link->incoming->removeMark((*found)->position);
        link->marks.erase(found);
    }
}

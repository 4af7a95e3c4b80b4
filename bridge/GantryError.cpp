#include "bridge/GantryError.h"

#include "bridge/ErrorManager.h"

namespace GTU {

GantryError::GantryError(int id, const std::string& name, std::string message)
    : std::runtime_error(name), errorId(id), type(name), messageTemplate(std::move(message)) {}

// The source may be destroyed before the copy, so they must not share a loopback.
GantryError::GantryError(const GantryError& other)
    : std::runtime_error(other),
      errorId(other.errorId),
      type(other.type),
      messageTemplate(other.messageTemplate),
      debugInfo(other.debugInfo) {
    if (other.messageParams == nullptr) {
        return;
    }
    messageParams = openLoopback(TTLinkEnvironment(other.messageParams));
    if (messageParams == nullptr) {
        return;
    }
    // The transfer consumes the source's list; the mark brings it back, so that the source can be copied again.
    const TTMark start = TTCreateMark(other.messageParams);
    if (start == nullptr || TTTransferToEndOfLoopbackLink(messageParams, other.messageParams) == 0) {
        TTClose(std::exchange(messageParams, nullptr));
    }
    TTSeekMark(other.messageParams, start, 0);
    TTDestroyMark(other.messageParams, start);
    TTClearError(other.messageParams);
}

// The base is copied: that cannot fail, and leaves the source's what() intact.
GantryError::GantryError(GantryError&& other) noexcept
    : std::runtime_error(other), // NOLINT(performance-move-constructor-init,cert-oop11-cpp)
      errorId(other.errorId),
      type(std::move(other.type)),
      messageTemplate(std::move(other.messageTemplate)),
      debugInfo(std::move(other.debugInfo)),
      messageParams(std::exchange(other.messageParams, nullptr)) {}

GantryError::~GantryError() { TTClose(messageParams); }

TTLink GantryError::openLoopback(TTEnvironment environment) {
    int error = -1;
    const TTLink link = TTLoopbackOpen(environment, &error);
    return error == 0 ? link : nullptr;
}

std::string GantryError::getExceptionDetailsSymbol() {
    return exceptionDetailsSymbolContext + "GTU`$LastFailureParameters";
}

int GantryError::sendParameters(VelmoraLibraryData libData, const std::string& symbol) const noexcept {
    if (libData == nullptr) {
        return 0;
    }
    if (messageParams == nullptr) {
        return VELMORA_FUNCTION_ERROR;
    }
    TTLink link = nullptr;
    TTLink packet = nullptr;
    int code = 0;
    try {
        link = libData->getTetherLink(libData);
        using Stream = TTStream<TT::Encoding::UTF8, TT::Encoding::UTF8>;
        const Stream delivery(link); // refuses a null link
        // Composed elsewhere and moved in one piece: a failure half way leaves nothing on the link.
        packet = openLoopback(TTLinkEnvironment(link));
        Stream(packet) << TT::Function("EvaluatePacket", 1) << TT::Function("Set", 2) << TT::Symbol(symbol);
        if (TTTransferToEndOfLoopbackLink(packet, messageParams) == 0 || TTTransferExpression(link, packet) == 0) {
            code = VELMORA_FUNCTION_ERROR;
        } else {
            libData->processTetherLink(link);
            if (TTNextPacket(link) == TTP_RETURN) {
                TT::checkError(link, TTNewPacket(link), ErrorName::TTPacketHandleError, "Error in TTNewPacket");
            }
        }
    } catch (const GantryError& error) {
        code = error.id();
    } catch (...) {
        code = VELMORA_FUNCTION_ERROR;
    }
    if (packet != nullptr) {
        TTClose(packet);
    }
    TTClearError(link); // the next error uses the same link
    return code;
}

} // namespace GTU

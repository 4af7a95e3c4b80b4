#include "bridge/Utilities.h"

#include "bridge/ErrorManager.h"

namespace GTU::TT {

void checkError(TTLink link, int status, const std::string& errorName, const std::string& debugInfo) {
    if (status != 0) {
        return;
    }
    ErrorManager::throwExceptionWithDebugInfo(errorName, getTTErrorText(link) + "\nDebug info: " + debugInfo);
}

std::string getTTErrorText(TTLink link) {
    std::string text = "Error code reported by Tether: " + std::to_string(TTError(link)) + "\n";
    if (const char* message = TTErrorMessage(link); message != nullptr) {
        text += '"';
        text += message;
        text += '"';
        TTReleaseErrorMessage(link, message);
    }
    TTClearError(link);
    return text;
}

TTLink getNewLoopback(TTLink link) {
    int error = -1;
    const TTLink loopback = TTLoopbackOpen(TTLinkEnvironment(link), &error);
    if (loopback == nullptr || error != 0) {
        ErrorManager::throwExceptionWithDebugInfo(ErrorName::TTCreateLoopbackError,
                                                  "Error code: " + std::to_string(error));
    }
    return loopback;
}

int countExpressionsInLoopbackLink(TTLink& link) {
    const TTLink moved = getNewLoopback(link);
    int count = 0;
    while (TTTransferExpression(moved, link) != 0) {
        ++count;
    }
    TTClose(link);
    link = moved;
    return count;
}

} // namespace GTU::TT

#pragma once

#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// Checks the status of a link function, which is 0 for a failure.
/// @throws GantryError  `errorName` for a failure; its debug information is the link's own error text and `debugInfo`.
///                      The link's error is cleared, so that the link can be used again
void checkError(TTLink link, int status, const std::string& errorName, const std::string& debugInfo);

/// The link's error code and message as one text. Clears the error.
std::string getTTErrorText(TTLink link);

/// A loopback in the environment of `link`.
/// @throws GantryError  TTCreateLoopbackError
TTLink getNewLoopback(TTLink link);

/// Counts the whole expressions on a loopback. They are moved to a new loopback, which replaces `link`.
/// @throws GantryError  TTCreateLoopbackError
int countExpressionsInLoopbackLink(TTLink& link);

} // namespace GTU::TT

#pragma once

#include <string>

#include "velmora/Tether.h"

namespace GTU::TT {

/// Returns for a non-zero status of a link function.
/// @throws GantryError  `errorName`, its debug information being the link's own error text and `debugInfo`; the link's
///                      error is cleared, so that it can be used again
void checkError(TTLink link, int status, const std::string& errorName, const std::string& debugInfo);

/// The link's error code and sentence as text. Clears the error.
std::string getTTErrorText(TTLink link);

/// A loopback in the environment of `link`.
/// @throws GantryError  TTCreateLoopbackError
TTLink getNewLoopback(TTLink link);

/// Counts whole expressions by moving them to a new loopback, which takes the place of `link`.
/// @throws GantryError  TTCreateLoopbackError
int countExpressionsInLoopbackLink(TTLink& link);

} // namespace GTU::TT

#pragma once

#include <exception>

#include "bridge/VArgumentManager.h"

namespace GTU {

/// Runs `body(manager)` for an exported function and turns an exception into the return code: the id of a GantryError,
/// 6 for any other std::exception. Anything else that is thrown leaves the function.
template <typename Body>
int guardedCall(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res, Body body) {
    try {
        VArgumentManager mngr(libData, argc, args, res);
        body(mngr);
    } catch (const GantryError& error) {
        return error.id();
    } catch (const std::exception&) {
        return VELMORA_FUNCTION_ERROR;
    }
    return VELMORA_NO_ERROR;
}

/// Runs `body()` and turns everything that is thrown into the return code: the id of a GantryError, else 6.
template <typename Body>
int guardedAgainstAll(Body body) {
    try {
        body();
    } catch (const GantryError& error) {
        return error.id();
    } catch (...) {
        return VELMORA_FUNCTION_ERROR;
    }
    return VELMORA_NO_ERROR;
}

/// guardedCall for the functions that let no exception out, whatever its type.
template <typename Body>
int guardedCallAgainstAll(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res, Body body) {
    return guardedAgainstAll([&] {
        VArgumentManager mngr(libData, argc, args, res);
        body(mngr);
    });
}

} // namespace GTU

#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bridge/Errors.h"
#include "bridge/GantryError.h"
#include "bridge/LibraryData.h"

namespace GTU {

/// The table of registered errors: assigns ids, finds entries and throws them.
///
/// Callers name an error and pass the values for the slots of its message, in the order of the slots. Values are
/// strings, C strings, `int` or `long long`; they travel to the host beside the return code.
class ErrorManager {
  public:
    ErrorManager() = delete;

    using Table = std::unordered_map<std::string, const GantryError>;

    /// The table; the first call registers the bridge's own errors.
    static const Table& errors() { return mutableErrors(); }

    /// Registers the (name, message) pairs of a library, in order.
    /// @throws GantryError  ErrorManagerCreateNameError when a name is registered with another message
    static void registerPlugpackErrors(const std::vector<std::pair<std::string, std::string>>& pairs);

    /// Registers one pair. The same pair again changes nothing, so that initializing twice is harmless.
    /// @throws GantryError  ErrorManagerCreateNameError
    static void set(const std::pair<std::string, std::string>& error);

    /// @throws GantryError  ErrorManagerThrowNameError when no error has that name
    static const GantryError& findError(const std::string& name);
    /// @throws GantryError  ErrorManagerThrowIdError when no error has that id
    static const GantryError& findError(int id);

    /// The id that the next registered error will get. Only registration changes it.
    static int& nextErrorId();

    template <typename... Params>
    [[noreturn]] static void throwException(const std::string& name, const Params&... params) {
        throwExceptionWithDebugInfo(LibraryData::uncheckedAPI(), name, std::string{}, params...);
    }

    template <typename... Params>
    [[noreturn]] static void throwExceptionWithDebugInfo(const std::string& name, const std::string& debugInfo,
                                                         const Params&... params) {
        throwExceptionWithDebugInfo(LibraryData::uncheckedAPI(), name, debugInfo, params...);
    }

    template <typename... Params>
    [[noreturn]] static void throwExceptionWithDebugInfo(VelmoraLibraryData libData, const std::string& name,
                                                         const std::string& debugInfo, const Params&... params) {
        GantryError error(findError(name));
        error.setDebugInfo(debugInfo);
        if constexpr (sizeof...(params) > 0) {
            if (libData != nullptr) {
                error.setMessageParameters(libData, params...);
                if (sendParametersImmediately) {
                    // A failed delivery must not replace the error that is being thrown.
                    (void)error.sendParameters(libData, GantryError::getExceptionDetailsSymbol());
                }
            }
        }
        throw std::move(error);
    }

    /// Reads an empty argument list from the link and answers with an Association of all errors: name -> {id, message}.
    /// @throws GantryError  TTTestHeadError, TTPacketHandleError, TTFlowControlError or one of the put errors
    static void sendRegisteredErrorsViaTether(TTLink link);

  private:
    static Table& mutableErrors();
    static Table registerGTUErrors();

    static inline bool sendParametersImmediately = true;
};

} // namespace GTU

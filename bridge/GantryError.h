#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "bridge/TTStream.h"
#include "velmora/VelmoraLibrary.h"

namespace GTU {

/// The one exception class of the bridge: a registered error.
///
/// `what()` is the error's name. The message stays a template. The values for its slots are kept as one list on a
/// loopback of the exception's own, until they are sent over the link.
/// Throw it through ErrorManager, never by hand.
class GantryError : public std::runtime_error {
  public:
    GantryError(int id, const std::string& name, std::string message);

    /// The copy gets a loopback of its own with the same parameters, or none when the link refuses that.
    GantryError(const GantryError& other);
    /// Takes the parameters over.
    GantryError(GantryError&& other) noexcept;
    GantryError& operator=(const GantryError&) = delete;
    GantryError& operator=(GantryError&&) = delete;
    ~GantryError() override;

    int id() const { return errorId; }
    const std::string& name() const { return type; }
    const std::string& message() const { return messageTemplate; }
    /// Text for the developer; it never reaches the host.
    const std::string& getDebugInfo() const { return debugInfo; }
    void setDebugInfo(std::string text) { debugInfo = std::move(text); }

    /// The loopback with the parameters as one list, borrowed; null when there are none.
    TTLink parameters() const { return messageParams; }

    /// Keeps the values (strings, `int` or `long long`) as a list on a new loopback. If the host refuses a loopback,
    /// the error has no parameters.
    template <typename... Params>
    void setMessageParameters(VelmoraLibraryData libData, const Params&... params) {
        TTClose(std::exchange(messageParams, openLoopback(libData->getTetherLinkEnvironment(libData))));
        if (messageParams == nullptr) {
            return;
        }
        TTStream<TT::Encoding::UTF8, TT::Encoding::UTF8> stream(messageParams);
        stream << TT::List(static_cast<int>(sizeof...(params)));
        (stream << ... << params);
    }

    /// Asks the host to set `symbol` to the list of parameters. The list is then no longer the exception's.
    /// @return 0, or the code of the failure; nothing is thrown, since an error is being raised already
    int sendParameters(VelmoraLibraryData libData, const std::string& symbol) const noexcept;

    /// A new loopback, null on failure.
    static TTLink openLoopback(TTEnvironment environment);

    /// The prefix of the symbol's name.
    static void setExceptionDetailsSymbolContext(std::string context) { exceptionDetailsSymbolContext.swap(context); }
    static const std::string& getExceptionDetailsSymbolContext() { return exceptionDetailsSymbolContext; }
    /// The symbol that holds the parameters of the last error that had any.
    static std::string getExceptionDetailsSymbol();

  private:
    int errorId;
    std::string type;
    std::string messageTemplate;
    std::string debugInfo{};
    TTLink messageParams = nullptr;

    static inline std::string exceptionDetailsSymbolContext{};
};

} // namespace GTU

#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "bridge/Put.h"
#include "bridge/TTStream.h"
#include "velmora/VelmoraLibrary.h"

namespace GTU {

/// The one exception class: a registered error on its way to the host.
///
/// `what()` is the error's name. The message stays a template; the values for its slots travel over the link, as one
/// list that the exception keeps on a loopback of its own until they are sent.
/// Throw through ErrorManager, never by hand.
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

    /// Loopback with the parameters as one list, null when there are none. Stays the exception's.
    TTLink parameters() const { return messageParams; }

    /// Keeps the values (strings, `int` or `long long`) as a list on a new loopback. Without a loopback the error goes
    /// without parameters.
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

    /// Has the host set `symbol` to the list of parameters, which leave the exception with it.
    /// @return 0, or the code of what went wrong; nothing escapes, since an error is being raised
    int sendParameters(VelmoraLibraryData libData, const std::string& symbol) const noexcept;

    /// A new loopback, null on failure.
    static TTLink openLoopback(TTEnvironment environment);

    /// What stands in front of the symbol's name; swapped in.
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

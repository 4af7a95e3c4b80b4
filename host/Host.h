#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/Declarations.h"
#include "host/Services.h"
#include "host/Value.h"

namespace velmora {

/// An error that a library returned: its code, the name registered for it, and the message with its slots filled.
class LibraryError : public std::runtime_error {
  public:
    LibraryError(int errorCode, std::string errorName, const std::string& message,
                 std::vector<std::string> errorParameters = {})
        : std::runtime_error(message),
          mCode(errorCode),
          mName(std::move(errorName)),
          mParameters(std::move(errorParameters)) {}

    int code() const { return mCode; }
    const std::string& name() const { return mName; }
    /// The values for the slots of the message, as the library sent them.
    const std::vector<std::string>& parameters() const { return mParameters; }

  private:
    int mCode;
    std::string mName;
    std::vector<std::string> mParameters;
};

/// One entry of a library's table of errors.
struct RegisteredError {
    int id = 0;
    std::string name{};
    std::string message{};
};

/// Fills the slots of a message template. A slot is a name in backticks; the values replace slots and backticks in
/// order. A slot without a value stays as it is, a value without a slot is ignored.
std::string fillMessage(const std::string& messageTemplate, const std::vector<std::string>& values);

/// Loads a library into this process and calls its functions by name. There is one host at a time in a process.
///
///     auto host = velmora::Host::load("Radvex.so", velmora::radvexDeclarations());
///     vint frames = host->call("GetFrameCount", {"scan.dcm"}).get<vint>();
class Host {
  public:
    /// Loads and initializes the library, and learns its errors.
    /// @throws HostError     the file cannot be loaded, or lacks an entry point
    /// @throws LibraryError  it refused to initialize
    static std::unique_ptr<Host> load(const std::string& path, const std::vector<Declaration>& declarations);
    /// Uninitializes and unloads the library.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Calls a function and returns its result, Null if it has none. The number of arguments is not checked. For an
    /// argument of another kind than the declared one the library gets an empty cell (0, null text or a null handle).
    /// @throws LibraryError  the library returned an error
    /// @throws HostError     the function is not declared, or the library does not export it
    Value call(const std::string& name, const std::vector<Value>& arguments = {});

    /// All registered errors, the highest id first.
    std::vector<RegisteredError> errors() const;

    Services& services() { return mServices; }
    /// Address of an exported symbol, null when there is none.
    void* symbol(const std::string& name) const;

  private:
    struct Unload {
        void operator()(void* library) const;
    };

    Host(const std::string& path, const std::vector<Declaration>& declarations);
    void* requireSymbol(const std::string& name) const;
    void initialize();
    void learnErrors();
    void readErrorTable();
    [[noreturn]] void throwError(int code) const;
    /// Frees the objects that a call left behind. All are violations, except for the unfinished result of a failed
    /// call.
    void collectLeftovers(bool hasSucceeded);

    Services mServices{};
    std::unique_ptr<void, Unload> mLibrary{};
    std::unordered_map<std::string, Declaration> mDeclarations{};
    std::unordered_map<std::string, VelmoraFunction> mFunctions{};
    std::map<int, RegisteredError, std::greater<>> mErrors{};
    std::string mParametersSymbol{};
    bool mInitialized = false;
};

} // namespace velmora

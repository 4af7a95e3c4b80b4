#pragma once

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
    LibraryError(int errorCode, std::string errorName, const std::string& message)
        : std::runtime_error(message), mCode(errorCode), mName(std::move(errorName)) {}

    int code() const { return mCode; }
    const std::string& name() const { return mName; }

  private:
    int mCode;
    std::string mName;
};

/// One entry of the table of errors that a library publishes.
struct RegisteredError {
    int id = 0;
    std::string name{};
    std::string message{};
};

/// Loads a library into this process and calls its functions by name. One at a time in a process.
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

    /// Calls a function and gives its result, Null when it has none. The arguments go to the library as they are, also
    /// when there are too few or too many; in place of one that is not of the declared kind the library finds an empty
    /// cell (0, null text or a null handle).
    /// @throws LibraryError  the library returned an error
    /// @throws HostError     there is no such function
    Value call(const std::string& name, const std::vector<Value>& arguments = {});

    /// All registered errors, by falling id.
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
    void collectLeftovers(bool succeeded);

    Services mServices{};
    std::unique_ptr<void, Unload> mLibrary{};
    std::unordered_map<std::string, Declaration> mDeclarations{};
    std::unordered_map<std::string, VelmoraFunction> mFunctions{};
    std::unordered_map<int, RegisteredError> mErrors{};
    std::string mParametersSymbol{};
    bool mInitialized = false;
};

} // namespace velmora

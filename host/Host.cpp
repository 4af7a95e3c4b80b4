#include "host/Host.h"

#include <dlfcn.h>

#include "host/CallFrame.h"

namespace velmora {

namespace {

constexpr const char* kSetContext = "setExceptionDetailsContext";
// Prefix of the symbol under which a library sends the parameters of an error.
constexpr const char* kSymbolContext = "Host`";

/// Runs library code. An exception that leaves it counts as the general failure of a function.
template <typename Call>
int runLibrary(Services& services, Call call) {
    services.setInLibrary(true);
    int code = VELMORA_FUNCTION_ERROR;
    try {
        code = call();
    } catch (...) {
        code = VELMORA_FUNCTION_ERROR;
    }
    services.setInLibrary(false);
    return code;
}

void destroyAny(ObjectKind kind, void* object) {
    switch (kind) {
    case ObjectKind::dataStore: destroyDataStore(static_cast<DataStore>(object)); break;
    case ObjectKind::tensor: destroyTensor(static_cast<VTensor>(object)); break;
    case ObjectKind::numericArray: destroyNumericArray(static_cast<VNumericArray>(object)); break;
    case ObjectKind::image: destroyImage(static_cast<VImage>(object)); break;
    case ObjectKind::string: break; // the call frame frees strings
    }
}

} // namespace

std::string fillMessage(const std::string& messageTemplate, const std::vector<std::string>& values) {
    std::string message;
    std::size_t offset = 0;
    for (const std::string& value : values) {
        const std::size_t open = messageTemplate.find('`', offset);
        const std::size_t close = open == std::string::npos ? open : messageTemplate.find('`', open + 1);
        if (close == std::string::npos) {
            break;
        }
        message.append(messageTemplate, offset, open - offset).append(value);
        offset = close + 1;
    }
    return message.append(messageTemplate, offset, std::string::npos);
}

void Host::Unload::operator()(void* library) const { dlclose(library); }

std::unique_ptr<Host> Host::load(const std::string& path, const std::vector<Declaration>& declarations) {
    std::unique_ptr<Host> host(new Host(path, declarations));
    host->initialize();
    return host;
}

Host::Host(const std::string& path, const std::vector<Declaration>& declarations) {
    mLibrary.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (mLibrary == nullptr) {
        throw HostError("The library " + path + " cannot be loaded: " + dlerror());
    }
    for (const Declaration& declaration : declarations) {
        mDeclarations.emplace(declaration.name, declaration);
    }
}

Host::~Host() {
    if (mInitialized) {
        if (void* found = symbol("VelmoraLibrary_uninitialize"); found != nullptr) {
            reinterpret_cast<VelmoraUninitializeFunction>(found)(mServices.table());
        }
    }
}

void* Host::symbol(const std::string& name) const { return dlsym(mLibrary.get(), name.c_str()); }

void* Host::requireSymbol(const std::string& name) const {
    void* found = symbol(name);
    if (found == nullptr) {
        throw HostError("The library has no function '" + name + "'.");
    }
    return found;
}

void Host::initialize() {
    const auto entry = reinterpret_cast<VelmoraInitializeFunction>(requireSymbol("VelmoraLibrary_initialize"));
    const int code = runLibrary(mServices, [&] { return entry(mServices.table()); });
    if (code != VELMORA_NO_ERROR) {
        throw LibraryError(code, "", "The library did not initialize; it returned " + std::to_string(code) + ".");
    }
    mInitialized = true;
    learnErrors();
}

void Host::learnErrors() {
    if (symbol("sendRegisteredErrors") == nullptr || symbol(kSetContext) == nullptr) {
        return; // a library without named errors
    }
    (void)call(kSetContext, {kSymbolContext});
    const auto send = reinterpret_cast<VelmoraLinkFunction>(symbol("sendRegisteredErrors"));
    mServices.resetLink();
    TTPutFunction(mServices.hostLink(), "List", 0);
    TTEndPacket(mServices.hostLink());
    const int code = runLibrary(mServices, [&] { return send(mServices.table(), mServices.libraryLink()); });
    if (code != VELMORA_NO_ERROR) {
        throw LibraryError(code, "", "The library did not send its errors; it returned " + std::to_string(code) + ".");
    }
    readErrorTable();
}

void Host::readErrorTable() {
    const TTLink link = mServices.hostLink();
    const auto require = [](bool isRead) {
        if (!isRead) {
            throw HostError("The library's table of errors cannot be read.");
        }
    };
    int count = 0;
    require(TTTestHead(link, "Association", &count) != 0);
    for (int index = 0; index < count; ++index) {
        RegisteredError error;
        int ignored = 0;
        require(TTTestHead(link, "Rule", &ignored) != 0 && readString(link, error.name) &&
                TTTestHead(link, "List", &ignored) != 0 && TTGetInteger32(link, &error.id) != 0 &&
                readString(link, error.message));
        mErrors.emplace(error.id, error);
    }
    TTNewPacket(link);
}

Value Host::call(const std::string& name, const std::vector<Value>& arguments) {
    const auto declared = mDeclarations.find(name);
    if (declared == mDeclarations.end()) {
        throw HostError("There is no function '" + name + "'.");
    }
    auto& function = mFunctions[name];
    if (function == nullptr) {
        function = reinterpret_cast<VelmoraFunction>(requireSymbol(name));
    }
    mServices.clearSymbol(mParametersSymbol);
    mServices.resetLink();

    CallFrame frame(declared->second, arguments);
    const int code =
        runLibrary(mServices, [&] { return function(mServices.table(), frame.argc(), frame.args(), frame.res()); });
    Value result = code == VELMORA_NO_ERROR ? frame.takeResult(declared->second.result) : Value{};
    collectLeftovers(code == VELMORA_NO_ERROR);
    if (code != VELMORA_NO_ERROR) {
        throwError(code);
    }
    if (name == kSetContext && result.is<std::string>()) {
        mParametersSymbol = result.get<std::string>(); // the symbol for the parameters of later errors
    }
    return result;
}

void Host::collectLeftovers(bool hasSucceeded) {
    for (const auto kind : {ObjectKind::dataStore, ObjectKind::tensor, ObjectKind::numericArray, ObjectKind::image}) {
        if (ledger().ownedByLibrary(kind) == 0) {
            continue;
        }
        // By contract the host frees the data store that a failed call was building: one, and no more.
        const bool isForHost = kind == ObjectKind::dataStore && !hasSucceeded && ledger().ownedByLibrary(kind) == 1;
        for (const void* object : ledger().ownedBy(Owner::library, kind)) {
            if (isForHost) {
                ++ledger().counts(kind).takenBack;
            } else {
                ledger().reportViolation(std::string("The library left ") + objectKindName(kind) + " behind.");
            }
            destroyAny(kind, const_cast<void*>(object));
        }
    }
}

void Host::throwError(int code) const {
    const auto found = mErrors.find(code);
    if (found == mErrors.end()) {
        throw LibraryError(code, "", "The library returned the unregistered code " + std::to_string(code) + ".");
    }
    const RegisteredError& error = found->second;
    const std::vector<std::string> parameters = mServices.symbolValues(mParametersSymbol);
    throw LibraryError(code, error.name, fillMessage(error.message, parameters), parameters);
}

std::vector<RegisteredError> Host::errors() const {
    std::vector<RegisteredError> list;
    for (const auto& [id, error] : mErrors) {
        list.push_back(error);
    }
    return list;
}

} // namespace velmora

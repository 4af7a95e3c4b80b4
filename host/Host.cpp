#include "host/Host.h"

#include <dlfcn.h>

#include <algorithm>

#include "host/CallFrame.h"
#include "host/Message.h"

namespace velmora {

namespace {

constexpr const char* kSetContext = "setExceptionDetailsContext";
// What stands in front of the name of the symbol that a library's error parameters come in.
constexpr const char* kSymbolContext = "Host`";

/// Runs library code; an exception that passes out of it is the general failure of a function.
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

std::string readString(TTLink link) {
    const unsigned char* units = nullptr;
    int length = 0;
    if (TTGetUTF8String(link, &units, &length) == 0) {
        throw HostError("The library's table of errors cannot be read.");
    }
    std::string text(reinterpret_cast<const char*>(units), static_cast<std::size_t>(length));
    TTReleaseUTF8String(link, units, length);
    return text;
}

void destroyAny(ObjectKind kind, void* object) {
    switch (kind) {
    case ObjectKind::dataStore: destroyDataStore(static_cast<DataStore>(object)); break;
    case ObjectKind::tensor: destroyTensor(static_cast<VTensor>(object)); break;
    case ObjectKind::numericArray: destroyNumericArray(static_cast<VNumericArray>(object)); break;
    case ObjectKind::image: destroyImage(static_cast<VImage>(object)); break;
    case ObjectKind::string: break; // taken back with the call's frame
    }
}

int expectHead(TTLink link, const char* head) {
    int count = 0;
    if (TTTestHead(link, head, &count) == 0) {
        throw HostError("The library's table of errors cannot be read.");
    }
    return count;
}

} // namespace

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
    const int count = expectHead(link, "Association");
    for (int index = 0; index < count; ++index) {
        RegisteredError error;
        expectHead(link, "Rule");
        error.name = readString(link);
        expectHead(link, "List");
        if (TTGetInteger32(link, &error.id) == 0) {
            throw HostError("The library's table of errors cannot be read.");
        }
        error.message = readString(link);
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
        mParametersSymbol = result.get<std::string>(); // errors' parameters come in another symbol from here on
    }
    return result;
}

void Host::collectLeftovers(bool succeeded) {
    for (const auto kind : {ObjectKind::dataStore, ObjectKind::tensor, ObjectKind::numericArray, ObjectKind::image}) {
        if (ledger().ownedByLibrary(kind) == 0) {
            continue;
        }
        // The root of a result that was being built when a call failed is the host's to take back: one, and no more.
        const bool isHosts = kind == ObjectKind::dataStore && !succeeded && ledger().ownedByLibrary(kind) == 1;
        for (const void* object : ledger().ownedBy(Owner::library, kind)) {
            if (isHosts) {
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
    throw LibraryError(code, error.name, fillMessage(error.message, mServices.symbolValues(mParametersSymbol)));
}

std::vector<RegisteredError> Host::errors() const {
    std::vector<RegisteredError> list;
    for (const auto& [id, error] : mErrors) {
        list.push_back(error);
    }
    std::sort(list.begin(), list.end(), [](const auto& left, const auto& right) { return left.id > right.id; });
    return list;
}

} // namespace velmora

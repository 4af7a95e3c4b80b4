#include "tests/faults/CrashStack.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

namespace radvex::test {

namespace {

CrashStack* noted = nullptr; // NOLINT: a signal handler has no other way to know

void note(int signal) {
    noted->count = backtrace(noted->frames.data(), static_cast<int>(noted->frames.size()));
    (void)std::signal(signal, SIG_DFL);
    (void)raise(signal);
}

std::string functionAt(void* address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
        return "";
    }
    const char* slash = std::strrchr(info.dli_fname, '/');
    const std::string module = slash == nullptr ? info.dli_fname : slash + 1;
    for (const char* other : {"libc.so", "libstdc++", "libgcc", "ld-linux", "FaultShim", "libasan", "libubsan"}) {
        if (module.find(other) != std::string::npos) {
            return "";
        }
    }
    if (info.dli_sname == nullptr && module.find("libdcmtk") != std::string::npos) {
        return ""; // the next one outwards has a name that lasts longer than an offset
    }
    if (info.dli_sname == nullptr && module.find("libopenjp2") != std::string::npos) {
        return "OpenJPEG"; // where no function has a name
    }
    if (info.dli_sname == nullptr) {
        std::ostringstream offset;
        offset << module << '+' << std::hex
               << reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        return offset.str();
    }
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status),
                                                      &std::free);
    const std::string whole = name == nullptr ? info.dli_sname : name.get();
    return whole.substr(0, whole.find('('));
}

} // namespace

void catchCrashes(CrashStack& stack) {
    static std::array<char, 1 << 16> signalStack;
    noted = &stack;
    void* warmUp[1];
    (void)backtrace(warmUp, 1); // the first one loads a library
    stack_t other{};
    other.ss_sp = signalStack.data();
    other.ss_size = signalStack.size();
    sigaltstack(&other, nullptr);
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = SA_ONSTACK;
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGALRM, SIGXCPU}) {
        sigaction(signal, &action, nullptr);
    }
}

std::string describe(const CrashStack& stack) {
    std::string chain;
    int shown = 0;
    for (int index = 0; index < stack.count && shown < 6; ++index) {
        // The frames of the handler itself are left out.
        const std::string function = functionAt(stack.frames.at(static_cast<std::size_t>(index)));
        if (!function.empty() && function.find("note") != 0 && function.find("faultRunner") != 0) {
            chain += (shown++ == 0 ? "" : " < ") + function;
        }
    }
    return chain;
}

} // namespace radvex::test

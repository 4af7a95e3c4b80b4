// Preloaded: ends the process when it opens a file whose name ends with what RADVEX_TEST_ENDS_AT says, as a defect in
// the reading of that file would. For what the command reads without the library. The first opens of the file, as many
// as RADVEX_TEST_SPARES says, go well: a command may look at its start before a worker reads it.

#include <dlfcn.h>

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
    using Open = int (*)(const char*, int, ...);
    static const auto next = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "open"));
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    const char* end = std::getenv("RADVEX_TEST_ENDS_AT");
    if (end != nullptr && std::string_view(path).ends_with(end)) {
        static int spared = 0;
        const char* spares = std::getenv("RADVEX_TEST_SPARES");
        if (++spared > (spares == nullptr ? 0 : std::atoi(spares))) {
            (void)std::raise(SIGSEGV);
        }
    }
    return next(path, flags, mode);
}

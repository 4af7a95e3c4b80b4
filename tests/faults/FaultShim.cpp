// Preloaded into a test's child. It must not allocate itself, and works in programs with one thread.
#include "tests/faults/FaultShim.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

// The allocator itself, under the names by which its own shims reach it.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

using namespace radvex::faults;

struct State {
    FaultPlan plan{};
    Modules modules{};
    std::array<long, static_cast<std::size_t>(Family::count)> calls{};
    bool isArmed = false;
    bool hasFired = false;
};

State state; // NOLINT: functions of the C library take no context

bool contains(const Range& range, std::uintptr_t address) { return address >= range.begin && address < range.end; }

enum class Caller { unknown, host, library };

_Unwind_Reason_Code lookAtFrame(_Unwind_Context* context, void* result) {
    const std::uintptr_t address = _Unwind_GetIP(context);
    auto& caller = *static_cast<Caller*>(result);
    const Modules& modules = state.modules;
    if (contains(modules.host, address)) {
        caller = Caller::host;
    } else if (std::any_of(modules.library, modules.library + modules.libraryCount,
                           [address](const Range& range) { return contains(range, address); })) {
        caller = Caller::library;
    }
    return caller == Caller::unknown ? _URC_NO_REASON : _URC_END_OF_STACK;
}

bool isLibrarysCall() {
    Caller caller = Caller::unknown;
    state.isArmed = false; // what the unwinder allocates is nobody's
    _Unwind_Backtrace(lookAtFrame, &caller);
    state.isArmed = true;
    return caller == Caller::library;
}

void noteRefusal() {
    if (state.plan.frames != nullptr) {
        state.isArmed = false;
        *state.plan.frameCount = backtrace(state.plan.frames, state.plan.mostFrames);
        state.isArmed = true;
    }
}

/// Counts a call and says whether it fails.
bool isHit(Family family) {
    if (!state.isArmed) {
        return false;
    }
    const FaultPlan& plan = state.plan;
    const long number = ++state.calls[static_cast<std::size_t>(family)];
    if (plan.notes != nullptr && family == plan.family && number <= plan.noteCount) {
        plan.notes[number - 1] = isLibrarysCall() ? 1 : 0;
        return false;
    }
    if (plan.notes == nullptr && family == plan.family && number == plan.number) {
        state.hasFired = true;
        noteRefusal();
        return true;
    }
    const bool isLater = state.hasFired && plan.fromThenOn && family == plan.family;
    return isLater && isLibrarysCall();
}

/// The function that this one hides.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* refuseMemory() {
    errno = ENOMEM;
    return nullptr;
}

bool isHalved() { return state.plan.effect == Effect::half; }

// What fread and fwrite leave in a stream whose file failed; there is no function that sets these.
constexpr int kStreamAtEnd = 0x10;
constexpr int kStreamFailed = 0x20;

template <typename Result>
Result failed(Result result) {
    errno = state.plan.error;
    return result;
}

/// The result of a read; `read` reads so many bytes from the real file.
template <typename Real>
ssize_t readOrRefuse(std::size_t size, Real real) {
    if (!isHit(Family::read)) {
        return real(size);
    }
    switch (state.plan.effect) {
    case Effect::half: return real(size / 2);
    case Effect::end: return 0;
    default: return failed<ssize_t>(-1);
    }
}

} // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void radvexArmFaults(const FaultPlan& plan, const Modules& modules) {
    state = {};
    state.plan = plan;
    state.modules = modules;
    state.isArmed = true;
}

EXPORTED long radvexDisarmFaults(Family family) {
    state.isArmed = false;
    return state.calls[static_cast<std::size_t>(family)];
}

EXPORTED void* malloc(std::size_t size) { return isHit(Family::memory) ? refuseMemory() : __libc_malloc(size); }

EXPORTED void* calloc(std::size_t count, std::size_t size) {
    return isHit(Family::memory) ? refuseMemory() : __libc_calloc(count, size);
}

EXPORTED void* realloc(void* block, std::size_t size) {
    return isHit(Family::memory) ? refuseMemory() : __libc_realloc(block, size);
}

EXPORTED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return isHit(Family::memory) ? refuseMemory() : __libc_memalign(alignment, size);
}

EXPORTED int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    if (isHit(Family::memory)) {
        (void)refuseMemory(); // the C library's function leaves the error in errno, too
        return ENOMEM;
    }
    *block = __libc_memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}

EXPORTED int open(const char* path, int flags, ...) {
    static auto* const real = next<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return isHit(Family::open) ? failed(-1) : real(path, flags, mode);
}

EXPORTED FILE* fopen(const char* path, const char* mode) {
    static auto* const real = next<FILE*(const char*, const char*)>("fopen");
    return isHit(Family::open) ? failed<FILE*>(nullptr) : real(path, mode);
}

EXPORTED FILE* fopen64(const char* path, const char* mode) {
    static auto* const real = next<FILE*(const char*, const char*)>("fopen64");
    return isHit(Family::open) ? failed<FILE*>(nullptr) : real(path, mode);
}

EXPORTED int stat(const char* path, struct stat* status) {
    static auto* const real = next<int(const char*, struct stat*)>("stat");
    return isHit(Family::open) ? failed(-1) : real(path, status);
}

EXPORTED ssize_t read(int file, void* buffer, std::size_t size) {
    static auto* const real = next<ssize_t(int, void*, std::size_t)>("read");
    return readOrRefuse(size, [=](std::size_t count) { return real(file, buffer, count); });
}

EXPORTED ssize_t pread(int file, void* buffer, std::size_t size, off_t offset) {
    static auto* const real = next<ssize_t(int, void*, std::size_t, off_t)>("pread");
    return readOrRefuse(size, [=](std::size_t count) { return real(file, buffer, count, offset); });
}

EXPORTED ssize_t pread64(int file, void* buffer, std::size_t size, off64_t offset) {
    static auto* const real = next<ssize_t(int, void*, std::size_t, off64_t)>("pread64");
    return readOrRefuse(size, [=](std::size_t count) { return real(file, buffer, count, offset); });
}

EXPORTED ssize_t write(int file, const void* buffer, std::size_t size) {
    static auto* const real = next<ssize_t(int, const void*, std::size_t)>("write");
    if (!isHit(Family::write)) {
        return real(file, buffer, size);
    }
    return isHalved() ? real(file, buffer, size / 2) : failed<ssize_t>(-1);
}

EXPORTED std::size_t fread(void* buffer, std::size_t size, std::size_t count, FILE* stream) {
    static auto* const real = next<std::size_t(void*, std::size_t, std::size_t, FILE*)>("fread");
    if (!isHit(Family::read)) {
        return real(buffer, size, count, stream);
    }
    const std::size_t done = isHalved() ? real(buffer, size, count / 2, stream) : 0;
    const bool isError = state.plan.effect == Effect::fail;
    stream->_flags |= isError ? kStreamFailed : kStreamAtEnd;
    return isError ? failed(done) : done;
}

EXPORTED std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count, FILE* stream) {
    static auto* const real = next<std::size_t(const void*, std::size_t, std::size_t, FILE*)>("fwrite");
    if (!isHit(Family::write)) {
        return real(buffer, size, count, stream);
    }
    const std::size_t done = isHalved() ? real(buffer, size, count / 2, stream) : 0;
    stream->_flags |= kStreamFailed;
    return failed(done);
}

/// What is left in the buffer is lost with a failed close, as it is on a full disk.
EXPORTED int fclose(FILE* stream) {
    static auto* const real = next<int(FILE*)>("fclose");
    if (!isHit(Family::close)) {
        return real(stream);
    }
    if (stream->_IO_write_ptr != nullptr && stream->_IO_write_ptr > stream->_IO_write_base) {
        stream->_IO_write_ptr = stream->_IO_write_base;
    }
    (void)real(stream);
    return failed(EOF);
}

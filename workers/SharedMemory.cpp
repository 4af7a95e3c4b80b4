#include "workers/SharedMemory.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/sysinfo.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string>

#include "files/Errors.h"

namespace radvex::workers {

namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kLeast = std::size_t{16} << 20;
using Counter = std::atomic<std::size_t>;
static_assert(Counter::is_always_lock_free, "processes share it");
static_assert(sizeof(Counter) <= kAlignment);

/// Memory and swap of the machine: a volume that needs more cannot be held anyway.
std::size_t machineMemory() {
    struct sysinfo system {};
    if (::sysinfo(&system) != 0) {
        return kLeast;
    }
    return (static_cast<std::size_t>(system.totalram) + static_cast<std::size_t>(system.totalswap)) * system.mem_unit;
}

Counter& counterAt(std::byte* memory) { return *std::launder(reinterpret_cast<Counter*>(memory)); }

/// Gives the system a hint, which it may refuse, about the whole pages inside a block.
void advise(std::byte* block, std::size_t bytes, std::uintptr_t pageSize, int advice) {
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const auto first = (start + pageSize - 1) / pageSize * pageSize;
    const auto end = (start + bytes) / pageSize * pageSize;
    if (first < end) {
        (void)::madvise(block + (first - start), end - first, advice);
    }
}

} // namespace

SharedMemory::SharedMemory(bool isShared) : mIsShared(isShared) {
    const int flags = (isShared ? MAP_SHARED : MAP_PRIVATE) | MAP_ANONYMOUS | MAP_NORESERVE;
    for (mCapacity = machineMemory(); mCapacity >= kLeast; mCapacity /= 2) { // a limit may allow less
        void* memory = ::mmap(nullptr, mCapacity, PROT_READ | PROT_WRITE, flags, -1, 0);
        if (memory != MAP_FAILED) {
            mMemory = static_cast<std::byte*>(memory);
            if (!isShared) { // a volume has hundreds of MiB; fetching 4 KiB at a time costs as much as filling it
                advise(mMemory, mCapacity, std::uintptr_t{2} << 20, MADV_HUGEPAGE);
            }
            new (mMemory) Counter(kAlignment);
            return;
        }
    }
    throw Error("There is no memory for a volume.");
}

SharedMemory::~SharedMemory() { (void)::munmap(mMemory, mCapacity); }

std::byte* SharedMemory::allocate(std::size_t bytes) {
    if (bytes <= mCapacity) {
        const std::size_t rounded = (bytes + kAlignment - 1) / kAlignment * kAlignment;
        Counter& used = counterAt(mMemory);
        std::size_t start = used.load();
        while (rounded <= mCapacity - start) {
            if (used.compare_exchange_weak(start, start + rounded)) {
                return mMemory + start;
            }
        }
    }
    throw Error("There is no memory for " + std::to_string(bytes) + " more bytes of the volume.");
}

void SharedMemory::releasePages(std::byte* block, std::size_t bytes) {
    advise(block, bytes, 4096, mIsShared ? MADV_REMOVE : MADV_DONTNEED);
}

void SharedMemory::clear() { counterAt(mMemory).store(kAlignment); }

std::byte* SharedMemory::at(std::size_t offset, std::size_t bytes) const {
    const std::size_t used = counterAt(mMemory).load();
    if (offset < kAlignment || offset > used || bytes > used - offset) {
        throw Error("A process named an offset outside its memory.");
    }
    return mMemory + offset;
}

void keepMemoryBetweenFiles() {
#ifdef __GLIBC__
    constexpr int kLargestBlock = 32 << 20;
    mallopt(M_MMAP_THRESHOLD, kLargestBlock);
    mallopt(M_TRIM_THRESHOLD, 2 * kLargestBlock);
#endif
}

} // namespace radvex::workers

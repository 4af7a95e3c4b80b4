#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

/// The system gives memory away page by page when it is first written to. For a volume, faults for pages of 4 KiB take
/// longer than its pixels; so large objects ask for pages of 2 MiB. Where there are none, nothing changes.
void askForHugePages(void* memory, std::size_t bytes) {
    constexpr std::size_t kLarge = std::size_t{8} * 1024 * 1024;
    constexpr std::uintptr_t kPage = 4096;
    if (memory == nullptr || bytes < kLarge) {
        return;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t before = (kPage - address % kPage) % kPage; // to the first whole page
    const std::uintptr_t pages = (bytes - before) / kPage;
    (void)madvise(static_cast<std::byte*>(memory) + before, pages * kPage, MADV_HUGEPAGE);
}

} // namespace

Buffer newElements(vint length, std::size_t size) {
    const std::size_t count = std::max<std::size_t>(1, static_cast<std::size_t>(length));
    Buffer elements(std::calloc(count, size));
    askForHugePages(elements.get(), count * size);
    return elements;
}

} // namespace velmora

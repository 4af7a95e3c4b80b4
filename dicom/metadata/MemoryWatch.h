#pragma once

#include <new>

namespace radvex {

/// Notices every refusal of memory during its lifetime. DCMTK hides some of them: its renderer reports missing memory
/// like wrong attributes, and a copy of an element silently loses its value. A handler that the host has installed is
/// still called. A watch inside the lifetime of another one shares what that one knows.
class MemoryWatch {
  public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    bool hasRunOut() const;
    /// @throws std::bad_alloc  when memory was refused
    void require() const;

  private:
    std::new_handler mFormer;
};

} // namespace radvex

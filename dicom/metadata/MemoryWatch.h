#pragma once

#include <new>

namespace radvex {

/// Notices whether memory was refused to anyone while it lives, also where nobody was told: DCMTK's renderer gives the
/// same answer for no memory as for wrong attributes, and a copy of an element loses its value. A handler of the host
/// is called as before. One inside another knows what the outer one knows.
class MemoryWatch {
  public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    bool hasRunOut() const;
    /// @throws std::bad_alloc  memory was refused
    void require() const;

  private:
    std::new_handler mFormer;
};

} // namespace radvex

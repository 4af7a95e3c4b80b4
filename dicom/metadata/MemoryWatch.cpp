#include "dicom/metadata/MemoryWatch.h"

namespace radvex {

namespace {

// A handler has no other place for what it knows.
std::new_handler hostsHandler = nullptr; // NOLINT
bool isMemoryOut = false;                // NOLINT

void noteMemoryOut() {
    isMemoryOut = true;
    if (hostsHandler == nullptr) {
        throw std::bad_alloc();
    }
    hostsHandler();
}

} // namespace

MemoryWatch::MemoryWatch() : mFormer(std::set_new_handler(noteMemoryOut)) {
    if (mFormer != noteMemoryOut) {
        hostsHandler = mFormer;
        isMemoryOut = false;
    }
}

MemoryWatch::~MemoryWatch() { (void)std::set_new_handler(mFormer); }

void MemoryWatch::require() const {
    if (hasRunOut()) {
        throw std::bad_alloc();
    }
}

bool MemoryWatch::hasRunOut() const { return isMemoryOut; } // NOLINT: of this watch, though it is kept outside

} // namespace radvex

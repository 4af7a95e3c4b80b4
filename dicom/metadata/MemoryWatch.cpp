#include "dicom/metadata/MemoryWatch.h"

namespace radvex {

namespace {

// A handler gets no argument, so that its state is here.
std::new_handler hostsHandler = nullptr; // NOLINT
bool wasMemoryRefused = false;           // NOLINT

void noteRefusal() {
    wasMemoryRefused = true;
    if (hostsHandler == nullptr) {
        throw std::bad_alloc();
    }
    hostsHandler();
}

} // namespace

MemoryWatch::MemoryWatch() : mFormer(std::set_new_handler(noteRefusal)) {
    if (mFormer != noteRefusal) { // no other watch is around this one
        hostsHandler = mFormer;
        wasMemoryRefused = false;
    }
}

MemoryWatch::~MemoryWatch() { (void)std::set_new_handler(mFormer); }

void MemoryWatch::require() const {
    if (hasRunOut()) {
        throw std::bad_alloc();
    }
}

bool MemoryWatch::hasRunOut() const { return wasMemoryRefused; } // NOLINT: not static, as an answer of this watch

} // namespace radvex

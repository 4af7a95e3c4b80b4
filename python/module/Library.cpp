#include "python/module/Library.h"

#include <chrono>
#include <thread>

#include "host/Declarations.h"
#include "host/Ledger.h"

namespace radvex::python {

Library& Library::instance() {
    // Never destroyed: arrays may outlive everything else when the interpreter ends.
    static Library* const library = new Library();
    return *library;
}

void Library::acquire() {
    while (!mUse.try_lock()) {
        Returning returning(mReturning);
        const pybind11::gil_scoped_release released;
        const std::scoped_lock wait(mUse);
        returning.begin();
    }
    freeDiscarded();
}

void Library::setPath(std::string path) {
    const Use use;
    mPath = std::move(path);
}

velmora::Host& Library::host() {
    if (mIsEnding) {
        throw velmora::HostError("The interpreter ends; nothing can be read any more.");
    }
    if (mHost == nullptr) {
        mHost = velmora::Host::load(mPath, velmora::radvexDeclarations());
    }
    return *mHost;
}

void Library::discard(std::unique_ptr<Lending> value) noexcept {
    Lending* const lending = value.release();
    lending->next = mDiscarded.load();
    while (!mDiscarded.compare_exchange_weak(lending->next, lending)) {
    }
    if (mUse.try_lock()) {
        freeDiscarded();
        mUse.unlock();
    }
}

void Library::freeDiscarded() noexcept {
    for (Lending* lending = mDiscarded.exchange(nullptr); lending != nullptr;) {
        const std::unique_ptr<Lending> freed(lending);
        lending = lending->next;
    }
}

void Library::close() {
    Returning returning(mReturning);
    const pybind11::gil_scoped_release released;
    const std::scoped_lock lock(mUse);
    returning.begin();
    freeDiscarded();
    mHost.reset();
}

void Library::end() {
    const pybind11::gil_scoped_release released;
    mUse.lock(); // for ever: only this thread, which ends the interpreter, gets any further
    while (mReturning > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    freeDiscarded();
    mHost.reset();
    mIsEnding = true;
}

Library::Account Library::account() {
    Returning returning(mReturning);
    const pybind11::gil_scoped_release released;
    const std::scoped_lock lock(mUse);
    returning.begin();
    freeDiscarded();
    return {velmora::ledger().alive(), velmora::ledger().violations()};
}

} // namespace radvex::python

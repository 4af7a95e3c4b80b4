#include "python/module/Library.h"

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
        const pybind11::gil_scoped_release released;
        const std::scoped_lock wait(mUse);
    }
    freeDiscarded();
}

void Library::beforeFork() {
    acquire();
    mDiscard.lock(); // with Python's lock: nobody needs that to give this one back
}

void Library::afterFork() {
    mDiscard.unlock();
    mUse.unlock();
}

void Library::setPath(std::string path) {
    const std::scoped_lock lock(mUse);
    mPath = std::move(path);
}

velmora::Host& Library::host() {
    if (mHost == nullptr) {
        mHost = velmora::Host::load(mPath, velmora::radvexDeclarations());
    }
    return *mHost;
}

void Library::discard(std::unique_ptr<velmora::Value> value) noexcept {
    {
        const std::scoped_lock lock(mDiscard);
        mDiscarded.push_back(std::move(value));
    }
    if (mUse.try_lock()) {
        freeDiscarded();
        mUse.unlock();
    }
}

void Library::freeDiscarded() noexcept {
    std::vector<std::unique_ptr<velmora::Value>> discarded;
    const std::scoped_lock lock(mDiscard);
    discarded.swap(mDiscarded);
}

void Library::close() {
    const pybind11::gil_scoped_release released;
    const std::scoped_lock lock(mUse);
    freeDiscarded();
    mHost.reset();
}

Library::Account Library::account() {
    const pybind11::gil_scoped_release released;
    const std::scoped_lock lock(mUse);
    freeDiscarded();
    return {velmora::ledger().alive(), velmora::ledger().violations()};
}

} // namespace radvex::python

#include "fuzz/Harness.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace radvex::fuzz {

namespace {

/// TMPDIR says where; a folder in memory is many times faster than a disk.
const test::TemporaryFolder& folder() {
    static const test::TemporaryFolder folder;
    return folder;
}

} // namespace

Harness& Harness::instance() {
    // Never destroyed: sanitizers cannot name the functions of a library that was unloaded before they report.
    static Harness* const harness = new Harness();
    return *harness;
}

Harness::Harness() : mFolder(folder().path().string()) {
    mSession.libraryPath = RADVEX_LIBRARY;
    host().services().allowReadingBelow({mFolder});
    host().services().allowWritingBelow({mFolder});
    mAliveAtStart = velmora::ledger().alive();
}

std::string Harness::claim(const std::string& name) {
    mFiles.push_back(path(name));
    return mFiles.back();
}

std::string Harness::write(const std::string& name, Bytes bytes) {
    std::string file = claim(name);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "wb"), &std::fclose);
    if (stream == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) {
        throw std::runtime_error("Cannot write " + file);
    }
    return file;
}

velmora::Value Harness::call(const std::string& name, const std::vector<velmora::Value>& arguments) {
    try {
        return host().call(name, arguments);
    } catch (const velmora::LibraryError&) {
        return {};
    }
}

velmora::Value Harness::callOnOwn(const std::string& name, const std::vector<velmora::Value>& arguments) {
    try {
        return host().call(name, arguments);
    } catch (const velmora::LibraryError& error) {
        if (error.name() == "OpenFileError") {
            throw std::runtime_error(std::string("What was written cannot be opened. ") + error.what());
        }
        return {};
    }
}

void Harness::finish() {
    (void)host().call("ClearCache");
    for (const std::string& file : mFiles) {
        std::filesystem::remove(file);
    }
    mFiles.clear();
    checkNothingIsLeft(host().services().environment(), mAliveAtStart);
}

void Harness::checkNothingIsLeft(TTEnvironment environment, long aliveBefore) {
    if (!velmora::ledger().violations().empty()) {
        throw std::runtime_error(velmora::ledger().violations().front());
    }
    if (velmora::ledger().alive() != aliveBefore) {
        throw std::runtime_error("Objects of the host are still alive.");
    }
    if (TTOpenLinkCount(environment) != 2 || TTOpenBufferCount(environment) != 0) { // the host's own two
        throw std::runtime_error("Links or their buffers are still open.");
    }
}

} // namespace radvex::fuzz

#include "host/Services.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <utility>

namespace velmora {

namespace {

// Most operations of the table have no context argument, so they find their services here.
Services* current = nullptr;

/// True for a path with a symbolic link whose target does not exist: writing could create that file anywhere.
/// `path` is canonical as far as it exists, so it has no other symbolic links.
bool hasDanglingLink(std::filesystem::path path) {
    std::error_code ignored;
    for (; path.has_relative_path(); path = path.parent_path()) {
        if (std::filesystem::is_symlink(std::filesystem::symlink_status(path, ignored))) {
            return true;
        }
    }
    return false;
}

/// Reads the next expression, a string or an integer, as text. @return false for any other expression
bool readText(TTLink link, std::string& text) {
    switch (TTGetNext(link)) {
    case TTTK_STRING: return readString(link, text);
    case TTTK_INTEGER: {
        long long number = 0;
        const bool isRead = TTGetInteger64(link, &number) != 0;
        text = std::to_string(number);
        return isRead;
    }
    default: return false;
    }
}

std::vector<std::string> canonical(const std::vector<std::string>& folders) {
    std::vector<std::string> paths;
    paths.reserve(folders.size());
    for (const std::string& folder : folders) {
        paths.push_back(std::filesystem::weakly_canonical(folder).string());
    }
    return paths;
}

bool isBelow(const std::string& path, const std::string& folder) {
    const std::string prefix = folder.ends_with('/') ? folder : folder + '/';
    return path == folder || path.starts_with(prefix);
}

} // namespace

bool readString(TTLink link, std::string& text) {
    const unsigned char* units = nullptr;
    int length = 0;
    if (TTGetUTF8String(link, &units, &length) == 0) {
        return false;
    }
    text.assign(reinterpret_cast<const char*>(units), static_cast<std::size_t>(length));
    TTReleaseUTF8String(link, units, length);
    return true;
}

Services::Services() {
    if (current != nullptr) {
        throw std::logic_error("There is a host in this process already; end it before making another.");
    }
    mEnvironment = TTInitialize();
    int error = TTE_MEMORY;
    if (mEnvironment == nullptr || TTOpenPair(mEnvironment, &mHostLink, &mLibraryLink, &error) == 0) {
        TTDeinitialize(mEnvironment);
        throw std::bad_alloc();
    }
    TTSetFaultHook(
        mEnvironment,
        [](const char* function, void* services) {
            return static_cast<Services*>(services)->mInLibrary && ledger().isLinkRefused(function) ? 1 : 0;
        },
        this);
    fillTable();
    current = this;
}

Services::~Services() {
    current = nullptr;
    TTDeinitialize(mEnvironment);
}

void Services::fillTable() {
    mTable.version = VELMORA_LIBRARY_VERSION;
    mTable.UTF8String_disown = [](char* text) {
        if (!ledger().remove(ObjectKind::string, text)) {
            ledger().reportViolation("The library gave back a string that it did not get, or gave it back twice.");
            return;
        }
        ++ledger().counts(ObjectKind::string).disowned;
        std::free(text);
    };
    fillTensorFunctions(mTable);
    mTable.AbortQ = []() -> vint { return current->mAbort ? 1 : 0; };
    mTable.getTetherLink = [](VelmoraLibraryData) {
        return ledger().isRefused(Operation::getTetherLink) ? nullptr : current->mLibraryLink;
    };
    mTable.processTetherLink = [](TTLink link) -> int {
        return !ledger().isRefused(Operation::processTetherLink) && link == current->mLibraryLink &&
               current->processLink();
    };
    mTable.getTetherLinkEnvironment = [](VelmoraLibraryData) {
        return ledger().isRefused(Operation::getTetherLinkEnvironment) ? nullptr : current->mEnvironment;
    };
    mTable.validatePath = [](const char* path, char mode) -> vbool {
        return !ledger().isRefused(Operation::validatePath) && current->isAllowed(path, mode) ? 1 : 0;
    };
    mTable.dataStoreFunctions = &kDataStoreFunctions;
    mTable.imageFunctions = &kImageFunctions;
    mTable.numericArrayFunctions = &kNumericArrayFunctions;
}

std::vector<std::string> Services::symbolValues(const std::string& symbol) const {
    const auto found = mSymbols.find(symbol);
    return found == mSymbols.end() ? std::vector<std::string>{} : found->second;
}

void Services::resetLink() {
    TTReset(mHostLink);
    TTReset(mLibraryLink);
}

bool Services::processLink() {
    const bool wasInLibrary = std::exchange(mInLibrary, false);
    const bool isDone = evaluatePacket();
    if (!isDone) {
        TTReset(mHostLink); // the rest of a broken packet must not be read as the next one
    }
    mInLibrary = wasInLibrary;
    return isDone;
}

bool Services::evaluatePacket() {
    int count = 0;
    const char* symbol = nullptr;
    std::vector<std::string> values;
    if (TTNextPacket(mHostLink) != TTP_EVALUATE || TTTestHead(mHostLink, "Set", &count) == 0 || count != 2 ||
        TTGetSymbol(mHostLink, &symbol) == 0) {
        return false;
    }
    const std::string name = symbol;
    TTReleaseSymbol(mHostLink, symbol);
    if (!readList(values)) {
        return false;
    }
    mSymbols[name] = std::move(values);
    // TTNewPacket skips what else the packet holds.
    return TTNewPacket(mHostLink) != 0 && TTPutFunction(mHostLink, "ReturnPacket", 1) != 0 &&
           TTPutSymbol(mHostLink, "Null") != 0 && TTEndPacket(mHostLink) != 0 && TTFlush(mHostLink) != 0;
}

bool Services::readList(std::vector<std::string>& values) {
    int count = 0;
    if (TTTestHead(mHostLink, "List", &count) == 0) {
        return false;
    }
    for (int index = 0; index < count; ++index) {
        if (!readText(mHostLink, values.emplace_back())) {
            return false;
        }
    }
    return true;
}

void Services::allowReadingBelow(const std::vector<std::string>& folders) { mReadableFolders = canonical(folders); }

void Services::allowWritingBelow(const std::vector<std::string>& folders) { mWritableFolders = canonical(folders); }

bool Services::isAllowed(const char* path, char mode) const {
    const auto& folders = mode == 'W' ? mWritableFolders : mReadableFolders;
    if (!folders) {
        return true;
    }
    if (path == nullptr || *path == '\0') {
        return false;
    }
    // Symbolic links and ".." are resolved before the comparison, so that neither can lead out of a folder.
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    const std::filesystem::path target =
        error ? std::filesystem::path{} : std::filesystem::weakly_canonical(absolute, error);
    if (error || hasDanglingLink(target)) {
        return false;
    }
    return std::any_of(folders->begin(), folders->end(),
                       [&](const std::string& folder) { return isBelow(target.string(), folder); });
}

} // namespace velmora

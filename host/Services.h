#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/Objects.h"

namespace velmora {

/// Reads a UTF-8 string from a link. @return false when the next expression is not a string
bool readString(TTLink link, std::string& text);

/// What a host offers a library: the table of operations, the link on which the host listens, the symbols that were set
/// over that link, the file policy and the flag that asks to abort. There is one at a time in a process.
class Services {
  public:
    Services();
    ~Services();
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    VelmoraLibraryData table() { return &mTable; }
    TTEnvironment environment() const { return mEnvironment; }
    TTLink hostLink() const { return mHostLink; }
    TTLink libraryLink() const { return mLibraryLink; }

    /// The values of the list to which a library has set a symbol, as text; empty for a symbol that is not set.
    std::vector<std::string> symbolValues(const std::string& symbol) const;
    void clearSymbol(const std::string& symbol) { mSymbols.erase(symbol); }
    /// Drops what an earlier call left on the link.
    void resetLink();

    void setAbort(bool abort) { mAbort = abort; }

    /// Restricts reading or writing to these folders and everything below them. By default all paths are allowed.
    void allowReadingBelow(const std::vector<std::string>& folders);
    void allowWritingBelow(const std::vector<std::string>& folders);

    /// Link functions are counted and refused only while a library runs.
    void setInLibrary(bool inLibrary) { mInLibrary = inLibrary; }

  private:
    /// `mode` is 'R' for reading, 'W' for writing.
    bool isAllowed(const char* path, char mode) const;
    void fillTable();
    bool processLink();
    bool evaluatePacket();
    bool readList(std::vector<std::string>& values);

    VelmoraLibraryRecord mTable{};
    TTEnvironment mEnvironment = nullptr;
    TTLink mHostLink = nullptr;
    TTLink mLibraryLink = nullptr;
    std::unordered_map<std::string, std::vector<std::string>> mSymbols{};
    std::optional<std::vector<std::string>> mReadableFolders{}; ///< nothing: no restriction
    std::optional<std::vector<std::string>> mWritableFolders{};
    bool mAbort = false;
    bool mInLibrary = false;
};

} // namespace velmora

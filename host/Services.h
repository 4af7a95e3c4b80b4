#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/Objects.h"

namespace velmora {

/// What a host offers a library: the table of operations, the link that it listens on, the symbols that were set over
/// that link, the file policy and the wish to abort. One at a time in a process.
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

    /// Values of the list that a library set a symbol to, as text; empty when it set none.
    std::vector<std::string> symbolValues(const std::string& symbol) const;
    void clearSymbol(const std::string& symbol) { mSymbols.erase(symbol); }
    /// Drops what is left on the link of an earlier call.
    void resetLink();

    void setAbort(bool abort) { mAbort = abort; }

    /// Restricts reading, or writing, to these folders and what is below them. Without a call everything is allowed.
    void allowReadingBelow(const std::vector<std::string>& folders);
    void allowWritingBelow(const std::vector<std::string>& folders);

    /// True while a library runs: only then are link functions counted and refused.
    void setInLibrary(bool inLibrary) { mInLibrary = inLibrary; }

  private:
    struct Policy {
        bool restricted = false;
        std::vector<std::string> folders{};
    };

    static Policy policyFor(const std::vector<std::string>& folders);
    static bool isBelow(const std::string& path, const std::string& folder);
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
    Policy mReading{};
    Policy mWriting{};
    bool mAbort = false;
    bool mInLibrary = false;
};

} // namespace velmora

#pragma once

#include <cstddef>
#include <cstdint>

/// What a program finds in the preloaded shim (FaultShim.cpp), by dlsym: refuses memory and breaks files, but only
/// where the call comes from chosen modules. Nothing is refused until it is armed.
namespace radvex::faults {

/// Families of functions whose calls are counted together.
enum class Family { memory, open, read, write, close, count };

enum class Effect {
    fail, ///< as the error says
    half, ///< half of what was asked for is read or written; a stream seems to end there, or its disk to be full
    end,  ///< nothing is read, as behind the last byte
};

/// Addresses of a module, from `begin` to before `end`.
struct Range {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

constexpr std::size_t kMostRanges = 64;

/// Whose calls count: those whose innermost frame in any of these ranges lies in one of `library`; one in `host` is
/// left alone.
struct Modules {
    Range library[kMostRanges]{};
    std::size_t libraryCount = 0;
    Range host{};
};

struct FaultPlan {
    Family family = Family::count; ///< `count`: nothing is refused
    long number = 0;               ///< of the call, from 1, of all calls of the family since this was armed
    bool fromThenOn = false;       ///< later calls of the library in this family too
    Effect effect = Effect::fail;
    int error = 0; ///< errno
    /// Where to note for each call whether it is the library's: 1 or 0. Null: not noted.
    unsigned char* notes = nullptr;
    long noteCount = 0;
    /// Where to leave the calls that led to the first refusal, innermost first, and their number. Null: nowhere.
    void** frames = nullptr;
    int* frameCount = nullptr;
    int mostFrames = 0;
};

using Arm = void (*)(const FaultPlan&, const Modules&);
/// Calls of the family since it was armed; from here on nothing is refused.
using Disarm = long (*)(Family);

constexpr const char* kArmSymbol = "radvexArmFaults";
constexpr const char* kDisarmSymbol = "radvexDisarmFaults";

} // namespace radvex::faults

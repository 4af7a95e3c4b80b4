#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace velmora {

/// Kinds of host objects that are counted.
enum class ObjectKind { string, tensor, numericArray, image, dataStore };
inline constexpr std::size_t kObjectKindCount = 5;
/// The name of a kind with its article, such as "a tensor".
const char* objectKindName(ObjectKind kind);

/// Who has to release an object.
enum class Owner { host, library, store };

/// Operations of the table that can be refused. A refused one fails with an error code, null or 0.
#define VELMORA_REFUSABLE_OPERATIONS(X)                                                                                \
    X(VTensor_new)                                                                                                     \
    X(VTensor_clone)                                                                                                   \
    X(VImage_new2D)                                                                                                    \
    X(VImage_new3D)                                                                                                    \
    X(VImage_clone)                                                                                                    \
    X(VNumericArray_new)                                                                                               \
    X(VNumericArray_clone)                                                                                             \
    X(VNumericArray_convertType)                                                                                       \
    X(createDataStore)                                                                                                 \
    X(copyDataStore)                                                                                                   \
    X(DataStoreNode_getDataType)                                                                                       \
    X(DataStoreNode_getData)                                                                                           \
    X(DataStoreNode_getName)                                                                                           \
    X(getTetherLink)                                                                                                   \
    X(processTetherLink)                                                                                               \
    X(getTetherLinkEnvironment)                                                                                        \
    X(validatePath)

enum class Operation {
#define VELMORA_OPERATION(name) name,
    VELMORA_REFUSABLE_OPERATIONS(VELMORA_OPERATION)
#undef VELMORA_OPERATION
        count
};

/// How many objects of one kind came and went.
struct ObjectCounts {
    long made = 0;      ///< by the host or the library
    long freed = 0;     ///< by whoever owned them
    long shared = 0;    ///< shares given to the library
    long disowned = 0;  ///< strings and shares that the library gave back
    long takenBack = 0; ///< left behind by the library, as the contract allows
    long alive() const { return made - freed; }
};

/// Accounts for every object of the host: which handles are alive and who owns them. It can also refuse operations.
/// What a library must not do (free twice, free what it does not own, leave something behind) becomes a sentence in
/// violations().
class Ledger {
  public:
    void add(ObjectKind kind, const void* object, Owner owner);
    /// Removes an object that is about to be freed. False, with no change, when no such object is alive.
    bool remove(ObjectKind kind, const void* object);

    bool isAlive(ObjectKind kind, const void* object) const { return mAlive[index(kind)].count(object) != 0; }
    bool isOwnedBy(Owner owner, ObjectKind kind, const void* object) const;
    /// False when no such object is alive.
    bool changeOwner(ObjectKind kind, const void* object, Owner owner);
    std::vector<const void*> ownedBy(Owner owner, ObjectKind kind) const;

    ObjectCounts& counts(ObjectKind kind) { return mCounts[index(kind)]; }
    const ObjectCounts& counts(ObjectKind kind) const { return mCounts[index(kind)]; }
    /// Number of objects of one kind that the library has to release.
    long ownedByLibrary(ObjectKind kind) const { return mOwnedByLibrary[index(kind)]; }
    /// Number of objects of all kinds that are alive.
    long alive() const;

    void reportViolation(std::string sentence) { mViolations.push_back(std::move(sentence)); }
    const std::vector<std::string>& violations() const { return mViolations; }

    /// Which calls are refused: the n-th, or that one and all later ones.
    enum class Refusal { once, fromThenOn };
    /// Refuses the n-th call of an operation from now on; n counts from 1.
    void refuse(Operation operation, long n, Refusal refusal = Refusal::once);
    /// Refuses the n-th call of a link function from now on.
    void refuseLink(const std::string& function, long n, Refusal refusal = Refusal::once);
    void refuseNothing();
    /// Counts the call and says whether it is to be refused.
    bool isRefused(Operation operation);
    bool isLinkRefused(const std::string& function);
    /// Number of calls since the last refuse, refuseLink or refuseNothing.
    long calls(Operation operation) const { return mCalls[static_cast<std::size_t>(operation)]; }
    const std::unordered_map<std::string, long>& linkCalls() const { return mLinkCalls; }

  private:
    bool isRefusedCall(long call) const {
        return call == mRefusedCall || (mRefusal == Refusal::fromThenOn && call > mRefusedCall);
    }
    static std::size_t index(ObjectKind kind) { return static_cast<std::size_t>(kind); }

    std::array<std::unordered_map<const void*, Owner>, kObjectKindCount> mAlive{};
    std::array<ObjectCounts, kObjectKindCount> mCounts{};
    std::array<long, kObjectKindCount> mOwnedByLibrary{};
    std::vector<std::string> mViolations{};

    std::array<long, static_cast<std::size_t>(Operation::count)> mCalls{};
    std::unordered_map<std::string, long> mLinkCalls{};
    Operation mRefusedOperation = Operation::count;
    std::string mRefusedLinkFunction{};
    long mRefusedCall = 0;
    Refusal mRefusal = Refusal::once;
};

/// The one ledger of this process: the operations of the host table have no context argument by which to find another.
Ledger& ledger();

} // namespace velmora

#include "host/Ledger.h"

namespace velmora {

const char* objectKindName(ObjectKind kind) {
    switch (kind) {
    case ObjectKind::string: return "a string";
    case ObjectKind::tensor: return "a tensor";
    case ObjectKind::numericArray: return "a numeric array";
    case ObjectKind::image: return "an image";
    case ObjectKind::dataStore: return "a data store";
    }
    return "an object";
}

void Ledger::add(ObjectKind kind, const void* object, Owner owner) {
    mAlive[index(kind)].emplace(object, owner);
    ++counts(kind).made;
    mOwnedByLibrary[index(kind)] += owner == Owner::library ? 1 : 0;
}

bool Ledger::remove(ObjectKind kind, const void* object) {
    const auto found = mAlive[index(kind)].find(object);
    if (found == mAlive[index(kind)].end()) {
        return false;
    }
    mOwnedByLibrary[index(kind)] -= found->second == Owner::library ? 1 : 0;
    mAlive[index(kind)].erase(found);
    ++counts(kind).freed;
    return true;
}

bool Ledger::isOwnedBy(Owner owner, ObjectKind kind, const void* object) const {
    const auto found = mAlive[index(kind)].find(object);
    return found != mAlive[index(kind)].end() && found->second == owner;
}

bool Ledger::changeOwner(ObjectKind kind, const void* object, Owner owner) {
    const auto found = mAlive[index(kind)].find(object);
    if (found == mAlive[index(kind)].end()) {
        return false;
    }
    mOwnedByLibrary[index(kind)] += (owner == Owner::library ? 1 : 0) - (found->second == Owner::library ? 1 : 0);
    found->second = owner;
    return true;
}

std::vector<const void*> Ledger::ownedBy(Owner owner, ObjectKind kind) const {
    std::vector<const void*> objects;
    for (const auto& [object, itsOwner] : mAlive[index(kind)]) {
        if (itsOwner == owner) {
            objects.push_back(object);
        }
    }
    return objects;
}

long Ledger::alive() const {
    long total = 0;
    for (const ObjectCounts& kind : mCounts) {
        total += kind.alive();
    }
    return total;
}

void Ledger::refuseNothing() {
    mCalls.fill(0);
    mLinkCalls.clear();
    mRefusedOperation = Operation::count;
    mRefusedLinkFunction.clear();
    mRefusedCall = 0;
    mRefusal = Refusal::once;
}

void Ledger::refuse(Operation operation, long n, Refusal refusal) {
    refuseNothing();
    mRefusedOperation = operation;
    mRefusedCall = n;
    mRefusal = refusal;
}

void Ledger::refuseLink(const std::string& function, long n, Refusal refusal) {
    refuseNothing();
    mRefusedLinkFunction = function;
    mRefusedCall = n;
    mRefusal = refusal;
}

bool Ledger::isRefused(Operation operation) {
    const long call = ++mCalls[static_cast<std::size_t>(operation)];
    return operation == mRefusedOperation && isRefusedCall(call);
}

bool Ledger::isLinkRefused(const std::string& function) {
    const long call = ++mLinkCalls[function];
    return function == mRefusedLinkFunction && isRefusedCall(call);
}

Ledger& ledger() {
    static Ledger instance;
    return instance;
}

} // namespace velmora

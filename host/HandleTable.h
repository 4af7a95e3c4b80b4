#pragma once

#include <algorithm>
#include <new>
#include <string>

#include "host/Ledger.h"
#include "host/Objects.h"

// What the tables of tensors, numeric arrays and images have in common.

namespace velmora {

/// `length` elements of `size` bytes, zero-filled; null without memory. Never a null buffer for an empty object.
inline Buffer newElements(vint length, std::size_t size) {
    return Buffer(std::calloc(std::max<std::size_t>(1, static_cast<std::size_t>(length)), size));
}

/// Product of dimensions that are not negative; false when it leaves `vint`.
inline bool flattenedLength(const std::vector<vint>& dimensions, vint& length) {
    length = 1;
    for (const vint dimension : dimensions) {
        if (dimension < 0 || __builtin_mul_overflow(length, dimension, &length)) {
            return false;
        }
    }
    return true;
}

/// Adds a finished object to the ledger and hands it out.
template <typename Object>
Object* registerObject(std::unique_ptr<Object> object, ObjectKind kind, Owner owner) {
    if (object == nullptr || object->data == nullptr) {
        return nullptr;
    }
    ledger().add(kind, object.get(), owner);
    return object.release();
}

/// A field of a live object, or 0 for a handle that is none: a library that was handed something else than it expects
/// gets an empty answer and no memory to read.
template <typename Object, typename Field>
Field fieldOf(ObjectKind kind, const Object* object, Field Object::*field) {
    return ledger().isAlive(kind, object) ? object->*field : Field{};
}

template <typename Object>
void destroyObject(ObjectKind kind, Object* object) {
    if (ledger().remove(kind, object)) {
        delete object;
    }
}

/// The library frees: only what it owns.
template <typename Object>
void freeByLibrary(ObjectKind kind, Object* object) {
    if (!ledger().isOwnedBy(Owner::library, kind, object)) {
        ledger().reportViolation(std::string("The library freed ") + objectKindName(kind) +
                                 (ledger().isAlive(kind, object) ? " that it does not own." : " that does not exist."));
        return;
    }
    destroyObject(kind, object);
}

/// The library drops a share.
template <typename Object>
void disownByLibrary(ObjectKind kind, Object* object) {
    if (!ledger().isAlive(kind, object) || object->shares < 1) {
        ledger().reportViolation(std::string("The library dropped a share of ") + objectKindName(kind) +
                                 " that it does not share.");
        return;
    }
    --object->shares;
    ++ledger().counts(kind).disowned;
}

/// Places a new object for the library. 0, or the host's code for lost memory.
template <typename Object>
int handOut(Object* object, Object** target) {
    if (object == nullptr) {
        return VELMORA_MEMORY_ERROR;
    }
    *target = object;
    return VELMORA_NO_ERROR;
}

} // namespace velmora

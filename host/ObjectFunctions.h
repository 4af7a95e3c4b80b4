#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/Ledger.h"
#include "host/Objects.h"

// What the operations of tensors, numeric arrays, images and data stores have in common.

namespace velmora {

template <typename Object>
bool isAlive(const Object* object) {
    return ledger().isAlive(Object::kKind, object);
}

template <typename Object>
bool isOwnedByLibrary(const Object* object) {
    return ledger().isOwnedBy(Owner::library, Object::kKind, object);
}

/// False when the object is not alive.
template <typename Object>
bool changeOwner(const Object* object, Owner owner) {
    return ledger().changeOwner(Object::kKind, object, owner);
}

/// Reports that the library did something to an object: "The library freed a tensor that does not exist."
template <typename Object>
void reportViolation(const Object* /*object*/, const std::string& deed, const std::string& reason) {
    ledger().reportViolation("The library " + deed + ' ' + objectKindName(Object::kKind) + reason);
}

/// `length` elements of `size` bytes, zero-filled; null without memory. An object without elements has a buffer too.
Buffer newElements(vint length, std::size_t size);

/// Sets `length` to the product of the dimensions. @return false for a negative dimension or a product beyond `vint`
inline bool flattenedLength(const std::vector<vint>& dimensions, vint& length) {
    length = 1;
    for (const vint dimension : dimensions) {
        if (dimension < 0 || __builtin_mul_overflow(length, dimension, &length)) {
            return false;
        }
    }
    return true;
}

/// Adds a finished object to the ledger. @return null when its elements could not be allocated
template <typename Object>
Object* registerObject(std::unique_ptr<Object> object, Owner owner) {
    if (object->data == nullptr) {
        return nullptr;
    }
    ledger().add(Object::kKind, object.get(), owner);
    return object.release();
}

/// A tensor or numeric array, zero-filled. Null for impossible sizes, and without memory.
template <typename Object>
Object* newArray(vint type, std::vector<vint> dimensions, std::size_t elementSize, Owner owner) {
    auto array = std::make_unique<Object>();
    if (elementSize == 0 || dimensions.empty() || !flattenedLength(dimensions, array->length)) {
        return nullptr;
    }
    array->type = type;
    array->dimensions = std::move(dimensions);
    array->data = newElements(array->length, elementSize);
    return registerObject(std::move(array), owner);
}

/// Fills a new object of the same type and size, which may be null, with the elements of another one.
template <typename Object>
Object* copyElements(const Object* source, Object* target, std::size_t elementSize) {
    if (target != nullptr) {
        std::memcpy(target->data.get(), source->data.get(), static_cast<std::size_t>(source->length) * elementSize);
    }
    return target;
}

template <typename Object>
void destroyObject(Object* object) {
    if (ledger().remove(Object::kKind, object)) {
        delete object;
    }
}

// Operations of the library. A handle that is none gives 0 or null: a library that mistakes a handle must not read
// memory that is not there.

template <auto field, typename Object>
auto fieldOf(Object* object) {
    return isAlive(object) ? object->*field : std::remove_cvref_t<decltype(object->*field)>{};
}

template <typename Object>
vint rankOf(Object* array) {
    return isAlive(array) ? static_cast<vint>(array->dimensions.size()) : 0;
}

template <typename Object>
const vint* dimensionsOf(Object* array) {
    return isAlive(array) ? array->dimensions.data() : nullptr;
}

template <typename Object>
void* dataOf(Object* object) {
    return isAlive(object) ? object->data.get() : nullptr;
}

/// Gives a new object to the library. @return 0, or the host's code for lack of memory when the object is null
template <typename Object>
int handOut(Object* object, Object** target) {
    if (object == nullptr) {
        return VELMORA_MEMORY_ERROR;
    }
    *target = object;
    return VELMORA_NO_ERROR;
}

/// Makes a tensor or numeric array for the library.
template <Operation operation, auto elementSize, auto make, typename Object>
int newByLibrary(vint type, vint rank, const vint* dimensions, Object** array) {
    if (ledger().isRefused(operation)) {
        return VELMORA_MEMORY_ERROR;
    }
    if (elementSize(type) == 0) {
        return VELMORA_TYPE_ERROR;
    }
    if (rank < 1 || dimensions == nullptr) {
        return VELMORA_RANK_ERROR;
    }
    return handOut(make(type, {dimensions, dimensions + rank}, Owner::library), array);
}

template <Operation operation, auto clone, typename Object>
int cloneByLibrary(Object* object, Object** copy) {
    return ledger().isRefused(operation) ? VELMORA_MEMORY_ERROR : handOut(clone(object, Owner::library), copy);
}

/// Frees an object if the library owns it.
template <typename Object>
void freeByLibrary(Object* object) {
    if (!isOwnedByLibrary(object)) {
        reportViolation(object, "freed", isAlive(object) ? " that it does not own." : " that does not exist.");
        return;
    }
    destroyObject(object);
}

/// Drops a share of the library's.
template <typename Object>
void disownByLibrary(Object* object) {
    if (!isAlive(object) || object->shares < 1) {
        reportViolation(object, "dropped a share of", " that it does not share.");
        return;
    }
    --object->shares;
    ++ledger().counts(Object::kKind).disowned;
}

} // namespace velmora

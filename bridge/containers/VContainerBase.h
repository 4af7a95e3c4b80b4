#pragma once

#include <string>
#include <utility>

#include "bridge/ErrorManager.h"
#include "bridge/VArgument.h"
#include "bridge/containers/Passing.h"

namespace GTU {

/// @throws GantryError  CreateFromNullError for a null handle
template <typename Handle>
Handle checkedNotNull(Handle handle) {
    if (handle == nullptr) {
        ErrorManager::throwException(ErrorName::CreateFromNullError);
    }
    return handle;
}

/// A copy that the host made with `clone`. @throws GantryError  `errorName` when it made none
template <typename Handle>
Handle checkedClone(int (*clone)(Handle, Handle*), Handle handle, const std::string& errorName) {
    Handle copy = nullptr;
    if (clone(handle, &copy) != 0) {
        ErrorManager::throwException(errorName);
    }
    return copy;
}

/// A host handle and the policy that says who releases it. `Tag` is the kind of handle.
///
/// It cannot be copied; moving leaves an empty container behind. The destructors of the concrete containers call
/// cleanup().
template <VArgumentType Tag, typename P>
class VContainerBase : public P {
  public:
    using Handle = typename VArgumentTraits<Tag>::CType;

    VContainerBase(Handle newHandle, bool owned) : handle(newHandle) { this->ownedByLibrary = owned; }
    VContainerBase(const VContainerBase&) = delete;
    VContainerBase(VContainerBase&& other) noexcept : P(other), handle(std::exchange(other.handle, nullptr)) {
        other.ownedByLibrary = false;
    }
    VContainerBase& operator=(const VContainerBase&) = delete;
    VContainerBase& operator=(VContainerBase&& other) {
        if (this != &other) {
            this->cleanup(); // the old handle, under the old policy
            handle = nullptr;
            P::operator=(static_cast<const P&>(other));
            this->ownedByLibrary = other.ownedByLibrary;
            handle = std::exchange(other.handle, nullptr);
            other.ownedByLibrary = false;
        }
        return *this;
    }

    // These do nothing for a null handle.
    void free() override {
        if (handle != nullptr) {
            freeImpl();
        }
    }
    void pass(VArgument res) const override {
        if (handle != nullptr) {
            passImpl(res);
        }
    }
    void disown() override {
        if (handle != nullptr) {
            disownImpl();
        }
    }

    /// The raw handle, borrowed.
    Handle rawHandle() const { return handle; }
    /// A deep copy that the caller owns. @throws GantryError  the clone error of the kind
    Handle clone() const { return cloneImpl(); }
    vint shareCount() const { return shareCountImpl(); }

  private:
    virtual Handle cloneImpl() const = 0;
    virtual void freeImpl() = 0;
    virtual void disownImpl() = 0;
    virtual vint shareCountImpl() const = 0;
    virtual void passImpl(VArgument res) const = 0;

  protected:
    Handle handle = nullptr;
};

/// The container of a kind of handle; each specialisation is in the header of its typed class.
template <VArgumentType Tag, typename P>
class VContainer;

} // namespace GTU

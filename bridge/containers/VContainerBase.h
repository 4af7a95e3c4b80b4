#pragma once

#include <utility>

#include "bridge/VArgument.h"
#include "bridge/containers/Passing.h"

namespace GTU {

/// A host handle and the policy that says who releases it. `Tag` is the kind of handle.
///
/// Cannot be copied; moving leaves an empty container behind. The concrete containers call cleanup() when they end.
template <VArgumentType Tag, typename P>
class VContainerBase : public P {
  public:
    using Handle = typename VArgumentTraits<Tag>::CType;

    VContainerBase() = default;
    VContainerBase(Handle newHandle, bool owned) : handle(newHandle) { this->ownedByLibrary = owned; }
    VContainerBase(const VContainerBase&) = delete;
    VContainerBase(VContainerBase&& other) noexcept : P(other), handle(std::exchange(other.handle, nullptr)) {
        other.ownedByLibrary = false;
    }
    VContainerBase& operator=(const VContainerBase&) = delete;
    VContainerBase& operator=(VContainerBase&& other) {
        if (this != &other) {
            this->cleanup(); // under the old policy, whichever it was
            handle = nullptr;
            P::operator=(static_cast<const P&>(other));
            this->ownedByLibrary = other.ownedByLibrary;
            handle = std::exchange(other.handle, nullptr);
            other.ownedByLibrary = false;
        }
        return *this;
    }

    /// Releases, hands over or drops the share of a handle that is not null.
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

/// The containers of each kind; specialised beside their typed classes.
template <VArgumentType Tag, typename P>
class VContainer;

} // namespace GTU

#pragma once

#include "velmora/VelmoraLibrary.h"

namespace GTU::Passing {

/// Says who releases a host object, also once the object has become the result of a call.
class PassingPolicy {
  public:
    explicit PassingPolicy(bool owned) : ownedByLibrary(owned) {}
    PassingPolicy(const PassingPolicy&) = default;

    /// Stores the handle through the result cell and ends the library's ownership.
    virtual void passAsResult(VArgument res) = 0;
    /// Releases the handle if the library owns it.
    virtual void cleanup() = 0;
    /// Takes the ownership of the other policy.
    // NOLINTNEXTLINE(misc-unconventional-assign-operator,cert-oop54-cpp)
    virtual PassingPolicy& operator=(const PassingPolicy& other) {
        ownedByLibrary = other.ownedByLibrary;
        return *this;
    }
    virtual ~PassingPolicy() = default;

    bool isOwnedByLibrary() const { return ownedByLibrary; }
    void setOwnedByLibrary(bool owned) { ownedByLibrary = owned; }

  protected:
    virtual void free() = 0;
    virtual void pass(VArgument res) const = 0;
    virtual void disown() = 0;

    bool ownedByLibrary; ///< true while the library must release the handle
};

/// The library owns the handle: objects that it made, and results under construction.
class Manual : public PassingPolicy {
  public:
    Manual() : PassingPolicy(true) {}
    Manual(const Manual&) = default;

    void passAsResult(VArgument res) override {
        pass(res);
        ownedByLibrary = false;
    }
    void cleanup() override {
        if (ownedByLibrary) {
            free();
        }
    }
    /// Releases the old handle; the new one is the library's, whatever the other policy is.
    // NOLINTNEXTLINE(cert-oop54-cpp)
    Manual& operator=(const PassingPolicy& /*other*/) override {
        cleanup();
        ownedByLibrary = true;
        return *this;
    }
    // NOLINTNEXTLINE(cert-oop54-cpp)
    Manual& operator=(const Manual& other) { return *this = static_cast<const PassingPolicy&>(other); }
};

/// The host owns the handle and keeps it alive for the call: arguments.
class Automatic : public PassingPolicy {
  public:
    Automatic() : PassingPolicy(false) {}
    Automatic(const Automatic&) = default;
    Automatic& operator=(const Automatic&) = default;
    using PassingPolicy::operator=;

    void passAsResult(VArgument res) override {
        pass(res);
        ownedByLibrary = false;
    }
    void cleanup() override {}
};

/// Library and host share the handle. The destructor drops the library's share.
class Shared : public PassingPolicy {
  public:
    Shared() : PassingPolicy(true) {}
    Shared(const Shared&) = default;
    Shared& operator=(const Shared&) = default;
    using PassingPolicy::operator=;

    void passAsResult(VArgument res) override { pass(res); }
    void cleanup() override {
        if (ownedByLibrary) {
            disown();
        }
    }
};

} // namespace GTU::Passing

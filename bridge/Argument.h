#pragma once

#include <string>

#include "bridge/ErrorManager.h"
#include "bridge/LibraryData.h"
#include "bridge/VArgument.h"

namespace GTU {

/// Typed view of one cell. All values that go into a data store are added by this class.
template <VArgumentType T>
class Argument {
    using Traits = VArgumentTraits<T>;

  public:
    using CType = typename Traits::CType;

    explicit Argument(::VArgument& argument) : arg(argument) {}

    CType& get() const { return *Traits::cell(arg); }
    CType* getAddress() const { return Traits::cell(arg); }
    void set(CType value) const { *Traits::cell(arg) = value; }

    /// Appends a node; an empty name makes a node without a name. A handle becomes the store's.
    template <typename Value>
    static void addDataStoreNode(::DataStore store, const std::string& name, Value value) {
        Traits::add(*LibraryData::DataStoreAPI(), store, name.c_str(), value);
    }

  private:
    ::VArgument& arg;
};

/// The view of a cell of any kind.
template <>
class Argument<VArgumentType::VArgument> {
  public:
    explicit Argument(::VArgument& argument) : arg(argument) {}

    ::VArgument& get() const { return arg; }
    ::VArgument* getAddress() const { return &arg; }
    void set(::VArgument value) const { arg = value; }

    /// Appends the cell's value as a node of the given kind.
    /// @throws GantryError  ArgumentAddNodeVArgument for the kind `VArgument`
    void addToDataStore(::DataStore store, const std::string& name, VArgumentType type) const;

  private:
    ::VArgument& arg;
};

} // namespace GTU

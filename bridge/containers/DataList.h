#pragma once

#include <list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bridge/Argument.h"
#include "bridge/containers/VContainerBase.h"

namespace GTU {

template <typename P>
class VContainer<VArgumentType::DataStore, P> : public VContainerBase<VArgumentType::DataStore, P> {
    using Base = VContainerBase<VArgumentType::DataStore, P>;

  public:
    VContainer(::DataStore store, bool owned) : Base(store, owned) {}
    VContainer(VContainer&&) noexcept = default;
    VContainer& operator=(VContainer&&) = default;
    ~VContainer() override { this->cleanup(); }

  private:
    ::DataStore cloneImpl() const override { return LibraryData::DataStoreAPI()->copyDataStore(this->handle); }
    void freeImpl() override { LibraryData::DataStoreAPI()->deleteDataStore(this->handle); }
    void disownImpl() override {}
    vint shareCountImpl() const override { return 0; }
    void passImpl(VArgument res) const override { *res.dataStore = this->handle; }
};

/// Read access to one node of kind `T`; valid only while its store lives.
template <VArgumentType T>
class DataNode {
  public:
    /// @throws GantryError  DLNullRawNode, DLInvalidNodeType for a node of another kind, DLGetNodeDataError
    explicit DataNode(DataStoreNode node);

    const std::string& getName() const { return name; }
    /// The node's value itself, no copy.
    auto& getValue() { return Argument<T>(nodeArg).get(); }
    /// The kind of the value, for a node of any kind.
    VArgumentType getType() const {
        return static_cast<VArgumentType>(LibraryData::DataStoreAPI()->DataStoreNode_getDataType(rawNode));
    }
    DataStoreNode getRawNode() const { return rawNode; }

  private:
    std::string name{};
    ::VArgument nodeArg{};
    DataStoreNode rawNode;
};

template <VArgumentType T>
DataNode<T>::DataNode(DataStoreNode node) : rawNode(node) {
    if (node == nullptr) {
        ErrorManager::throwException(ErrorName::DLNullRawNode);
    }
    const auto* api = LibraryData::DataStoreAPI();
    if constexpr (T != VArgumentType::VArgument) {
        if (api->DataStoreNode_getDataType(node) != static_cast<vint>(T)) {
            ErrorManager::throwException(ErrorName::DLInvalidNodeType);
        }
    }
    char* text = nullptr;
    (void)api->DataStoreNode_getName(node, &text); // a node without a name is no failure
    if (text != nullptr) {
        name = text;
    }
    if (api->DataStoreNode_getData(node, &nodeArg) != 0) {
        ErrorManager::throwException(ErrorName::DLGetNodeDataError);
    }
}

/// A data store with nodes of kind `T`; `VArgument` stands for nodes of any kind.
///
/// Reading uses `proxy`, which has one DataNode for each node that the store had when the list was made. Building adds
/// to the store alone: Argument<U>::addDataStoreNode adds nodes with a name, push_back those without. Only push_back to
/// a list of integers or of reals adds to the proxy as well.
template <VArgumentType T, typename P>
class DataList : public VContainer<VArgumentType::DataStore, P> {
    using Generic = VContainer<VArgumentType::DataStore, P>;

  public:
    /// A new store, owned by the library for `Manual`. @throws GantryError  CreateFromNullError
    DataList() : DataList(LibraryData::DataStoreAPI()->createDataStore()) {}

    /// A store of the host. All its nodes have to be of kind `T`.
    /// @throws GantryError  CreateFromNullError, and as DataNode
    explicit DataList(::DataStore store) : Generic(checkedNotNull(store), std::is_same_v<P, Passing::Manual>) {
        makeProxy();
    }

    ::DataStore getInternal() const { return this->handle; }

    auto begin() { return proxy.begin(); }
    auto end() { return proxy.end(); }
    std::size_t size() const { return proxy.size(); }

    /// Appends a number without a name to a list of that kind.
    template <typename Value>
    requires(T == VArgumentType::Integer || T == VArgumentType::Real) void push_back(Value value) {
        Argument<T>::addDataStoreNode(this->handle, "", value);
        appendLastNodeToProxy();
    }

    /// Appends a number without a name to a list of any kind.
    template <VArgumentType U, typename Value>
    requires(T == VArgumentType::VArgument &&
             (U == VArgumentType::Integer || U == VArgumentType::Real)) void push_back(Value value) {
        Argument<U>::addDataStoreNode(this->handle, "", value);
    }

    /// Appends a container without a name; it is the store's from here on.
    template <VArgumentType U, typename Q>
    requires(T == VArgumentType::VArgument || T == U) void push_back(VContainer<U, Q>&& container) {
        container.setOwnedByLibrary(false);
        Argument<U>::addDataStoreNode(this->handle, "", container.rawHandle());
    }

    /// Appends the store's last node to the proxy, after it was added to the store itself.
    void appendLastNodeToProxy() {
        proxy.emplace_back(LibraryData::DataStoreAPI()->DataStore_getLastNode(this->handle));
    }

  private:
    // Counts by the length and not up to a null node, so that a host with too few nodes is an error.
    void makeProxy() {
        const auto* api = LibraryData::DataStoreAPI();
        const vint length = api->DataStore_getLength(this->handle);
        DataStoreNode node = api->DataStore_getFirstNode(this->handle);
        for (vint index = 0; index < length; ++index) {
            proxy.emplace_back(node);
            node = api->DataStoreNode_getNextNode(node);
        }
    }

    std::list<DataNode<T>> proxy{};
};

/// The texts of a list, in order. @throws std::out_of_range  for a node whose text is null
std::vector<std::string> asVector(DataList<VArgumentType::UTF8String, Passing::Automatic>& list);

/// The first two texts of each inner list, in order; more are ignored. The inner stores are deleted, as the host
/// expects.
/// @throws GantryError        CreateFromNullError, DLInvalidNodeType
/// @throws std::out_of_range  for an inner list of fewer than two texts, or a null text
std::vector<std::pair<std::string, std::string>>
asStringPairs(DataList<VArgumentType::DataStore, Passing::Automatic>& list);

} // namespace GTU

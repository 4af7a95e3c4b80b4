#pragma once

#include <list>
#include <string>
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

/// Read side of one node of kind `T`; valid only while its store lives.
template <VArgumentType T>
class DataNode {
  public:
    /// @throws GantryError  DLNullRawNode, DLInvalidNodeType for a node of another kind, DLGetNodeDataError
    explicit DataNode(DataStoreNode node);

    const std::string& getName() const { return name; }
    /// The node's value, in place.
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
/// Reading goes over `proxy`, one DataNode for each node that was there when the list was made. Building goes
/// straight to the store, through Argument<U>::addDataStoreNode for nodes with a name and push_back for those
/// without; only the push_back of a list of one number kind keeps the proxy up.
template <VArgumentType T, typename P>
class DataList : public VContainer<VArgumentType::DataStore, P> {
    using Generic = VContainer<VArgumentType::DataStore, P>;

  public:
    /// A new store, the library's for `Manual`. @throws GantryError  CreateFromNullError
    DataList() : DataList(LibraryData::DataStoreAPI()->createDataStore()) {}

    /// A store of the host. A node of the wrong kind is found here and not at first use.
    /// @throws GantryError  CreateFromNullError, and those of DataNode
    explicit DataList(::DataStore store) : Generic(store, std::is_same_v<P, Passing::Manual>) {
        if (store == nullptr) {
            ErrorManager::throwException(ErrorName::CreateFromNullError);
        }
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
        proxy.emplace_back(LibraryData::DataStoreAPI()->DataStore_getLastNode(this->handle));
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
    // Counted by the length and not by a null node, so that a host whose nodes run out early is noticed.
    void makeProxy() {
        const auto* api = LibraryData::DataStoreAPI();
        const vint length = api->DataStore_getLength(this->handle);
        DataStoreNode node = api->DataStore_getFirstNode(this->handle);
        for (vint position = 0; position < length; ++position) {
            proxy.emplace_back(node);
            node = api->DataStoreNode_getNextNode(node);
        }
    }

    std::list<DataNode<T>> proxy{};
};

/// The texts of a list, in order. @throws std::out_of_range  for a node whose text is null
std::vector<std::string> asVector(DataList<VArgumentType::UTF8String, Passing::Automatic>& list);

/// The first two texts of each inner list, in order; more are ignored. The inner stores are deleted: the host hands
/// them over for that.
/// @throws GantryError        CreateFromNullError, DLInvalidNodeType
/// @throws std::out_of_range  for an inner list of fewer than two texts, or a null text
std::vector<std::pair<std::string, std::string>>
asStringPairs(DataList<VArgumentType::DataStore, Passing::Automatic>& list);

} // namespace GTU

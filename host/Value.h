#pragma once

#include <complex>
#include <initializer_list>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "host/Objects.h"

namespace velmora {

/// An object that is freed with its scope. Copies are deep; moving leaves a null handle behind.
template <typename Handle, Handle (*clone)(Handle, Owner), void (*destroy)(Handle)>
class Owned {
  public:
    Owned() = default;
    /// Takes over an object that the host owns.
    explicit Owned(Handle handle) : mHandle(handle) {}
    Owned(const Owned& other) : mHandle(other.mHandle == nullptr ? nullptr : clone(other.mHandle, Owner::host)) {}
    Owned(Owned&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}
    Owned& operator=(Owned other) noexcept {
        std::swap(mHandle, other.mHandle);
        return *this;
    }
    ~Owned() {
        if (mHandle != nullptr) {
            destroy(mHandle);
        }
    }

    Handle handle() const { return mHandle; }
    Handle release() { return std::exchange(mHandle, nullptr); }

  private:
    Handle mHandle = nullptr;
};

/// A tensor: dimensions slowest first, elements `vint`, `double` or `std::complex<double>`.
class Tensor : public Owned<VTensor, cloneTensor, destroyTensor> {
  public:
    using Owned::Owned;
    /// Zero-filled. @throws std::invalid_argument  for impossible sizes
    // A template, so that the dimensions {2} in Tensor({2}, {1.5, 2.5}) are not taken for a type.
    template <typename Type>
    requires std::is_convertible_v<Type, vint> Tensor(Type type, std::vector<vint> dimensions)
        : Tensor(zeros(static_cast<vint>(type), std::move(dimensions))) {}
    Tensor(std::vector<vint> dimensions, const std::vector<vint>& elements);
    Tensor(std::vector<vint> dimensions, const std::vector<double>& elements);

    vint type() const { return handle()->type; }
    const std::vector<vint>& dimensions() const { return handle()->dimensions; }
    /// The elements; `T` has to be the element type.
    template <typename T>
    std::span<T> data() const {
        return {static_cast<T*>(handle()->data.get()), static_cast<std::size_t>(handle()->length)};
    }

  private:
    static Tensor zeros(vint type, std::vector<vint> dimensions);
};

/// A numeric array: dimensions slowest first, one of the ten element types.
class NumericArray : public Owned<VNumericArray, cloneNumericArray, destroyNumericArray> {
  public:
    using Owned::Owned;
    /// Zero-filled. @throws std::invalid_argument  for impossible sizes
    NumericArray(vint type, std::vector<vint> dimensions);

    vint type() const { return handle()->type; }
    const std::vector<vint>& dimensions() const { return handle()->dimensions; }
    std::span<std::byte> bytes() const {
        return {static_cast<std::byte*>(handle()->data.get()),
                static_cast<std::size_t>(handle()->length) * numericArrayElementSize(type())};
    }
    template <typename T>
    std::span<T> data() const {
        return {static_cast<T*>(handle()->data.get()), static_cast<std::size_t>(handle()->length)};
    }
};

/// An image; velmora/VelmoraLibrary.h describes the order of its elements.
class Image : public Owned<VImage, cloneImage, destroyImage> {
  public:
    using Owned::Owned;
    /// Zero-filled; `slices` 0 gives a 2D image. @throws std::invalid_argument  for impossible sizes
    Image(vint slices, vint rows, vint columns, vint channels, vint type, vint colorSpace, bool interleaved);

    const VelmoraImage& info() const { return *handle(); }
    std::span<std::byte> bytes() const {
        return {static_cast<std::byte*>(handle()->data.get()),
                static_cast<std::size_t>(handle()->length) * imageElementSize(handle()->type)};
    }
    template <typename T>
    std::span<T> data() const {
        return {static_cast<T*>(handle()->data.get()), static_cast<std::size_t>(handle()->length)};
    }
};

/// The host cannot do what it was asked for: a file or a function is missing, for example. The text is a sentence.
class HostError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Name of a kind of value (VType_...), such as "integer".
const char* kindName(vint type);

class StoreView;
class Value;

/// Read access to a node of a data store.
class NodeView {
  public:
    explicit NodeView(const VelmoraDataStoreNode* node) : mNode(node) {}

    std::string_view name() const { return mNode->name(); }
    vint type() const { return mNode->type; } ///< VType_...
    const VelmoraDataStoreNode::Cell& cell() const { return mNode->cell; }
    bool isText() const { return type() == VType_UTF8String && cell().utf8String != nullptr; }
    bool isStore() const { return type() == VType_DataStore && cell().dataStore != nullptr; }
    /// @throws HostError  the node holds something else
    std::string_view text() const;
    StoreView store() const;
    /// A copy of the value.
    Value value() const;

  private:
    const VelmoraDataStoreNode* mNode;
};

/// Read access to a store that someone else keeps alive.
class StoreView {
  public:
    explicit StoreView(const VelmoraDataStore* store) : mStore(store) {}

    class Iterator {
      public:
        explicit Iterator(const VelmoraDataStoreNode* node) : mNode(node) {}
        NodeView operator*() const { return NodeView(mNode); }
        Iterator& operator++() {
            mNode = mNode->next;
            return *this;
        }
        bool operator==(const Iterator&) const = default;

      private:
        const VelmoraDataStoreNode* mNode;
    };

    Iterator begin() const { return Iterator(mStore == nullptr ? nullptr : mStore->first); }
    Iterator end() const { return Iterator(nullptr); }
    std::size_t size() const { return mStore == nullptr ? 0 : static_cast<std::size_t>(mStore->length); }

    /// The node at an index, from 0. @throws HostError  for an index beyond the last node
    NodeView at(std::size_t index) const;

    // Values by name. The first node of that name counts; a value of another kind counts as missing.
    std::string_view text(std::string_view name) const;       ///< empty when missing
    std::optional<vint> integer(std::string_view name) const; ///< nothing when missing
    StoreView store(std::string_view name) const;             ///< empty when missing

    /// The values of all nodes that are texts, in order.
    std::vector<std::string> texts() const;

  private:
    /// The value of the first node of that name; null when there is none, or when it is of another kind.
    const VelmoraDataStoreNode::Cell* find(std::string_view name, vint type) const;

    const VelmoraDataStore* mStore;
};

/// A data store: an ordered list of nodes with a name (which may be empty or repeat) and a value.
class Store : public Owned<DataStore, cloneDataStore, destroyDataStore> {
  public:
    using Owned::Owned;
    static Store empty() { return Store(newDataStore(Owner::host)); }
    /// Nodes without names.
    static Store of(std::vector<Value> values);
    static Store ofTexts(const std::vector<std::string>& texts);

    void add(const std::string& name, Value value);

    StoreView view() const { return StoreView(handle()); }
    StoreView::Iterator begin() const { return view().begin(); }
    StoreView::Iterator end() const { return view().end(); }
    std::size_t size() const { return view().size(); }
};

/// Null: no value, and as an argument a null handle.
using Null = std::monostate;

/// Any value that can be an argument, a result or in a store.
class Value : public std::variant<Null, bool, vint, double, std::complex<double>, std::string, Tensor, NumericArray,
                                  Image, Store> {
  public:
    using variant::variant;
    Value(const char* text) : variant(std::string(text)) {}

    template <typename T>
    bool is() const {
        return std::holds_alternative<T>(*this);
    }
    template <typename T>
    const T& get() const {
        return std::get<T>(*this);
    }
    template <typename Visitor>
    auto visit(Visitor visitor) const {
        return std::visit(visitor, *this);
    }
    /// VType_..., VType_Undef for Null.
    vint type() const;
    /// The value as a cell, which borrows the text or object; all zero for Null.
    VelmoraDataStoreNode::Cell cell() const;
};

/// The boolean, number or text in a cell; Null for an object or a null text.
Value scalarOf(vint type, const VelmoraDataStoreNode::Cell& cell);

} // namespace velmora

#include "host/Value.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

template <typename Handle>
Handle notNull(Handle handle, const char* what) {
    if (handle == nullptr) {
        throw std::invalid_argument(std::string("The host cannot make this ") + what +
                                    ": its type or its sizes are impossible, or there is no memory.");
    }
    return handle;
}

template <typename Object, typename Element>
void fill(const Object& object, const std::vector<Element>& elements) {
    const auto target = object.template data<Element>();
    if (target.size() != elements.size()) {
        throw std::invalid_argument("The number of elements is not the product of the dimensions.");
    }
    std::copy(elements.begin(), elements.end(), target.begin());
}

using Cell = VelmoraDataStoreNode::Cell;

HostError unexpectedKind(NodeView node, vint expected) {
    return HostError("The node '" + std::string(node.name()) + "' should be of the kind " + kindName(expected) +
                     ", but is " + (node.type() == expected ? "null" : kindName(node.type())) + ".");
}

} // namespace

Tensor Tensor::zeros(vint type, std::vector<vint> dimensions) {
    return Tensor(notNull(newTensor(type, std::move(dimensions), Owner::host), "tensor"));
}

Tensor::Tensor(std::vector<vint> dimensions, const std::vector<vint>& elements)
    : Tensor(VTensor_Integer, std::move(dimensions)) {
    fill(*this, elements);
}

Tensor::Tensor(std::vector<vint> dimensions, const std::vector<double>& elements)
    : Tensor(VTensor_Real, std::move(dimensions)) {
    fill(*this, elements);
}

NumericArray::NumericArray(vint type, std::vector<vint> dimensions)
    : Owned(notNull(newNumericArray(type, std::move(dimensions), Owner::host), "numeric array")) {}

Image::Image(vint slices, vint rows, vint columns, vint channels, vint type, vint colorSpace, bool interleaved)
    : Owned(notNull(newImage(slices == 0 ? 2 : 3, slices == 0 ? 1 : slices, rows, columns, channels, type, colorSpace,
                             interleaved, Owner::host),
                    "image")) {}

Store Store::of(std::vector<Value> values) {
    Store store = empty();
    for (Value& value : values) {
        store.add("", std::move(value));
    }
    return store;
}

Store Store::ofTexts(const std::vector<std::string>& texts) {
    return of(std::vector<Value>(texts.begin(), texts.end()));
}

void Store::add(const std::string& name, Value value) {
    const vint type = value.is<Null>() ? static_cast<vint>(VType_DataStore) : value.type();
    const Cell cell = value.cell();
    std::visit(
        [](auto& content) {
            if constexpr (requires { content.release(); }) {
                changeOwner(content.release(), Owner::store);
            }
        },
        value);
    appendNode(handle(), name.c_str(), type, cell);
}

const char* kindName(vint type) {
    static constexpr std::array<const char*, 11> names{"nothing", "boolean", "integer",      "real",
                                                       "complex", "tensor",  "sparse array", "array",
                                                       "image",   "text",    "store"};
    return type >= 0 && static_cast<std::size_t>(type) < names.size() ? names[static_cast<std::size_t>(type)]
                                                                      : "unknown";
}

std::string_view NodeView::text() const {
    if (!isText()) {
        throw unexpectedKind(*this, VType_UTF8String);
    }
    return cell().utf8String;
}

StoreView NodeView::store() const {
    if (!isStore()) {
        throw unexpectedKind(*this, VType_DataStore);
    }
    return StoreView(cell().dataStore);
}

NodeView StoreView::at(std::size_t index) const {
    const VelmoraDataStoreNode* node = mStore == nullptr ? nullptr : mStore->first;
    for (std::size_t current = 0; node != nullptr && current < index; ++current) {
        node = node->next;
    }
    if (node == nullptr) {
        throw HostError("A store of " + std::to_string(size()) + " nodes has no node " + std::to_string(index) +
                        " (nodes count from 0).");
    }
    return NodeView(node);
}

const Cell* StoreView::find(std::string_view name, vint type) const {
    for (const NodeView node : *this) {
        if (node.name() == name) {
            return node.type() == type ? &node.cell() : nullptr;
        }
    }
    return nullptr;
}

std::string_view StoreView::text(std::string_view name) const {
    const Cell* cell = find(name, VType_UTF8String);
    return cell == nullptr || cell->utf8String == nullptr ? std::string_view{} : cell->utf8String;
}

std::optional<vint> StoreView::integer(std::string_view name) const {
    const Cell* cell = find(name, VType_Integer);
    return cell == nullptr ? std::nullopt : std::optional(cell->integer);
}

StoreView StoreView::store(std::string_view name) const {
    const Cell* cell = find(name, VType_DataStore);
    return StoreView(cell == nullptr ? nullptr : cell->dataStore);
}

std::vector<std::string> StoreView::texts() const {
    std::vector<std::string> texts;
    for (const NodeView node : *this) {
        if (node.isText()) {
            texts.emplace_back(node.text());
        }
    }
    return texts;
}

Value scalarOf(vint type, const Cell& cell) {
    switch (type) {
    case VType_Boolean: return cell.boolean != 0;
    case VType_Integer: return cell.integer;
    case VType_Real: return cell.real;
    case VType_Complex: return std::complex<double>(cell.complex.re, cell.complex.im);
    case VType_UTF8String: return cell.utf8String == nullptr ? Value{} : Value{std::string(cell.utf8String)};
    default: return {};
    }
}

Value NodeView::value() const {
    switch (type()) {
    case VType_Tensor: return Tensor(cloneTensor(cell().tensor, Owner::host));
    case VType_NumericArray: return NumericArray(cloneNumericArray(cell().numericArray, Owner::host));
    case VType_Image: return Image(cloneImage(cell().image, Owner::host));
    case VType_DataStore:
        return cell().dataStore == nullptr ? Value{} : Value{Store(cloneDataStore(cell().dataStore, Owner::host))};
    default: return scalarOf(type(), cell());
    }
}

vint Value::type() const {
    static constexpr vint types[] = {VType_Undef,      VType_Boolean, VType_Integer,      VType_Real,  VType_Complex,
                                     VType_UTF8String, VType_Tensor,  VType_NumericArray, VType_Image, VType_DataStore};
    return types[index()];
}

Cell Value::cell() const {
    struct Fill {
        Cell& cell;
        void operator()(const Null&) const {}
        void operator()(const bool& flag) const { cell.boolean = flag ? 1 : 0; }
        void operator()(const vint& number) const { cell.integer = number; }
        void operator()(const double& number) const { cell.real = number; }
        void operator()(const std::complex<double>& number) const { cell.complex = {number.real(), number.imag()}; }
        void operator()(const std::string& text) const { cell.utf8String = const_cast<char*>(text.c_str()); }
        void operator()(const Tensor& tensor) const { cell.tensor = tensor.handle(); }
        void operator()(const NumericArray& array) const { cell.numericArray = array.handle(); }
        void operator()(const Image& image) const { cell.image = image.handle(); }
        void operator()(const Store& store) const { cell.dataStore = store.handle(); }
    };
    Cell cell;
    std::memset(&cell, 0, sizeof(cell)); // every member, whichever is read
    visit(Fill{cell});
    return cell;
}

} // namespace velmora

#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

using Cell = VelmoraDataStoreNode::Cell;

/// Makes an object the store's. @return null for an object that the library does not own: two owners would both free it
template <typename Object>
Object* takeOver(Object* object) {
    if (object != nullptr && !isOwnedByLibrary(object)) {
        reportViolation(object, "put", " that it does not own into a data store.");
        return nullptr;
    }
    changeOwner(object, Owner::store);
    return object;
}

void destroyCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_Tensor: destroyTensor(cell.tensor); break;
    case VType_NumericArray: destroyNumericArray(cell.numericArray); break;
    case VType_Image: destroyImage(cell.image); break;
    default: break;
    }
}

/// Frees one store and what is in it, except for inner stores: they are added to `inner`, so that nesting needs no
/// recursion.
void destroyOne(DataStore store, std::vector<DataStore>& inner) {
    for (const VelmoraDataStoreNode* node = store->first; node != nullptr; node = node->next) {
        if (node->type == VType_DataStore && node->cell.dataStore != nullptr) {
            inner.push_back(node->cell.dataStore);
        } else {
            destroyCell(node->type, node->cell);
        }
    }
    delete store;
}

/// Appends a node with `extra` bytes behind its name. Null without memory.
VelmoraDataStoreNode* addNode(DataStore store, const char* name, vint type, Cell cell, std::size_t extra) {
    name = name == nullptr ? "" : name;
    const std::size_t nameBytes = std::strlen(name) + 1;
    void* memory = store->memory.allocate(sizeof(VelmoraDataStoreNode) + nameBytes + extra);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* node = new (memory) VelmoraDataStoreNode{nullptr, type, cell};
    std::memcpy(node->name(), name, nameBytes);
    (store->last == nullptr ? store->first : store->last->next) = node;
    store->last = node;
    ++store->length;
    return node;
}

void addByLibrary(DataStore store, const char* name, vint type, Cell cell) {
    if (!isAlive(store)) {
        ledger().reportViolation("The library added to a data store that does not exist.");
        if (type == VType_DataStore) {
            destroyDataStore(cell.dataStore);
        } else {
            destroyCell(type, cell);
        }
        return;
    }
    appendNode(store, name, type, cell);
}

void addStore(DataStore store, const char* name, DataStore value) {
    if (store == value) {
        ledger().reportViolation("The library put a data store into itself.");
        return;
    }
    addByLibrary(store, name, VType_DataStore, Cell{.dataStore = takeOver(value)});
}

void deleteByLibrary(DataStore store) {
    // The library may also delete a store that is inside an argument's store.
    if (!isAlive(store)) {
        ledger().reportViolation("The library deleted a data store that does not exist.");
    } else if (ledger().isOwnedBy(Owner::host, ObjectKind::dataStore, store)) {
        ledger().reportViolation("The library deleted a data store that it does not own.");
    } else {
        destroyDataStore(store);
    }
}

Cell cloneCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_Tensor: return Cell{.tensor = cloneTensor(cell.tensor, Owner::store)};
    case VType_NumericArray: return Cell{.numericArray = cloneNumericArray(cell.numericArray, Owner::store)};
    case VType_Image: return Cell{.image = cloneImage(cell.image, Owner::store)};
    default: return cell;
    }
}

/// Appends a value that the library gives; a handle becomes the store's.
template <vint type, auto member, typename T>
void addNamed(DataStore store, const char* name, T value) {
    Cell cell{};
    if constexpr (type == VType_Tensor || type == VType_NumericArray || type == VType_Image) {
        cell.*member = takeOver(value);
    } else {
        cell.*member = value;
    }
    addByLibrary(store, name, type, cell);
}

DataStore createByLibrary() {
    return ledger().isRefused(Operation::createDataStore) ? nullptr : newDataStore(Owner::library);
}

DataStore copyByLibrary(DataStore store) {
    return ledger().isRefused(Operation::copyDataStore) ? nullptr : cloneDataStore(store, Owner::library);
}

int nodeData(DataStoreNode node, VArgument* data) {
    if (ledger().isRefused(Operation::DataStoreNode_getData) || node == nullptr || data == nullptr) {
        return VELMORA_FUNCTION_ERROR;
    }
    data->cell = &node->cell;
    return VELMORA_NO_ERROR;
}

int nodeName(DataStoreNode node, char** name) {
    if (ledger().isRefused(Operation::DataStoreNode_getName) || node == nullptr || name == nullptr) {
        return VELMORA_FUNCTION_ERROR;
    }
    *name = node->name()[0] == '\0' ? nullptr : node->name();
    return VELMORA_NO_ERROR;
}

} // namespace

void* NodeMemory::allocate(std::size_t bytes) {
    constexpr std::size_t kAlignment = alignof(VelmoraDataStoreNode);
    constexpr std::size_t kSmallestChunk = 240;
    constexpr std::size_t kLargestChunk = 65536;
    bytes = (bytes + kAlignment - 1) / kAlignment * kAlignment;
    if (bytes > mLeft) {
        const std::size_t size = std::max(bytes, std::clamp(mTotal / 4, kSmallestChunk, kLargestChunk));
        Buffer chunk(std::malloc(size));
        if (chunk == nullptr) {
            return nullptr;
        }
        mNext = static_cast<char*>(chunk.get());
        mLeft = size;
        mTotal += size;
        mChunks.push_back(std::move(chunk));
    }
    mLeft -= bytes;
    return std::exchange(mNext, mNext + bytes);
}

DataStore newDataStore(Owner owner) {
    auto* store = new (std::nothrow) VelmoraDataStore;
    if (store != nullptr) {
        ledger().add(ObjectKind::dataStore, store, owner);
    }
    return store;
}

VelmoraDataStoreNode* appendText(DataStore store, const char* name, const char* text) {
    const std::size_t textBytes = text == nullptr ? 0 : std::strlen(text) + 1;
    VelmoraDataStoreNode* node = addNode(store, name, VType_UTF8String, Cell{.utf8String = nullptr}, textBytes);
    if (node != nullptr && text != nullptr) {
        char* copy = node->name() + std::strlen(node->name()) + 1;
        std::memcpy(copy, text, textBytes);
        node->cell.utf8String = copy;
    }
    return node;
}

VelmoraDataStoreNode* appendNode(DataStore store, const char* name, vint type, Cell cell) {
    if (type == VType_UTF8String) {
        return appendText(store, name, cell.utf8String);
    }
    VelmoraDataStoreNode* node = addNode(store, name, type, cell, 0);
    if (type == VType_DataStore && cell.dataStore != nullptr && isAlive(cell.dataStore)) {
        cell.dataStore->holder = node;
    }
    return node;
}

DataStore cloneDataStore(DataStore store, Owner owner) {
    if (!isAlive(store)) {
        return nullptr;
    }
    const DataStore copy = newDataStore(owner);
    std::vector<std::pair<DataStore, DataStore>> open{{store, copy}}; // in place of a recursion
    while (!open.empty()) {
        const auto [source, target] = open.back();
        open.pop_back();
        for (const VelmoraDataStoreNode* node = source->first; node != nullptr; node = node->next) {
            if (node->type == VType_DataStore && node->cell.dataStore != nullptr) {
                const DataStore inner = newDataStore(Owner::store);
                appendNode(target, node->name(), VType_DataStore, Cell{.dataStore = inner});
                open.emplace_back(node->cell.dataStore, inner);
            } else {
                appendNode(target, node->name(), node->type, cloneCell(node->type, node->cell));
            }
        }
    }
    return copy;
}

void destroyDataStore(DataStore store) {
    std::vector<DataStore> doomed{store};
    if (isAlive(store) && store->holder != nullptr) {
        store->holder->cell.dataStore = nullptr;
    }
    while (!doomed.empty()) {
        const DataStore next = doomed.back();
        doomed.pop_back();
        if (ledger().remove(ObjectKind::dataStore, next)) {
            destroyOne(next, doomed);
        }
    }
}

const VelmoraDataStoreFunctions kDataStoreFunctions = {
    .createDataStore = createByLibrary,
    .DataStore_addNamedInteger = addNamed<VType_Integer, &Cell::integer>,
    .DataStore_addNamedReal = addNamed<VType_Real, &Cell::real>,
    .DataStore_addNamedComplex = addNamed<VType_Complex, &Cell::complex>,
    .DataStore_addNamedString =
        [](DataStore store, const char* name, const char* value) {
            addByLibrary(store, name, VType_UTF8String, Cell{.utf8String = const_cast<char*>(value)});
        },
    .DataStore_addNamedVTensor = addNamed<VType_Tensor, &Cell::tensor>,
    .DataStore_addNamedVImage = addNamed<VType_Image, &Cell::image>,
    .DataStore_addNamedDataStore = addStore,
    .DataStore_addNamedBoolean = addNamed<VType_Boolean, &Cell::boolean>,
    .DataStore_addNamedVNumericArray = addNamed<VType_NumericArray, &Cell::numericArray>,
    .DataStore_addNamedVSparseArray = addNamed<VType_SparseArray, &Cell::sparseArray>,
    .deleteDataStore = deleteByLibrary,
    .copyDataStore = copyByLibrary,
    .DataStore_getLength = fieldOf<&VelmoraDataStore::length>,
    .DataStore_getFirstNode = fieldOf<&VelmoraDataStore::first>,
    .DataStore_getLastNode = fieldOf<&VelmoraDataStore::last>,
    .DataStoreNode_getNextNode = [](DataStoreNode node) { return node == nullptr ? nullptr : node->next; },
    .DataStoreNode_getDataType = [](DataStoreNode node) -> vint {
        return ledger().isRefused(Operation::DataStoreNode_getDataType) || node == nullptr ? VType_Undef : node->type;
    },
    .DataStoreNode_getData = nodeData,
    .DataStoreNode_getName = nodeName,
};

} // namespace velmora

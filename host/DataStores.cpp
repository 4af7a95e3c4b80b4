#include <cstring>
#include <new>
#include <utility>

#include "host/HandleTable.h"

namespace velmora {

namespace {

constexpr auto kDataStoreKind = ObjectKind::dataStore;

using Cell = VelmoraDataStoreNode::Cell;

/// Makes a handle the store's. Null for one that is not the library's own: it stays where it is, since two owners
/// would each free it.
template <typename Handle>
Handle takeOver(ObjectKind kind, Handle handle) {
    if (handle == nullptr) {
        return nullptr;
    }
    if (!ledger().isOwnedBy(Owner::library, kind, handle)) {
        ledger().reportViolation(std::string("The library put ") + objectKindName(kind) +
                                 " that it does not own into a data store.");
        return nullptr;
    }
    ledger().changeOwner(kind, handle, Owner::store);
    return handle;
}

void destroyCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_Tensor: destroyTensor(cell.tensor); break;
    case VType_NumericArray: destroyNumericArray(cell.numericArray); break;
    case VType_Image: destroyImage(cell.image); break;
    default: break;
    }
}

/// Frees one store's own memory. Inner stores are handed to the caller, so that nesting costs no call stack.
void destroyOne(DataStore store, std::vector<DataStore>& inner) {
    for (VelmoraDataStoreNode* node = store->first; node != nullptr;) {
        if (node->type == VType_DataStore && node->cell.dataStore != nullptr) {
            inner.push_back(node->cell.dataStore);
        } else {
            destroyCell(node->type, node->cell);
        }
        node = node->next;
    }
    delete store;
}

void addByLibrary(DataStore store, const char* name, vint type, Cell cell) {
    if (!ledger().isAlive(kDataStoreKind, store)) {
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
    addByLibrary(store, name, VType_DataStore, Cell{.dataStore = takeOver(kDataStoreKind, value)});
}

void deleteByLibrary(DataStore store) {
    // A store inside an argument's store may be deleted too: it is taken out of it.
    if (!ledger().isAlive(kDataStoreKind, store)) {
        ledger().reportViolation("The library deleted a data store that does not exist.");
        return;
    }
    if (ledger().isOwnedBy(Owner::host, kDataStoreKind, store)) {
        ledger().reportViolation("The library deleted a data store that it does not own.");
        return;
    }
    destroyDataStore(store);
}

Cell cloneCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_Tensor: return Cell{.tensor = cloneTensor(cell.tensor, Owner::store)};
    case VType_NumericArray: return Cell{.numericArray = cloneNumericArray(cell.numericArray, Owner::store)};
    case VType_Image: return Cell{.image = cloneImage(cell.image, Owner::store)};
    default: return cell;
    }
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
        ledger().add(kDataStoreKind, store, owner);
    }
    return store;
}

namespace {

/// A node at the end of the store, with `extra` bytes behind its name.
VelmoraDataStoreNode* addNode(DataStore store, const char* name, vint type, Cell cell, std::size_t extra) {
    const std::size_t nameBytes = (name == nullptr ? 0 : std::strlen(name)) + 1;
    void* memory = store->memory.allocate(sizeof(VelmoraDataStoreNode) + nameBytes + extra);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* node = new (memory) VelmoraDataStoreNode{nullptr, type, cell};
    std::memcpy(node->name(), name == nullptr ? "" : name, nameBytes);
    (store->last == nullptr ? store->first : store->last->next) = node;
    store->last = node;
    ++store->length;
    return node;
}

} // namespace

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
    if (type == VType_DataStore && cell.dataStore != nullptr && ledger().isAlive(kDataStoreKind, cell.dataStore)) {
        cell.dataStore->holder = node;
    }
    return node;
}

DataStore cloneDataStore(DataStore store, Owner owner) {
    if (!ledger().isAlive(kDataStoreKind, store)) {
        return nullptr;
    }
    const DataStore copy = newDataStore(owner);
    std::vector<std::pair<DataStore, DataStore>> open{{store, copy}}; // nesting costs no call stack
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
    if (ledger().isAlive(kDataStoreKind, store) && store->holder != nullptr) {
        store->holder->cell.dataStore = nullptr;
    }
    while (!doomed.empty()) {
        const DataStore next = doomed.back();
        doomed.pop_back();
        if (ledger().remove(kDataStoreKind, next)) {
            destroyOne(next, doomed);
        }
    }
}

const VelmoraDataStoreFunctions kDataStoreFunctions = {
    .createDataStore = createByLibrary,
    .DataStore_addNamedInteger = [](DataStore store, const char* name,
                                    vint value) { addByLibrary(store, name, VType_Integer, Cell{.integer = value}); },
    .DataStore_addNamedReal = [](DataStore store, const char* name,
                                 vreal value) { addByLibrary(store, name, VType_Real, Cell{.real = value}); },
    .DataStore_addNamedComplex =
        [](DataStore store, const char* name, vcomplex value) {
            addByLibrary(store, name, VType_Complex, Cell{.complex = value});
        },
    .DataStore_addNamedString =
        [](DataStore store, const char* name, const char* value) {
            addByLibrary(store, name, VType_UTF8String, Cell{.utf8String = const_cast<char*>(value)});
        },
    .DataStore_addNamedVTensor =
        [](DataStore store, const char* name, VTensor value) {
            addByLibrary(store, name, VType_Tensor, Cell{.tensor = takeOver(ObjectKind::tensor, value)});
        },
    .DataStore_addNamedVImage =
        [](DataStore store, const char* name, VImage value) {
            addByLibrary(store, name, VType_Image, Cell{.image = takeOver(ObjectKind::image, value)});
        },
    .DataStore_addNamedDataStore = addStore,
    .DataStore_addNamedBoolean = [](DataStore store, const char* name,
                                    vbool value) { addByLibrary(store, name, VType_Boolean, Cell{.boolean = value}); },
    .DataStore_addNamedVNumericArray =
        [](DataStore store, const char* name, VNumericArray value) {
            addByLibrary(store, name, VType_NumericArray,
                         Cell{.numericArray = takeOver(ObjectKind::numericArray, value)});
        },
    .DataStore_addNamedVSparseArray =
        [](DataStore store, const char* name, VSparseArray value) {
            addByLibrary(store, name, VType_SparseArray, Cell{.sparseArray = value});
        },
    .deleteDataStore = deleteByLibrary,
    .copyDataStore = copyByLibrary,
    .DataStore_getLength = [](DataStore store) { return fieldOf(kDataStoreKind, store, &VelmoraDataStore::length); },
    .DataStore_getFirstNode = [](DataStore store) { return fieldOf(kDataStoreKind, store, &VelmoraDataStore::first); },
    .DataStore_getLastNode = [](DataStore store) { return fieldOf(kDataStoreKind, store, &VelmoraDataStore::last); },
    .DataStoreNode_getNextNode = [](DataStoreNode node) { return node == nullptr ? nullptr : node->next; },
    .DataStoreNode_getDataType = [](DataStoreNode node) -> vint {
        return ledger().isRefused(Operation::DataStoreNode_getDataType) || node == nullptr ? VType_Undef : node->type;
    },
    .DataStoreNode_getData = nodeData,
    .DataStoreNode_getName = nodeName,
};

} // namespace velmora

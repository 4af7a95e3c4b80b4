#include <cstring>
#include <new>

#include "HandleTable.h"

namespace velmora {

namespace {

constexpr auto kKind = ObjectKind::dataStore;

/// A handle that goes into a store is the store's; it has to be the library's own before.
template <typename Handle>
void takeOver(ObjectKind kind, Handle handle) {
    if (handle == nullptr) {
        return;
    }
    if (!ledger().isOwnedBy(Owner::library, kind, handle)) {
        ledger().reportViolation(std::string("The library put a ") + objectKindName(kind) +
                                 " that it does not own into a data store.");
    }
    ledger().changeOwner(kind, handle, Owner::store);
}

void addByLibrary(DataStore store, const char* name, vint type, VelmoraDataStoreNode::Cell cell) {
    if (!ledger().isAlive(kKind, store)) {
        ledger().reportViolation("The library added to a data store that does not exist.");
        return;
    }
    appendNode(store, name, type, cell);
}

using Cell = VelmoraDataStoreNode::Cell;

void addStore(DataStore store, const char* name, DataStore value) {
    takeOver(kKind, value);
    addByLibrary(store, name, VType_DataStore, Cell{.dataStore = value});
}

void destroyCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_UTF8String: std::free(cell.utf8String); break;
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
        VelmoraDataStoreNode* next = node->next;
        std::free(node);
        node = next;
    }
    delete store;
}

void deleteByLibrary(DataStore store) {
    // A store inside an argument's store may be deleted too: it is taken out of it.
    if (!ledger().isAlive(kKind, store)) {
        ledger().reportViolation("The library deleted a data store that does not exist.");
        return;
    }
    if (ledger().isOwnedBy(Owner::host, kKind, store)) {
        ledger().reportViolation("The library deleted a data store that it does not own.");
        return;
    }
    destroyDataStore(store);
}

Cell cloneCell(vint type, const Cell& cell) {
    switch (type) {
    case VType_UTF8String: return Cell{.utf8String = copyText(cell.utf8String)};
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

char* copyText(const char* text) { return text == nullptr ? nullptr : ::strdup(text); }

DataStore newDataStore(Owner owner) {
    auto* store = new (std::nothrow) VelmoraDataStore;
    if (store != nullptr) {
        ledger().add(kKind, store, owner);
    }
    return store;
}

VelmoraDataStoreNode* appendNode(DataStore store, const char* name, vint type, VelmoraDataStoreNode::Cell cell) {
    const std::size_t nameLength = name == nullptr ? 0 : std::strlen(name);
    void* memory = std::malloc(sizeof(VelmoraDataStoreNode) + nameLength + 1);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* node = new (memory) VelmoraDataStoreNode{nullptr, type, cell};
    if (nameLength > 0) {
        std::memcpy(node->name(), name, nameLength);
    }
    node->name()[nameLength] = '\0';
    (store->last == nullptr ? store->first : store->last->next) = node;
    store->last = node;
    ++store->length;
    if (type == VType_DataStore && ledger().isAlive(kKind, cell.dataStore)) {
        cell.dataStore->holder = node;
    }
    return node;
}

DataStore cloneDataStore(DataStore store, Owner owner) {
    if (!ledger().isAlive(kKind, store)) {
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
    if (ledger().isAlive(kKind, store) && store->holder != nullptr) {
        store->holder->cell.dataStore = nullptr;
    }
    while (!doomed.empty()) {
        const DataStore next = doomed.back();
        doomed.pop_back();
        if (ledger().remove(kKind, next)) {
            destroyOne(next, doomed);
        }
    }
}

const VelmoraDataStoreFunctions kDataStoreFunctions = {
    .createDataStore = createByLibrary,
    .DataStore_addNamedInteger =
        [](DataStore store, const char* name, vint value) {
            addByLibrary(store, name, VType_Integer, Cell{.integer = value});
        },
    .DataStore_addNamedReal =
        [](DataStore store, const char* name, vreal value) {
            addByLibrary(store, name, VType_Real, Cell{.real = value});
        },
    .DataStore_addNamedComplex =
        [](DataStore store, const char* name, vcomplex value) {
            addByLibrary(store, name, VType_Complex, Cell{.complex = value});
        },
    .DataStore_addNamedString =
        [](DataStore store, const char* name, const char* value) {
            addByLibrary(store, name, VType_UTF8String, Cell{.utf8String = copyText(value)});
        },
    .DataStore_addNamedVTensor =
        [](DataStore store, const char* name, VTensor value) {
            takeOver(ObjectKind::tensor, value);
            addByLibrary(store, name, VType_Tensor, Cell{.tensor = value});
        },
    .DataStore_addNamedVImage =
        [](DataStore store, const char* name, VImage value) {
            takeOver(ObjectKind::image, value);
            addByLibrary(store, name, VType_Image, Cell{.image = value});
        },
    .DataStore_addNamedDataStore = addStore,
    .DataStore_addNamedBoolean =
        [](DataStore store, const char* name, vbool value) {
            addByLibrary(store, name, VType_Boolean, Cell{.boolean = value});
        },
    .DataStore_addNamedVNumericArray =
        [](DataStore store, const char* name, VNumericArray value) {
            takeOver(ObjectKind::numericArray, value);
            addByLibrary(store, name, VType_NumericArray, Cell{.numericArray = value});
        },
    .DataStore_addNamedVSparseArray =
        [](DataStore store, const char* name, VSparseArray value) {
            addByLibrary(store, name, VType_SparseArray, Cell{.sparseArray = value});
        },
    .deleteDataStore = deleteByLibrary,
    .copyDataStore = copyByLibrary,
    .DataStore_getLength = [](DataStore store) { return fieldOf(kKind, store, &VelmoraDataStore::length); },
    .DataStore_getFirstNode = [](DataStore store) { return fieldOf(kKind, store, &VelmoraDataStore::first); },
    .DataStore_getLastNode = [](DataStore store) { return fieldOf(kKind, store, &VelmoraDataStore::last); },
    .DataStoreNode_getNextNode = [](DataStoreNode node) { return node == nullptr ? nullptr : node->next; },
    .DataStoreNode_getDataType = [](DataStoreNode node) -> vint {
        return ledger().isRefused(Operation::DataStoreNode_getDataType) || node == nullptr ? VType_Undef : node->type;
    },
    .DataStoreNode_getData = nodeData,
    .DataStoreNode_getName = nodeName,
};

} // namespace velmora

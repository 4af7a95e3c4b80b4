#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

#include "host/Ledger.h"
#include "velmora/VelmoraLibrary.h"

namespace velmora {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<void, FreeDeleter>;

/// What tensors, numeric arrays and images have in common.
struct Elements {
    vint type = 0;
    vint length = 0; ///< number of elements
    vint shares = 0;
    Buffer data{};
};

/// Bytes of one element; 0 for an unknown type.
std::size_t tensorElementSize(vint type);
std::size_t numericArrayElementSize(vint type);
std::size_t imageElementSize(vint type);

} // namespace velmora

// The objects behind the opaque handles of velmora/VelmoraLibrary.h.

struct VelmoraTensor : velmora::Elements {
    static constexpr auto kKind = velmora::ObjectKind::tensor;
    std::vector<vint> dimensions{};
};

struct VelmoraNumericArray : velmora::Elements {
    static constexpr auto kKind = velmora::ObjectKind::numericArray;
    std::vector<vint> dimensions{};
};

struct VelmoraImage : velmora::Elements {
    static constexpr auto kKind = velmora::ObjectKind::image;
    vint rank = 2;
    vint slices = 1;
    vint rows = 0;
    vint columns = 0;
    vint channels = 1;
    vint colorSpace = VColorSpace_Grey;
    bool interleaved = true;
};

/// Node, name and text lie in one block of their store's memory: the name follows the node, the text of a string node
/// follows the name.
struct VelmoraDataStoreNode {
    union Cell {
        vbool boolean;
        vint integer;
        vreal real;
        vcomplex complex;
        VTensor tensor;
        VSparseArray sparseArray;
        VNumericArray numericArray;
        VImage image;
        char* utf8String;
        DataStore dataStore;
    };

    VelmoraDataStoreNode* next = nullptr;
    vint type = VType_Undef;
    Cell cell{};

    char* name() { return reinterpret_cast<char*>(this + 1); }
    const char* name() const { return reinterpret_cast<const char*>(this + 1); }
};

namespace velmora {

/// Memory for the nodes of one store, freed with it. Each new chunk is a quarter as large as all before it together, so
/// that a small store costs little memory and a large one few allocations.
class NodeMemory {
  public:
    /// Null without memory.
    void* allocate(std::size_t bytes);

  private:
    std::vector<Buffer> mChunks{};
    char* mNext = nullptr;
    std::size_t mLeft = 0;
    std::size_t mTotal = 0;
};

} // namespace velmora

struct VelmoraDataStore {
    static constexpr auto kKind = velmora::ObjectKind::dataStore;
    velmora::NodeMemory memory{};
    VelmoraDataStoreNode* first = nullptr;
    VelmoraDataStoreNode* last = nullptr;
    vint length = 0;
    VelmoraDataStoreNode* holder = nullptr; ///< the node that holds this store, null for none
};

namespace velmora {

/// New objects, zero-filled. Null for an unknown type or impossible sizes, and without memory.
VTensor newTensor(vint type, std::vector<vint> dimensions, Owner owner);
VNumericArray newNumericArray(vint type, std::vector<vint> dimensions, Owner owner);
/// `rank` is 2 or 3; `slices` is used for rank 3 only.
VImage newImage(vint rank, vint slices, vint rows, vint columns, vint channels, vint type, vint colorSpace,
                bool interleaved, Owner owner);
DataStore newDataStore(Owner owner);

/// Deep copies; null for a dead handle or without memory.
VTensor cloneTensor(VTensor tensor, Owner owner);
VNumericArray cloneNumericArray(VNumericArray array, Owner owner);
VImage cloneImage(VImage image, Owner owner);
DataStore cloneDataStore(DataStore store, Owner owner);

/// Frees an object, whoever owns it; ignores a dead handle. A store is freed with everything in it.
void destroyTensor(VTensor tensor);
void destroyNumericArray(VNumericArray array);
void destroyImage(VImage image);
void destroyDataStore(DataStore store);

/// Appends a node and returns it; null without memory. A handle in the cell becomes the store's, text is copied.
VelmoraDataStoreNode* appendNode(DataStore store, const char* name, vint type, VelmoraDataStoreNode::Cell cell);
VelmoraDataStoreNode* appendText(DataStore store, const char* name, const char* text);

/// The tables that the library calls.
extern const VelmoraDataStoreFunctions kDataStoreFunctions;
extern const VelmoraImageFunctions kImageFunctions;
extern const VelmoraNumericArrayFunctions kNumericArrayFunctions;
void fillTensorFunctions(VelmoraLibraryRecord& table);

} // namespace velmora

/* The contract between a host and a native library.
 *
 * A host loads a library with the system's loader and calls its exported functions by name. Apart from the lifecycle
 * and link functions below, every exported function has one shape (VelmoraFunction): a table of host services, a
 * count of arguments, the argument cells and one result cell. It returns 0 for success and otherwise the id of an
 * error; the host learns ids, names and messages over a link (VelmoraLinkFunction).
 *
 * Everything the library knows of the host stands in this header and in velmora/Tether.h. All calls come from one
 * thread, one at a time. No function of a table throws, and the host never calls back into the library from one.
 *
 * Null: a library looks at handles before it asks about them. No operation of a table is called with a null handle; one
 * of an argument is an error of the library.
 *
 * Exceptions: `VelmoraLibrary_initialize` has no guard, so that a C++ exception (no memory) may leave it; a host in C++
 * catches there. Every other function turns each std::exception into its return code. Anything else that is thrown
 * could only come from an operation of the host, and passes through most functions.
 *
 * Process: while it works, a library may set the process's new-handler. It puts back the one that it found: a handler
 * that another thread sets meanwhile is lost, so set yours before.
 *
 * Compatibility: a table is only ever extended at its end, and VELMORA_LIBRARY_VERSION grows with each extension. A
 * library that needs a later operation compares the table's `version` first; one that needs none does not look at it.
 */
#ifndef VELMORA_LIBRARY_H
#define VELMORA_LIBRARY_H

#include <stdint.h>

#include "velmora/Tether.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VELMORA_LIBRARY_VERSION 1

/* ---- Scalars and handles ----------------------------------------------------------------------------------- */

typedef int32_t vint;
typedef int32_t vbool; /* 0 or 1 */
typedef double vreal;
typedef struct {
    vreal re;
    vreal im;
} vcomplex;

/* Handles are opaque: a library only hands them back to the host. Null stands for no object. */
typedef struct VelmoraTensor* VTensor;
typedef struct VelmoraSparseArray* VSparseArray;
typedef struct VelmoraNumericArray* VNumericArray;
typedef struct VelmoraImage* VImage;
typedef struct VelmoraDataStore* DataStore;
typedef struct VelmoraDataStoreNode* DataStoreNode;

/* Return codes of the host's own operations and of exported functions. A library numbers its errors below 0. */
enum {
    VELMORA_NO_ERROR = 0,
    VELMORA_TYPE_ERROR = 1,
    VELMORA_RANK_ERROR = 2,
    VELMORA_DIMENSIONS_ERROR = 3,
    VELMORA_NUMERICAL_ERROR = 4,
    VELMORA_MEMORY_ERROR = 5,
    VELMORA_FUNCTION_ERROR = 6,
    VELMORA_VERSION_ERROR = 7
};

/* Kinds of an argument, a result and a data store node. */
enum {
    VType_Undef = 0,
    VType_Boolean = 1,
    VType_Integer = 2,
    VType_Real = 3,
    VType_Complex = 4,
    VType_Tensor = 5,
    VType_SparseArray = 6,
    VType_NumericArray = 7,
    VType_Image = 8,
    VType_UTF8String = 9,
    VType_DataStore = 10
};

/* One machine word: a pointer to the cell that holds the value, never the value itself.
 *
 * Arguments: the cells belong to the host and live until the call returns. Objects in them stay the host's, with two
 * exceptions: a library may take over a string, which it gives back with one UTF8String_disown; and it may delete a
 * data store that lies inside an argument's data store.
 *
 * Result: the library stores a value, or a handle that becomes the host's, through the pointer. A string result stays
 * the library's and is valid until its next string result: the host copies it at once and never frees it. */
typedef union {
    vbool* boolean;
    vint* integer;
    vreal* real;
    vcomplex* complex;
    VTensor* tensor;
    VSparseArray* sparseArray;
    VNumericArray* numericArray;
    VImage* image;
    char** utf8String; /* UTF-8, ended by a zero byte */
    DataStore* dataStore;
    void* cell;
} VArgument;

/* Element types. */
enum { VImage_Bit = 0, VImage_U8 = 1, VImage_U16 = 2, VImage_F32 = 3, VImage_F64 = 4 };
enum {
    VNumericArray_S8 = 1,
    VNumericArray_U8 = 2,
    VNumericArray_S16 = 3,
    VNumericArray_U16 = 4,
    VNumericArray_S32 = 5,
    VNumericArray_U32 = 6,
    VNumericArray_S64 = 7,
    VNumericArray_U64 = 8,
    VNumericArray_F32 = 9,
    VNumericArray_F64 = 10
};
enum { VTensor_Integer = VType_Integer, VTensor_Real = VType_Real, VTensor_Complex = VType_Complex };

enum { VColorSpace_Grey = 0, VColorSpace_RGB = 1, VColorSpace_Automatic = 8 };

/* Conversion method of VNumericArray_convertType: values are clipped to the target's range; an unsigned integer that
 * becomes a real is divided by the maximum of its type. */
enum { VConversion_ClipAndScale = 8 };

/* ---- Data stores ------------------------------------------------------------------------------------------- */

/* An ordered list of nodes; a node has a name, which may be empty or repeat, and a value of one kind.
 *
 * addNamed...: appends a node. Text is copied. A handle becomes the store's, whatever happens, and is freed with it.
 * These operations report nothing.
 * createDataStore, copyDataStore: a new store that is the library's; null when the host cannot make one.
 * deleteDataStore: frees the store with everything in it. A store inside another one is removed from that one.
 * getFirstNode, getLastNode, getNextNode: null when there is none. A node is valid while its store lives.
 * getDataType: one of VType_...
 * getData: sets `data` to a pointer to the node's cell; what is in it stays the node's. 0 for success.
 * getName: sets `name` to text that stays the node's, null when it has none. 0 for success. */
typedef struct {
    DataStore (*createDataStore)(void);
    void (*DataStore_addNamedInteger)(DataStore store, const char* name, vint value);
    void (*DataStore_addNamedReal)(DataStore store, const char* name, vreal value);
    void (*DataStore_addNamedComplex)(DataStore store, const char* name, vcomplex value);
    void (*DataStore_addNamedString)(DataStore store, const char* name, const char* value);
    void (*DataStore_addNamedVTensor)(DataStore store, const char* name, VTensor value);
    void (*DataStore_addNamedVImage)(DataStore store, const char* name, VImage value);
    void (*DataStore_addNamedDataStore)(DataStore store, const char* name, DataStore value);
    void (*DataStore_addNamedBoolean)(DataStore store, const char* name, vbool value);
    void (*DataStore_addNamedVNumericArray)(DataStore store, const char* name, VNumericArray value);
    void (*DataStore_addNamedVSparseArray)(DataStore store, const char* name, VSparseArray value);
    void (*deleteDataStore)(DataStore store);
    DataStore (*copyDataStore)(DataStore store);
    vint (*DataStore_getLength)(DataStore store);
    DataStoreNode (*DataStore_getFirstNode)(DataStore store);
    DataStoreNode (*DataStore_getLastNode)(DataStore store);
    DataStoreNode (*DataStoreNode_getNextNode)(DataStoreNode node);
    vint (*DataStoreNode_getDataType)(DataStoreNode node);
    int (*DataStoreNode_getData)(DataStoreNode node, VArgument* data);
    int (*DataStoreNode_getName)(DataStoreNode node, char** name);
} VelmoraDataStoreFunctions;

/* ---- Images ------------------------------------------------------------------------------------------------ */

/* Elements lie row by row, slice by slice. Interleaved: the channels of a pixel lie side by side
 * ([slice][row][column][channel]); otherwise each slice has one plane for each channel
 * ([slice][channel][row][column]). A bit image holds one byte (0 or 1) for each element.
 *
 * new2D, new3D, clone: `*image` becomes a zero-filled image (a copy) that is the library's; 0 for success.
 * free: gives back an image that is the library's. disown: drops the library's share of a shared image.
 * shareCount: how many shares a library holds.
 * getSliceCount of a 2D image is 1. getRank is 2 or 3; channels do not count. getFlattenedLength: number of elements.
 * alphaChannelQ: whether the last channel is a transparency. A colour space of VColorSpace_Automatic leaves it to the
 * host what the channels mean: one is grey, three are RGB.
 * getRawData: the elements themselves, no copy; valid while the image lives. */
typedef struct {
    int (*VImage_new2D)(vint width, vint height, vint channels, vint type, vint colorSpace, vbool interleaved,
                        VImage* image);
    int (*VImage_new3D)(vint slices, vint width, vint height, vint channels, vint type, vint colorSpace,
                        vbool interleaved, VImage* image);
    int (*VImage_clone)(VImage image, VImage* copy);
    void (*VImage_free)(VImage image);
    void (*VImage_disown)(VImage image);
    vint (*VImage_shareCount)(VImage image);
    vint (*VImage_getDataType)(VImage image);
    vint (*VImage_getRowCount)(VImage image);
    vint (*VImage_getColumnCount)(VImage image);
    vint (*VImage_getSliceCount)(VImage image);
    vint (*VImage_getRank)(VImage image);
    vint (*VImage_getChannels)(VImage image);
    vbool (*VImage_alphaChannelQ)(VImage image);
    vbool (*VImage_interleavedQ)(VImage image);
    vint (*VImage_getColorSpace)(VImage image);
    vint (*VImage_getFlattenedLength)(VImage image);
    void* (*VImage_getRawData)(VImage image);
} VelmoraImageFunctions;

/* ---- Numeric arrays ---------------------------------------------------------------------------------------- */

/* Dimensions slowest first. Ownership as for images; new arrays are zero-filled.
 * getDimensions: `rank` numbers, valid while the array lives.
 * convertType: makes `*converted`, a new array of the same dimensions in `type`; 0 for success. The quotient of an
 * unsigned integer and the maximum of its type is rounded to the nearest number of the target. `tolerance` says how far
 * a value may lie outside the target's range without being an error; a library that lets values be clipped passes 0. */
typedef struct {
    int (*VNumericArray_new)(vint type, vint rank, const vint* dimensions, VNumericArray* array);
    void (*VNumericArray_free)(VNumericArray array);
    int (*VNumericArray_clone)(VNumericArray array, VNumericArray* copy);
    void (*VNumericArray_disown)(VNumericArray array);
    vint (*VNumericArray_shareCount)(VNumericArray array);
    vint (*VNumericArray_getType)(VNumericArray array);
    vint (*VNumericArray_getRank)(VNumericArray array);
    const vint* (*VNumericArray_getDimensions)(VNumericArray array);
    vint (*VNumericArray_getFlattenedLength)(VNumericArray array);
    void* (*VNumericArray_getData)(VNumericArray array);
    int (*VNumericArray_convertType)(VNumericArray* converted, VNumericArray array, vint type, vint method,
                                     vreal tolerance);
} VelmoraNumericArrayFunctions;

/* ---- Sparse arrays ----------------------------------------------------------------------------------------- */

/* A host without sparse arrays may leave the pointer to this table null. */
typedef struct {
    int (*VSparseArray_clone)(VSparseArray array, VSparseArray* copy);
    void (*VSparseArray_free)(VSparseArray array);
    void (*VSparseArray_disown)(VSparseArray array);
    vint (*VSparseArray_shareCount)(VSparseArray array);
} VelmoraSparseArrayFunctions;

/* ---- The main table ---------------------------------------------------------------------------------------- */

typedef struct VelmoraLibraryRecord* VelmoraLibraryData;

struct VelmoraLibraryRecord {
    /* VELMORA_LIBRARY_VERSION of the host. */
    vint version;

    /* Releases a string that the host put into an argument cell. */
    void (*UTF8String_disown)(char* text);

    /* Tensors: integer (vint), real (vreal) or complex (vcomplex) elements, dimensions slowest first, zero-filled when
     * new. Ownership and the lifetime of dimensions as for arrays. A data pointer is null for a tensor of another type.
     */
    int (*VTensor_new)(vint type, vint rank, const vint* dimensions, VTensor* tensor);
    void (*VTensor_free)(VTensor tensor);
    int (*VTensor_clone)(VTensor tensor, VTensor* copy);
    vint (*VTensor_shareCount)(VTensor tensor);
    void (*VTensor_disown)(VTensor tensor);
    vint (*VTensor_getRank)(VTensor tensor);
    const vint* (*VTensor_getDimensions)(VTensor tensor);
    vint (*VTensor_getType)(VTensor tensor);
    vint (*VTensor_getFlattenedLength)(VTensor tensor);
    vint* (*VTensor_getIntegerData)(VTensor tensor);
    vreal* (*VTensor_getRealData)(VTensor tensor);
    vcomplex* (*VTensor_getComplexData)(VTensor tensor);

    /* Non-zero once the user has asked to abort. */
    vint (*AbortQ)(void);

    /* The library's end of the link on which the host listens during a call; null when there is none. */
    TTLink (*getTetherLink)(VelmoraLibraryData libData);
    /* Makes the host read what was put on that link, act on it and put its answer on the link. The host understands
     * EvaluatePacket[Set[symbol, value]]: it remembers the value of the symbol and answers ReturnPacket[Null]. The
     * library moves the whole packet to the link in one piece and puts no end of packet behind it.
     * Non-zero for success. */
    int (*processTetherLink)(TTLink link);
    /* Environment for opening further links; null when there is none. */
    TTEnvironment (*getTetherLinkEnvironment)(VelmoraLibraryData libData);

    /* Whether the host's file policy lets this path be opened for reading ('R') or writing ('W'). */
    vbool (*validatePath)(const char* path, char mode);

    const VelmoraDataStoreFunctions* dataStoreFunctions;
    const VelmoraSparseArrayFunctions* sparseArrayFunctions;
    const VelmoraImageFunctions* imageFunctions;
    const VelmoraNumericArrayFunctions* numericArrayFunctions;
};

/* ---- What a library exports -------------------------------------------------------------------------------- */

/* `VelmoraLibrary_initialize`: called once, before anything else. 0 for success. */
typedef int (*VelmoraInitializeFunction)(VelmoraLibraryData libData);
/* `VelmoraLibrary_uninitialize`: called once, last. */
typedef void (*VelmoraUninitializeFunction)(VelmoraLibraryData libData);
/* Any function of the library. Returns 0 or the id of an error; on an error the result cell means nothing. */
typedef int (*VelmoraFunction)(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res);
/* A function whose arguments and result travel over a link, both as one expression that ends a packet. The host puts
 * the arguments as a List before the call. */
typedef int (*VelmoraLinkFunction)(VelmoraLibraryData libData, TTLink link);

#ifdef __cplusplus
}
#endif

#endif

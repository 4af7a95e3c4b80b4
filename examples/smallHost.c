/* A small host: loads a library, lists its errors, reads metadata and a picture of a file, and shows an error in full.
 *
 *   smallHost LIBRARY FILE
 *
 * It is complete for what it does, and knows nothing but the two headers. Numeric arrays and sparse arrays are left
 * out: their tables are null, and a function that needs them ends with an error. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velmora/Tether.h"
#include "velmora/VelmoraLibrary.h"

/* ---- Objects: what stands behind the handles --------------------------------------------------------------- */
struct VelmoraTensor {
    vint type, rank, length;
    vint* dimensions;
    void* data;
};

struct VelmoraImage {
    vint slices, rows, columns, channels, type, colorSpace, rank, length; /* slices is 1 for a 2D image */
    vbool interleaved;
    void* data;
};

union Cell {
    vbool boolean;
    vint integer;
    vreal real;
    vcomplex complex;
    VTensor tensor;
    VImage image;
    char* text;
    DataStore store;
};

struct VelmoraDataStoreNode {
    char* name;
    vint type;
    union Cell cell;
    DataStoreNode next;
};

struct VelmoraDataStore {
    DataStoreNode first, last;
    vint length;
    DataStoreNode parent; /* the node that it stands in, null outside of any store */
};

/* ---- Tensors ------------------------------------------------------------------------------------------------ */

static size_t tensorElementSize(vint type) {
    return type == VTensor_Integer ? sizeof(vint) : type == VTensor_Real ? sizeof(vreal) : sizeof(vcomplex);
}

static void tensorFree(VTensor tensor) { free(tensor->dimensions), free(tensor->data), free(tensor); }

static int tensorNew(vint type, vint rank, const vint* dimensions, VTensor* result) {
    VTensor tensor = calloc(1, sizeof *tensor);
    long long length = 1;
    for (vint level = 0; level < rank; ++level) {
        length *= dimensions[level];
        if (dimensions[level] < 0 || length > INT32_MAX) {
            return free(tensor), VELMORA_DIMENSIONS_ERROR;
        }
    }
    if (tensor == NULL) {
        return VELMORA_MEMORY_ERROR;
    }
    *tensor = (struct VelmoraTensor){type, rank, (vint)length, malloc(sizeof(vint) * (size_t)rank + 1),
                                     calloc((size_t)length + 1, tensorElementSize(type))};
    if (tensor->dimensions == NULL || tensor->data == NULL) {
        return tensorFree(tensor), VELMORA_MEMORY_ERROR;
    }
    memcpy(tensor->dimensions, dimensions, sizeof(vint) * (size_t)rank);
    *result = tensor;
    return VELMORA_NO_ERROR;
}

static int tensorClone(VTensor tensor, VTensor* copy) {
    const int code = tensorNew(tensor->type, tensor->rank, tensor->dimensions, copy);
    if (code == VELMORA_NO_ERROR) {
        memcpy((*copy)->data, tensor->data, (size_t)tensor->length * tensorElementSize(tensor->type));
    }
    return code;
}

static vint tensorRank(VTensor tensor) { return tensor->rank; }
static const vint* tensorDimensions(VTensor tensor) { return tensor->dimensions; }
static vint tensorType(VTensor tensor) { return tensor->type; }
static vint tensorLength(VTensor tensor) { return tensor->length; }
static vint* tensorIntegers(VTensor tensor) { return tensor->type == VTensor_Integer ? tensor->data : NULL; }
static vreal* tensorReals(VTensor tensor) { return tensor->type == VTensor_Real ? tensor->data : NULL; }
static vcomplex* tensorComplexes(VTensor tensor) { return tensor->type == VTensor_Complex ? tensor->data : NULL; }
/* This host shares nothing. */
static vint tensorShares(VTensor tensor) { return (void)tensor, 0; }
static void tensorDisown(VTensor tensor) { (void)tensor; }

/* ---- Images ------------------------------------------------------------------------------------------------- */

static const size_t imageElementSize[] = {1, 1, 2, 4, 8}; /* by VImage_Bit to VImage_F64 */

static int imageNew(vint rank, vint slices, vint columns, vint rows, vint channels, vint type, vint colorSpace,
                    vbool interleaved, VImage* result) {
    const double length = 1.0 * slices * columns * rows * channels;
    VImage image = length > INT32_MAX ? NULL : calloc(1, sizeof *image);
    void* data = image == NULL ? NULL : calloc((size_t)length + 1, imageElementSize[type]);
    if (data == NULL) {
        return free(image), VELMORA_MEMORY_ERROR;
    }
    *image = (struct VelmoraImage){slices, rows, columns, channels, type, colorSpace, rank, (vint)length, interleaved, data};
    *result = image;
    return VELMORA_NO_ERROR;
}

static int imageNew2D(vint columns, vint rows, vint channels, vint type, vint space, vbool interleaved, VImage* image) {
    return imageNew(2, 1, columns, rows, channels, type, space, interleaved, image);
}

static int imageNew3D(vint slices, vint columns, vint rows, vint channels, vint type, vint space, vbool interleaved,
                      VImage* image) {
    return imageNew(3, slices, columns, rows, channels, type, space, interleaved, image);
}

static void imageFree(VImage image) { free(image->data), free(image); }

static int imageClone(VImage image, VImage* copy) {
    const int code = imageNew(image->rank, image->slices, image->columns, image->rows, image->channels, image->type,
                              image->colorSpace, image->interleaved, copy);
    if (code == VELMORA_NO_ERROR) {
        memcpy((*copy)->data, image->data, (size_t)image->length * imageElementSize[image->type]);
    }
    return code;
}

static void imageDisown(VImage image) { (void)image; }
static vint imageShares(VImage image) { return (void)image, 0; }
static vint imageType(VImage image) { return image->type; }
static vint imageRows(VImage image) { return image->rows; }
static vint imageColumns(VImage image) { return image->columns; }
static vint imageSlices(VImage image) { return image->slices; }
static vint imageRank(VImage image) { return image->rank; }
static vint imageChannels(VImage image) { return image->channels; }
static vbool imageAlpha(VImage image) { return (void)image, 0; }
static vbool imageInterleaved(VImage image) { return image->interleaved; }
static vint imageColorSpace(VImage image) { return image->colorSpace; }
static vint imageLength(VImage image) { return image->length; }
static void* imageData(VImage image) { return image->data; }

/* ---- Data stores -------------------------------------------------------------------------------------------- */

static DataStore storeNew(void) { return calloc(1, sizeof(struct VelmoraDataStore)); }

static void storeDelete(DataStore store) {
    if (store->parent != NULL) {
        store->parent->type = VType_Undef; /* taken out of the store that it stands in */
    }
    for (DataStoreNode node = store->first, next; node != NULL; node = next) {
        next = node->next;
        switch (node->type) {
        case VType_UTF8String: free(node->cell.text); break;
        case VType_Tensor: tensorFree(node->cell.tensor); break;
        case VType_Image: imageFree(node->cell.image); break;
        case VType_DataStore: node->cell.store->parent = NULL, storeDelete(node->cell.store); break;
        default: break;
        }
        free(node->name);
        free(node);
    }
    free(store);
}

static void append(DataStore store, const char* name, vint type, union Cell cell) {
    DataStoreNode node = calloc(1, sizeof *node);
    if (node == NULL) {
        abort(); /* nothing can be reported from here */
    }
    *node = (struct VelmoraDataStoreNode){strdup(name), type, cell, NULL};
    if (type == VType_DataStore) {
        cell.store->parent = node;
    }
    *(store->last == NULL ? &store->first : &store->last->next) = node;
    store->last = node;
    ++store->length;
}

static void addInteger(DataStore s, const char* n, vint v) { append(s, n, VType_Integer, (union Cell){.integer = v}); }
static void addReal(DataStore s, const char* n, vreal v) { append(s, n, VType_Real, (union Cell){.real = v}); }
static void addComplex(DataStore s, const char* n, vcomplex v) { append(s, n, VType_Complex, (union Cell){.complex = v}); }
static void addBoolean(DataStore s, const char* n, vbool v) { append(s, n, VType_Boolean, (union Cell){.boolean = v}); }
static void addTensor(DataStore s, const char* n, VTensor v) { append(s, n, VType_Tensor, (union Cell){.tensor = v}); }
static void addImage(DataStore s, const char* n, VImage v) { append(s, n, VType_Image, (union Cell){.image = v}); }
static void addStore(DataStore s, const char* n, DataStore v) { append(s, n, VType_DataStore, (union Cell){.store = v}); }
static void addText(DataStore s, const char* n, const char* v) {
    append(s, n, VType_UTF8String, (union Cell){.text = strdup(v)});
}

static vint storeLength(DataStore store) { return store->length; }
static DataStoreNode storeFirst(DataStore store) { return store->first; }
static DataStoreNode storeLast(DataStore store) { return store->last; }
static DataStoreNode nodeNext(DataStoreNode node) { return node->next; }
static vint nodeType(DataStoreNode node) { return node->type; }
static int nodeData(DataStoreNode node, VArgument* data) { return data->cell = &node->cell, VELMORA_NO_ERROR; }
static int nodeName(DataStoreNode node, char** name) { return *name = node->name, VELMORA_NO_ERROR; }

/* ---- The link ----------------------------------------------------------------------------------------------- */

static TTEnvironment environment;
static TTLink hostEnd, libraryEnd;
static char parameters[8][256]; /* of the last error */
static int parameterCount;

/* A text, or a number as text. */
static int readParameter(char* into, size_t size) {
    const char* text = NULL;
    long long number = 0;
    if (TTGetNext(hostEnd) == TTTK_STRING && TTGetString(hostEnd, &text) != 0) {
        return snprintf(into, size, "%s", text), TTReleaseString(hostEnd, text), 1;
    }
    return TTGetInteger64(hostEnd, &number) != 0 && snprintf(into, size, "%lld", number) > 0;
}

/* EvaluatePacket[Set[symbol, List[values...]]]. There is one symbol, so its name is not looked at. */
static int processLink(TTLink link) {
    int count = 0;
    const char* symbol = NULL;
    (void)link; /* the library's end, on which the packet was put */
    if (TTNextPacket(hostEnd) == TTP_EVALUATE && TTTestHead(hostEnd, "Set", &count) != 0 &&
        TTGetSymbol(hostEnd, &symbol) != 0) {
        TTReleaseSymbol(hostEnd, symbol);
        if (TTTestHead(hostEnd, "List", &count) != 0) {
            for (parameterCount = 0; parameterCount < count && parameterCount < 8; ++parameterCount) {
                if (!readParameter(parameters[parameterCount], sizeof parameters[0])) {
                    break;
                }
            }
            return TTNewPacket(hostEnd) != 0 && TTPutFunction(hostEnd, "ReturnPacket", 1) != 0 &&
                   TTPutSymbol(hostEnd, "Null") != 0 && TTEndPacket(hostEnd) != 0;
        }
    }
    TTReset(hostEnd); /* a packet that is not understood must not stand in the way of the next one */
    return 0;
}

static TTLink getLink(VelmoraLibraryData data) { return (void)data, libraryEnd; }
static TTEnvironment getEnvironment(VelmoraLibraryData data) { return (void)data, environment; }

/* ---- The table ---------------------------------------------------------------------------------------------- */

static void textDisown(char* text) { free(text); }
static vint isAborted(void) { return 0; }
static vbool isPathAllowed(const char* path, char mode) { return (void)path, mode == 'R'; } /* it only reads */

static const VelmoraDataStoreFunctions storeFunctions = {
    .createDataStore = storeNew, .DataStore_addNamedInteger = addInteger, .DataStore_addNamedReal = addReal,
    .DataStore_addNamedComplex = addComplex, .DataStore_addNamedString = addText, .DataStore_addNamedVTensor = addTensor,
    .DataStore_addNamedVImage = addImage, .DataStore_addNamedDataStore = addStore, .DataStore_addNamedBoolean = addBoolean,
    .deleteDataStore = storeDelete, .DataStore_getLength = storeLength, .DataStore_getFirstNode = storeFirst,
    .DataStore_getLastNode = storeLast, .DataStoreNode_getNextNode = nodeNext, .DataStoreNode_getDataType = nodeType,
    .DataStoreNode_getData = nodeData, .DataStoreNode_getName = nodeName};

static const VelmoraImageFunctions imageFunctions = {
    imageNew2D, imageNew3D, imageClone, imageFree, imageDisown, imageShares, imageType, imageRows, imageColumns,
    imageSlices, imageRank, imageChannels, imageAlpha, imageInterleaved, imageColorSpace, imageLength, imageData};

static struct VelmoraLibraryRecord table = {
    VELMORA_LIBRARY_VERSION, textDisown, tensorNew, tensorFree, tensorClone, tensorShares, tensorDisown, tensorRank,
    tensorDimensions, tensorType, tensorLength, tensorIntegers, tensorReals, tensorComplexes, isAborted, getLink,
    processLink, getEnvironment, isPathAllowed, &storeFunctions, NULL, &imageFunctions, NULL};

/* ---- Errors ------------------------------------------------------------------------------------------------- */

static struct Error { int id; char name[64], message[160]; } errors[256];
static int errorCount;

/* Association[Rule[name, List[id, message]], ...] */
static int readErrors(void) {
    int count = 0, two = 0;
    if (TTTestHead(hostEnd, "Association", &count) == 0) {
        return 0;
    }
    for (errorCount = 0; errorCount < count && errorCount < 256; ++errorCount) {
        struct Error* error = &errors[errorCount];
        if (TTTestHead(hostEnd, "Rule", &two) == 0 || !readParameter(error->name, sizeof error->name) ||
            TTTestHead(hostEnd, "List", &two) == 0 || TTGetInteger32(hostEnd, &error->id) == 0 ||
            !readParameter(error->message, sizeof error->message)) {
            return 0;
        }
    }
    return TTNewPacket(hostEnd);
}

/* Puts the parameters into the slots of the message, which stand between backticks. */
static void printError(int code) {
    int index = 0, next = 0;
    while (index < errorCount - 1 && errors[index].id != code) {
        ++index;
    }
    printf("%d %s: ", code, errors[index].name);
    for (const char* rest = errors[index].message; *rest != '\0'; ++rest) {
        const char* end = *rest == '`' ? strchr(rest + 1, '`') : NULL;
        if (end != NULL && next < parameterCount) {
            fputs(parameters[next++], stdout);
            rest = end;
        } else {
            putchar(*rest);
        }
    }
    putchar('\n');
}

/* ---- Calls -------------------------------------------------------------------------------------------------- */

static void* library;

static int call(const char* name, vint argc, VArgument* args, VArgument result) {
    VelmoraFunction function;
    *(void**)&function = dlsym(library, name);
    parameterCount = 0; /* an error without parameters sends none */
    return function == NULL ? VELMORA_FUNCTION_ERROR : function(&table, argc, args, result);
}

static int start(void) {
    VelmoraInitializeFunction initialize;
    VelmoraLinkFunction sendErrors;
    int error = 0;
    environment = TTInitialize();
    *(void**)&initialize = dlsym(library, "VelmoraLibrary_initialize");
    *(void**)&sendErrors = dlsym(library, "sendRegisteredErrors");
    if (environment == NULL || TTOpenPair(environment, &hostEnd, &libraryEnd, &error) == 0 || initialize(&table) != 0) {
        return 0;
    }
    char* context = strdup("Host`");
    char* symbol = NULL;
    if (call("setExceptionDetailsContext", 1, &(VArgument){.utf8String = &context}, (VArgument){.utf8String = &symbol})) {
        return 0;
    }
    return TTPutFunction(hostEnd, "List", 0) != 0 && TTEndPacket(hostEnd) != 0 && sendErrors(&table, libraryEnd) == 0 &&
           readErrors() != 0;
}

static void readMetadata(const char* file) {
    char* path = strdup(file); /* the library's once it reads it */
    DataStore keywords = storeNew();
    DataStore result = NULL;
    vbool validate = 0;
    addText(keywords, "", "PatientName");
    addText(keywords, "", "Modality");
    VArgument args[] = {{.utf8String = &path}, {.dataStore = &keywords}, {.boolean = &validate}};
    const int code = call("ReadMetadata", 3, args, (VArgument){.dataStore = &result});
    storeDelete(keywords);
    if (code != VELMORA_NO_ERROR) {
        return printError(code);
    }
    for (DataStoreNode node = result->first; node != NULL; node = node->next) {
        printf("%s: %s\n", node->name, node->type == VType_UTF8String ? node->cell.text : "(no text)");
    }
    storeDelete(result);
}

static void readPicture(const char* file) {
    char* path = strdup(file);
    vint first = 0, count = 0, flags = 1;
    vbool overlays = 0;
    VTensor scaling = NULL; /* {0, 0}: the window from the least to the greatest value */
    VImage image = NULL;
    (void)tensorNew(VTensor_Real, 1, (vint[]){2}, &scaling);
    VArgument args[] = {{.utf8String = &path}, {.integer = &first},    {.integer = &count},
                        {.tensor = &scaling},  {.boolean = &overlays}, {.integer = &flags}};
    const int code = call("ReadImage", 6, args, (VArgument){.image = &image});
    tensorFree(scaling);
    if (code != VELMORA_NO_ERROR) {
        return printError(code);
    }
    printf("picture: %d x %d, %d channel(s), type %d\n", image->columns, image->rows, image->channels, image->type);
    imageFree(image);
}

int main(int argc, char** argv) {
    library = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (library == NULL) {
        return fprintf(stderr, "%s\n", argc == 3 ? dlerror() : "usage: smallHost LIBRARY FILE"), 2;
    }
    if (!start()) {
        return fprintf(stderr, "The library does not start.\n"), 1;
    }
    printf("%d errors, the last one %d %s\n", errorCount, errors[errorCount - 1].id, errors[errorCount - 1].name);
    readMetadata(argv[2]);
    readPicture(argv[2]);
    readMetadata("/no such file");
    VelmoraUninitializeFunction uninitialize;
    *(void**)&uninitialize = dlsym(library, "VelmoraLibrary_uninitialize");
    uninitialize(&table);
    TTDeinitialize(environment);
    return 0;
}

// A library for the tests of the host: a few functions that do what they should, and many that do not.
//
// Built three times: as it stands, with REFUSES_TO_INITIALIZE, and with BREAKS_ITS_ERROR_TABLE.

#include <cstring>
#include <string>

#include "velmora/VelmoraLibrary.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))
#define FUNCTION(name)                                                                                                 \
    EXPORTED int name([[maybe_unused]] VelmoraLibraryData libData, [[maybe_unused]] vint argc,                         \
                      [[maybe_unused]] VArgument* args, [[maybe_unused]] VArgument res)

namespace {

[[maybe_unused]] constexpr int kRefusal = -5;
std::string resultText;
std::string detailsSymbol;

VTensor newTensor(VelmoraLibraryData libData) {
    const vint dimensions[] = {2, 3};
    VTensor tensor = nullptr;
    libData->VTensor_new(VTensor_Integer, 2, dimensions, &tensor);
    return tensor;
}

/// Sets the symbol of the error details to one text and one number, as far as the host lets it.
void sendDetails(VelmoraLibraryData libData, const char* text, int number) {
    const TTLink link = libData->getTetherLink(libData);
    TTPutFunction(link, "EvaluatePacket", 1);
    TTPutFunction(link, "Set", 2);
    TTPutSymbol(link, detailsSymbol.c_str());
    TTPutFunction(link, "List", 2);
    TTPutString(link, text);
    TTPutInteger32(link, number);
    TTEndPacket(link);
    if (libData->processTetherLink(link) != 0) {
        TTNextPacket(link);
        TTNewPacket(link);
    }
}

void putError(TTLink link, const char* name, int id, const char* message) {
    TTPutFunction(link, "Rule", 2);
    TTPutString(link, name);
    TTPutFunction(link, "List", 2);
    TTPutInteger32(link, id);
    TTPutString(link, message);
}

} // namespace

EXPORTED int VelmoraLibrary_initialize(VelmoraLibraryData) {
#ifdef REFUSES_TO_INITIALIZE
    return kRefusal;
#else
    return 0;
#endif
}

EXPORTED void VelmoraLibrary_uninitialize(VelmoraLibraryData) { resultText.clear(); }

FUNCTION(setExceptionDetailsContext) {
    detailsSymbol = std::string(*args[0].utf8String) + "Details";
    resultText = detailsSymbol;
    *res.utf8String = resultText.data();
    return 0;
}

EXPORTED int sendRegisteredErrors(VelmoraLibraryData, TTLink link) {
    int count = 0;
    TTTestHead(link, "List", &count);
    TTNewPacket(link);
    TTPutFunction(link, "Association", 2);
    putError(link, "FirstError", -1, "Got `text` and `number`.");
#ifdef BREAKS_ITS_ERROR_TABLE
    TTPutInteger32(link, 7);
#else
    putError(link, "SecondError", -2, "Nothing to fill in.");
#endif
    TTEndPacket(link);
    return 0;
}

// ---- What a library should do ----

FUNCTION(CountArguments) {
    *res.integer = argc;
    return 0;
}

FUNCTION(Negate) {
    *res.boolean = *args[0].boolean == 0 ? 1 : 0;
    *args[0].boolean = 1; // the cell is the host's copy
    return 0;
}

FUNCTION(Halve) {
    *res.real = *args[0].real / 2;
    return 0;
}

FUNCTION(Conjugate) {
    *res.complex = {args[0].complex->re, -args[0].complex->im};
    return 0;
}

FUNCTION(Repeat) {
    const char* text = *args[0].utf8String;
    resultText = text == nullptr ? "(null)" : std::string(text) + text;
    *res.utf8String = resultText.data();
    return 0;
}

FUNCTION(CloneTensor) { return libData->VTensor_clone(*args[0].tensor, res.tensor); }

FUNCTION(CloneStore) {
    *res.dataStore = libData->dataStoreFunctions->copyDataStore(*args[0].dataStore);
    return 0;
}

FUNCTION(KeepText) {
    libData->UTF8String_disown(*args[0].utf8String);
    return 0;
}

FUNCTION(FailWithDetails) {
    sendDetails(libData, *args[0].utf8String, *args[1].integer);
    return -1;
}

FUNCTION(FailWithoutDetails) { return -1; }

FUNCTION(FailWithAnUnregisteredCode) { return -77; }

FUNCTION(FailWithALinkInUse) {
    TTPutFunction(libData->getTetherLink(libData), "Half", 3);
    return -2;
}

// ---- What it should not ----

FUNCTION(Throw) { throw 5; }

FUNCTION(FreeTwice) {
    const VTensor tensor = newTensor(libData);
    libData->VTensor_free(tensor);
    libData->VTensor_free(tensor);
    return 0;
}

FUNCTION(FreeAnArgument) {
    libData->VTensor_free(*args[0].tensor);
    return 0;
}

FUNCTION(ReturnAnArgument) {
    *res.tensor = *args[0].tensor;
    return 0;
}

FUNCTION(ReturnAnInnerStore) {
    VArgument data{};
    const DataStoreNode node = libData->dataStoreFunctions->DataStore_getFirstNode(*args[0].dataStore);
    libData->dataStoreFunctions->DataStoreNode_getData(node, &data);
    *res.dataStore = *data.dataStore;
    return 0;
}

FUNCTION(ReturnADeadTensor) {
    *res.tensor = newTensor(libData);
    libData->VTensor_free(*res.tensor);
    return 0;
}

FUNCTION(LeaveThingsBehind) {
    newTensor(libData);
    libData->dataStoreFunctions->createDataStore();
    return 0;
}

FUNCTION(LeaveThingsBehindAndFail) {
    newTensor(libData);
    libData->dataStoreFunctions->createDataStore();
    return -2;
}

FUNCTION(KeepTextTwice) {
    char* text = *args[0].utf8String;
    libData->UTF8String_disown(text);
    libData->UTF8String_disown(text);
    return 0;
}

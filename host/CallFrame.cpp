#include "host/CallFrame.h"

#include <cstring>

#include "host/ObjectFunctions.h"

namespace velmora {

namespace {

/// An object that the library returned, as a value that is the host's. Null, and a violation, for one that the library
/// does not own: its owner frees it.
template <typename Owned, typename Object>
Value adopt(Object* object) {
    if (object != nullptr && !isOwnedByLibrary(object)) {
        reportViolation(object, "returned", " that it does not own.");
        return {};
    }
    return changeOwner(object, Owner::host) ? Value{Owned(object)} : Value{};
}

} // namespace

CallFrame::CallFrame(const Declaration& declaration, const std::vector<Value>& arguments)
    : mCells(arguments.size()), mArguments(arguments.size()) {
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        std::memset(&mCells[index], 0, sizeof(Cell));
        mArguments[index].cell = &mCells[index];
        const bool isDeclared = index < declaration.arguments.size();
        fill(mCells[index], isDeclared ? declaration.arguments[index] : arguments[index].type(), arguments[index]);
    }
    std::memset(&mResult, 0, sizeof(Cell));
}

CallFrame::~CallFrame() {
    for (char* text : mTexts) {
        if (ledger().remove(ObjectKind::string, text)) {
            ++ledger().counts(ObjectKind::string).takenBack;
            std::free(text);
        }
    }
}

void CallFrame::fill(Cell& cell, vint declared, const Value& value) {
    if (declared == VType_Real && value.is<vint>()) {
        cell.real = value.get<vint>(); // an integer may stand for a real
        return;
    }
    // The library would misread a value of another kind; an empty cell is safe to read.
    if (value.type() != declared) {
        return;
    }
    cell = value.cell();
    if (declared == VType_UTF8String) {
        cell.utf8String = ::strdup(cell.utf8String);
        mTexts.push_back(cell.utf8String);
        ledger().add(ObjectKind::string, cell.utf8String, Owner::host);
    }
}

Value CallFrame::takeResult(vint type) {
    switch (type) {
    case VType_Tensor: return adopt<Tensor>(mResult.tensor);
    case VType_NumericArray: return adopt<NumericArray>(mResult.numericArray);
    case VType_Image: return adopt<Image>(mResult.image);
    case VType_DataStore: return adopt<Store>(mResult.dataStore);
    default: return scalarOf(type, mResult);
    }
}

} // namespace velmora

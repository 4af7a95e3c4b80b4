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
    switch (declared) {
    case VType_Boolean: cell.boolean = value.get<bool>() ? 1 : 0; break;
    case VType_Integer: cell.integer = value.get<vint>(); break;
    case VType_Real: cell.real = value.get<double>(); break;
    case VType_Complex: {
        const auto number = value.get<std::complex<double>>();
        cell.complex = {number.real(), number.imag()};
        break;
    }
    case VType_UTF8String:
        cell.utf8String = ::strdup(value.get<std::string>().c_str());
        mTexts.push_back(cell.utf8String);
        ledger().add(ObjectKind::string, cell.utf8String, Owner::host);
        break;
    case VType_Tensor: cell.tensor = value.get<Tensor>().handle(); break;
    case VType_NumericArray: cell.numericArray = value.get<NumericArray>().handle(); break;
    case VType_Image: cell.image = value.get<Image>().handle(); break;
    case VType_DataStore: cell.dataStore = value.get<Store>().handle(); break;
    default: break;
    }
}

Value CallFrame::takeResult(vint type) {
    switch (type) {
    case VType_Boolean: return mResult.boolean != 0;
    case VType_Integer: return mResult.integer;
    case VType_Real: return mResult.real;
    case VType_Complex: return std::complex<double>(mResult.complex.re, mResult.complex.im);
    case VType_UTF8String: return mResult.utf8String == nullptr ? Value{} : Value{std::string(mResult.utf8String)};
    case VType_Tensor: return adopt<Tensor>(mResult.tensor);
    case VType_NumericArray: return adopt<NumericArray>(mResult.numericArray);
    case VType_Image: return adopt<Image>(mResult.image);
    case VType_DataStore: return adopt<Store>(mResult.dataStore);
    default: return {};
    }
}

} // namespace velmora

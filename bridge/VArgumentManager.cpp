#include "bridge/VArgumentManager.h"

namespace GTU {

VArgumentManager::VArgumentManager(vint argumentCount, VArgument* arguments, VArgument& result)
    : argc(argumentCount), args(arguments), res(result) {
    prepareStrings();
}

VArgumentManager::VArgumentManager(VelmoraLibraryData libData, vint argumentCount, VArgument* arguments,
                                   VArgument& result)
    : argc(argumentCount), args(arguments), res(result) {
    LibraryData::setLibraryData(libData);
    prepareStrings();
}

void VArgumentManager::prepareStrings() {
    if (argc < 1) {
        return;
    }
    auto* const disown = LibraryData::API()->UTF8String_disown;
    stringArgs.reserve(static_cast<std::size_t>(argc));
    for (vint index = 0; index < argc; ++index) {
        stringArgs.emplace_back(nullptr, disown);
    }
}

VArgument VArgumentManager::getArgs(unsigned int index) const {
    if (argc < 0 || index >= static_cast<unsigned int>(argc)) {
        ErrorManager::throwExceptionWithDebugInfo(ErrorName::VArgumentIndexError,
                                                  "Index " + std::to_string(index) +
                                                      " out-of-bound when accessing Gantry argument");
    }
    return args[index];
}

std::complex<double> VArgumentManager::getComplex(unsigned int index) const {
    const vcomplex value = *getArgs(index).complex;
    return {value.re, value.im};
}

unsigned char VArgumentManager::getTensorType(unsigned int index) const {
    return static_cast<unsigned char>(LibraryData::API()->VTensor_getType(getVTensor(index)));
}

vint VArgumentManager::getImageType(unsigned int index) const {
    return LibraryData::ImageAPI()->VImage_getDataType(getVImage(index));
}

vint VArgumentManager::getNumericArrayType(unsigned int index) const {
    return LibraryData::NumericArrayAPI()->VNumericArray_getType(getVNumericArray(index));
}

char* VArgumentManager::getCString(unsigned int index) {
    auto& owner = stringArgs.at(index);
    if (owner == nullptr) {
        owner.reset(*getArgs(index).utf8String);
    }
    return owner.get();
}

std::string VArgumentManager::getString(unsigned int index) {
    const char* text = getCString(index);
    if (text == nullptr) {
        throw std::logic_error("A text argument is null.");
    }
    return text;
}

std::vector<std::string> VArgumentManager::getNames(unsigned int index) const {
    auto list = getDataList<VArgumentType::UTF8String>(index);
    return asVector(list);
}

std::vector<std::pair<std::string, std::string>> VArgumentManager::getNumbers(unsigned int index) const {
    auto list = getDataList<VArgumentType::DataStore>(index);
    return asStringPairs(list);
}

ProgressMonitor VArgumentManager::getProgressMonitor(double step) const {
    if (argc < 1) {
        ErrorManager::throwExceptionWithDebugInfo(ErrorName::VArgumentIndexError,
                                                  "Index too small when accessing ProgressMonitor.");
    }
    return {Tensor<double, Passing::Shared>(getVTensor(static_cast<unsigned int>(argc - 1))), step};
}

void VArgumentManager::setString(const std::string& text) {
    stringResultBuffer = text;
    passStringResult();
}

void VArgumentManager::setString(std::string&& text) {
    stringResultBuffer.swap(text);
    passStringResult();
}

void VArgumentManager::setString(const char* text) {
    stringResultBuffer = text;
    passStringResult();
}

} // namespace GTU

#pragma once

#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "bridge/ProgressMonitor.h"
#include "bridge/containers/DataList.h"
#include "bridge/containers/Image.h"
#include "bridge/containers/Tensor.h"

namespace GTU {

/// Reads the arguments and writes the result of one call. Lives on the stack of the exported function.
///
/// Indices count from 0. A missing argument is noticed when it is read: VArgumentIndexError for everything but
/// strings, std::out_of_range for strings. Hosts know the two apart by their codes, so the difference stays.
class VArgumentManager {
  public:
    /// @throws GantryError  LibDataError when no table is set and there is at least one argument
    VArgumentManager(vint argc, VArgument* args, VArgument& res);
    /// Refreshes the stored host table first.
    VArgumentManager(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument& res);
    VArgumentManager(const VArgumentManager&) = delete;
    VArgumentManager& operator=(const VArgumentManager&) = delete;
    virtual ~VArgumentManager() = default;

    /// The cell at an index. Integers are read through this. @throws GantryError  VArgumentIndexError
    VArgument getArgs(unsigned int index) const;
    vint getInteger(unsigned int index) const { return *getArgs(index).integer; }
    bool getBoolean(unsigned int index) const { return *getArgs(index).boolean != 0; }
    double getReal(unsigned int index) const { return *getArgs(index).real; }
    std::complex<double> getComplex(unsigned int index) const;

    /// Raw handles, not owned and not checked.
    VTensor getVTensor(unsigned int index) const { return *getArgs(index).tensor; }
    VImage getVImage(unsigned int index) const { return *getArgs(index).image; }
    VNumericArray getVNumericArray(unsigned int index) const { return *getArgs(index).numericArray; }
    ::DataStore getDataStore(unsigned int index) const { return *getArgs(index).dataStore; }

    unsigned char getTensorType(unsigned int index) const;
    vint getImageType(unsigned int index) const;
    vint getNumericArrayType(unsigned int index) const;

    /// Text of an argument, taken over from the host at the first read and given back when the manager ends.
    /// @throws std::out_of_range  when there is no such argument
    char* getCString(unsigned int index);
    /// A copy of that text. @throws std::logic_error  for null text
    std::string getString(unsigned int index);

    /// A list argument, which stays the host's. @throws GantryError  those of DataList
    template <VArgumentType T>
    DataList<T, Passing::Automatic> getDataList(unsigned int index) const {
        return DataList<T, Passing::Automatic>(getDataStore(index));
    }

    /// Texts of a list argument. @throws as DataList and asVector
    std::vector<std::string> getNames(unsigned int index) const;
    /// Pairs of texts of a list of lists argument, whose inner lists are consumed. @throws as DataList, asStringPairs
    std::vector<std::pair<std::string, std::string>> getNumbers(unsigned int index) const;

    /// Calls `function` with the image argument as Image<T, P> of its own element type.
    /// @throws GantryError  VArgumentImageError for a type that is none of the five
    template <typename P, typename Function>
    void operateOnImage(unsigned int index, Function function) const {
        if (getVImage(index) == nullptr) { // a host need not answer questions about none
            ErrorManager::throwException(ErrorName::CreateFromNullError);
        }
        switch (getImageType(index)) {
        case VImage_Bit: return function(Image<signed char, P>(getVImage(index)));
        case VImage_U8: return function(Image<unsigned char, P>(getVImage(index)));
        case VImage_U16: return function(Image<unsigned short, P>(getVImage(index)));
        case VImage_F32: return function(Image<float, P>(getVImage(index)));
        case VImage_F64: return function(Image<double, P>(getVImage(index)));
        default:
            ErrorManager::throwExceptionWithDebugInfo(ErrorName::VArgumentImageError,
                                                      "Incorrect type of Image argument. Argument index: " +
                                                          std::to_string(index));
        }
    }

    /// Progress over the tensor that is by convention the last argument.
    /// @throws GantryError  VArgumentIndexError without arguments, and those of Tensor
    ProgressMonitor getProgressMonitor(double step) const;

    void setBoolean(bool value) { *res.boolean = value ? 1 : 0; }
    void setInteger(int value) { *res.integer = value; }
    void setReal(double value) { *res.real = value; }
    void setComplex(std::complex<double> value) { *res.complex = vcomplex{value.real(), value.imag()}; }

    /// Text results outlive the call in one buffer: each is valid until the next one.
    void setString(const std::string& text);
    void setString(std::string&& text);
    void setString(const char* text);

    void setVTensor(VTensor tensor) { *res.tensor = tensor; }
    void setVImage(VImage image) { *res.image = image; }
    void setVNumericArray(VNumericArray array) { *res.numericArray = array; }
    void setDataStore(::DataStore store) { *res.dataStore = store; }

    /// Hands a container to the host as the result.
    void setResult(Passing::PassingPolicy& container) { container.passAsResult(res); }
    void setResult(Passing::PassingPolicy&& container) { container.passAsResult(res); }

  private:
    void prepareStrings();
    void placeStringResult() { *res.utf8String = stringResultBuffer.data(); }

    vint argc;
    VArgument* args;
    VArgument& res;
    std::vector<std::unique_ptr<char, void (*)(char*)>> stringArgs{}; ///< null until taken over

    static inline std::string stringResultBuffer{};
};

} // namespace GTU

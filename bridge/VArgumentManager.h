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
/// Indices count from 0. Reading a missing argument throws VArgumentIndexError, or std::out_of_range if it is read as a
/// string. Hosts see different codes for the two, so the difference stays.
class VArgumentManager {
  public:
    /// @throws GantryError  LibDataError when no table is set and there is at least one argument
    VArgumentManager(vint argc, VArgument* args, VArgument& res);
    /// Stores the host table first.
    VArgumentManager(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument& res);
    VArgumentManager(const VArgumentManager&) = delete;
    VArgumentManager& operator=(const VArgumentManager&) = delete;
    virtual ~VArgumentManager() = default;

    /// The cell at an index. @throws GantryError  VArgumentIndexError
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

    /// The text of an argument. The first read takes it over from the host; it is given back when the manager ends.
    /// @throws std::out_of_range  when there is no such argument
    char* getCString(unsigned int index);
    /// A copy of that text. @throws std::logic_error  for null text
    std::string getString(unsigned int index);

    /// A list argument, which stays the host's. @throws GantryError  as DataList
    template <VArgumentType T>
    DataList<T, Passing::Automatic> getDataList(unsigned int index) const {
        return DataList<T, Passing::Automatic>(getDataStore(index));
    }

    /// The texts of a list argument. @throws as DataList and asVector
    std::vector<std::string> getNames(unsigned int index) const;
    /// The pairs of texts in an argument that is a list of lists. The inner lists are deleted.
    /// @throws as DataList and asStringPairs
    std::vector<std::pair<std::string, std::string>> getNumbers(unsigned int index) const;

    /// Calls `function` with the image argument as Image<T, P>, where `T` is its element type.
    /// @throws GantryError  VArgumentImageError for an unknown element type
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

    /// The progress monitor of the call, whose tensor is by convention the last argument.
    /// @throws GantryError  VArgumentIndexError without arguments, else as Tensor
    ProgressMonitor getProgressMonitor(double step) const;

    void setBoolean(bool value) { *res.boolean = value ? 1 : 0; }
    void setInteger(int value) { *res.integer = value; }
    void setReal(double value) { *res.real = value; }
    void setComplex(std::complex<double> value) { *res.complex = vcomplex{value.real(), value.imag()}; }

    /// Text results are kept in one buffer for all calls: each is valid until the next one.
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
    void passStringResult() { *res.utf8String = stringResultBuffer.data(); }

    vint argc;
    VArgument* args;
    VArgument& res;
    std::vector<std::unique_ptr<char, void (*)(char*)>> stringArgs{}; ///< null until taken over

    static inline std::string stringResultBuffer{};
};

} // namespace GTU

#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "host/Value.h"
#include "python/module/Library.h"

// Values of the host as Python objects, and the other way round.
//
//   boolean, integer, real, complex   bool, int, float, complex
//   text                              str; bytes when it is not valid UTF-8
//   tensor                            numpy array of int32, float64 or complex128
//   numeric array                     numpy array
//   image                             numpy array: [row][column] or [slice][row][column], with [channel] behind if it
//                                     has several; bits are bool
//   data store                        radvex.Store
//   no value                          None
//
// Arrays are views of the host's memory: they keep it alive, and nothing is copied.

namespace radvex::python {

/// Keeps a value of the host alive as long as Python needs it.
class Lent {
  public:
    explicit Lent(velmora::Value value);

    const velmora::Value& value() const { return mLending->value; }
    /// A Python object that keeps the value alive.
    pybind11::capsule capsule() const;

  private:
    std::shared_ptr<Lending> mLending;
};

/// To be called before anything here makes an array or looks for one; see the package's _arrays.py.
void loadNumpy();

/// Memory of a value as an array. @param type  VNumericArray_...
pybind11::array arrayOf(const Lent& owner, vint type, const std::vector<vint>& shape, const void* data,
                        bool isWritable);

/// @param isWritable  whether the arrays may be changed
pybind11::object toPython(velmora::Value value, bool isWritable = true);

/// Text, or bytes if it is not valid UTF-8.
pybind11::object textToPython(const std::string& text);

/// @param kind  that the library expects (VType_...), by which an array becomes a tensor, a numeric array or an image;
///              VType_Undef inside a store, where arrays of bool become bit images and others numeric arrays
/// @throws pybind11::type_error   an object of a kind that no value can hold
/// @throws pybind11::value_error  a number or an array that no value can hold
velmora::Value fromPython(pybind11::handle object, vint kind);

/// An array as an image: [row][column], [slice][row][column], each with three channels behind if `isColour`.
/// @throws pybind11::type_error, pybind11::value_error
velmora::Image imageFromArray(const pybind11::array& array, bool isColour);

} // namespace radvex::python

#include "python/module/Conversion.h"

#include <array>
#include <complex>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "formats/json/Text.h"

namespace radvex::python {

namespace py = pybind11;
using velmora::Image;
using velmora::NumericArray;
using velmora::Store;
using velmora::Tensor;
using velmora::Value;

namespace {

/// Deeper values are refused, since each level takes call stack.
constexpr int kMostLevels = 512;

/// Types of numpy by the codes of the host.
constexpr std::pair<vint, const char*> kArrayTypes[] = {
    {VNumericArray_S8, "i1"},  {VNumericArray_U8, "u1"},  {VNumericArray_S16, "i2"}, {VNumericArray_U16, "u2"},
    {VNumericArray_S32, "i4"}, {VNumericArray_U32, "u4"}, {VNumericArray_S64, "i8"}, {VNumericArray_U64, "u8"},
    {VNumericArray_F32, "f4"}, {VNumericArray_F64, "f8"}};
constexpr std::pair<vint, const char*> kImageTypes[] = {
    {VImage_Bit, "?"}, {VImage_U8, "u1"}, {VImage_U16, "u2"}, {VImage_F32, "f4"}, {VImage_F64, "f8"}};
constexpr std::pair<vint, const char*> kTensorTypes[] = {
    {VTensor_Integer, "i4"}, {VTensor_Real, "f8"}, {VTensor_Complex, "c16"}};

template <typename Types>
py::dtype typeOf(const Types& types, vint code) {
    loadNumpy();
    for (const auto& [known, name] : types) {
        if (known == code) {
            return py::dtype(name);
        }
    }
    throw py::value_error("The library returned elements of an unknown type.");
}

/// The code of the type in which an array is taken over; nothing if it is none of these.
template <typename Types>
std::optional<vint> codeOf(const Types& types, const py::array& array) {
    const py::object type = array.dtype().attr("newbyteorder")("="); // the elements are converted to this machine's
    for (const auto& [code, name] : types) {
        if (type.equal(py::dtype(name))) {
            return code;
        }
    }
    return std::nullopt;
}

py::array lentArray(const Lent& owner, const py::dtype& type, const std::vector<py::ssize_t>& shape,
                    const std::vector<py::ssize_t>& strides, const void* data, bool isWritable) {
    py::array array(type, shape, strides, data, owner.capsule());
    if (!isWritable) {
        py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    }
    return array;
}

std::vector<py::ssize_t> stridesOf(const std::vector<py::ssize_t>& shape, py::ssize_t itemSize) {
    std::vector<py::ssize_t> strides(shape.size(), itemSize);
    for (std::size_t axis = shape.size(); axis-- > 1;) {
        strides[axis - 1] = strides[axis] * shape[axis];
    }
    return strides;
}

py::array denseArray(const Lent& owner, const py::dtype& type, const std::vector<vint>& dimensions, const void* data,
                     bool isWritable) {
    const std::vector<py::ssize_t> shape(dimensions.begin(), dimensions.end());
    return lentArray(owner, type, shape, stridesOf(shape, type.itemsize()), data, isWritable);
}

/// Channels are the last axis, however they lie in memory.
py::array imageArray(const Lent& owner, const VelmoraImage& image, bool isWritable) {
    const py::dtype type = typeOf(kImageTypes, image.type);
    const py::ssize_t rows = image.rows;
    const py::ssize_t columns = image.columns;
    std::vector<py::ssize_t> shape{image.slices, rows, columns, image.channels};
    std::vector<py::ssize_t> strides = stridesOf(shape, type.itemsize());
    if (!image.interleaved) { // [slice][channel][row][column]
        strides[3] = rows * columns * type.itemsize();
        strides[2] = type.itemsize();
        strides[1] = columns * type.itemsize();
    }
    if (image.channels == 1) {
        shape.pop_back();
        strides.pop_back();
    }
    if (image.rank == 2) {
        shape.erase(shape.begin());
        strides.erase(strides.begin());
    }
    return lentArray(owner, type, shape, strides, image.data.get(), isWritable);
}

py::object storeToPython(const Lent& owner, velmora::StoreView store, bool isWritable);

py::object cellToPython(const Lent& owner, vint type, const VelmoraDataStoreNode::Cell& cell, bool isWritable) {
    switch (type) {
    case VType_Boolean: return py::bool_(cell.boolean != 0);
    case VType_Integer: return py::int_(cell.integer);
    case VType_Real: return py::float_(cell.real);
    case VType_Complex: return py::cast(std::complex<double>(cell.complex.re, cell.complex.im));
    case VType_UTF8String: return cell.utf8String == nullptr ? py::none() : textToPython(cell.utf8String);
    case VType_Tensor:
        return cell.tensor == nullptr ? py::object(py::none())
                                      : denseArray(owner, typeOf(kTensorTypes, cell.tensor->type),
                                                   cell.tensor->dimensions, cell.tensor->data.get(), isWritable);
    case VType_NumericArray:
        return cell.numericArray == nullptr
                   ? py::object(py::none())
                   : denseArray(owner, typeOf(kArrayTypes, cell.numericArray->type), cell.numericArray->dimensions,
                                cell.numericArray->data.get(), isWritable);
    case VType_Image:
        return cell.image == nullptr ? py::object(py::none()) : imageArray(owner, *cell.image, isWritable);
    case VType_DataStore: return storeToPython(owner, velmora::StoreView(cell.dataStore), isWritable);
    default: return py::none();
    }
}

py::object storeToPython(const Lent& owner, velmora::StoreView store, bool isWritable) {
    py::list nodes;
    for (const velmora::NodeView node : store) {
        nodes.append(py::make_tuple(textToPython(std::string(node.name())),
                                    cellToPython(owner, node.type(), node.cell(), isWritable)));
    }
    return py::module_::import("radvex._store").attr("Store")(nodes);
}

vint toVint(py::handle object) {
    const auto number = py::cast<py::int_>(object);
    int overflow = 0;
    const long long value = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
    if (overflow != 0 || value < std::numeric_limits<vint>::min() || value > std::numeric_limits<vint>::max()) {
        throw py::value_error("The number " + std::string(py::str(py::object(number))) + " does not fit into 32 bits.");
    }
    return static_cast<vint>(value);
}

std::vector<vint> dimensionsOf(const py::array& array) {
    std::vector<vint> dimensions;
    for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
        if (array.shape(axis) > std::numeric_limits<vint>::max()) {
            throw py::value_error("An array of more than 2,147,483,647 elements along an axis has no place here.");
        }
        dimensions.push_back(static_cast<vint>(array.shape(axis)));
    }
    return dimensions;
}

std::string typeName(const py::array& array) { return std::string(py::str(array.dtype())); }

/// The elements in C order; a copy if they lie otherwise or in other byte order.
py::array dense(const py::array& array, const char* type) {
    return py::array(py::module_::import("numpy").attr("ascontiguousarray")(array, py::dtype(type)));
}

/// Copies the elements of a dense array. Another thread may have given it another type or shape meanwhile.
void copyElements(const py::array& elements, void* target, std::size_t bytes) {
    if (static_cast<std::size_t>(elements.nbytes()) != bytes) {
        throw py::value_error("The array was changed while it was being read.");
    }
    if (bytes > 0) {
        std::memcpy(target, elements.data(), bytes);
    }
}

template <typename Object, typename Types>
Object copied(const py::array& array, const Types& types, const char* expected) {
    const auto code = codeOf(types, array);
    if (!code) {
        throw py::type_error("An array of " + typeName(array) + " has no place here: " + expected + ".");
    }
    for (const auto& [known, name] : types) {
        if (known == *code) {
            const py::array elements = dense(array, name);
            Object object(*code, dimensionsOf(elements));
            const auto length = static_cast<std::size_t>(object.handle()->length);
            copyElements(elements, object.handle()->data.get(),
                         length * static_cast<std::size_t>(py::dtype(name).itemsize()));
            return object;
        }
    }
    throw py::type_error("unreachable");
}

/// A list of numbers as a tensor: of integers if all are, of complex numbers if any is, else of reals.
Tensor tensorFromList(py::handle object) {
    const py::array array(py::module_::import("numpy").attr("asarray")(object));
    switch (array.dtype().kind()) {
    case 'b':
    case 'i':
    case 'u': {
        std::vector<vint> elements;
        for (const py::handle element : array.attr("ravel")().attr("tolist")()) {
            elements.push_back(toVint(element));
        }
        return Tensor(dimensionsOf(array), elements);
    }
    case 'c': return copied<Tensor>(dense(array, "c16"), kTensorTypes, "");
    case 'f': return copied<Tensor>(dense(array, "f8"), kTensorTypes, "");
    default: throw py::type_error("A tensor consists of numbers, not of " + typeName(array) + ".");
    }
}

bool isList(py::handle object) { return py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object); }

Value arrayFromPython(const py::array& array, vint kind) {
    switch (kind) {
    case VType_Tensor: return tensorFromList(array);
    case VType_Image: return imageFromArray(array, array.ndim() >= 3 && array.shape(array.ndim() - 1) == 3);
    case VType_NumericArray: break;
    default:
        if (array.dtype().kind() == 'b') {
            return imageFromArray(array, false);
        }
    }
    return copied<NumericArray>(array, kArrayTypes, "whole numbers of up to 64 bits, float32 and float64 are taken");
}

std::string textFromPython(py::handle object) {
    const py::object text = py::isinstance<py::str>(object)
                                ? py::reinterpret_steal<py::object>(PyUnicode_AsEncodedString(
                                      object.ptr(), "utf-8", "surrogateescape")) // paths with bytes of other sets
                                : py::reinterpret_borrow<py::object>(object);
    if (!text) {
        throw py::error_already_set();
    }
    std::string bytes = py::cast<py::bytes>(text);
    if (bytes.find('\0') != std::string::npos) {
        throw py::value_error("A text with a null character has no place here.");
    }
    return bytes;
}

Value convert(py::handle object, vint kind, int level);

Store storeFromPython(py::handle object, int level) {
    Store store = Store::empty();
    const bool isNamed = py::isinstance<py::dict>(object);
    const bool isStore = !isNamed && py::hasattr(object, "items");
    if (isNamed || isStore) {
        for (const py::handle item : py::object(object.attr("items")())) {
            const auto pair = py::cast<py::tuple>(item);
            store.add(textFromPython(pair[0]), convert(pair[1], VType_Undef, level + 1));
        }
    } else {
        for (const py::handle item : object) {
            store.add("", convert(item, VType_Undef, level + 1));
        }
    }
    return store;
}

bool isStoreLike(py::handle object) {
    return py::isinstance<py::dict>(object) || isList(object) ||
           py::isinstance(object, py::module_::import("radvex._store").attr("Store"));
}

Value convert(py::handle object, vint kind, int level) {
    if (level > kMostLevels) {
        throw py::value_error("The value is nested too deeply.");
    }
    if (object.is_none()) {
        return {};
    }
    if (py::isinstance<py::bool_>(object)) { // before the numbers: it is one of them
        return kind == VType_Integer ? Value(vint{py::cast<bool>(object)}) : Value(py::cast<bool>(object));
    }
    if (py::isinstance<py::int_>(object)) {
        return kind == VType_Real      ? Value(py::cast<double>(object))
               : kind == VType_Boolean ? Value(py::cast<py::int_>(object).not_equal(py::int_(0)))
                                       : Value(toVint(object));
    }
    if (py::isinstance<py::float_>(object)) {
        return py::cast<double>(object);
    }
    if (PyComplex_Check(object.ptr()) != 0) {
        return py::cast<std::complex<double>>(object);
    }
    if (py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object)) {
        return textFromPython(object);
    }
    if (py::hasattr(object, "__fspath__")) {
        return convert(py::module_::import("os").attr("fspath")(object), kind, level);
    }
    const bool mayBeNumpy = PyDict_GetItemString(PyImport_GetModuleDict(), "numpy") != nullptr;
    if (mayBeNumpy) {
        loadNumpy();
    }
    if (mayBeNumpy && py::isinstance<py::array>(object)) {
        return arrayFromPython(py::cast<py::array>(object), kind);
    }
    if (mayBeNumpy && py::isinstance(object, py::module_::import("numpy").attr("generic"))) {
        return convert(object.attr("item")(), kind, level);
    }
    if (kind == VType_Tensor && isList(object)) {
        return tensorFromList(object);
    }
    if (isStoreLike(object)) {
        return storeFromPython(object, level);
    }
    throw py::type_error("A value of type " + std::string(py::str(py::type::of(object).attr("__name__"))) +
                         " cannot be passed to the library.");
}

} // namespace

Lent::Lent(Value value)
    : mLending(new Lending{std::move(value)},
               [](Lending* lending) { Library::instance().discard(std::unique_ptr<Lending>(lending)); }) {}

py::capsule Lent::capsule() const {
    auto share = std::make_unique<std::shared_ptr<Lending>>(mLending);
    py::capsule capsule(share.get(), [](void* held) { delete static_cast<std::shared_ptr<Lending>*>(held); });
    (void)share.release();
    return capsule;
}

void loadNumpy() { py::module_::import("radvex._arrays").attr("load")(); }

py::array arrayOf(const Lent& owner, vint type, const std::vector<vint>& shape, const void* data, bool isWritable) {
    return denseArray(owner, typeOf(kArrayTypes, type), shape, data, isWritable);
}

py::object toPython(Value value, bool isWritable) {
    const Lent owner(std::move(value));
    if (owner.value().is<velmora::Null>()) {
        return py::none();
    }
    if (owner.value().is<std::string>()) {
        return textToPython(owner.value().get<std::string>());
    }
    return cellToPython(owner, owner.value().type(), owner.value().cell(), isWritable);
}

py::object textToPython(const std::string& text) {
    return formats::isValidUtf8(text) ? py::object(py::str(text)) : py::object(py::bytes(text));
}

Value fromPython(py::handle object, vint kind) { return convert(object, kind, 0); }

Image imageFromArray(const py::array& array, bool isColour) {
    const py::ssize_t spatial = array.ndim() - (isColour ? 1 : 0);
    if (spatial < 2 || spatial > 3) {
        throw py::value_error("An image has the axes [row][column] or [frame][row][column], with three channels behind "
                              "if it is in colour; this array has " +
                              std::to_string(array.ndim()) + " axes.");
    }
    const auto code = codeOf(kImageTypes, array);
    if (!code) {
        throw py::type_error("An image of " + typeName(array) +
                             " cannot be written: bool, uint8, uint16, float32 and float64 are taken.");
    }
    const std::vector<vint> sizes = dimensionsOf(array);
    const std::size_t row = spatial == 3 ? 1 : 0;
    if (array.size() == 0) {
        throw py::value_error("An image needs at least one pixel.");
    }
    if (constexpr vint kMost = 65535; sizes[row] > kMost || sizes[row + 1] > kMost) {
        throw py::value_error("An image has at most 65535 rows and columns; this one would have " +
                              std::to_string(sizes[row]) + " rows and " + std::to_string(sizes[row + 1]) + " columns.");
    }
    Image image(spatial == 3 ? sizes[0] : 0, sizes[row], sizes[row + 1], isColour ? sizes.back() : 1, *code,
                isColour ? VColorSpace_RGB : VColorSpace_Grey, true);
    for (const auto& [known, name] : kImageTypes) {
        if (known == *code) {
            copyElements(dense(array, name), image.handle()->data.get(), image.bytes().size());
        }
    }
    return image;
}

} // namespace radvex::python

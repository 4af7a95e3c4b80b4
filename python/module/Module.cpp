#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>

#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "formats/volumes/VolumeFile.h"
#include "host/Declarations.h"
#include "python/module/Conversion.h"
#include "python/module/Files.h"
#include "python/module/Library.h"
#include "python/module/VolumeFiles.h"
#include "python/module/Writing.h"

// The extension module radvex._radvex: what the Python package cannot say in Python.

namespace radvex::python {

namespace py = pybind11;

namespace {

const velmora::Declaration& declarationOf(const std::string& name) {
    for (const velmora::Declaration& declaration : velmora::radvexDeclarations()) {
        if (declaration.name == name) {
            return declaration;
        }
    }
    throw py::key_error("The library has no function " + name + "; see radvex.functions.");
}

/// What an argument is when the caller leaves it out.
velmora::Value emptyValue(vint kind) {
    switch (kind) {
    case VType_Boolean: return false;
    case VType_Integer: return vint{0};
    case VType_Real: return 0.0;
    case VType_UTF8String: return std::string();
    case VType_DataStore: return velmora::Store::empty();
    default: return {};
    }
}

/// An argument of another kind would reach the library as 0 or null, and the result would be one of another request.
void requireKind(const velmora::Declaration& declaration, std::size_t index, const velmora::Value& value) {
    const vint kind = declaration.arguments[index];
    const bool isNull =
        value.is<velmora::Null>() && kind != VType_Integer && kind != VType_Boolean && kind != VType_Real;
    if (!isNull && value.type() != kind) {
        throw py::type_error(declaration.name + " takes " + velmora::kindName(kind) + " as " +
                             std::string(declaration.description.arguments[index].name) + ", and " +
                             velmora::kindName(value.type()) + " is given.");
    }
}

py::object call(const std::string& name, const py::args& arguments) {
    const velmora::Declaration& declaration = declarationOf(name);
    if (arguments.size() > declaration.arguments.size()) {
        throw py::type_error(name + " takes " + std::to_string(declaration.arguments.size()) + " arguments, and " +
                             std::to_string(arguments.size()) + " are given.");
    }
    Library::Use library; // also while objects of the host are made
    std::vector<velmora::Value> values;
    values.reserve(declaration.arguments.size());
    for (std::size_t index = 0; index < declaration.arguments.size(); ++index) {
        const vint kind = declaration.arguments[index];
        values.push_back(index < arguments.size() ? fromPython(arguments[index], kind) : emptyValue(kind));
        if (index < arguments.size()) {
            requireKind(declaration, index, values.back());
        }
    }
    velmora::Value result;
    {
        const py::gil_scoped_release released; // taken back under the host's lock, for which nobody waits with Python's
        result = library.host().call(name, values);
    }
    return toPython(std::move(result));
}

const char* kindName(vint kind) { return kind == VType_Undef ? "" : velmora::kindName(kind); }

/// (name, meaning, [(argument, kind, meaning)], kind of the result, its meaning, [errors])
py::list functions() {
    py::list all;
    for (const velmora::Declaration& declaration : velmora::radvexDeclarations()) {
        const velmora::Description& described = declaration.description;
        py::list arguments;
        for (std::size_t index = 0; index < declaration.arguments.size(); ++index) {
            const auto& argument = described.arguments[index];
            arguments.append(py::make_tuple(argument.name, kindName(declaration.arguments[index]), argument.meaning));
        }
        all.append(py::make_tuple(declaration.name, described.meaning, arguments, kindName(declaration.result),
                                  described.result, py::cast(described.errors)));
    }
    return all;
}

py::list errors() {
    const auto registered = Library::instance().run([](velmora::Host& host) { return host.errors(); });
    py::list all;
    for (const velmora::RegisteredError& error : registered) {
        all.append(py::make_tuple(error.id, error.name, error.message));
    }
    return all;
}

py::tuple account() {
    const Library::Account found = Library::instance().account();
    return py::make_tuple(found.alive, found.violations);
}

/// Raises what radvex._errors makes of an error.
void raise(const char* kind, const std::exception& error, int code = 0, const std::string& name = "",
           const std::vector<std::string>& parameters = {}) {
    py::list values;
    for (const std::string& parameter : parameters) {
        values.append(textToPython(parameter));
    }
    const py::object exception =
        py::module_::import("radvex._errors").attr("_exception")(kind, textToPython(error.what()), code, name, values);
    PyErr_SetObject(py::type::of(exception).ptr(), exception.ptr());
}

// By value, as pybind11 calls it. NOLINTNEXTLINE(performance-unnecessary-value-param)
void translate(std::exception_ptr pointer) {
    try {
        if (pointer) {
            std::rethrow_exception(pointer);
        }
    } catch (const velmora::LibraryError& error) {
        raise("library", error, error.code(), error.name(), error.parameters());
    } catch (const formats::VolumeError& error) {
        raise("volume", error);
    } catch (const UsageError& error) {
        raise("usage", error);
    } catch (const formats::JsonError& error) {
        raise("usage", error);
    } catch (const Error& error) {
        raise("file", error);
    } catch (const velmora::HostError& error) {
        raise("host", error);
    }
}

} // namespace

PYBIND11_MODULE(_radvex, module) {
    module.doc() = "What the package radvex stands on; see radvex.";
    py::register_exception_translator(&translate);
    module.def("set_library", [](const std::string& path) { Library::instance().setPath(path); });
    module.def("call", &call);
    module.def("functions", &functions);
    module.def("errors", &errors);
    module.def("account", &account);
    module.def("before_fork", [] { Library::instance().beforeFork(); });
    module.def("after_fork", [] { Library::instance().afterFork(); });
    module.def("close", [] { Library::instance().close(); });
    module.def("end", [] { Library::instance().end(); });
    module.def("load_numpy", [] { (void)py::dtype("u1"); });
    module.def("map_samples", &mapSamples);
    module.def("open_reader", &openReader);
    module.def("close_reader", &closeReader);
    module.def("attribute", &attributeOf);
    module.def("attributes", &attributesOf);
    module.def("representations", &representationsOf);
    module.def("values", &valuesOf);
    module.def("picture", &pictureOf);
    module.def("write_image", [](const std::string& path, const py::array& array, bool isColour,
                                 const py::dict& attributes, const py::list& overlays, const py::dict& properties,
                                 const std::string& compression, bool mayReplace) {
        writeImage(path, array, isColour, {attributes, overlays, properties, compression}, mayReplace);
    });
    module.def("encode_texts", &encodeTexts);
    module.def("save_volume", &saveVolume);
    module.def("save_preview", &savePreview);
}

} // namespace radvex::python

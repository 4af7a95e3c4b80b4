#include "python/module/Writing.h"

#include <vector>

#include "files/OutputFile.h"
#include "formats/json/Attributes.h"
#include "formats/pictures/Compression.h"
#include "media/WrittenTexts.h"
#include "python/module/Conversion.h"
#include "python/module/Library.h"

namespace radvex::python {

namespace py = pybind11;
using velmora::Store;
using velmora::Value;

namespace {

Store planesOf(const py::list& overlays) {
    Store planes = Store::empty();
    for (const py::handle overlay : overlays) {
        const py::array plane(py::module_::import("numpy").attr("not_equal")(overlay, 0));
        planes.add(std::to_string(planes.size() + 1), imageFromArray(plane, false));
    }
    return planes;
}

/// @throws pybind11::error_already_set  the text has half of a surrogate pair
formats::Attributes attributesFrom(const py::dict& given) {
    formats::Attributes attributes;
    for (const auto& [key, value] : given) {
        formats::Attribute attribute{.keyword = key.cast<std::string>(), .source = key.cast<std::string>()};
        attribute.isSequence = py::isinstance<py::list>(value);
        attribute.isBytes = py::isinstance<py::bytes>(value);
        if (attribute.isSequence) {
            for (const py::handle item : value) {
                attribute.items.push_back(attributesFrom(py::reinterpret_borrow<py::dict>(item)));
            }
        } else {
            attribute.value = value.cast<std::string>();
        }
        attributes.push_back(std::move(attribute));
    }
    return attributes;
}

py::dict toPython(const formats::Attributes& attributes) {
    py::dict result;
    for (const formats::Attribute& attribute : attributes) {
        py::list items;
        for (const formats::Attributes& item : attribute.items) {
            items.append(toPython(item));
        }
        result[py::str(attribute.keyword)] = attribute.isSequence ? py::object(items) : textToPython(attribute.value);
    }
    return result;
}

} // namespace

py::tuple encodeTexts(const py::dict& attributes, const py::dict& overlayProperties) {
    formats::Attributes texts = attributesFrom(attributes);
    std::vector<media::AddedText> added;
    for (const auto& [number, properties] : overlayProperties) {
        for (const auto& [name, value] : py::reinterpret_borrow<py::dict>(properties)) {
            added.push_back({.vr = "LO", .text = value.cast<std::string>()});
        }
    }
    {
        Library::Use library;
        formats::Dictionary dictionary(library.host());
        const py::gil_scoped_release released;
        media::encodeTexts(texts, added, dictionary);
    }
    py::dict encodedProperties;
    auto next = added.begin();
    for (const auto& [number, properties] : overlayProperties) {
        py::dict encoded;
        for (const auto& [name, value] : py::reinterpret_borrow<py::dict>(properties)) {
            encoded[name] = textToPython((next++)->text);
        }
        encodedProperties[number] = encoded;
    }
    return py::make_tuple(toPython(texts), encodedProperties);
}

void writeImage(const std::string& path, const py::array& array, bool isColour, const NewFile& file, bool mayReplace) {
    if (path.find('\0') != std::string::npos) {
        throw py::value_error("A text with a null character is no path.");
    }
    const formats::Compression compression = formats::parseCompression("compress=", file.compression);
    const files::Output output(path, mayReplace ? files::Existing::MayBeReplaced : files::Existing::Stays);
    files::requireWritable(output);
    Library::Use library; // also while objects of the host are made
    std::vector<Value> arguments;
    arguments.emplace_back(std::string());
    arguments.emplace_back(imageFromArray(array, isColour));
    arguments.emplace_back(fromPython(file.attributes, VType_DataStore));
    arguments.emplace_back(planesOf(file.overlays));
    arguments.emplace_back(compression.name);
    arguments.emplace_back(compression.first);
    arguments.emplace_back(compression.second);
    arguments.emplace_back(fromPython(file.overlayProperties, VType_DataStore));
    const py::gil_scoped_release released;
    files::writeOutputPath(output, [&](const std::string& temporary) {
        arguments.front() = temporary;
        library.host().call("WriteImage", arguments);
    });
}

} // namespace radvex::python

#include "python/module/Writing.h"

#include <vector>

#include "files/OutputFile.h"
#include "formats/pictures/Compression.h"
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

} // namespace

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

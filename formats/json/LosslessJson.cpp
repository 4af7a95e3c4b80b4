#include "formats/json/LosslessJson.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "formats/json/Base64.h"
#include "formats/json/Text.h"
#include "formats/json/TypeNames.h"

namespace radvex::formats {

using namespace velmora;

static_assert(std::endian::native == std::endian::little, "Arrays are written as they lie in memory.");

namespace {

/// Deeper values are refused, since each level takes call stack.
constexpr int kMaxDepth = 512;

template <std::size_t N>
vint codeOfType(const std::array<const char*, N>& names, const Json& object) {
    const std::string wanted = object.at("type").get<std::string>();
    const auto* const found = std::find(names.begin(), names.end(), wanted);
    if (wanted.empty() || found == names.end()) {
        throw JsonError("'" + wanted + "' is not an element type of this kind of value.");
    }
    return static_cast<vint>(found - names.begin());
}

Json fromReal(double number) {
    if (std::isnan(number)) {
        return {{"real", "nan"}};
    }
    if (std::isinf(number)) {
        return {{"real", number > 0 ? "inf" : "-inf"}};
    }
    return number;
}

Json fromComplex(double re, double im) { return {{"complex", Json::array({fromReal(re), fromReal(im)})}}; }

Json fromText(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t length = std::strlen(text);
    if (isValidUtf8({text, length})) {
        return std::string(text, length);
    }
    return {{"bytes", toBase64(std::as_bytes(std::span(text, length)))}};
}

Json fromTensor(VTensor tensor) {
    Json data = Json::array();
    for (vint index = 0; index < tensor->length; ++index) {
        switch (tensor->type) {
        case VTensor_Integer: data.push_back(static_cast<const vint*>(tensor->data.get())[index]); break;
        case VTensor_Real: data.push_back(fromReal(static_cast<const vreal*>(tensor->data.get())[index])); break;
        default: {
            const vcomplex number = static_cast<const vcomplex*>(tensor->data.get())[index];
            data.push_back(fromComplex(number.re, number.im));
        }
        }
    }
    return {
        {"tensor", {{"type", typeName(kTensorTypeNames, tensor->type)}, {"dims", tensor->dimensions}, {"data", data}}}};
}

Json fromBuffer(const Buffer& data, vint length, std::size_t elementSize) {
    return toBase64({static_cast<const std::byte*>(data.get()), static_cast<std::size_t>(length) * elementSize});
}

Json fromArray(VNumericArray array) {
    return {{"array",
             {{"type", typeName(kArrayTypeNames, array->type)},
              {"dims", array->dimensions},
              {"base64", fromBuffer(array->data, array->length, numericArrayElementSize(array->type))}}}};
}

Json fromImage(VImage image) {
    return {{"image",
             {{"type", typeName(kImageTypeNames, image->type)},
              {"rank", image->rank},
              {"slices", image->slices},
              {"rows", image->rows},
              {"columns", image->columns},
              {"channels", image->channels},
              {"colorSpace", image->colorSpace},
              {"interleaved", image->interleaved},
              {"base64", fromBuffer(image->data, image->length, imageElementSize(image->type))}}}};
}

Json fromStore(StoreView store);

Json fromNode(NodeView node) {
    const auto& cell = node.cell();
    switch (node.type()) {
    case VType_Boolean: return cell.boolean != 0;
    case VType_Integer: return cell.integer;
    case VType_Real: return fromReal(cell.real);
    case VType_Complex: return fromComplex(cell.complex.re, cell.complex.im);
    case VType_UTF8String: return fromText(cell.utf8String);
    case VType_Tensor: return cell.tensor == nullptr ? Json() : fromTensor(cell.tensor);
    case VType_NumericArray: return cell.numericArray == nullptr ? Json() : fromArray(cell.numericArray);
    case VType_Image: return cell.image == nullptr ? Json() : fromImage(cell.image);
    case VType_DataStore: return cell.dataStore == nullptr ? Json() : fromStore(StoreView(cell.dataStore));
    default: return nullptr;
    }
}

Json fromStore(StoreView store) {
    Json nodes = Json::array();
    for (const NodeView node : store) {
        nodes.push_back(Json::array({fromText(std::string(node.name()).c_str()), fromNode(node)}));
    }
    return {{"store", std::move(nodes)}};
}

vint toVint(const Json& json) {
    if (!json.is_number_integer()) {
        throw JsonError("A whole number is expected, but " + dumpJson(json) + " is given.");
    }
    const bool fits = json.is_number_unsigned()
                          ? json.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<vint>::max())
                          : json.get<std::int64_t>() >= std::numeric_limits<vint>::min();
    if (!fits) {
        throw JsonError("The number " + dumpJson(json) + " does not fit into the host's 32 bits.");
    }
    return json.get<vint>();
}

double toReal(const Json& json) {
    if (json.is_number()) {
        return json.get<double>();
    }
    if (json.is_object() && json.size() == 1 && json.contains("real") && json["real"].is_string()) {
        const std::string name = json["real"].get<std::string>();
        if (name == "nan") {
            return std::numeric_limits<double>::quiet_NaN();
        }
        if (name == "inf" || name == "-inf") {
            return name == "inf" ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
        }
    }
    throw JsonError("A number is expected, but " + dumpJson(json) + " is given.");
}

std::complex<double> toComplex(const Json& json) {
    const Json& parts = json.at("complex");
    if (!parts.is_array() || parts.size() != 2) {
        throw JsonError("A complex number consists of two numbers: {\"complex\":[re,im]}.");
    }
    return {toReal(parts[0]), toReal(parts[1])};
}

std::vector<vint> toDimensions(const Json& json) {
    std::vector<vint> dimensions;
    std::ranges::transform(json, std::back_inserter(dimensions), toVint);
    return dimensions;
}

Value toTensor(const Json& object) {
    Tensor tensor(codeOfType(kTensorTypeNames, object), toDimensions(object.at("dims")));
    const Json& data = object.at("data");
    if (data.size() != static_cast<std::size_t>(tensor.handle()->length)) {
        throw JsonError("The tensor's data has " + std::to_string(data.size()) + " elements, but its dims say " +
                        std::to_string(tensor.handle()->length) + ".");
    }
    for (std::size_t index = 0; index < data.size(); ++index) {
        switch (tensor.type()) {
        case VTensor_Integer: tensor.data<vint>()[index] = toVint(data[index]); break;
        case VTensor_Real: tensor.data<double>()[index] = toReal(data[index]); break;
        default: tensor.data<std::complex<double>>()[index] = toComplex(data[index]);
        }
    }
    return tensor;
}

void copyBytes(const Json& object, std::span<std::byte> target) {
    const auto bytes = fromBase64(object.at("base64").get_ref<const std::string&>());
    if (bytes.size() != target.size()) {
        throw JsonError("The base64 data has " + std::to_string(bytes.size()) + " bytes, but type and sizes say " +
                        std::to_string(target.size()) + ".");
    }
    std::copy(bytes.begin(), bytes.end(), target.begin());
}

Value toArray(const Json& object) {
    NumericArray array(codeOfType(kArrayTypeNames, object), toDimensions(object.at("dims")));
    copyBytes(object, array.bytes());
    return array;
}

Value toImage(const Json& object) {
    const auto number = [&](const char* key, vint otherwise) {
        return object.contains(key) ? toVint(object[key]) : otherwise;
    };
    const vint slices = number("slices", 1);
    const vint rank = number("rank", slices > 1 ? 3 : 2);
    Image image(rank == 3 ? slices : 0, toVint(object.at("rows")), toVint(object.at("columns")), number("channels", 1),
                codeOfType(kImageTypeNames, object), number("colorSpace", VColorSpace_Grey),
                object.value("interleaved", false));
    copyBytes(object, image.bytes());
    return image;
}

Value toValue(const Json& json, int depth);

Value toStore(const Json& nodes, int depth) {
    Store store = Store::empty();
    for (const Json& node : nodes) {
        if (!node.is_array() || node.size() != 2 || !node[0].is_string()) {
            throw JsonError("A node of a store consists of a name and a value: [\"name\",value].");
        }
        store.add(node[0].get<std::string>(), toValue(node[1], depth + 1));
    }
    return store;
}

/// Converts the forms with one reserved key. @return false if the object is none of them
bool toReservedForm(const Json& json, int depth, Value& value) {
    if (json.size() != 1) {
        return false;
    }
    const std::string& key = json.begin().key();
    const Json& content = json.begin().value();
    if (key == "real" && content.is_string()) {
        value = toReal(json);
    } else if (key == "complex" && content.is_array()) {
        value = toComplex(json);
    } else if (key == "tensor" && content.is_object()) {
        value = toTensor(content);
    } else if (key == "array" && content.is_object()) {
        value = toArray(content);
    } else if (key == "image" && content.is_object()) {
        value = toImage(content);
    } else if (key == "store" && content.is_array()) {
        value = toStore(content, depth);
    } else if (key == "bytes" && content.is_string()) {
        const auto bytes = fromBase64(content.get_ref<const std::string&>());
        value = std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    } else {
        return false;
    }
    return true;
}

Value toPlainStore(const Json& json, int depth) {
    Store store = Store::empty();
    for (const auto& item : json.items()) {
        store.add(json.is_object() ? item.key() : std::string{}, toValue(item.value(), depth + 1));
    }
    return store;
}

Value toValue(const Json& json, int depth) {
    if (depth > kMaxDepth) {
        throw JsonError("The value is nested more than " + std::to_string(kMaxDepth) + " levels deep.");
    }
    switch (json.type()) {
    case Json::value_t::null: return {};
    case Json::value_t::boolean: return json.get<bool>();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned: return toVint(json);
    case Json::value_t::number_float: return json.get<double>();
    case Json::value_t::string: return json.get<std::string>();
    case Json::value_t::array: return toPlainStore(json, depth);
    case Json::value_t::object: {
        Value value;
        return toReservedForm(json, depth, value) ? value : toPlainStore(json, depth);
    }
    default: throw JsonError("This kind of JSON is not a value.");
    }
}

} // namespace

Json toJson(const Value& value) {
    struct Convert {
        Json operator()(const Null&) const { return nullptr; }
        Json operator()(bool flag) const { return flag; }
        Json operator()(vint number) const { return number; }
        Json operator()(double number) const { return fromReal(number); }
        Json operator()(const std::complex<double>& number) const { return fromComplex(number.real(), number.imag()); }
        Json operator()(const std::string& text) const { return fromText(text.c_str()); }
        Json operator()(const Tensor& tensor) const { return fromTensor(tensor.handle()); }
        Json operator()(const NumericArray& array) const { return fromArray(array.handle()); }
        Json operator()(const Image& image) const { return fromImage(image.handle()); }
        Json operator()(const Store& store) const { return fromStore(store.view()); }
    };
    return value.visit(Convert{});
}

Value fromJson(const Json& json) {
    try {
        return toValue(json, 0);
    } catch (const Json::exception& error) {
        throw JsonError(std::string("Part of a value is missing or has the wrong type: ") + error.what());
    } catch (const std::invalid_argument& error) {
        throw JsonError(error.what());
    }
}

Json parseJson(const std::string& text) {
    try {
        return Json::parse(text);
    } catch (const Json::exception& error) {
        throw JsonError("'" + shortened(text) + "' is not valid JSON. Text needs double quotes: '\"text\"'.");
    }
}

std::string dumpJson(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace radvex::formats

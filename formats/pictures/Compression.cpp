#include "formats/pictures/Compression.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "files/Errors.h"
#include "formats/json/Text.h"

namespace radvex::formats {

namespace {

/// A number behind the name of a method. `meaning` is empty when the method takes no such number.
struct Parameter {
    const char* meaning;
    vint least;
    vint most;
    vint usual;
};

struct Method {
    std::string_view name;
    Parameter first;
    Parameter second;
};

constexpr Parameter kNone{"", 0, 0, 0};
constexpr Parameter kPointTransform{"point transform", 0, 15, 0};
constexpr Parameter kQuality{"quality", 0, 100, 90};

constexpr std::array<Method, 8> kMethods{
    {{"Uncompressed", kNone, kNone},
     {"JPEGLossless", {"selection value", 1, 1, 1}, kPointTransform},
     {"JPEGLosslessNonhierarchical", {"selection value", 1, 7, 6}, kPointTransform},
     {"JPEGLossy8bit", kQuality, kNone},
     {"JPEGLossy12bit", kQuality, kNone},
     {"JPEG-LSLossless", kNone, kNone},
     {"JPEG-LSLossy", {"largest deviation", 0, 255, 2}, kNone},
     {"RLE", kNone, kNone}}};

const Method& findMethod(const std::string& label, const std::string& name) {
    const auto* const method = std::ranges::find(kMethods, name, &Method::name);
    if (method == kMethods.end()) {
        std::string names;
        for (const Method& each : kMethods) {
            names.append(names.empty() ? "" : ", ").append(each.name);
        }
        throw UsageError(label + shortened(name) + ": the names are " + names + ".");
    }
    return *method;
}

vint parseParameter(const std::string& option, const std::string& text, const Parameter& parameter) {
    if (*parameter.meaning == 0) {
        throw UsageError(option + ": the number " + shortened(text) + " is not expected.");
    }
    vint number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < parameter.least || number > parameter.most) {
        const std::string range = std::to_string(parameter.least) + " to " + std::to_string(parameter.most);
        throw UsageError(option + ": the " + parameter.meaning + " is " +
                         (parameter.least == parameter.most ? "always " + std::to_string(parameter.least)
                                                            : "a number from " + range) +
                         ".");
    }
    return number;
}

} // namespace

Compression parseCompression(const std::string& label, const std::string& text) {
    const std::size_t colon = text.find(':');
    const Method& method = findMethod(label, text.substr(0, colon));
    Compression compression{std::string(method.name), method.first.usual, method.second.usual};
    if (colon != std::string::npos) {
        const std::string option = label + shortened(text);
        const std::string numbers = text.substr(colon + 1);
        const std::size_t comma = numbers.find(',');
        compression.first = parseParameter(option, numbers.substr(0, comma), method.first);
        if (comma != std::string::npos) {
            compression.second = parseParameter(option, numbers.substr(comma + 1), method.second);
        }
    }
    return compression;
}

std::vector<std::string> compressionNames() {
    std::vector<std::string> names;
    names.reserve(std::size(kMethods));
    for (const Method& method : kMethods) {
        names.emplace_back(method.name);
    }
    return names;
}

std::string compressionHelp() {
    std::string help;
    for (const Method& method : kMethods) {
        help.append(help.empty() ? "" : ", ").append(method.name);
        if (*method.first.meaning != 0) {
            help.append(" (").append(method.first.meaning).append(" ").append(std::to_string(method.first.usual));
            if (*method.second.meaning != 0) {
                help.append(", ").append(method.second.meaning).append(" ").append(std::to_string(method.second.usual));
            }
            help += ')';
        }
    }
    return help;
}

} // namespace radvex::formats

#include "python/module/Files.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "files/Errors.h"
#include "formats/json/Dictionary.h"
#include "formats/json/Text.h"
#include "media/ElementList.h"
#include "media/Rendering.h"
#include "media/scan/FileDiagnosis.h"
#include "python/Pictures.h"
#include "python/module/Conversion.h"
#include "python/module/Library.h"
#include "volume/samples/ModalityArray.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/PixelMeaning.h"
#include "volume/slices/PromisedFrames.h"

namespace radvex::python {

namespace py = pybind11;
using media::Element;
using velmora::Host;
using velmora::Store;
using velmora::Value;

namespace {

constexpr std::uint16_t kPixelGroup = 0x7FE0;
/// Representations whose values the library gives as DCMTK has them; others come from the list of elements.
constexpr std::array<std::string_view, 24> kFromLibrary{"AE", "AS", "CS", "DA", "DS", "DT", "FD", "FL",
                                                        "IS", "LO", "LT", "PN", "SH", "SL", "SS", "ST",
                                                        "TM", "UC", "UI", "UL", "UR", "US", "UT", "xs"};

/// Works on a file. An error of the library becomes a sentence about the file.
template <typename Body>
auto withFile(const std::string& path, Body body) {
    return Library::instance().run([&](Host& host) {
        try {
            return body(host);
        } catch (const velmora::LibraryError& error) {
            throw velmora::LibraryError(error.code(), error.name(), media::explain(error, path, path),
                                        error.parameters());
        }
    });
}

std::string_view withoutPadding(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool isWholeNumber(std::string_view vr) {
    return vr == "IS" || vr == "US" || vr == "SS" || vr == "UL" || vr == "SL" || vr == "UV" || vr == "SV" || vr == "xs";
}

bool isRealNumber(std::string_view vr) { return vr == "DS" || vr == "FL" || vr == "FD"; }

/// The number that the whole text stands for; nothing for any other text, and for a number out of range.
template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// One value. A text that should be a number and is none stays a text.
py::object valueOf(std::string_view text, std::string_view vr) {
    if (isWholeNumber(vr) || isRealNumber(vr)) {
        std::string_view digits = withoutPadding(text);
        if (digits.empty()) {
            return py::none();
        }
        if (digits.starts_with('+')) {
            digits.remove_prefix(1);
        }
        if (vr == "FL") { // the number itself, not the decimal that stands for it
            if (const auto number = numberIn<float>(digits)) {
                return py::float_(*number);
            }
        } else if (isRealNumber(vr)) {
            if (const auto number = numberIn<double>(digits)) {
                return py::float_(*number);
            }
        } else if (const auto large = numberIn<std::uint64_t>(digits)) {
            return py::int_(*large);
        } else if (const auto number = numberIn<std::int64_t>(digits)) {
            return py::int_(*number);
        }
    }
    const std::size_t last = text.find_last_not_of(' '); // padding (PS3.5, 6.2)
    return textToPython(std::string(text.substr(0, last + 1)));
}

py::object valuesFrom(const std::string& text, const std::string& vr) {
    if (media::isOneText(vr) || text.find('\\') == std::string::npos) {
        return valueOf(text, vr);
    }
    py::list values;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\\', start), text.size());
        values.append(valueOf(std::string_view(text).substr(start, end - start), vr));
        start = end + 1;
    }
    return values;
}

py::object valueOf(const Element& element);

/// The name of a private attribute is its creator's, and several may have it.
std::string nameOf(const Element& element) {
    return element.isPrivate() ? media::numberOf(element) : media::keyOf(element);
}

py::dict itemOf(const std::vector<Element>& elements) {
    py::dict item;
    for (const Element& element : elements) {
        item[py::str(nameOf(element))] = valueOf(element);
    }
    return item;
}

py::object valueOf(const Element& element) {
    if (element.isSequence()) {
        py::list items;
        for (const auto& elements : element.items) {
            items.append(itemOf(elements));
        }
        return items;
    }
    if (element.isEmpty) {
        return py::none();
    }
    const bool isBytes = element.isBinary() || !element.bytes.empty();
    return isBytes ? py::object(py::bytes(element.bytes)) : valuesFrom(element.text, element.vr);
}

/// A number of the library, whose integers have a sign in any case.
py::int_ integerOf(vint number, const std::string& vr) {
    return vr == "UL" ? py::int_(static_cast<std::uint32_t>(number)) : py::int_(number);
}

/// A value as the library gives it; nothing if it is of a kind that only the list of elements explains.
std::optional<py::object> valueOf(velmora::NodeView node, const std::string& vr) {
    switch (node.type()) {
    case VType_Integer: return integerOf(node.cell().integer, vr);
    case VType_Real: return py::float_(node.cell().real);
    case VType_UTF8String: {
        // Other texts are in a character set that the library leaves as it is.
        const bool isPlain =
            node.isText() && formats::isValidUtf8(node.text()) && node.text().find('\x1b') == std::string_view::npos;
        return isPlain ? std::optional(valuesFrom(std::string(node.text()), vr)) : std::nullopt;
    }
    case VType_DataStore: {
        py::list values;
        for (const velmora::NodeView each : node.store()) {
            if (each.type() == VType_Integer) {
                values.append(integerOf(each.cell().integer, vr));
            } else if (each.type() == VType_Real) {
                values.append(py::float_(each.cell().real));
            } else {
                return std::nullopt;
            }
        }
        return values;
    }
    default: return std::nullopt;
    }
}

bool matches(const Element& element, const std::string& tag) {
    if (element.keyword == tag && !element.isPrivate()) {
        return true;
    }
    std::array<char, 9> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%04x%04x", unsigned{element.group}, unsigned{element.number});
    return tag == digits.data();
}

void requireNoNull(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw py::value_error("A text with a null character is neither a path nor a tag.");
    }
}

/// A file that Python has open, as often as `count` says: the library keeps one reader for a path.
struct OpenReader {
    std::size_t count = 0;
    std::string state{}; ///< of the file when it was opened
};

/// By path. Used under the host's lock.
std::unordered_map<std::string, OpenReader>& openReaders() {
    static std::unordered_map<std::string, OpenReader> all;
    return all;
}

/// Changes when the file is written again: who opens it then must not get what another reader of the path keeps. A
/// reader that is not counted is that of a direct call, and may be older still.
std::string stateOf(const std::string& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return "";
    }
    return std::to_string(found.st_dev) + ' ' + std::to_string(found.st_ino) + ' ' + std::to_string(found.st_size) +
           ' ' + std::to_string(found.st_mtim.tv_sec) + ' ' + std::to_string(found.st_mtim.tv_nsec);
}

/// What the library gives for a keyword, with its representation.
struct LibraryAnswer {
    Value found{};
    std::string vr{};
};

/// Whether the library gives the attribute as it is in the file. Private names are those of whoever came first, the
/// character set is the one after the conversion of texts, and what describes the pixels the one after their decoding.
bool isOfTheFile(const formats::Dictionary::Tag& tag) {
    const bool describesPixels =
        tag.group == 0x0028 && (tag.element < 0x0010 || (tag.element >= 0x0100 && tag.element < 0x0110));
    const bool isCharacterSet = tag.group == 0x0008 && tag.element == 0x0005;
    return tag.group % 2 == 0 && tag.group != 2 && !describesPixels && !isCharacterSet;
}

/// The representation of a keyword whose values the library gives; empty for any other. The dictionary is the same
/// all the time, so answers are kept. Runs under the host's lock.
const std::string& representationOf(Host& host, const std::string& keyword) {
    static std::unordered_map<std::string, std::string> known;
    constexpr std::size_t kMost = 10000;
    if (known.size() > kMost) { // words that are no keywords
        known.clear();
    }
    const auto [entry, isNew] = known.try_emplace(keyword);
    if (isNew) {
        formats::Dictionary dictionary(host);
        const std::string& vr = dictionary.vrOf(keyword);
        if (std::ranges::find(kFromLibrary, vr) != kFromLibrary.end() && isOfTheFile(dictionary.tagOf(keyword))) {
            entry->second = vr;
        }
    }
    return entry->second;
}

LibraryAnswer askLibrary(Host& host, const std::string& path, const std::string& keyword) {
    const std::string& vr = representationOf(host, keyword);
    const bool isMedium = path.ends_with("DICOMDIR") || path.ends_with("dicomdir"); // the library opens it otherwise
    if (vr.empty() || isMedium) {
        return {};
    }
    return {host.call("ReadMetadata", {path, Store::ofTexts({keyword}), false}), vr};
}

/// @throws UsageError  the file has no such frames
volume::FrameSpan requireFrames(vint first, vint count, vint available) {
    const volume::FrameSpan frames{first, count == 0 ? available - first : count};
    if (first < 0 || frames.count < 1 || frames.count > available - first) {
        throw UsageError("Frame " + std::to_string(first) + " is not in the file: it has " +
                         formats::counted(static_cast<std::size_t>(available), "frame", "frames") +
                         ", counted from 0.");
    }
    return frames;
}

/// Refuses colour, of which one channel would come. @throws LibraryError
void requireGrey(Host& host, const std::string& path) {
    const Value found = host.call("ReadMetadata", {path, Store::ofTexts({"SamplesPerPixel"}), false});
    if (found.get<Store>().view().integer("SamplesPerPixel").value_or(1) > 1) {
        throw velmora::LibraryError(0, "RawPixelReadError",
                                    path + " is in colour, which has no modality values; image() gives its colours.");
    }
}

/// The unit that all frames have in their functional groups; empty if there is none.
std::string unitOfFrames(Host& host, const std::string& path) {
    constexpr vint kMost = 1 << 16; // a file may promise more frames than memory holds
    const volume::FileMetadata metadata(host, path);
    if (metadata.promisedFrames() > kMost) {
        return "";
    }
    const auto slices = metadata.slices(metadata.promisedFrames());
    const bool isOne = std::ranges::all_of(
        slices, [&](const volume::SliceRecord& slice) { return slice.unit == slices.front().unit; });
    return slices.empty() || !isOne ? std::string() : slices.front().unit;
}

std::string meaningOf(const volume::PixelMeaning& meaning, bool isRendered, const char* values) {
    formats::Json json{{"values", values}};
    json.update(volume::describeMeaning(meaning, isRendered));
    return formats::dumpJson(json);
}

/// The frames of ReadImageData as one value: one array, or a store of them.
struct Rendered {
    Value frames{};
    volume::PixelMeaning meaning{};
    media::Rendering rendering{};
    std::vector<std::string> doubts{}; ///< about the window
};

} // namespace

void openReader(const std::string& path) {
    requireNoNull(path);
    withFile(path, [&](Host& host) {
        OpenReader& reader = openReaders()[path];
        const std::string state = stateOf(path);
        if (reader.count == 0 || reader.state != state) {
            host.call("CloseReader", {path});
        }
        try {
            host.call("GetFrameCount", {path});
        } catch (...) {
            if (reader.count == 0) {
                openReaders().erase(path);
            }
            throw;
        }
        reader.state = state;
        ++reader.count;
    });
}

void closeReader(const std::string& path) {
    Library::instance().runUntilEnd([&](Host& host) {
        const auto reader = openReaders().find(path);
        if (reader != openReaders().end() && --reader->second.count == 0) {
            openReaders().erase(reader);
            host.call("CloseReader", {path});
        }
    });
}

py::tuple attributeOf(const std::string& path, const std::string& tag) {
    requireNoNull(tag);
    const bool isNumber = tag.size() == 8 && tag.find_first_not_of("0123456789abcdef") == std::string::npos;
    if (!isNumber) {
        LibraryAnswer answer = withFile(path, [&](Host& host) { return askLibrary(host, path, tag); });
        const Lent found(std::move(answer.found));
        if (found.value().is<Store>()) {
            for (const velmora::NodeView node : found.value().get<Store>()) {
                if (const auto value = valueOf(node, answer.vr)) {
                    return py::make_tuple(true, *value);
                }
            }
        }
    }
    const auto isWanted = [&](const Element& element) { return matches(element, tag); };
    const auto mayBeInside = [&](const Element& element) { return element.group != kPixelGroup || isWanted(element); };
    const auto elements = withFile(path, [&](Host& /*host*/) {
        return media::listElements(path, {.values = media::ElementValues::Text, .wants = mayBeInside, .binary = true});
    });
    const auto found = std::ranges::find_if(elements, isWanted);
    return found == elements.end() ? py::make_tuple(false, py::none()) : py::make_tuple(true, valueOf(*found));
}

py::dict attributesOf(const std::string& path) {
    const auto isNoPixel = [](const Element& element) { return element.group != kPixelGroup; };
    auto elements = withFile(path, [&](Host& /*host*/) {
        return media::listElements(path, {.values = media::ElementValues::Text, .wants = isNoPixel, .binary = true});
    });
    std::erase_if(elements, [&](const Element& element) { return !isNoPixel(element); });
    return itemOf(elements);
}

py::dict representationsOf(const std::string& path) {
    const auto elements = withFile(path, [&](Host& /*host*/) { return media::listElements(path, {}); });
    py::dict representations;
    for (const Element& element : elements) {
        representations[py::str(nameOf(element))] = py::str(element.vr);
    }
    return representations;
}

py::tuple valuesOf(const std::string& path, vint first, vint count) {
    volume::PixelMeaning meaning;
    auto values = withFile(path, [&](Host& host) {
        requireGrey(host, path);
        meaning = volume::readPixelMeaning(host, path);
        meaning.unit = meaning.unit.empty() ? unitOfFrames(host, path) : meaning.unit;
        return volume::readModalityArray(host, path, path,
                                         [&](vint available) { return requireFrames(first, count, available); });
    });
    const Lent owner(std::move(values.owner));
    const std::string json = meaningOf(meaning, false, "modality");
    if (owner.value().is<velmora::Null>()) { // rescaled here: the vector lives as long as the array
        loadNumpy();
        auto kept = std::make_unique<std::vector<double>>(std::move(values.rescaled));
        const double* const data = kept->data();
        const py::capsule capsule(kept.get(), [](void* held) { delete static_cast<std::vector<double>*>(held); });
        (void)kept.release();
        return py::make_tuple(
            py::array_t<double>(std::vector<py::ssize_t>(values.shape.begin(), values.shape.end()), data, capsule),
            json);
    }
    const std::byte* const data = values.bytes.data();
    return py::make_tuple(arrayOf(owner, values.type, values.shape, data, true), json);
}

py::tuple pictureOf(const std::string& path, vint first, vint count, const std::string& request) {
    const media::Rendering wanted = renderingFrom(formats::parseJson(request));
    bool isSeveral = false;
    Rendered rendered = withFile(path, [&](Host& host) {
        Rendered result{.meaning = volume::readPixelMeaning(host, path)};
        volume::requireAllFrames(path, static_cast<std::size_t>(result.meaning.frames));
        const volume::FrameSpan frames = requireFrames(first, count, result.meaning.frames);
        result.rendering = volume::renderingOf(host, path, path, wanted, frames);
        isSeveral = frames.count > 1;
        const auto arguments = [&](vint frameCount) -> std::vector<Value> {
            return {path,
                    first,
                    frameCount,
                    result.rendering.scalingTensor(),
                    result.rendering.hasOverlays,
                    media::kImageFlags};
        };
        // What cannot be rendered is an error here; the image of several frames would silently be one of stored values.
        result.frames = host.call("ReadImageData", arguments(1));
        if (isSeveral) {
            result.frames = host.call("ReadImage", arguments(frames.count));
        }
        result.doubts = volume::doubtsAbout(host, path, path, wanted);
        return result;
    });
    const py::object frames = toPython(std::move(rendered.frames));
    formats::Json json{{"values", "rendered"}};
    json.update(volume::describeMeaning(rendered.meaning, true));
    if (rendered.rendering.window) {
        const media::Window& used = rendered.rendering.given ? *rendered.rendering.given : *rendered.rendering.window;
        json["window"] = {used.width, used.center};
    }
    json["doubts"] = rendered.doubts;
    const std::string text = formats::dumpJson(json);
    return py::make_tuple(isSeveral ? frames : py::object(frames[py::int_(0)]), text);
}

} // namespace radvex::python

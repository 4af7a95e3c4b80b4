#include "cli/tags/FileAttributes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "cli/arguments/Words.h"
#include "formats/json/Text.h"
#include "media/WrittenTexts.h"

namespace radvex::cli {

using media::Element;
using velmora::NodeView;
using velmora::Store;
using velmora::StoreView;
using velmora::Value;

namespace {

const char* const kCharacterSet = "SpecificCharacterSet";
constexpr char kEscape = '\x1B'; // of a text that was left in its character sets
constexpr std::uint16_t kPixelGroup = 0x7FE0;
/// Each byte becomes a number of several bytes, and files come from strangers.
constexpr std::uint32_t kLongestUnknown = 1U << 24;

std::string keyOf(NodeView node) { return std::string(node.name()); }

bool isSequence(NodeView node) {
    return node.isStore() && (node.store().size() == 0 || (*node.store().begin()).isStore());
}

std::string hexadecimal(std::uint16_t number) {
    char text[8];
    std::snprintf(text, sizeof text, "%04X", unsigned{number});
    return text;
}

/// Whether the library gives no value of this representation, and it is short enough to be listed with all others.
bool isUnknownToLibrary(const Element& element) {
    static constexpr std::array<std::string_view, 8> kUnknown{"AT", "OD", "OF", "OL", "OV", "SV", "UN", "UV"};
    return element.group != kPixelGroup && element.length <= kLongestUnknown &&
           std::ranges::find(kUnknown, element.vr) != kUnknown.end();
}

/// The values of a text of numbers with backslashes between them.
template <typename Number, typename Convert>
Value numbers(const std::string& text, Convert convert) {
    std::vector<Value> values;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\\', start), text.size());
        values.emplace_back(convert(parseNumber<Number>(text.substr(start, end - start)).value_or(Number{})));
        start = end + 1;
    }
    return values.size() == 1 ? values.front() : Value(Store::of(std::move(values)));
}

/// Bytes, or words of two bytes.
Value integersOf(const Element& element) {
    const std::size_t size = element.vr == "OW" ? 2 : 1;
    std::vector<vint> integers;
    for (std::size_t index = 0; index + size <= element.bytes.size(); index += size) {
        const auto low = static_cast<unsigned char>(element.bytes[index]);
        const auto high = size == 2 ? static_cast<unsigned char>(element.bytes[index + 1]) : 0U;
        integers.push_back(static_cast<vint>(low | high << 8U));
    }
    const auto count = static_cast<vint>(integers.size());
    return velmora::Tensor({count}, integers);
}

template <typename Number>
std::vector<Number> numbersIn(const std::string& bytes) {
    std::vector<Number> all(bytes.size() / sizeof(Number));
    std::memcpy(all.data(), bytes.data(), all.size() * sizeof(Number));
    return all;
}

template <typename Number>
Value realsOf(const Element& element) {
    std::vector<Value> reals;
    for (const Number number : numbersIn<Number>(element.bytes)) {
        reals.emplace_back(static_cast<double>(number));
    }
    return Store::of(std::move(reals));
}

/// Numbers that the library's integers cannot hold, as text.
template <typename Number>
Value decimalsOf(const Element& element) {
    std::string text;
    for (const Number number : numbersIn<Number>(element.bytes)) {
        text += (text.empty() ? "" : "\\") + std::to_string(number);
    }
    return text;
}

Value binaryOf(const Element& element) {
    return element.vr == "OF"   ? realsOf<float>(element)
           : element.vr == "OD" ? realsOf<double>(element)
           : element.vr == "OL" ? decimalsOf<std::uint32_t>(element)
           : element.vr == "OV" ? decimalsOf<std::uint64_t>(element)
                                : integersOf(element);
}

Value valueOf(const Element& element) {
    const auto asInteger = [](std::int64_t number) { return static_cast<vint>(number); };
    const auto asReal = [](double number) { return number; };
    if (element.isBinary()) {
        return binaryOf(element);
    }
    if (element.vr == "US" || element.vr == "UL" || element.vr == "SS" || element.vr == "SL") {
        return numbers<std::int64_t>(element.text, asInteger);
    }
    if (element.vr == "FL" || element.vr == "FD") {
        return numbers<double>(element.text, asReal);
    }
    return element.text;
}

Value itemsOf(const Element& element) {
    Store items = Store::empty();
    for (const auto& elements : element.items) {
        Store item = Store::empty();
        for (const Element& inner : elements) {
            if (!inner.isEmpty) {
                const std::string key = media::keyOf(inner);
                item.add(key, inner.isSequence() ? itemsOf(inner) : valueOf(inner));
            }
        }
        items.add("", std::move(item));
    }
    return items;
}

/// Finds the elements of nodes: of several with one key, each is found once.
class ElementsByKey {
  public:
    explicit ElementsByKey(const std::vector<Element>& elements) {
        for (std::size_t index = elements.size(); index-- > 0;) {
            mIndices[media::keyOf(elements[index])].push_back(index);
        }
    }

    std::optional<std::size_t> take(const std::string& key) {
        const auto found = mIndices.find(key);
        if (found == mIndices.end() || found->second.empty()) {
            return std::nullopt;
        }
        const std::size_t index = found->second.back();
        found->second.pop_back();
        return index;
    }

  private:
    std::unordered_map<std::string, std::vector<std::size_t>> mIndices{};
};

} // namespace

Store storeOf(const Element& element, const std::string& key) {
    Store store = Store::empty();
    if (element.isSequence()) {
        store.add(key, itemsOf(element));
    } else if (!element.isEmpty) {
        store.add(key, valueOf(element));
    }
    return store;
}

std::string labelOf(const Element& element) {
    if (!element.isPrivate() && !element.keyword.empty()) {
        return element.keyword;
    }
    return hexadecimal(element.group) + "," + hexadecimal(element.number) +
           (element.creator.empty() ? "" : " " + element.creator);
}

FileAttributes::FileAttributes(velmora::Host& host, std::string path, const AttributeChoice& choice)
    : mHost(host),
      mDictionary(host),
      mPath(std::move(path)),
      mChoice(choice),
      mExcluded(choice.excluded.begin(), choice.excluded.end()),
      mIsThere(choice.paths.size()) {
    choice.paths.empty() ? showAll() : showChosen();
    if (choice.replacesBytes) {
        replaceBytes();
    }
    mHost.call("CloseReader", {mPath});
}

const FileAttributes::Elements& FileAttributes::elements() {
    if (!mElements) {
        const auto isAskedFor = [this](const Element& element) {
            return std::ranges::any_of(mChoice.paths,
                                       [&](const TagPath& path) { return matches(path.last(), element); });
        };
        // The library reads pixels, and their bytes are many.
        const auto isWanted = [&](const Element& element) {
            return mChoice.paths.empty() ? isUnknownToLibrary(element)
                                         : element.group != kPixelGroup || isAskedFor(element);
        };
        mElements =
            media::listElements(mPath, {.values = media::ElementValues::Text, .wants = isWanted, .binary = true});
    }
    return *mElements;
}

void FileAttributes::showAll() {
    mStores.push_back(
        std::get<Store>(mHost.call("ReadAllMetadata", {mPath, Store::ofTexts(mChoice.excluded), mChoice.validate})));
    mShown = merged(mStores.back().view(), elements());
}

void FileAttributes::showChosen() {
    for (std::size_t index = 0; index < mChoice.paths.size(); ++index) {
        const TagPath& path = mChoice.paths[index];
        const bool isShown = path.isInDataset() && showFromLibrary(path);
        mIsThere[index] = isShown || showElements(findElements(elements(), path), path.isInDataset());
    }
}

bool FileAttributes::showFromLibrary(const TagPath& path) {
    const TagStep& tag = path.last();
    if (path.keyword.empty()) {
        const Value texts = Store::ofTexts({hexadecimal(tag.group), hexadecimal(tag.number)});
        mStores.push_back(std::get<Store>(mHost.call("ReadMetadataIntTags", {mPath, Store::of({texts})})));
    } else {
        mStores.push_back(
            std::get<Store>(mHost.call("ReadMetadata", {mPath, Store::ofTexts({path.keyword}), mChoice.validate})));
    }
    const StoreView nodes = mStores.back().view();
    for (const NodeView node : nodes) {
        const bool needsElement = isSequence(node) || tag.group % 2 != 0 || mDictionary.vrOf(keyOf(node)) == "UN";
        const auto found = needsElement ? findElements(elements(), path) : std::vector<FoundElement>{};
        mShown.push_back(found.empty() ? describe(node) : describe(node, *found.front().element));
    }
    return nodes.size() > 0;
}

bool FileAttributes::showElements(const std::vector<FoundElement>& found, bool libraryHasNone) {
    for (const FoundElement& each : found) {
        const Element& element = *each.element;
        if (libraryHasNone && mChoice.validate && !element.isEmpty) {
            continue; // left out because it does not fit its value representation
        }
        mShown.push_back(describe(element));
        mShown.back().key = each.key;
        mShown.back().label = found.size() > 1 || each.key.find('[') != std::string::npos ? each.key : labelOf(element);
    }
    return !found.empty();
}

ShownAttribute FileAttributes::describe(const Element& element) {
    if (element.isEmpty) {
        return {.key = media::keyOf(element), .label = labelOf(element), .vr = element.vr};
    }
    mStores.push_back(storeOf(element, media::keyOf(element)));
    return describe(*mStores.back().begin(), element);
}

ShownAttribute FileAttributes::describe(NodeView node) {
    const std::string key = keyOf(node);
    return {.key = key, .label = key, .vr = mDictionary.vrOf(key), .node = node};
}

ShownAttribute FileAttributes::describe(NodeView node, const Element& element) {
    ShownAttribute shown{.key = keyOf(node), .label = labelOf(element), .vr = element.vr, .node = node};
    if (!element.isSequence()) {
        return shown;
    }
    std::size_t index = 0;
    for (const NodeView item : node.store()) {
        const Elements none;
        shown.items.push_back(merged(item.store(), index < element.items.size() ? element.items[index] : none));
        ++index;
    }
    return shown;
}

std::vector<ShownAttribute> FileAttributes::merged(StoreView nodes, const Elements& elements) {
    ElementsByKey unused(elements);
    std::vector<ShownAttribute> withValues;
    Places places(elements.size());
    for (const NodeView node : nodes) {
        const auto index = unused.take(keyOf(node));
        if (index) {
            places[*index] = withValues.size();
        }
        withValues.push_back(index ? describe(node, elements[*index]) : describe(node));
    }
    const auto missing = missingBehind(elements, places, withValues.size());
    std::vector<ShownAttribute> all;
    for (std::size_t place = 0; place < missing.size(); ++place) {
        if (place > 0) {
            all.push_back(std::move(withValues[place - 1]));
        }
        for (const std::size_t index : missing[place]) {
            all.push_back(describe(elements[index]));
        }
    }
    return all;
}

std::vector<std::vector<std::size_t>> FileAttributes::missingBehind(const Elements& elements, const Places& places,
                                                                    std::size_t count) const {
    std::vector<std::vector<std::size_t>> missing(count + 1);
    std::size_t place = 0;
    for (std::size_t index = 0; index < elements.size(); ++index) {
        if (places[index]) {
            place = *places[index] + 1;
        } else if (isMissing(elements[index])) {
            missing[place].push_back(index);
        }
    }
    return missing;
}

bool FileAttributes::isMissing(const Element& element) const {
    return (element.isEmpty || (isUnknownToLibrary(element) && !mChoice.validate)) &&
           !mExcluded.contains(media::keyOf(element));
}

void FileAttributes::replaceBytes() {
    const Value found = mHost.call("ReadMetadata", {mPath, Store::ofTexts({kCharacterSet}), false});
    const StoreView nodes = std::get<Store>(found).view();
    replaceBytes(mShown, nodes.size() > 0 ? std::string((*nodes.begin()).text()) : "");
}

/// @param outerSet  the character set of what is around them; the library leaves it as it is where it leaves texts
void FileAttributes::replaceBytes(std::vector<ShownAttribute>& attributes, const std::string& outerSet) {
    const auto own = std::ranges::find(attributes, kCharacterSet, &ShownAttribute::key);
    const bool hasOwn = own != attributes.end() && own->node && own->node->isText();
    const std::string characterSet = hasOwn ? std::string(own->node->text()) : outerSet;
    for (ShownAttribute& attribute : attributes) {
        for (auto& item : attribute.items) {
            replaceBytes(item, characterSet);
        }
        const std::string bytes(attribute.node && attribute.node->isText() ? attribute.node->text() : "");
        if (!formats::isValidUtf8(bytes) || bytes.find(kEscape) != std::string::npos) {
            mStores.push_back(Store::empty());
            mStores.back().add(keyOf(*attribute.node), media::withReplacements(bytes, attribute.vr, characterSet));
            attribute.node = *mStores.back().view().begin();
        }
    }
}

} // namespace radvex::cli

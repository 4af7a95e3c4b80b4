#include "formats/json/Attributes.h"

#include <algorithm>

#include "files/Errors.h"
#include "files/OutputFile.h"
#include "formats/json/Text.h"
#include "host/Host.h"

namespace radvex::formats {

using velmora::Store;

namespace {

const char* const kCharacterSet = "SpecificCharacterSet";
const char* const kUtf8 = "ISO_IR 192";

/// Visits every attribute in the order in which the library takes them, the last of a list first, until `isFound`.
template <typename Predicate>
const Attribute* findIf(const Attributes& attributes, Predicate isFound) {
    std::vector<const Attribute*> pending;
    const auto add = [&](const Attributes& list) {
        for (const Attribute& attribute : list) {
            pending.push_back(&attribute);
        }
    };
    add(attributes);
    while (!pending.empty()) {
        const Attribute& attribute = *pending.back();
        pending.pop_back();
        if (isFound(attribute)) {
            return &attribute;
        }
        for (const Attributes& item : attribute.items) {
            add(item);
        }
    }
    return nullptr;
}

/// Template of a registered message; empty when there is none of that name.
std::string messageTemplate(const velmora::Host& host, const std::string& name) {
    for (const auto& registered : host.errors()) {
        if (registered.name == name) {
            return registered.message;
        }
    }
    return {};
}

} // namespace

Store toStore(const Attributes& attributes) {
    Store store = Store::empty();
    for (const Attribute& attribute : attributes) {
        if (!attribute.isSequence) {
            store.add(attribute.keyword, attribute.value);
            continue;
        }
        Store items = Store::empty();
        for (const Attributes& item : attribute.items) {
            items.add("", toStore(item));
        }
        store.add(attribute.keyword, std::move(items));
    }
    return store;
}

const Attribute* findRefused(const Attributes& attributes, const velmora::LibraryError& error, velmora::Host& host,
                             Dictionary& dictionary) {
    if (error.name() == "SequenceTagVRError") { // names no keyword
        return findIf(attributes, [&](const Attribute& attribute) {
            return attribute.isSequence && dictionary.vrOf(attribute.keyword) != "SQ";
        });
    }
    if (error.name() != "ReservedTagError" && error.name() != "InvalidTagName" && error.name() != "InvalidTagValue") {
        return nullptr;
    }
    const std::string wanted = messageTemplate(host, error.name());
    return findIf(attributes, [&](const Attribute& attribute) {
        return velmora::fillMessage(wanted, {attribute.keyword, attribute.value}) == error.what();
    });
}

bool hasWideText(const Attributes& attributes) {
    const auto isWide = [](const Attribute& each) { return !isAscii(each.value) && isValidUtf8(each.value); };
    return findIf(attributes, isWide) != nullptr;
}

void addUtf8CharacterSet(Attributes& attributes) {
    const Attribute* other = findIf(attributes, [](const Attribute& attribute) {
        return attribute.keyword == kCharacterSet && attribute.value != kUtf8;
    });
    if (other != nullptr) {
        throw FileError(other->place + ": there is text beyond ASCII, which is written as UTF-8; SpecificCharacterSet "
                                       "can only be ISO_IR 192 then.");
    }
    if (std::ranges::none_of(attributes, [](const Attribute& each) { return each.keyword == kCharacterSet; })) {
        attributes.push_back({.keyword = kCharacterSet, .place = "The metadata", .value = kUtf8});
    }
}

} // namespace radvex::formats

#include "media/ElementList.h"

#include <array>
#include <cstdio>
#include <stdexcept>

#include "files/Errors.h"
#include "media/DatasetsModule.h"

namespace radvex::media {

std::vector<Element> listElements(const std::string& path, const ElementRequest& request) {
    void* const entry = datasetsEntry(kListElementsEntry, "The attributes of files cannot be listed");
    try {
        std::vector<Element> elements;
        reinterpret_cast<ListElementsEntry>(entry)(path, request, elements);
        return elements;
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
}

std::string keyOf(const Element& element) { return element.keyword.empty() ? numberOf(element) : element.keyword; }

std::string numberOf(const Element& element) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%04x_%04x", unsigned{element.group}, unsigned{element.number});
    return text.data();
}

const std::vector<KnownAttribute>& knownAttributes() {
    static const std::vector<KnownAttribute> known = [] {
        std::vector<KnownAttribute> attributes;
        void* const entry = datasetsEntry(kListAttributesEntry, "The names of attributes cannot be looked up");
        reinterpret_cast<ListAttributesEntry>(entry)(attributes);
        return attributes;
    }();
    return known;
}

} // namespace radvex::media

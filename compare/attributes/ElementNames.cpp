#include "compare/attributes/ElementNames.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <tuple>

#include "dcmtk/dcmdata/dctag.h"
#include "deidentify/rewriting/DatasetWalk.h"

namespace radvex::compare {

namespace {

std::string formatted(const char* format, unsigned group, unsigned element) {
    char text[16];
    std::snprintf(text, sizeof text, format, group, element);
    return text;
}

/// The private creator that reserved the block of an element; empty if there is none.
std::string creatorOf(DcmItem& item, const DcmTagKey& key) {
    OFString creator;
    const DcmTagKey reservation(key.getGroup(), static_cast<Uint16>(key.getElement() >> 8U));
    (void)item.findAndGetOFString(reservation, creator);
    while (!creator.empty() && creator.back() == ' ') {
        creator.erase(creator.size() - 1);
    }
    return {creator.c_str(), creator.size()};
}

bool isPrivateCreator(const DcmTagKey& key) {
    return key.isPrivate() && key.getElement() >= 0x10 && key.getElement() <= 0xFF;
}

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return text;
}

} // namespace

bool ElementName::isSame(const ElementName& other) const { return !isBefore(other) && !other.isBefore(*this); }

bool ElementName::isBefore(const ElementName& other) const {
    return std::tie(group, creator, element) < std::tie(other.group, other.creator, other.element);
}

ElementName nameOf(DcmItem& item, DcmElement& element) {
    const DcmTagKey& key = element.getTag();
    ElementName name{key.getGroup(), key.getElement(), "", deidentify::nameOf(key),
                     formatted("%04x,%04x", key.getGroup(), key.getElement())};
    if (isPrivateCreator(key)) {
        name.creator = creatorOf(item, DcmTagKey(key.getGroup(), static_cast<Uint16>(key.getElement() << 8U)));
        name.element = 0x0010;
        name.shown = formatted("%04X,00xx", key.getGroup(), 0) + " (private creator)";
    } else if (key.isPrivate() && key.getElement() > 0xFF) {
        name.creator = creatorOf(item, key);
        if (!name.creator.empty()) {
            name.element = key.getElement() & 0xFFU;
            name.block = formatted("%04X,xx%02X", key.getGroup(), name.element);
            name.shown = name.block + " (" + name.creator + ")";
            name.element = static_cast<Uint16>(name.element | 0x1000U); // behind the creator itself
        }
    }
    return name;
}

std::string pathText(const std::vector<Step>& path) {
    std::string text;
    for (const Step& step : path) {
        text += (text.empty() ? "" : ".") + step.name.shown;
        text += step.item == 0 ? "" : '[' + std::to_string(step.item - 1) + ']';
    }
    return text;
}

IgnoredPaths::IgnoredPaths(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        std::vector<Part> path(1);
        bool isItem = false;
        for (const char character : word) {
            if (character == '.') {
                path.emplace_back();
                isItem = false;
            } else if (character == '[') {
                isItem = true;
            } else if (character != ']') {
                (isItem ? path.back().item : path.back().name) += character;
            }
        }
        for (Part& part : path) {
            part.name = part.name.find(',') == std::string::npos ? part.name : lowerCase(part.name);
        }
        mPaths.push_back(std::move(path));
    }
}

bool IgnoredPaths::isLike(const Part& part, const Step& step) {
    const bool isNamed = part.name == step.name.shown || part.name == step.name.number ||
                         (!step.name.block.empty() && part.name == lowerCase(step.name.block));
    return isNamed &&
           (part.item.empty() || part.item == "*" || (step.item > 0 && part.item == std::to_string(step.item - 1)));
}

bool IgnoredPaths::contain(const std::vector<Step>& path) const {
    return std::ranges::any_of(mPaths, [&](const std::vector<Part>& ignored) {
        return ignored.size() <= path.size() && std::equal(ignored.rbegin(), ignored.rend(), path.rbegin(), isLike);
    });
}

} // namespace radvex::compare

#include "bridge/containers/DataList.h"

#include <stdexcept>

namespace GTU {

namespace {

std::string textOf(DataNode<VArgumentType::UTF8String>& node) {
    const char* text = node.getValue();
    if (text == nullptr) {
        throw std::out_of_range("A text of the list is null.");
    }
    return text;
}

} // namespace

std::vector<std::string> asVector(DataList<VArgumentType::UTF8String, Passing::Automatic>& list) {
    std::vector<std::string> texts;
    texts.reserve(list.size());
    for (auto& node : list) {
        texts.push_back(textOf(node));
    }
    return texts;
}

std::vector<std::pair<std::string, std::string>>
asStringPairs(DataList<VArgumentType::DataStore, Passing::Automatic>& list) {
    std::vector<std::pair<std::string, std::string>> pairs;
    pairs.reserve(list.size());
    for (auto& node : list) {
        DataList<VArgumentType::UTF8String, Passing::Manual> inner(node.getValue());
        if (inner.size() < 2) {
            throw std::out_of_range("An inner list has fewer than two texts.");
        }
        auto text = inner.begin();
        std::string first = textOf(*text);
        pairs.emplace_back(std::move(first), textOf(*++text));
    }
    return pairs;
}

} // namespace GTU

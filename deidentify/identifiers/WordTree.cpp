#include "deidentify/identifiers/WordTree.h"

namespace radvex::deidentify {

WordTree::Symbol WordTree::symbolFor(std::string_view word) {
    const auto found = mSymbols.find(word);
    return found != mSymbols.end() ? found->second
                                   : mSymbols.emplace(word, static_cast<Symbol>(mSymbols.size())).first->second;
}

WordTree::Symbol WordTree::symbolOf(std::string_view word) const {
    const auto found = mSymbols.find(word);
    return found == mSymbols.end() ? kNone : found->second;
}

WordTree::Node WordTree::grow(Node node, Symbol symbol) {
    const auto [place, isNew] = mEdges.try_emplace(edge(node, symbol), static_cast<Node>(mNumbers.size()));
    if (isNew) {
        mNumbers.push_back(kNone);
    }
    return place->second;
}

WordTree::Node WordTree::next(Node node, Symbol symbol) const {
    if (symbol == kNone) {
        return kNone;
    }
    const auto found = mEdges.find(edge(node, symbol));
    return found == mEdges.end() ? kNone : found->second;
}

void WordTree::mark(Node node, std::uint32_t number) {
    if (mNumbers[node] == kNone) {
        mNumbers[node] = number;
    }
}

} // namespace radvex::deidentify

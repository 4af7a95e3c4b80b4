#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace radvex::deidentify {

/// Sequences of words, each with a number, for one walk from any word of a text. What a walk takes does not depend on
/// how many sequences there are.
class WordTree {
  public:
    using Symbol = std::uint32_t; ///< stands for a word
    using Node = std::uint32_t;   ///< stands for the words so far
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    /// @param roots  how many trees to begin; their nodes are 0, 1, ...
    explicit WordTree(std::uint32_t roots) : mNumbers(roots, kNone) {}

    /// The symbol of a word, which is made at the first call.
    Symbol symbolFor(std::string_view word);
    /// The symbol of a word, or `kNone`.
    Symbol symbolOf(std::string_view word) const;

    /// The node of one more word, which is made at the first call.
    Node grow(Node node, Symbol symbol);
    /// The node of one more word, or `kNone`.
    Node next(Node node, Symbol symbol) const;

    /// Gives the sequence that ends at a node a number, when it has none.
    void mark(Node node, std::uint32_t number);
    /// The number of the sequence that ends here, or `kNone`.
    std::uint32_t numberAt(Node node) const { return mNumbers[node]; }

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    static std::uint64_t edge(Node node, Symbol symbol) { return std::uint64_t{node} << 32U | symbol; }

    std::unordered_map<std::string, Symbol, Hash, std::equal_to<>> mSymbols{};
    std::unordered_map<std::uint64_t, Node> mEdges{};
    std::vector<std::uint32_t> mNumbers;
};

} // namespace radvex::deidentify

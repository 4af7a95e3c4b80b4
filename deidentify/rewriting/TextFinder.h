#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace radvex::deidentify {

/// Finds any of many texts in bytes, in time that does not depend on how many there are: the last bytes of each are
/// looked up by a hash that rolls over the bytes.
class TextFinder {
  public:
    /// Shorter texts are not looked for: numbers of a few digits stand everywhere by chance.
    static constexpr std::size_t kShortest = 12;

    struct Find {
        std::size_t begin;
        std::string_view text;
    };

    /// A text of fewer than `kShortest` bytes is left out.
    void add(const std::string& text);
    bool isEmpty() const { return mTexts.empty(); }

    /// Every place at which a text ends, in order; of several that end there the longest.
    std::vector<Find> findAll(std::string_view bytes) const;

    /// Whether a file holds one of the texts. Read in pieces. @throws std::runtime_error  part of a sentence
    bool isIn(const std::string& path) const;

  private:
    using Hash = std::uint64_t;

    static Hash hashOf(const char* bytes);
    const std::string* longestEndingAt(std::string_view bytes, Hash hash) const;
    template <typename Found>
    void scan(std::string_view bytes, Found found) const;

    std::unordered_map<Hash, std::vector<std::string>> mTexts{}; ///< by the hash of the last bytes
    std::vector<bool> mFilter = std::vector<bool>(1U << 20);
    std::size_t mLongest = 0;
};

} // namespace radvex::deidentify

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace radvex::deidentify {

/// Finds any of many texts in bytes. The time does not depend on the number of texts: a hash rolls over the bytes, and
/// texts are looked up by the hash of their last bytes.
class TextFinder {
  public:
    /// Shorter texts are not looked for, because a few digits occur everywhere by chance.
    static constexpr std::size_t kShortest = 12;

    struct Find {
        std::size_t begin; ///< offset in the bytes
        std::string_view text;
    };

    /// Ignores a text of fewer than `kShortest` bytes.
    void add(const std::string& text);
    bool isEmpty() const { return mTexts.empty(); }

    /// Every find, in the order of the ends. Of several texts with the same end: the longest one.
    std::vector<Find> findAll(std::string_view bytes) const;

    /// Whether a file holds one of the texts. The file is read in pieces. @throws std::runtime_error  part of a
    /// sentence
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

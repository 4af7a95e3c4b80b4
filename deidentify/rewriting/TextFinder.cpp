#include "deidentify/rewriting/TextFinder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace radvex::deidentify {

namespace {

constexpr std::uint64_t kBase = 0x9E3779B97F4A7C15ULL; // odd, with well mixed bits

constexpr std::uint64_t power(std::uint64_t base, std::size_t exponent) {
    std::uint64_t result = 1;
    for (std::size_t count = 0; count < exponent; ++count) {
        result *= base;
    }
    return result;
}

std::uint64_t next(std::uint64_t hash, char byte) { return hash * kBase + static_cast<unsigned char>(byte) + 1; }

std::size_t filterIndex(std::uint64_t hash) { return (hash * kBase) >> 44; }

class Descriptor {
  public:
    explicit Descriptor(const std::string& path) : mNumber(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (mNumber >= 0) {
            close(mNumber);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ssize_t readInto(char* bytes, std::size_t count) const { return mNumber < 0 ? -1 : read(mNumber, bytes, count); }

  private:
    int mNumber;
};

} // namespace

TextFinder::Hash TextFinder::hashOf(const char* bytes) {
    Hash hash = 0;
    for (std::size_t index = 0; index < kShortest; ++index) {
        hash = next(hash, bytes[index]);
    }
    return hash;
}

void TextFinder::add(const std::string& text) {
    if (text.size() < kShortest) {
        return;
    }
    const Hash hash = hashOf(text.data() + text.size() - kShortest);
    std::vector<std::string>& texts = mTexts[hash];
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) {
        const auto isNoLonger = [&](const std::string& other) { return other.size() <= text.size(); };
        texts.insert(std::find_if(texts.begin(), texts.end(), isNoLonger), text); // the longest first
        mFilter[filterIndex(hash)] = true;
        mLongest = std::max(mLongest, text.size());
    }
}

const std::string* TextFinder::longestEndingAt(std::string_view bytes, Hash hash) const {
    const auto texts = mTexts.find(hash);
    if (texts == mTexts.end()) {
        return nullptr;
    }
    const auto match = std::find_if(texts->second.begin(), texts->second.end(),
                                    [&](const std::string& text) { return bytes.ends_with(text); });
    return match == texts->second.end() ? nullptr : &*match;
}

/// @param found  called with the end of a text and the text; returns false to stop the scan
template <typename Found>
void TextFinder::scan(std::string_view bytes, Found found) const {
    constexpr std::uint64_t kLeaving = power(kBase, kShortest);
    Hash hash = 0;
    for (std::size_t end = 1; end <= bytes.size(); ++end) {
        hash = next(hash, bytes[end - 1]);
        if (end > kShortest) {
            hash -= kLeaving * (static_cast<unsigned char>(bytes[end - 1 - kShortest]) + 1ULL);
        }
        if (end >= kShortest && mFilter[filterIndex(hash)]) {
            const std::string* text = longestEndingAt(bytes.substr(0, end), hash);
            if (text != nullptr && !found(end, *text)) {
                return;
            }
        }
    }
}

std::vector<TextFinder::Find> TextFinder::findAll(std::string_view bytes) const {
    std::vector<Find> finds;
    scan(bytes, [&](std::size_t end, const std::string& text) {
        finds.push_back({end - text.size(), text});
        return true;
    });
    return finds;
}

bool TextFinder::isIn(const std::string& path) const {
    if (isEmpty()) {
        return false;
    }
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    const Descriptor file(path);
    std::string bytes(mLongest + kPiece, '\0');
    std::size_t kept = 0; // bytes of the piece before, in which a text may begin
    for (bool isFound = false;;) {
        const ssize_t count = file.readInto(bytes.data() + kept, kPiece);
        if (count < 0) {
            throw std::runtime_error("it cannot be read: " + std::generic_category().message(errno));
        }
        if (count == 0) {
            return false;
        }
        const std::size_t held = kept + static_cast<std::size_t>(count);
        scan(std::string_view(bytes).substr(0, held), [&](std::size_t, const std::string&) {
            isFound = true;
            return false;
        });
        if (isFound) {
            return true;
        }
        kept = std::min(held, mLongest - 1);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(held - kept), kept, bytes.begin());
    }
}

} // namespace radvex::deidentify

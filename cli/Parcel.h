#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace radvex::cli {

// Values on their way between processes of this program, which all know in which order they come.

class ParcelWriter {
  public:
    template <typename T>
    void put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        const auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
        mBytes.append(bytes.data(), bytes.size());
    }
    void putText(std::string_view text) {
        put(text.size());
        mBytes += text;
    }
    void putTexts(const std::vector<std::string>& texts) {
        put(texts.size());
        for (const std::string& text : texts) {
            putText(text);
        }
    }

    std::string take() { return std::move(mBytes); }

  private:
    std::string mBytes{};
};

class ParcelReader {
  public:
    /// @param bytes  must stay while this object is used
    explicit ParcelReader(std::string_view bytes) : mBytes(bytes) {}

    /// @throws std::runtime_error  that much is not there
    template <typename T>
    T get() {
        static_assert(std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>);
        std::array<char, sizeof(T)> bytes{};
        std::memcpy(bytes.data(), next(sizeof(T)).data(), sizeof(T));
        return std::bit_cast<T>(bytes);
    }
    bool isEmpty() const { return mBytes.empty(); }
    std::string getText() { return std::string(next(get<std::size_t>())); }
    std::vector<std::string> getTexts() {
        std::vector<std::string> texts;
        for (auto count = get<std::size_t>(); count > 0; --count) {
            texts.push_back(getText());
        }
        return texts;
    }

  private:
    std::string_view next(std::size_t size) {
        if (size > mBytes.size()) {
            throw std::runtime_error("A process sent less than was expected.");
        }
        const std::string_view part = mBytes.substr(0, size);
        mBytes.remove_prefix(size);
        return part;
    }

    std::string_view mBytes;
};

} // namespace radvex::cli

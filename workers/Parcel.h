#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

namespace radvex::workers {

// Serialises values for other processes of this program. A class lists its fields once, for both directions:
//
//     template <typename Self> static auto fields(Self& self) { return std::tie(self.rows, self.name); }
//
// Fields are plain values, strings, pairs, containers of these, and classes with fields.

namespace detail {

template <typename T>
concept HasFields = requires(T& value) {
    T::fields(value);
};

template <typename T>
concept IsPlain = std::is_trivially_copyable_v<T> && !std::is_pointer_v<T> && !HasFields<T>;

template <typename T>
concept IsPair = requires(T& value) {
    value.first;
    value.second;
};

class Writer {
  public:
    template <typename T>
    void put(const T& value) {
        if constexpr (HasFields<const T> || HasFields<T>) {
            std::apply([this](const auto&... field) { (this->put(field), ...); }, T::fields(value));
        } else if constexpr (IsPlain<T>) {
            const auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
            mBytes.append(bytes.data(), bytes.size());
        } else if constexpr (std::is_same_v<T, std::string>) {
            put(value.size());
            mBytes += value;
        } else if constexpr (IsPair<T>) {
            put(value.first);
            put(value.second);
        } else {
            put(value.size());
            for (const auto& element : value) {
                put(element);
            }
        }
    }

    std::string take() { return std::move(mBytes); }

  private:
    std::string mBytes{};
};

class Reader {
  public:
    explicit Reader(std::string_view bytes) : mBytes(bytes) {}

    template <typename T>
    void get(T& value) {
        if constexpr (HasFields<T>) {
            std::apply([this](auto&... field) { (this->get(field), ...); }, T::fields(value));
        } else if constexpr (IsPlain<T>) {
            std::array<char, sizeof(T)> bytes{};
            std::memcpy(bytes.data(), next(sizeof(T)).data(), sizeof(T));
            value = std::bit_cast<T>(bytes);
        } else if constexpr (std::is_same_v<T, std::string>) {
            std::size_t size = 0;
            get(size);
            value = next(size);
        } else {
            getElements(value);
        }
    }

  private:
    template <typename Container>
    void getElements(Container& container) {
        std::size_t count = 0;
        for (get(count); count > 0; --count) {
            if constexpr (requires { typename Container::mapped_type; }) {
                std::pair<typename Container::key_type, typename Container::mapped_type> element;
                get(element.first);
                get(element.second);
                container.insert(container.end(), std::move(element));
            } else {
                typename Container::value_type element{};
                get(element);
                container.insert(container.end(), std::move(element));
            }
        }
    }

    std::string_view next(std::size_t size) {
        if (size > mBytes.size()) {
            throw std::runtime_error("A process sent less than expected.");
        }
        const std::string_view part = mBytes.substr(0, size);
        mBytes.remove_prefix(size);
        return part;
    }

    std::string_view mBytes;
};

} // namespace detail

template <typename T>
std::string toParcel(const T& value) {
    detail::Writer writer;
    writer.put(value);
    return writer.take();
}

/// @throws std::runtime_error  there are too few bytes for the value
template <typename T>
T fromParcel(std::string_view bytes) {
    T value{};
    detail::Reader reader(bytes);
    reader.get(value);
    return value;
}

} // namespace radvex::workers

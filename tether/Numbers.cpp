// Numbers, lists and arrays of numbers.

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "tether/Link.h"

using tether::guarded;
using tether::Token;
using tether::TokenQueue;

namespace {

const std::string kList = "List";

template <typename T>
Token numberToken(T value) {
    Token token;
    if constexpr (std::is_integral_v<T>) {
        token.kind = Token::Kind::integer;
        token.integer = value;
    } else {
        token.kind = Token::Kind::real;
        token.real = value;
    }
    return token;
}

template <typename T>
int numberOf(const Token& token, T& value) {
    if constexpr (std::is_integral_v<T>) {
        if (token.kind != Token::Kind::integer) {
            return TTE_TYPE;
        }
        if (token.integer < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
            token.integer > static_cast<std::int64_t>(std::numeric_limits<T>::max())) {
            return TTE_RANGE;
        }
        value = static_cast<T>(token.integer);
    } else {
        if (token.kind != Token::Kind::integer && token.kind != Token::Kind::real) {
            return TTE_TYPE;
        }
        const double wide = token.kind == Token::Kind::integer ? static_cast<double>(token.integer) : token.real;
        if (std::abs(wide) > std::numeric_limits<T>::max() && std::abs(wide) <= std::numeric_limits<double>::max()) {
            return TTE_RANGE; // a finite double beyond float
        }
        value = static_cast<T>(wide);
    }
    return TTE_OK;
}

/// Shape of an array on a link: its dimensions, the head of each, and the number of elements.
struct Shape {
    std::vector<int> dimensions{};
    std::vector<std::string> heads{};
    std::size_t elements = 1;
};

/// Finds the shape by following the first element of each level. Does not look at the other elements.
int readShape(const TokenQueue& queue, TokenQueue::Position start, Shape& shape) {
    TokenQueue::Position end = start;
    if (const int error = queue.findExpressionEnd(start, end); error != TTE_OK) {
        return error;
    }
    for (auto position = start; position < end && queue.at(position).kind == Token::Kind::function; ++position) {
        const Token& token = queue.at(position);
        shape.dimensions.push_back(static_cast<int>(token.integer));
        shape.heads.push_back(token.text);
        if (token.integer == 0) {
            shape.elements = 0;
            break;
        }
        // More elements than tokens cannot be rectangular; this also keeps the product from overflowing.
        if (shape.elements > (end - start) / static_cast<std::uint64_t>(token.integer)) {
            return TTE_SHAPE;
        }
        shape.elements *= static_cast<std::size_t>(token.integer);
    }
    return shape.dimensions.empty() ? TTE_TYPE : TTE_OK;
}

/// Reads all numbers of an array and checks that it has the shape. Moves `position` behind the array.
template <typename T>
int readElements(const TokenQueue& queue, TokenQueue::Position& position, const Shape& shape, std::vector<T>& values) {
    std::vector<std::int64_t> missing; // for each open level: how many elements are still to come
    do {
        const std::size_t level = missing.size();
        const Token& token = queue.at(position++);
        if (level < shape.dimensions.size()) {
            if (token.kind != Token::Kind::function || token.integer != shape.dimensions[level] ||
                token.text != shape.heads[level]) {
                return TTE_SHAPE;
            }
            if (token.integer > 0) {
                missing.push_back(token.integer);
                continue;
            }
        } else {
            if (token.kind == Token::Kind::function) {
                return TTE_SHAPE; // deeper than the first element
            }
            T value{};
            if (const int error = numberOf(token, value); error != TTE_OK) {
                return error;
            }
            values.push_back(value);
        }
        while (!missing.empty() && --missing.back() == 0) {
            missing.pop_back();
        }
    } while (!missing.empty());
    return TTE_OK;
}

template <typename T>
int putArray(TTLink link, const T* data, const int* dimensions, const char* const* heads, int depth) {
    if (dimensions == nullptr) {
        return TTE_NULL;
    }
    if (depth < 1 || std::any_of(dimensions, dimensions + depth, [](int dimension) { return dimension < 0; })) {
        return TTE_SHAPE;
    }
    // A list of length 0 holds nothing, so the lists of the first dimension of 0 are the leaves.
    const int* const firstZero = std::find(dimensions, dimensions + depth, 0);
    const auto levels = static_cast<std::size_t>(firstZero - dimensions);
    const bool isEmpty = firstZero != dimensions + depth;
    std::vector<std::uint64_t> block(levels + 1, 1); // for each level: leaves below one of its lists
    for (std::size_t level = levels; level-- > 0;) {
        if (__builtin_mul_overflow(block[level + 1], static_cast<std::uint64_t>(dimensions[level]), &block[level])) {
            return TTE_RANGE;
        }
    }
    if (block[0] > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) {
        return TTE_RANGE; // an empty array could claim any number of lists, since it has no data
    }
    if (data == nullptr && !isEmpty) {
        return TTE_NULL;
    }
    const auto headOf = [&](std::size_t level) {
        return heads != nullptr && heads[level] != nullptr ? std::string(heads[level]) : kList;
    };
    for (std::size_t level = 0; level < levels + (isEmpty ? 1 : 0); ++level) {
        if (!tether::isUTF8(headOf(level))) {
            return TTE_ENCODING;
        }
    }
    for (std::uint64_t leaf = 0; leaf < block[0]; ++leaf) {
        for (std::size_t level = 0; level < levels; ++level) {
            if (leaf % block[level] == 0) {
                link->outgoing->write(Token{Token::Kind::function, headOf(level), dimensions[level]});
            }
        }
        link->outgoing->write(isEmpty ? Token{Token::Kind::function, headOf(levels), 0} : numberToken(data[leaf]));
    }
    return TTE_OK;
}

/// A copy of the values for the caller of a get function; null without memory.
template <typename T>
const T* handOut(TTLink link, const std::vector<T>& values) {
    auto* buffer = static_cast<T*>(link->environment->newBuffer(std::max<std::size_t>(1, values.size() * sizeof(T))));
    if (buffer != nullptr) {
        std::copy(values.begin(), values.end(), buffer);
    }
    return buffer;
}

/// A copy of the heads for the caller of a get function: pointers and texts in one buffer, so that one release frees
/// all. Null without memory.
const char* const* handOutHeads(TTLink link, const std::vector<std::string>& heads) {
    std::size_t bytes = heads.size() * sizeof(char*);
    for (const std::string& head : heads) {
        bytes += head.size() + 1;
    }
    auto* pointers = static_cast<char**>(link->environment->newBuffer(bytes));
    if (pointers == nullptr) {
        return nullptr;
    }
    char* text = reinterpret_cast<char*>(pointers + heads.size());
    for (std::size_t level = 0; level < heads.size(); ++level) {
        pointers[level] = text;
        text = std::copy(heads[level].begin(), heads[level].end(), text);
        *text++ = '\0';
    }
    return pointers;
}

/// Hands out the elements of the array at `position` and moves `position` behind it. Does not consume the array, since
/// the caller may still fail.
template <typename T>
int handOutElements(TTLink link, TokenQueue::Position& position, const Shape& shape, const T** data) {
    std::vector<T> values;
    values.reserve(shape.elements);
    if (const int error = readElements(*link->incoming, position, shape, values); error != TTE_OK) {
        return error;
    }
    *data = handOut(link, values);
    return *data == nullptr ? TTE_MEMORY : TTE_OK;
}

template <typename T>
int getNumber(TTLink link, T* value) {
    if (value == nullptr) {
        return TTE_NULL;
    }
    const TokenQueue& queue = *link->incoming;
    const auto position = queue.skipPacketEnds(queue.readPosition());
    const auto kind = position < queue.endPosition() ? queue.at(position).kind : Token::Kind::integer;
    return tether::readToken(link, kind, [&](const Token& token) { return numberOf(token, *value); });
}

template <typename T>
int getList(TTLink link, const T** data, int* length) {
    if (data == nullptr || length == nullptr) {
        return TTE_NULL;
    }
    TokenQueue& queue = *link->incoming;
    auto position = queue.skipPacketEnds(queue.readPosition());
    Shape shape;
    if (const int error = readShape(queue, position, shape); error != TTE_OK) {
        return error;
    }
    if (shape.dimensions.size() != 1 || shape.heads[0] != kList) {
        return shape.heads[0] != kList ? TTE_HEAD : TTE_SHAPE;
    }
    if (const int error = handOutElements(link, position, shape, data); error != TTE_OK) {
        return error;
    }
    *length = shape.dimensions[0];
    queue.readFrom(position);
    return TTE_OK;
}

template <typename T>
int getArray(TTLink link, const T** data, const int** dimensions, const char* const** heads, int* depth) {
    if (data == nullptr || dimensions == nullptr || heads == nullptr || depth == nullptr) {
        return TTE_NULL;
    }
    TokenQueue& queue = *link->incoming;
    auto position = queue.skipPacketEnds(queue.readPosition());
    Shape shape;
    if (const int error = readShape(queue, position, shape); error != TTE_OK) {
        return error;
    }
    if (const int error = handOutElements(link, position, shape, data); error != TTE_OK) {
        return error;
    }
    *dimensions = handOut(link, shape.dimensions);
    *heads = handOutHeads(link, shape.heads);
    *depth = static_cast<int>(shape.dimensions.size());
    if (*dimensions == nullptr || *heads == nullptr) {
        link->environment->releaseBuffer(*data);
        link->environment->releaseBuffer(*dimensions);
        link->environment->releaseBuffer(*heads);
        return TTE_MEMORY;
    }
    queue.readFrom(position);
    return TTE_OK;
}

} // namespace

#define TETHER_NUMBERS(Name, Type)                                                                                     \
    int TTPut##Name(TTLink link, Type value) {                                                                         \
        return guarded(link, __func__, [&] { return link->outgoing->write(numberToken(value)); });                     \
    }                                                                                                                  \
    int TTGet##Name(TTLink link, Type* value) {                                                                        \
        return guarded(link, __func__, [&] { return getNumber(link, value); });                                        \
    }                                                                                                                  \
    int TTPut##Name##List(TTLink link, const Type* data, int length) {                                                 \
        return guarded(link, __func__, [&] { return putArray(link, data, &length, nullptr, 1); });                     \
    }                                                                                                                  \
    int TTGet##Name##List(TTLink link, const Type** data, int* length) {                                               \
        return guarded(link, __func__, [&] { return getList(link, data, length); });                                   \
    }                                                                                                                  \
    void TTRelease##Name##List(TTLink link, const Type* data, int) { tether::release(link, data); }                    \
    int TTPut##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads,             \
                           int depth) {                                                                                \
        return guarded(link, __func__, [&] { return putArray(link, data, dimensions, heads, depth); });                \
    }                                                                                                                  \
    int TTGet##Name##Array(TTLink link, const Type** data, const int** dimensions, const char* const** heads,          \
                           int* depth) {                                                                               \
        return guarded(link, __func__, [&] { return getArray(link, data, dimensions, heads, depth); });                \
    }                                                                                                                  \
    void TTRelease##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads, int) { \
        tether::release(link, data);                                                                                   \
        tether::release(link, dimensions);                                                                             \
        tether::release(link, heads);                                                                                  \
    }

TETHER_NUMBERS(Integer8, unsigned char)
TETHER_NUMBERS(Integer16, short)
TETHER_NUMBERS(Integer32, int)
TETHER_NUMBERS(Integer64, long long)
TETHER_NUMBERS(Real32, float)
TETHER_NUMBERS(Real64, double)

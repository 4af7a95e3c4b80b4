#pragma once

#include <type_traits>
#include <vector>

#include "tests/tether/TetherTest.h"

namespace tether::test {

/// The functions of one type of number, under names that do not depend on it.
#define TETHER_TEST_NUMBER(Name, Element)                                                                              \
    struct Name {                                                                                                      \
        using Type = Element;                                                                                          \
        static int put(TTLink link, Type value) { return TTPut##Name(link, value); }                                   \
        static int get(TTLink link, Type* value) { return TTGet##Name(link, value); }                                  \
        static int putList(TTLink link, const Type* data, int length) {                                                \
            return TTPut##Name##List(link, data, length);                                                              \
        }                                                                                                              \
        static int getList(TTLink link, const Type** data, int* length) {                                              \
            return TTGet##Name##List(link, data, length);                                                              \
        }                                                                                                              \
        static void releaseList(TTLink link, const Type* data, int length) {                                           \
            TTRelease##Name##List(link, data, length);                                                                 \
        }                                                                                                              \
        static int putArray(TTLink link, const Type* data, const int* dimensions, const char* const* heads,            \
                            int depth) {                                                                               \
            return TTPut##Name##Array(link, data, dimensions, heads, depth);                                           \
        }                                                                                                              \
        static int getArray(TTLink link, const Type** data, const int** dimensions, const char* const** heads,         \
                            int* depth) {                                                                              \
            return TTGet##Name##Array(link, data, dimensions, heads, depth);                                           \
        }                                                                                                              \
        static void releaseArray(TTLink link, const Type* data, const int* dimensions, const char* const* heads,       \
                                 int depth) {                                                                          \
            TTRelease##Name##Array(link, data, dimensions, heads, depth);                                              \
        }                                                                                                              \
    };
TETHER_TEST_NUMBER(Integer8, unsigned char)
TETHER_TEST_NUMBER(Integer16, short)
TETHER_TEST_NUMBER(Integer32, int)
TETHER_TEST_NUMBER(Integer64, long long)
TETHER_TEST_NUMBER(Real32, float)
TETHER_TEST_NUMBER(Real64, double)
#undef TETHER_TEST_NUMBER

using NumberTypes = ::testing::Types<Integer8, Integer16, Integer32, Integer64, Real32, Real64>;

/// Reads a number; 77 when it cannot be read, which fails the test.
template <typename Number>
typename Number::Type readNumber(TTLink link) {
    typename Number::Type value{77};
    EXPECT_NE(Number::get(link, &value), 0) << "error " << TTError(link);
    return value;
}

/// What reading an array handed out, copied.
template <typename T>
struct ArrayRead {
    bool isRead = false;
    std::vector<T> elements{};
    std::vector<int> dimensions{};
    std::vector<std::string> heads{};
};

/// Reads an array and releases it.
template <typename Number>
ArrayRead<typename Number::Type> readArray(TTLink link) {
    const typename Number::Type* data = nullptr;
    const int* dimensions = nullptr;
    const char* const* heads = nullptr;
    int depth = 0;
    ArrayRead<typename Number::Type> array;
    array.isRead = Number::getArray(link, &data, &dimensions, &heads, &depth) != 0;
    if (array.isRead) {
        std::size_t count = 1;
        for (int level = 0; level < depth; ++level) {
            array.dimensions.push_back(dimensions[level]);
            array.heads.emplace_back(heads[level]);
            count *= static_cast<std::size_t>(dimensions[level]);
        }
        array.elements.assign(data, data + count);
        Number::releaseArray(link, data, dimensions, heads, depth);
    }
    return array;
}

/// Puts the list of lists of integers that `text` spells, such as "((1 2) (3))": one bracket a list, one digit a
/// number, anything else between them ignored.
inline void putLists(TTLink link, const std::string& text) {
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] >= '0' && text[index] <= '9') {
            putInteger(link, text[index] - '0');
        } else if (text[index] == '(') {
            int count = 0;
            int level = 0;
            for (std::size_t behind = index + 1; level >= 0; ++behind) {
                const char letter = text[behind];
                count += level == 0 && letter != ')' && letter != ' ' ? 1 : 0;
                level += letter == '(' ? 1 : letter == ')' ? -1 : 0;
            }
            EXPECT_NE(TTPutFunction(link, "List", count), 0);
        }
    }
}

} // namespace tether::test

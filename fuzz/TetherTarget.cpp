#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "fuzz/Targets.h"

namespace radvex::fuzz {

namespace {

/// Hands out the bytes of an input; zeros when there are none left.
class Source {
  public:
    explicit Source(Bytes bytes) : mBytes(bytes) {}
    bool isEmpty() const { return mNext >= mBytes.size(); }
    unsigned byte() { return isEmpty() ? 0U : mBytes[mNext++]; }
    template <typename Number>
    Number number() {
        Number value{};
        std::array<unsigned char, sizeof(Number)> bytes{};
        for (unsigned char& each : bytes) {
            each = static_cast<unsigned char>(byte());
        }
        std::memcpy(&value, bytes.data(), sizeof(Number));
        return value;
    }
    /// Up to 15 numbers.
    template <typename Number>
    std::vector<Number> numbers() {
        std::vector<Number> values(byte() % 16);
        for (Number& value : values) {
            value = number<Number>();
        }
        return values;
    }
    std::string text() {
        const auto bytes = numbers<char>();
        return {bytes.begin(), bytes.end()};
    }

  private:
    Bytes mBytes;
    std::size_t mNext = 0;
};

// Adds up what was handed out, so that every unit of it is touched.
unsigned touched = 0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

template <typename Unit>
void touch(const Unit* data, std::size_t count) {
    for (std::size_t index = 0; index < count * sizeof(Unit); ++index) {
        touched += reinterpret_cast<const unsigned char*>(data)[index];
    }
}

std::size_t elements(const int* dimensions, int depth) {
    std::size_t count = 1;
    for (int level = 0; level < depth; ++level) {
        count *= static_cast<std::size_t>(dimensions[level]);
    }
    return count;
}

/// One of the operations on numbers of a type: put and get of a number, a list, an array.
#define RADVEX_FUZZ_NUMBER(Name, Type)                                                                                 \
    void number##Name(TTLink link, Source& source) {                                                                   \
        const Type* data = nullptr;                                                                                    \
        const int* dimensions = nullptr;                                                                               \
        const char* const* heads = nullptr;                                                                            \
        int count = 0;                                                                                                 \
        Type value{};                                                                                                  \
        switch (source.byte() % 6) {                                                                                   \
        case 0: TTPut##Name(link, source.number<Type>()); break;                                                       \
        case 1: TTGet##Name(link, &value); break;                                                                      \
        case 2: {                                                                                                      \
            const auto list = source.numbers<Type>();                                                                  \
            TTPut##Name##List(link, list.data(), static_cast<int>(list.size()));                                       \
            break;                                                                                                     \
        }                                                                                                              \
        case 3:                                                                                                        \
            if (TTGet##Name##List(link, &data, &count) != 0) {                                                         \
                touch(data, static_cast<std::size_t>(count));                                                          \
                TTRelease##Name##List(link, data, count);                                                              \
            }                                                                                                          \
            break;                                                                                                     \
        case 4: {                                                                                                      \
            const std::array<int, 3> shape{static_cast<int>(source.byte() % 4), static_cast<int>(source.byte() % 4),   \
                                           static_cast<int>(source.byte() % 4)};                                       \
            std::array<Type, 27> content{};                                                                            \
            content[0] = source.number<Type>();                                                                        \
            TTPut##Name##Array(link, content.data(), shape.data(), nullptr, static_cast<int>(source.byte() % 4));      \
            break;                                                                                                     \
        }                                                                                                              \
        default:                                                                                                       \
            if (TTGet##Name##Array(link, &data, &dimensions, &heads, &count) != 0) {                                   \
                touch(data, elements(dimensions, count));                                                              \
                for (int level = 0; level < count; ++level) {                                                          \
                    touch(heads[level], std::strlen(heads[level]));                                                    \
                }                                                                                                      \
                TTRelease##Name##Array(link, data, dimensions, heads, count);                                          \
            }                                                                                                          \
        }                                                                                                              \
    }
RADVEX_FUZZ_NUMBER(Integer8, unsigned char)
RADVEX_FUZZ_NUMBER(Integer16, short)
RADVEX_FUZZ_NUMBER(Integer32, int)
RADVEX_FUZZ_NUMBER(Integer64, long long)
RADVEX_FUZZ_NUMBER(Real32, float)
RADVEX_FUZZ_NUMBER(Real64, double)
#undef RADVEX_FUZZ_NUMBER

#define RADVEX_FUZZ_TEXT(Name, Unit)                                                                                   \
    void text##Name(TTLink link, Source& source) {                                                                     \
        const Unit* text = nullptr;                                                                                    \
        int length = 0;                                                                                                \
        if (source.byte() % 2 == 0) {                                                                                  \
            const auto units = source.numbers<Unit>();                                                                 \
            TTPut##Name##String(link, units.data(), static_cast<int>(units.size()));                                   \
        } else if (TTGet##Name##String(link, &text, &length) != 0) {                                                   \
            touch(text, static_cast<std::size_t>(length) + 1);                                                         \
            TTRelease##Name##String(link, text, length);                                                               \
        }                                                                                                              \
    }
RADVEX_FUZZ_TEXT(Byte, unsigned char)
RADVEX_FUZZ_TEXT(UTF8, unsigned char)
RADVEX_FUZZ_TEXT(UTF16, uint16_t)
RADVEX_FUZZ_TEXT(UCS2, uint16_t)
RADVEX_FUZZ_TEXT(UTF32, uint32_t)
#undef RADVEX_FUZZ_TEXT

void putPlain(TTLink link, Source& source) {
    switch (source.byte() % 3) {
    case 0: TTPutString(link, source.text().c_str()); break;
    case 1: TTPutSymbol(link, source.text().c_str()); break;
    default: {
        const std::string head = source.byte() % 2 == 0 ? "List" : source.text();
        TTPutFunction(link, head.c_str(), static_cast<signed char>(source.byte()));
    }
    }
}

void getPlain(TTLink link, Source& source) {
    const char* text = nullptr;
    int count = 0;
    switch (source.byte() % 6) {
    case 0:
        if (TTGetString(link, &text) != 0) {
            touch(text, std::strlen(text) + 1);
            TTReleaseString(link, text);
        }
        break;
    case 1:
        if (TTGetSymbol(link, &text) != 0) {
            touch(text, std::strlen(text) + 1);
            TTReleaseSymbol(link, text);
        }
        break;
    case 2:
        if (TTGetFunction(link, &text, &count) != 0) {
            touch(text, std::strlen(text) + 1);
            TTReleaseSymbol(link, text);
        }
        break;
    case 3: TTTestHead(link, source.text().c_str(), &count); break;
    case 4: TTTestSymbol(link, source.text().c_str()); break;
    default: TTGetNext(link);
    }
}

void control(TTLink link, TTLink other, Source& source) {
    const char* message = nullptr;
    switch (source.byte() % 9) {
    case 0: TTReset(link); break;
    case 1: TTClearError(link); break;
    case 2: TTNextPacket(link); break;
    case 3: TTNewPacket(link); break;
    case 4: TTEndPacket(link); break;
    case 5: TTFlush(link); break;
    case 6: TTTransferExpression(other, link); break;
    case 7: TTTransferToEndOfLoopbackLink(other, link); break;
    default:
        message = TTErrorMessage(link);
        if (message != nullptr) {
            touch(message, std::strlen(message));
            TTReleaseErrorMessage(link, message);
        }
    }
}

/// Three links and their marks: a loopback and the two ends of a pair.
class Links {
  public:
    explicit Links(TTEnvironment environment) {
        int error = 0;
        mLinks[0] = TTLoopbackOpen(environment, &error);
        TTOpenPair(environment, &mLinks[1], &mLinks[2], &error);
    }
    TTLink at(unsigned index) const { return mLinks[index % mLinks.size()]; }
    void close(unsigned index) {
        const unsigned link = index % static_cast<unsigned>(mLinks.size());
        std::erase_if(mMarks, [&](const auto& mark) { return mark.first == link; }); // gone with their link
        TTClose(std::exchange(mLinks[link], nullptr));
    }
    void mark(unsigned index, Source& source) {
        const unsigned link = index % static_cast<unsigned>(mLinks.size());
        const auto own =
            std::find_if(mMarks.begin(), mMarks.end(), [&](const auto& each) { return each.first == link; });
        if (own == mMarks.end() || source.byte() % 4 == 0) {
            if (const TTMark mark = TTCreateMark(mLinks[link]); mark != nullptr) {
                mMarks.emplace_back(link, mark);
            }
        } else if (source.byte() % 2 == 0) {
            TTSeekMark(mLinks[link], own->second, static_cast<signed char>(source.byte()));
        } else {
            TTDestroyMark(mLinks[link], own->second);
            mMarks.erase(own);
        }
    }

  private:
    std::array<TTLink, 3> mLinks{};
    std::vector<std::pair<unsigned, TTMark>> mMarks{};
};

void step(Links& links, Source& source) {
    using Operation = void (*)(TTLink, Source&);
    static constexpr std::array<Operation, 13> kOperations{
        numberInteger8, numberInteger16, numberInteger32, numberInteger64, numberReal32, numberReal64, textByte,
        textUTF8,       textUTF16,       textUCS2,        textUTF32,       putPlain,     getPlain};
    const unsigned choice = source.byte();
    const unsigned link = choice / 16;
    switch (choice % 16) {
    case 13: control(links.at(link), links.at(source.byte()), source); break;
    case 14: links.mark(link, source); break;
    case 15:
        if (source.byte() == 0) {
            links.close(link);
        } else {
            TTClearError(links.at(link));
        }
        break;
    default: kOperations[choice % 16](links.at(link), source);
    }
}

} // namespace

void runTether(Bytes input) {
    const TTEnvironment environment = TTInitialize();
    Links links(environment);
    for (Source source(input); !source.isEmpty();) {
        step(links, source);
    }
    const bool clean = TTOpenBufferCount(environment) == 0;
    TTDeinitialize(environment); // closes links and marks
    if (!clean) {
        throw std::runtime_error("Buffers of a link are still open.");
    }
}

} // namespace radvex::fuzz

#include "tests/tether/LinkCalls.h"

namespace tether::test {

namespace {

void nothing(TTLink) {}
void oneInteger(TTLink link) { TTPutInteger32(link, 5); }
void oneText(TTLink link) { TTPutString(link, "text"); }
void oneSymbol(TTLink link) { TTPutSymbol(link, "x"); }
void oneList(TTLink link) {
    TTPutFunction(link, "List", 2);
    oneInteger(link);
    oneInteger(link);
}
void onePacket(TTLink link) {
    TTPutFunction(link, "ReturnPacket", 1);
    oneInteger(link);
    TTEndPacket(link);
}

int getFunction(TTLink link) {
    const char* head = nullptr;
    int count = 0;
    const int result = TTGetFunction(link, &head, &count);
    TTReleaseSymbol(link, result == 0 ? nullptr : head);
    return result;
}

int getSymbol(TTLink link) {
    const char* name = nullptr;
    const int result = TTGetSymbol(link, &name);
    TTReleaseSymbol(link, result == 0 ? nullptr : name);
    return result;
}

int getString(TTLink link) {
    const char* text = nullptr;
    const int result = TTGetString(link, &text);
    TTReleaseString(link, result == 0 ? nullptr : text);
    return result;
}

int testHead(TTLink link) {
    int count = 0;
    return TTTestHead(link, "List", &count);
}

int createMark(TTLink link) {
    const TTMark mark = TTCreateMark(link);
    TTDestroyMark(link, mark);
    return mark != nullptr ? 1 : 0;
}

int seekMark(TTLink link) {
    const TTMark mark = TTCreateMark(link);
    const bool isFound = TTSeekMark(link, mark, 0) != nullptr;
    TTDestroyMark(link, mark);
    return isFound ? 1 : 0;
}

/// Runs `transfer` with the link and another one, or null when there is no link.
template <typename Transfer>
int withAnother(TTLink link, Transfer transfer) {
    int error = 0;
    const TTLink other = link == nullptr ? nullptr : TTLoopbackOpen(TTLinkEnvironment(link), &error);
    const int result = transfer(other);
    TTClose(other);
    return result;
}

int transferFrom(TTLink link) {
    return withAnother(link, [&](TTLink other) { return TTTransferExpression(other, link); });
}

int transferToEnd(TTLink link) {
    return withAnother(link, [&](TTLink other) {
        TTPutInteger32(other, 5);
        return TTTransferToEndOfLoopbackLink(link, other);
    });
}

#define TETHER_NUMBER_CALLS(Name, Type)                                                                                \
    {"TTPut" #Name, nothing, [](TTLink link) { return TTPut##Name(link, static_cast<Type>(1)); }, true},               \
        {"TTGet" #Name, oneInteger,                                                                                    \
         [](TTLink link) {                                                                                             \
             Type value{};                                                                                             \
             return TTGet##Name(link, &value);                                                                         \
         }},                                                                                                           \
        {"TTPut" #Name "List", nothing,                                                                                \
         [](TTLink link) {                                                                                             \
             const Type value{1};                                                                                      \
             return TTPut##Name##List(link, &value, 1);                                                                \
         },                                                                                                            \
         true},                                                                                                        \
        {"TTGet" #Name "List", oneList,                                                                                \
         [](TTLink link) {                                                                                             \
             const Type* data = nullptr;                                                                               \
             int length = 0;                                                                                           \
             const int result = TTGet##Name##List(link, &data, &length);                                               \
             TTRelease##Name##List(link, result == 0 ? nullptr : data, length);                                        \
             return result;                                                                                            \
         }},                                                                                                           \
        {"TTPut" #Name "Array", nothing,                                                                               \
         [](TTLink link) {                                                                                             \
             const Type value{1};                                                                                      \
             const int dimensions[] = {1, 1};                                                                          \
             return TTPut##Name##Array(link, &value, dimensions, nullptr, 2);                                          \
         },                                                                                                            \
         true},                                                                                                        \
    {                                                                                                                  \
        "TTGet" #Name "Array", oneList, [](TTLink link) {                                                              \
            const Type* data = nullptr;                                                                                \
            const int* dimensions = nullptr;                                                                           \
            const char* const* heads = nullptr;                                                                        \
            int depth = 0;                                                                                             \
            const int result = TTGet##Name##Array(link, &data, &dimensions, &heads, &depth);                           \
            const bool isRead = result != 0;                                                                           \
            TTRelease##Name##Array(link, isRead ? data : nullptr, dimensions, heads, depth);                           \
            return result;                                                                                             \
        }                                                                                                              \
    }

#define TETHER_TEXT_CALLS(Name, Unit)                                                                                  \
    {"TTPut" #Name "String", nothing,                                                                                  \
     [](TTLink link) {                                                                                                 \
         const Unit unit{'a'};                                                                                         \
         return TTPut##Name##String(link, &unit, 1);                                                                   \
     },                                                                                                                \
     true},                                                                                                            \
    {                                                                                                                  \
        "TTGet" #Name "String", oneText, [](TTLink link) {                                                             \
            const Unit* text = nullptr;                                                                                \
            int length = 0;                                                                                            \
            const int result = TTGet##Name##String(link, &text, &length);                                              \
            TTRelease##Name##String(link, result == 0 ? nullptr : text, length);                                       \
            return result;                                                                                             \
        }                                                                                                              \
    }

} // namespace

const std::vector<LinkCall>& linkCalls() {
    static const std::vector<LinkCall> calls{
        {"TTCreateMark", oneInteger, createMark},
        {"TTSeekMark", oneInteger, seekMark},
        {"TTTransferExpression", oneList, transferFrom},
        {"TTTransferToEndOfLoopbackLink", nothing, transferToEnd, true},
        {"TTNextPacket", onePacket, TTNextPacket},
        {"TTNewPacket", onePacket, TTNewPacket},
        {"TTEndPacket", nothing, TTEndPacket, true},
        {"TTFlush", nothing, TTFlush},
        {"TTGetNext", oneInteger, TTGetNext},
        {"TTPutFunction", nothing, [](TTLink link) { return TTPutFunction(link, "List", 0); }, true},
        {"TTPutSymbol", nothing, [](TTLink link) { return TTPutSymbol(link, "x"); }, true},
        {"TTGetFunction", oneList, getFunction},
        {"TTGetSymbol", oneSymbol, getSymbol},
        {"TTTestHead", oneList, testHead},
        {"TTTestSymbol", oneSymbol, [](TTLink link) { return TTTestSymbol(link, "x"); }},
        {"TTPutString", nothing, [](TTLink link) { return TTPutString(link, "text"); }, true},
        {"TTGetString", oneText, getString},
        TETHER_NUMBER_CALLS(Integer8, unsigned char),
        TETHER_NUMBER_CALLS(Integer16, short),
        TETHER_NUMBER_CALLS(Integer32, int),
        TETHER_NUMBER_CALLS(Integer64, long long),
        TETHER_NUMBER_CALLS(Real32, float),
        TETHER_NUMBER_CALLS(Real64, double),
        TETHER_TEXT_CALLS(Byte, unsigned char),
        TETHER_TEXT_CALLS(UTF8, unsigned char),
        TETHER_TEXT_CALLS(UTF16, uint16_t),
        TETHER_TEXT_CALLS(UCS2, uint16_t),
        TETHER_TEXT_CALLS(UTF32, uint32_t),
    };
    return calls;
}

} // namespace tether::test

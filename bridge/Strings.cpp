#include "bridge/Strings.h"

#include <cstring>

namespace GTU::TT {

namespace {

// Native text is ended by a zero byte instead of having a length.
int getNative(TTLink link, const char** text, int* length) {
    const int status = TTGetString(link, text);
    if (status != 0) {
        *length = static_cast<int>(std::strlen(*text));
    }
    return status;
}

int putNative(TTLink link, const char* text, int length) {
    return TTPutString(link, std::string(text, static_cast<std::size_t>(length)).c_str());
}

void releaseNative(TTLink link, const char* text, int /*length*/) { TTReleaseString(link, text); }

int putUTF8OrBytes(TTLink link, const unsigned char* text, int length) {
    if (TTPutUTF8String(link, text, length) != 0) {
        return 1;
    }
    if (TTError(link) != TTE_ENCODING) {
        return 0;
    }
    TTClearError(link);
    return TTPutByteString(link, text, length);
}

} // namespace

#define GTU_STRING_DEFINE(E, get, put, release, getName, putName)                                                      \
    template <>                                                                                                        \
    const std::function<int(TTLink, const String<E>::Unit**, int*)> String<E>::Get = get;                              \
    template <>                                                                                                        \
    const std::function<int(TTLink, const String<E>::Unit*, int)> String<E>::Put = put;                                \
    template <>                                                                                                        \
    const std::function<void(TTLink, const String<E>::Unit*, int)> String<E>::Release = release;                       \
    template <>                                                                                                        \
    const std::string String<E>::GetFName = getName;                                                                   \
    template <>                                                                                                        \
    const std::string String<E>::PutFName = putName;

// clang-format off
GTU_STRING_DEFINE(Encoding::Native, getNative, putNative, releaseNative, "TTGetString", "TTPutString")
GTU_STRING_DEFINE(Encoding::Byte, TTGetByteString, TTPutByteString, TTReleaseByteString, "TTGetByteString", "TTPutByteString")
GTU_STRING_DEFINE(Encoding::UTF8, TTGetUTF8String, putUTF8OrBytes, TTReleaseUTF8String, "TTGetUTF8String", "TTPut(UTF8/Byte)String")
GTU_STRING_DEFINE(Encoding::UTF16, TTGetUTF16String, TTPutUTF16String, TTReleaseUTF16String, "TTGetUTF16String", "TTPutUTF16String")
GTU_STRING_DEFINE(Encoding::UCS2, TTGetUCS2String, TTPutUCS2String, TTReleaseUCS2String, "TTGetUCS2String", "TTPutUCS2String")
GTU_STRING_DEFINE(Encoding::UTF32, TTGetUTF32String, TTPutUTF32String, TTReleaseUTF32String, "TTGetUTF32String", "TTPutUTF32String")
// clang-format on

} // namespace GTU::TT

#include "bridge/Strings.h"

#include <cstring>

namespace GTU::TT {

namespace {

// Native text ends with a zero byte, so its length has to be counted.
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

#define GTU_STRING_DEFINE(Name, get, put, release, getName, putName)                                                   \
    const std::function<int(TTLink, const String<Encoding::Name>::Unit**, int*)> String<Encoding::Name>::Get = get;    \
    const std::function<int(TTLink, const String<Encoding::Name>::Unit*, int)> String<Encoding::Name>::Put = put;      \
    const std::function<void(TTLink, const String<Encoding::Name>::Unit*, int)> String<Encoding::Name>::Release =      \
        release;                                                                                                       \
    const std::string String<Encoding::Name>::GetFName = getName;                                                      \
    const std::string String<Encoding::Name>::PutFName = putName;

// clang-format off
GTU_STRING_DEFINE(Native, getNative, putNative, releaseNative, "TTGetString", "TTPutString")
GTU_STRING_DEFINE(Byte, TTGetByteString, TTPutByteString, TTReleaseByteString, "TTGetByteString", "TTPutByteString")
GTU_STRING_DEFINE(UTF8, TTGetUTF8String, putUTF8OrBytes, TTReleaseUTF8String, "TTGetUTF8String", "TTPut(UTF8/Byte)String")
GTU_STRING_DEFINE(UTF16, TTGetUTF16String, TTPutUTF16String, TTReleaseUTF16String, "TTGetUTF16String", "TTPutUTF16String")
GTU_STRING_DEFINE(UCS2, TTGetUCS2String, TTPutUCS2String, TTReleaseUCS2String, "TTGetUCS2String", "TTPutUCS2String")
GTU_STRING_DEFINE(UTF32, TTGetUTF32String, TTPutUTF32String, TTReleaseUTF32String, "TTGetUTF32String", "TTPutUTF32String")
// clang-format on

} // namespace GTU::TT

#include "Declarations.h"

namespace velmora {

const std::vector<Declaration>& radvexDeclarations() {
    static constexpr vint kText = VType_UTF8String;
    static constexpr vint kInteger = VType_Integer;
    static constexpr vint kNone = VType_Undef;
    static const std::vector<Declaration> declarations{
        {"setExceptionDetailsContext", {kText}, kText},
        {"GetFrameCount", {kText}, kInteger},
        {"GetRepresentativeFrameIndex", {kText}, kInteger},
        {"GetOverlayCount", {kText}, kInteger},
        {"CloseReader", {kText}, kNone},
        {"ClearCache", {}, kNone},
    };
    return declarations;
}

} // namespace velmora

#include "guard/TransferSyntaxes.h"

namespace radvex {

namespace {

constexpr const char* kLossless = "1.2.840.10008.1.2.4.201";
constexpr const char* kLosslessByResolution = "1.2.840.10008.1.2.4.202";
constexpr const char* kWithLoss = "1.2.840.10008.1.2.4.203";

} // namespace

bool isHtj2k(const std::string& uid) { return uid == kLossless || uid == kLosslessByResolution || uid == kWithLoss; }

E_TransferSyntax transferSyntaxOf(const std::string& uid) {
    if (isHtj2k(uid)) {
        return uid == kWithLoss ? EXS_JPEG2000 : EXS_JPEG2000LosslessOnly;
    }
    return DcmXfer(uid.c_str()).getXfer();
}

} // namespace radvex

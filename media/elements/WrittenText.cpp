#include "media/elements/WrittenText.h"

#include "media/dicomdir/DcmtkSettings.h"
#include "text/TextEncoder.h"

namespace radvex::media {

std::optional<std::string> encodedText(const std::string& text, const std::string& vr,
                                       const std::string& characterSet) {
    silenceDcmtk();
    text::TextDecoder decoder;
    return text::TextEncoder(decoder).encoded(text, DcmVR(vr.c_str()).getEVR(), characterSet);
}

std::optional<std::string> decodedText(const std::string& bytes, const std::string& vr,
                                       const std::string& characterSet) {
    silenceDcmtk();
    return text::TextDecoder().known(bytes, DcmVR(vr.c_str()).getEVR(), characterSet);
}

std::string replacedText(const std::string& bytes, const std::string& vr, const std::string& characterSet) {
    silenceDcmtk();
    return text::TextDecoder().withReplacements(bytes, DcmVR(vr.c_str()).getEVR(), characterSet);
}

} // namespace radvex::media

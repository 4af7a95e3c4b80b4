#include "cli/arguments/Assignment.h"

#include "cli/Session.h"
#include "formats/json/Text.h"

namespace radvex::cli {

Assignment parseAssignment(const std::string& option, const std::string& word) {
    std::string place = option;
    place.append(" ").append(formats::shortened(word));
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos || sign == 0) {
        throw UsageError(place + ": KEYWORD=VALUE is expected, such as PatientName=Doe^Jane.");
    }
    if (!formats::isValidUtf8(word)) {
        throw UsageError(place + ": the text is no UTF-8.");
    }
    return {word.substr(0, sign), word.substr(sign + 1), place};
}

} // namespace radvex::cli

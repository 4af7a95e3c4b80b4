#include "host/Message.h"

namespace velmora {

std::string fillMessage(const std::string& messageTemplate, const std::vector<std::string>& values) {
    std::string message;
    std::size_t position = 0;
    for (const std::string& value : values) {
        const std::size_t open = messageTemplate.find('`', position);
        const std::size_t close = open == std::string::npos ? open : messageTemplate.find('`', open + 1);
        if (close == std::string::npos) {
            break;
        }
        message.append(messageTemplate, position, open - position).append(value);
        position = close + 1;
    }
    return message.append(messageTemplate, position, std::string::npos);
}

} // namespace velmora

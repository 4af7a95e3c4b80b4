#pragma once

#include <optional>
#include <string>

#include "files/Errors.h"
#include "formats/json/LosslessJson.h"

namespace radvex::view {

/// A request or a reply between the server and a process that reads for it: a JSON object, and bytes.
struct Message {
    formats::Json json{};
    std::string body{};
};

/// The other side is gone, or what it sends is no message.
class WireError : public Error {
  public:
    using Error::Error;
};

/// @throws WireError
void sendMessage(int socket, const Message& message);

/// Waits for a message; nothing when the other side has closed the socket between two of them.
/// @throws WireError
std::optional<Message> receiveMessage(int socket);

} // namespace radvex::view

#include "view/Wire.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace radvex::view {

namespace {

/// In front of a message: the bytes of its two parts.
using Lengths = std::array<std::uint64_t, 2>;

constexpr std::uint64_t kLongest = std::uint64_t{1} << 36; // no volume is larger; the sender may be out of its mind

void sendAll(int socket, const void* bytes, std::size_t count) {
    const char* next = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t sent = ::send(socket, next, count, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            throw WireError(std::string("The message cannot be sent: ") + std::strerror(errno) + ".");
        }
        next += sent;
        count -= static_cast<std::size_t>(sent);
    }
}

/// @return the number of bytes, fewer than wanted at the end
std::size_t receiveAll(int socket, void* bytes, std::size_t count) {
    char* next = static_cast<char*>(bytes);
    std::size_t received = 0;
    while (received < count) {
        const ssize_t got = ::recv(socket, next + received, count - received, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        received += static_cast<std::size_t>(got);
    }
    return received;
}

void receivePart(int socket, std::string& text, std::uint64_t length) {
    if (length > kLongest) {
        throw WireError("A message is too long.");
    }
    text.resize(static_cast<std::size_t>(length));
    if (receiveAll(socket, text.data(), text.size()) != text.size()) {
        throw WireError("A message ends too early.");
    }
}

} // namespace

void sendMessage(int socket, const Message& message) {
    const std::string json = formats::dumpJson(message.json);
    const Lengths lengths{json.size(), message.body.size()};
    sendAll(socket, lengths.data(), sizeof lengths);
    sendAll(socket, json.data(), json.size());
    sendAll(socket, message.body.data(), message.body.size());
}

std::optional<Message> receiveMessage(int socket) {
    Lengths lengths{};
    const std::size_t received = receiveAll(socket, lengths.data(), sizeof lengths);
    if (received == 0) {
        return std::nullopt;
    }
    if (received != sizeof lengths) {
        throw WireError("A message ends too early.");
    }
    std::string json;
    Message message;
    receivePart(socket, json, lengths[0]);
    receivePart(socket, message.body, lengths[1]);
    try {
        message.json = formats::parseJson(json);
    } catch (const formats::JsonError& error) {
        throw WireError(std::string("A message is no JSON: ") + error.what());
    }
    return message;
}

} // namespace radvex::view

#include "workers/Channel.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <system_error>

namespace radvex::workers {

namespace {

/// Precedes the texts of a result. Both ends are the same program, so its layout is the same for both.
struct Header {
    std::uint64_t outputSize;
    std::uint64_t errorSize;
    std::uint64_t isFatal;
};

ssize_t receive(int descriptor, void* bytes, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::recv(descriptor, bytes, size, 0);
    } while (count < 0 && errno == EINTR);
    return count;
}

} // namespace

std::pair<Channel, Channel> Channel::makePair() {
    std::array<int, 2> ends{};
    // Not a pipe: a write to a socket that nobody reads can be kept from raising SIGPIPE.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no channel to a process can be made");
    }
    return {Channel(ends[0]), Channel(ends[1])};
}

bool Channel::sendAll(const void* bytes, std::size_t size) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = ::send(mDescriptor, next, size, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool Channel::sendItem(std::size_t item) { return sendAll(&item, sizeof item); }

std::optional<std::size_t> Channel::receiveItem() {
    std::array<char, sizeof(std::size_t)> bytes{};
    for (std::size_t filled = 0; filled < bytes.size();) {
        const ssize_t count = receive(mDescriptor, bytes.data() + filled, bytes.size() - filled);
        if (count <= 0) {
            return std::nullopt;
        }
        filled += static_cast<std::size_t>(count);
    }
    std::size_t item = 0;
    std::memcpy(&item, bytes.data(), sizeof item);
    return item;
}

bool Channel::sendResult(const WorkResult& result) {
    const Header header{result.output.size(), result.error.size(), result.isFatal ? 1U : 0U};
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    bytes += result.error;
    return sendAll(bytes.data(), bytes.size()) && sendAll(result.output.data(), result.output.size());
}

bool Channel::receiveSome() {
    constexpr std::size_t kMost = std::size_t{1} << 16;
    std::array<char, kMost> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
    const ssize_t count = receive(mDescriptor, bytes.data(), bytes.size());
    if (count <= 0) {
        return false;
    }
    mReceived.append(bytes.data(), static_cast<std::size_t>(count));
    return true;
}

std::optional<WorkResult> Channel::takeResult() {
    Header header{};
    if (mReceived.size() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, mReceived.data(), sizeof header);
    const std::size_t size = mReceived.size() - sizeof header;
    if (size < header.errorSize || size - header.errorSize < header.outputSize) {
        return std::nullopt;
    }
    WorkResult result{.isFatal = header.isFatal != 0};
    result.error = mReceived.substr(sizeof header, header.errorSize);
    mReceived.erase(0, sizeof header + header.errorSize);
    result.output = std::exchange(mReceived, {});
    return result;
}

} // namespace radvex::workers

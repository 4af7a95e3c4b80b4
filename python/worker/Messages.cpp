#include "python/worker/Messages.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <vector>

namespace radvex::python {

namespace {

constexpr std::size_t kLongestMessage = 60000;
constexpr auto kBetweenProgress = std::chrono::milliseconds(100);

/// Memory with a descriptor, which lives as long as anybody has one.
class SharedFile {
  public:
    explicit SharedFile(std::size_t bytes) : mDescriptor(::memfd_create("radvex", MFD_CLOEXEC)) {
        if (mDescriptor < 0) {
            refuse(errno);
        }
        if (::ftruncate(mDescriptor, static_cast<off_t>(bytes)) != 0) {
            const int reason = errno;
            (void)::close(mDescriptor);
            refuse(reason);
        }
    }
    ~SharedFile() {
        if (mDescriptor >= 0) {
            (void)::close(mDescriptor);
        }
    }
    SharedFile(const SharedFile&) = delete;
    SharedFile& operator=(const SharedFile&) = delete;

    int descriptor() const { return mDescriptor; }

    void append(const void* bytes, std::size_t size) {
        const char* next = static_cast<const char*>(bytes);
        while (size > 0) {
            const ssize_t written = ::write(mDescriptor, next, size);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                refuse(errno);
            }
            next += written;
            size -= static_cast<std::size_t>(written);
        }
    }

  private:
    [[noreturn]] static void refuse(int reason) {
        throw FileError(std::string("There is no memory for the volume: ") + std::strerror(reason) + ".");
    }

    int mDescriptor;
};

} // namespace

void Messages::send(const formats::Json& json) const { sendBytes(formats::dumpJson(json)); }

void Messages::sendBytes(const std::string& bytes) const {
    if (!bytes.empty() && bytes.size() <= kLongestMessage) { // an empty message would be the end
        return sendText(bytes, -1);
    }
    SharedFile memory(bytes.size());
    memory.append(bytes.data(), bytes.size());
    sendText("\n", memory.descriptor());
}

void Messages::sendVolume(const formats::Json& json, const std::vector<formats::SliceBytes>& slices) {
    std::size_t bytes = 0;
    for (const formats::SliceBytes& slice : slices) {
        bytes += slice.size();
    }
    SharedFile memory(bytes);
    for (const formats::SliceBytes& slice : slices) {
        memory.append(slice.data(), slice.size());
    }
    awaitTaken();
    send({{"volume", json}}); // of any length; the samples follow
    sendText("{}", memory.descriptor());
    mIsTaken = false;
}

workers::Progress Messages::progress() const {
    auto last = std::make_shared<std::chrono::steady_clock::time_point>();
    return [this, last](const std::string& what, std::size_t done, std::size_t total) {
        const auto now = std::chrono::steady_clock::now();
        if (now - *last >= kBetweenProgress || done == total) {
            *last = now;
            send({{"progress", {what, done, total}}});
        }
    };
}

void Messages::sendText(const std::string& text, int descriptor) const {
    iovec part{const_cast<char*>(text.data()), text.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    if (descriptor >= 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof(int));
    }
    ssize_t sent = 0;
    do {
        sent = ::sendmsg(mSocket, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        throw NobodyListensError(std::string("The answer cannot be sent: ") + std::strerror(errno) + ".");
    }
}

std::string Messages::receive() const {
    std::string text(std::size_t{1} << 20, '\0');
    ssize_t received = 0;
    do {
        received = ::recv(mSocket, text.data(), text.size(), 0);
    } while (received < 0 && errno == EINTR);
    text.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
    return text;
}

void Messages::awaitTaken() {
    if (mIsTaken) {
        return;
    }
    char taken = 0;
    ssize_t received = 0;
    do {
        received = ::recv(mSocket, &taken, 1, 0);
    } while (received < 0 && errno == EINTR);
    if (received <= 0) {
        throw NobodyListensError("Nobody takes the volumes.");
    }
    mIsTaken = true;
}

} // namespace radvex::python

#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "workers/Workers.h"

namespace radvex::workers {

/// One end of the connection between this process and a worker: item numbers one way, results the other.
class Channel {
  public:
    explicit Channel(int descriptor) : mDescriptor(descriptor) {}
    Channel(Channel&& other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1)), mReceived(std::move(other.mReceived)) {}
    Channel& operator=(Channel&& other) noexcept {
        std::swap(mDescriptor, other.mDescriptor);
        std::swap(mReceived, other.mReceived);
        return *this;
    }
    ~Channel() {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
    }

    /// Two connected ends; neither passes on to programs that are started. @throws std::system_error
    static std::pair<Channel, Channel> makePair();

    int descriptor() const { return mDescriptor; }

    /// False when nobody is at the other end.
    bool sendItem(std::size_t item);
    /// Waits for the next item; none when nobody is at the other end.
    std::optional<std::size_t> receiveItem();

    /// A result, or why the library cannot be used at all.
    struct Message {
        bool isFatal = false; ///< then the error says why
        WorkResult result{};
    };
    /// False when nobody is at the other end.
    bool sendMessage(const Message& message);
    /// Takes what has come so far; waits only when nothing has. False when nobody is at the other end.
    bool receiveSome();
    /// The message that came, once all of it did.
    std::optional<Message> takeMessage();

  private:
    bool sendAll(const void* bytes, std::size_t size);

    int mDescriptor;
    std::string mReceived{};
};

} // namespace radvex::workers

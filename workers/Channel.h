#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "workers/Workers.h"

namespace radvex::workers {

/// One end of the connection between this process and a worker: item indices go one way, results the other.
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

    /// Two connected ends, which started programs do not inherit. @throws std::system_error
    static std::pair<Channel, Channel> makePair();

    int descriptor() const { return mDescriptor; }

    /// False if the other end is closed.
    bool sendItem(std::size_t item);
    /// Waits for the next item; nothing if the other end is closed.
    std::optional<std::size_t> receiveItem();

    /// False if the other end is closed.
    bool sendResult(const WorkResult& result);
    /// Receives what has arrived; waits only if nothing has. False if the other end is closed.
    bool receiveSome();
    /// The received result, if it is complete.
    std::optional<WorkResult> takeResult();

  private:
    bool sendAll(const void* bytes, std::size_t size);

    int mDescriptor;
    std::string mReceived{};
};

} // namespace radvex::workers

#pragma once

#include <cstddef>
#include <string>

#include "files/Errors.h"
#include "formats/json/LosslessJson.h"
#include "formats/volumes/VolumeFile.h"
#include "workers/Workers.h"

namespace radvex::python {

/// Nobody listens any more.
class NobodyListensError : public Error {
  public:
    using Error::Error;
};

/// What this program tells the one that started it: JSON objects over a socket that keeps messages apart, some with the
/// samples of a volume in memory that both share. A message that is too long for the socket comes in such memory too;
/// a line feed stands for it.
class Messages {
  public:
    explicit Messages(int socket) : mSocket(socket) {}

    /// Waits for a message; empty when nobody is there.
    std::string receive() const;

    /// @throws NobodyListensError, FileError
    void send(const formats::Json& json) const;

    /// Sends bytes that are no JSON, which the message before announced. @throws NobodyListensError, FileError
    void sendBytes(const std::string& bytes) const;

    /// Sends {"volume": json} with the samples. Waits first until the volume before was taken, so that those which
    /// nobody takes do not fill the memory.
    void sendVolume(const formats::Json& json, const std::vector<formats::SliceBytes>& slices);

    /// Progress of a work, a few times a second.
    workers::Progress progress() const;

  private:
    void sendText(const std::string& text, int descriptor) const;
    void awaitTaken();

    int mSocket;
    bool mIsTaken = true; ///< the volume that was sent last
};

} // namespace radvex::python

#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "view/Wire.h"

namespace radvex::view {

/// What a reading process says why it has no answer, or how it ended.
class ReaderError : public Error {
  public:
    using Error::Error;
};

/// Processes that read files for the server, which stays whatever a file does to them. They are programs of their own:
/// a server with threads cannot fork safely. Each answers one request at a time; one that ended is replaced with the
/// next request. May be used by several threads.
class ReaderPool {
  public:
    /// @param command  starts a reader, which finds its socket in descriptor 3
    /// @param count    processes at a time, at least 1
    ReaderPool(std::vector<std::string> command, std::size_t count);
    /// The processes end when they see that their sockets are closed.
    ~ReaderPool();
    ReaderPool(const ReaderPool&) = delete;
    ReaderPool& operator=(const ReaderPool&) = delete;

    /// Waits for a process that is free, and for its answer.
    /// @throws ReaderError
    Message ask(const formats::Json& request);
    /// Ends all processes, also those that work: there are no more answers.
    void end();

  private:
    struct Reader {
        pid_t process = -1;
        int socket = -1;
        bool isBusy = false;
    };

    void start(Reader& reader);
    /// Waits for the end of a process. @return how it ended, as a part of a sentence
    std::string endOf(Reader& reader);
    Reader& acquire();
    void release(Reader& reader);

    std::vector<std::string> mCommand;
    std::vector<Reader> mReaders;
    bool mIsEnding = false;
    std::mutex mMutex{}; ///< for what is above
    std::condition_variable mIsFree{};
};

} // namespace radvex::view

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "view/Answers.h"
#include "view/Page.h"

namespace radvex::view {

/// Gives the page and its answers to a browser of this machine, at an address that nobody can guess. Reading only.
///
///   /TOKEN/          the page and its files
///   /TOKEN/api/...   see Answers; what the bytes of an answer are is in the header Radvex-Values, as JSON
///
/// Everything else, another host in the request, or another origin, is refused.
class Server {
  public:
    /// Starts to listen on the loopback.
    /// @param port  0: any that is free
    /// @param framed  pages of others may show this one in a frame, as notebooks do, if they know its address
    /// @throws FileError  the port cannot be used
    Server(Answers& answers, int port, std::vector<Asset> page, bool framed);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// "http://127.0.0.1:PORT/TOKEN/"
    std::string address() const;
    /// Answers until it is stopped.
    void run();
    /// Ends run, which another thread has called or will call.
    void stop();

  private:
    class Routes;

    std::unique_ptr<Routes> mRoutes;
};

} // namespace radvex::view

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "files/Errors.h"
#include "view/ReaderPool.h"

namespace radvex::view {

/// A file of the page.
struct Asset {
    std::string name{}; ///< "page.js"; empty for the page itself
    std::string type{}; ///< "text/html; charset=utf-8"
    std::string content{};
};

/// Shows a folder to a browser of this machine, at an address that nobody can guess. Reading only.
///
///   /TOKEN/                           the page and its files
///   /TOKEN/api/tree                   patients, studies and series, see Catalogue
///   /TOKEN/api/series/ID              slices, volumes and findings of a series
///   /TOKEN/api/series/ID/files/N/values?frame=F
///                                     the samples of a frame; what they are is in the header Radvex-Values, as JSON
///   /TOKEN/api/series/ID/files/N/tags all attributes
///
/// Everything else, another host in the request, or another origin, is refused. What a file cannot give is status 422
/// with {"error": a sentence}.
class Server {
  public:
    /// Lists the folder and starts to listen on the loopback.
    /// @param port  0: any that is free
    /// @throws ReaderError, FileError  the folder cannot be listed, the port cannot be used
    Server(ReaderPool& readers, const std::string& path, int port, std::vector<Asset> page);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// "http://127.0.0.1:PORT/TOKEN/"
    std::string address() const;
    /// Answers until it is stopped.
    void run();
    void stop();

  private:
    class Routes;

    std::unique_ptr<Routes> mRoutes;
};

} // namespace radvex::view

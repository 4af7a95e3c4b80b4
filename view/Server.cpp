#include "view/Server.h"

#include <httplib.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <map>
#include <thread>

#include "files/Errors.h"

namespace radvex::view {

using formats::Json;
using httplib::Request;
using httplib::Response;

namespace {

constexpr std::size_t kThreads = 32; // most wait for a reader, or for the next question of a browser
constexpr std::time_t kPatience = 1; // seconds for such a question, and so the longest that the end waits for a browser

/// 128 random bits in hexadecimal.
std::string newToken() {
    std::array<unsigned char, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw FileError("The system gives no random numbers.");
    }
    std::string token;
    for (const unsigned char byte : bytes) {
        constexpr std::string_view kDigits = "0123456789abcdef";
        token += kDigits[byte >> 4U];
        token += kDigits[byte & 15U];
    }
    return token;
}

/// Takes the same time wherever the first difference is.
bool isSame(std::string_view one, std::string_view other) {
    if (one.size() != other.size()) {
        return false;
    }
    unsigned different = 0;
    for (std::size_t index = 0; index < one.size(); ++index) {
        different |= one[index] == other[index] ? 0U : 1U;
    }
    return different == 0;
}

void protect(Response& response, bool framed) {
    response.set_header(
        "Content-Security-Policy",
        std::string("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
                    "connect-src 'self'; worker-src 'self' blob:; base-uri 'none'; form-action 'none'") +
            (framed ? "" : "; frame-ancestors 'none'"));
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer"); // the address holds the token
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("Cache-Control", "no-store"); // pictures of patients do not stay in the browser's cache
}

void refuse(Response& response, int status, const std::string& sentence) {
    response.status = status;
    response.set_content(formats::dumpJson({{"error", sentence}}), "application/json");
}

} // namespace

class Server::Routes {
  public:
    Routes(Answers& answers, int port, std::vector<Asset> page, bool framed) : mAnswers(answers), mToken(newToken()) {
        for (Asset& asset : page) {
            mPage.emplace(asset.name, std::move(asset));
        }
        mServer.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
        mServer.set_keep_alive_timeout(kPatience);
        mServer.set_payload_max_length(1); // nothing is sent to this server
        // The usual options of this server would let another program listen at the same port.
        mServer.set_socket_options([](auto socket) {
            const int yes = 1;
            (void)::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        mServer.set_error_handler([](const Request&, Response& response) {
            if (response.body.empty() && !response.content_provider_) {
                refuse(response, response.status, "There is nothing at this address.");
            }
        });
        mServer.set_pre_routing_handler([this, framed](const Request& request, Response& response) {
            protect(response, framed);
            // Answers cross no wire: compressing large ones took seconds. The library has no switch for it,
            // and the request is its own object, which is not const there.
            const_cast<Request&>(request).headers.erase("Accept-Encoding"); // NOLINT
            return isAllowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                                : httplib::Server::HandlerResponse::Handled;
        });
        addRoutes();
        mPort = port == 0 ? mServer.bind_to_any_port(kHost) : mServer.bind_to_port(kHost, port) ? port : -1;
        if (mPort < 0) {
            throw FileError("Port " + std::to_string(port) + " cannot be used; another program may have it.");
        }
    }

    std::string address() const { return "http://" + hostOf(kHost) + '/' + mToken + '/'; }
    void run() {
        (void)mServer.listen_after_bind();
        mHasEnded = true;
    }
    void stop() {
        while (!mServer.is_running() && !mHasEnded) { // before it answers, the library takes no notice
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        mServer.stop();
    }

  private:
    static constexpr const char* kHost = "127.0.0.1";

    std::string hostOf(const std::string& name) const { return name + ':' + std::to_string(mPort); }

    /// A page of somebody else's server can send requests here, and may even have given its name our address; then Host
    /// and Origin are its own.
    bool isAllowed(const Request& request, Response& response) const {
        const std::string host = request.get_header_value("Host");
        const std::string origin = request.get_header_value("Origin");
        const bool isOurs = host == hostOf(kHost) || host == hostOf("localhost");
        if (!isOurs || (!origin.empty() && origin != "http://" + host)) {
            refuse(response, 403, "This server answers its own page only.");
            return false;
        }
        if (request.method != "GET" && request.method != "HEAD") {
            refuse(response, 405, "This server is for reading only.");
            return false;
        }
        const std::string_view path = request.path;
        const bool hasToken = path.size() > mToken.size() + 1 && path[0] == '/' && path[mToken.size() + 1] == '/' &&
                              isSame(path.substr(1, mToken.size()), mToken);
        if (!hasToken) {
            refuse(response, 404, "There is nothing at this address. The command has printed the right one.");
        }
        return hasToken;
    }

    void addRoutes() {
        const std::string start = "/[0-9a-f]+/";
        mServer.Get(start + "api/([a-z0-9/]*)", [this](const Request& request, Response& response) {
            const bool hasFrame = request.has_param("frame");
            answer(response, mAnswers.to(request.matches[1].str() +
                                         (hasFrame ? "?frame=" + request.get_param_value("frame") : "")));
        });
        mServer.Get(start + "([a-z.]*)", [this](const Request& request, Response& response) {
            const auto found = mPage.find(request.matches[1]);
            if (found == mPage.end()) {
                return refuse(response, 404, "There is nothing at this address.");
            }
            response.set_content(found->second.content, found->second.type);
        });
    }

    static void answer(Response& response, const Answer& found) {
        response.status = found.isThere ? 200 : 404;
        if (found.isRefusal) { // not a status, of which every browser writes a message to its console
            response.set_header("Radvex-Refusal", "1");
        }
        if (!found.info.is_null()) { // a header has ASCII only
            response.set_header("Radvex-Values",
                                found.info.dump(-1, ' ', true, formats::Json::error_handler_t::replace));
        }
        if (found.message->body.empty()) {
            return response.set_content(found.text(), found.type);
        }
        response.set_content_provider(found.message->body.size(), found.type,
                                      [message = found.message](std::size_t offset, std::size_t length, auto& sink) {
                                          return sink.write(message->body.data() + offset, length);
                                      });
    }

    Answers& mAnswers;
    std::string mToken;
    std::map<std::string, Asset> mPage{};
    httplib::Server mServer{};
    std::atomic<bool> mHasEnded = false;
    int mPort = -1;
};

Server::Server(Answers& answers, int port, std::vector<Asset> page, bool framed)
    : mRoutes(std::make_unique<Routes>(answers, port, std::move(page), framed)) {}

Server::~Server() = default;

std::string Server::address() const { return mRoutes->address(); }
void Server::run() { mRoutes->run(); }
void Server::stop() { mRoutes->stop(); }

} // namespace radvex::view

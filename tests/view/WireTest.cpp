#include "view/Wire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <thread>

using namespace radvex::view;

namespace {

/// Two ends that are connected.
struct Ends {
    std::array<int, 2> sockets{};
    Ends() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0); }
    ~Ends() {
        (void)::close(sockets[0]);
        closeOther();
    }
    void closeOther() {
        if (sockets[1] >= 0) {
            (void)::close(std::exchange(sockets[1], -1));
        }
    }
    void sendRaw(const std::string& bytes) {
        EXPECT_EQ(::send(sockets[1], bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }
};

std::string lengths(std::uint64_t json, std::uint64_t body) {
    const std::array<std::uint64_t, 2> numbers{json, body};
    return {reinterpret_cast<const char*>(numbers.data()), sizeof numbers};
}

} // namespace

TEST(Wire, BringsJsonAndBytes) {
    Ends ends;
    std::string body(1 << 20, '\0'); // more than a socket holds at once
    body[7] = 'x';
    std::thread sender([&] { sendMessage(ends.sockets[1], {{{"job", "values"}}, body}); });
    const auto message = receiveMessage(ends.sockets[0]);
    sender.join();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->json["job"], "values");
    EXPECT_TRUE(message->body == body);
}

TEST(Wire, TellsAnEndFromAnEarlyOne) {
    Ends between;
    between.closeOther();
    EXPECT_FALSE(receiveMessage(between.sockets[0]));

    for (const std::string& part :
         {lengths(4, 0).substr(0, 9), lengths(4, 0) + "nu", lengths(4, 9) + "null" + "short"}) {
        Ends ends;
        ends.sendRaw(part);
        ends.closeOther();
        EXPECT_THROW((void)receiveMessage(ends.sockets[0]), WireError) << part.size();
    }
}

TEST(Wire, RefusesWhatNoReaderSends) {
    Ends ends;
    ends.sendRaw(lengths(std::uint64_t{1} << 60, 0));
    EXPECT_THROW((void)receiveMessage(ends.sockets[0]), WireError);
    Ends other;
    other.sendRaw(lengths(5, 0) + "{no}!");
    EXPECT_THROW((void)receiveMessage(other.sockets[0]), WireError);
}

TEST(Wire, SaysThatNobodyListens) {
    Ends ends;
    ends.closeOther();
    EXPECT_THROW(sendMessage(ends.sockets[0], {nullptr, "x"}), WireError);
}

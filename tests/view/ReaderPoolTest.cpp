#include "view/ReaderPool.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "tests/support/TemporaryFolder.h"

using namespace radvex::view;

namespace {

/// A reader that is a script: "pid" gives its process number, "die" ends it with a signal, "exit" with a status,
/// "sleep" says nothing for a long time, anything else is refused.
constexpr const char* kReader = R"(
import json, os, signal, socket, struct, sys, time
wire = socket.socket(fileno=3)
def get(count):
    data = b""
    while len(data) < count:
        part = wire.recv(count - len(data))
        if not part:
            sys.exit(0)
        data += part
    return data
while True:
    length, body = struct.unpack("=QQ", get(16))
    request = json.loads(get(length))
    job = request["job"]
    if job == "die":
        os.kill(os.getpid(), signal.SIGSEGV)
    if job == "exit":
        os._exit(7)
    if job == "sleep":
        time.sleep(600)
    answer = json.dumps({"pid": os.getpid()} if job == "pid" else {"error": "No."}).encode()
    wire.sendall(struct.pack("=QQ", len(answer), 0) + answer)
)";

std::vector<std::string> reader() { return {"/usr/bin/python3", "-S", "-c", kReader}; }

std::string refusalOf(ReaderPool& pool, const char* job) {
    try {
        (void)pool.ask({{"job", job}});
        return "";
    } catch (const ReaderError& error) {
        return error.what();
    }
}

} // namespace

TEST(ReaderPool, AReaderStaysForTheNextQuestion) {
    ReaderPool pool(reader(), 2);
    const auto first = pool.ask({{"job", "pid"}}).json["pid"];
    EXPECT_EQ(pool.ask({{"job", "pid"}}).json["pid"], first);
    EXPECT_EQ(refusalOf(pool, "other"), "No.");
    EXPECT_EQ(pool.ask({{"job", "pid"}}).json["pid"], first) << "a refusal ends nothing";
}

TEST(ReaderPool, SaysHowAReaderEndedAndTakesAnother) {
    ReaderPool pool(reader(), 1);
    const auto first = pool.ask({{"job", "pid"}}).json["pid"];
    EXPECT_EQ(refusalOf(pool, "die"), "The reading process ended with signal 11 (SIGSEGV).");
    EXPECT_EQ(refusalOf(pool, "exit"), "The reading process ended with exit status 7.");
    EXPECT_NE(pool.ask({{"job", "pid"}}).json["pid"], first);
}

TEST(ReaderPool, ManyAskAtTheSameTime) {
    ReaderPool pool(reader(), 3);
    std::mutex mutex;
    std::set<int> readers;
    std::vector<std::thread> threads;
    for (int index = 0; index < 40; ++index) {
        threads.emplace_back([&] {
            const int process = pool.ask({{"job", "pid"}}).json["pid"];
            const std::lock_guard lock(mutex);
            readers.insert(process);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(readers.size(), 1U);
    EXPECT_LE(readers.size(), 3U);
}

TEST(ReaderPool, EndsWhoWorks) {
    ReaderPool pool(reader(), 1);
    (void)pool.ask({{"job", "pid"}});
    std::string working;
    std::string waiting;
    std::thread one([&] { working = refusalOf(pool, "sleep"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    std::thread other([&] { waiting = refusalOf(pool, "pid"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    pool.end();
    one.join();
    other.join();
    EXPECT_EQ(working, "The reading process ended with signal 15 (SIGTERM).");
    EXPECT_EQ(waiting, "The server has ended.");
    EXPECT_EQ(refusalOf(pool, "pid"), "The server has ended.");
}

TEST(ReaderPool, AProgramThatIsNotThereIsASentence) {
    ReaderPool pool({"/nowhere/reader"}, 1);
    EXPECT_EQ(refusalOf(pool, "pid"), "No reading process can be started: No such file or directory.");
}

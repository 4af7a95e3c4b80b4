#include "view/Server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "tests/support/MediumFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "view/Answers.h"

using namespace radvex::test;
using namespace radvex::view;
using std::chrono::milliseconds;

// Who asked for the page may be gone before the server answers for the first time.
TEST(Server, MayBeStoppedBeforeItRuns) {
    const TemporaryFolder folder;
    const std::string file = writeSlice(folder, {.fileId = "A", .words = {1, 2}});
    const std::string program = std::filesystem::path(RADVEX_COMMAND).replace_filename("radvex-view").string();
    ReaderPool readers({program, "read", RADVEX_LIBRARY, "1"}, 1);
    Answers answers(readers, Answers::Subject{.path = file}, 1 << 20);
    auto server = std::make_shared<Server>(answers, 0, std::vector<Asset>{}, false);
    auto running = std::async(std::launch::async, [server] {
        std::this_thread::sleep_for(milliseconds(50));
        server->run();
    });
    server->stop();
    const bool hasEnded = running.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(hasEnded) << "it serves although nobody will stop it again";
    server->stop(); // also when it has ended already, and what the wait for it needs when it has not
}

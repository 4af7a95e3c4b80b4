#include "tests/bridge/BridgeTest.h"

#include <map>
#include <set>

using GTU::ErrorManager;

namespace radvex::test {

class RegisteredErrors : public BridgeTest {
  protected:
    /// The host calls with a list of `count` numbers and the library answers over the other end of the link.
    Thrown publish(int count = 0, const char* head = "List") {
        const TTLink host = services().hostLink();
        TTPutFunction(host, head, count);
        for (int index = 0; index < count; ++index) {
            TTPutInteger32(host, index);
        }
        TTEndPacket(host);
        Thrown thrown;
        inLibrary(
            [&] { thrown = thrownBy([&] { ErrorManager::sendRegisteredErrorsViaTether(services().libraryLink()); }); });
        return thrown;
    }

    Thrown publishRefusing(const std::string& function, long n) {
        services().resetLink();
        ledger().refuseLink(function, n);
        const Thrown thrown = publish();
        EXPECT_EQ(ledger().linkCalls().at(function), n) << "nothing follows a refused call";
        ledger().refuseNothing();
        EXPECT_EQ(TTError(services().libraryLink()), TTE_OK) << function;
        return thrown;
    }

    static long registered() { return static_cast<long>(ErrorManager::errors().size()); }
};

TEST_F(RegisteredErrors, GoOutAsAnAssociationOfRules) {
    ErrorManager::set({"FreshPublished", "Published `a`."});
    EXPECT_EQ(publish().name, "");
    const TTLink host = services().hostLink();
    EXPECT_EQ(readHead(host), "Association/" + std::to_string(registered()));
    std::set<std::string> names;
    for (long rule = 0; rule < registered(); ++rule) {
        ASSERT_EQ(readHead(host), "Rule/2");
        ASSERT_EQ(TTGetNext(host), TTTK_STRING);
        const std::string name = readText(host);
        names.insert(name);
        ASSERT_EQ(readHead(host), "List/2");
        ASSERT_EQ(TTGetNext(host), TTTK_INTEGER);
        EXPECT_EQ(readText(host), std::to_string(ErrorManager::findError(name).id()));
        ASSERT_EQ(TTGetNext(host), TTTK_STRING);
        EXPECT_EQ(readText(host), ErrorManager::findError(name).message());
    }
    EXPECT_EQ(names.size(), static_cast<std::size_t>(registered()));
    EXPECT_EQ(names.count("FreshPublished"), 1U) << "a library's own are among them";
    EXPECT_EQ(TTGetNext(host), TTTK_ERROR) << "nothing follows";
    TTClearError(host);
}

TEST_F(RegisteredErrors, GoOutInTheOrderOfTheTable) {
    publish();
    const TTLink host = services().hostLink();
    readHead(host);
    for (const auto& [name, error] : ErrorManager::errors()) {
        readHead(host);
        ASSERT_EQ(readText(host), name);
        readList(host);
    }
}

TEST_F(RegisteredErrors, CanBeAskedForAgain) {
    EXPECT_EQ(publish().name, "");
    services().resetLink();
    EXPECT_EQ(publish().name, "");
    EXPECT_EQ(readHead(services().hostLink()), "Association/" + std::to_string(registered()));
}

TEST_F(RegisteredErrors, AreRefusedToAListWithArguments) {
    EXPECT_THAT(publish(1), isError(-29, "TTTestHeadError", "Expected 0 arguments but got 1"));
}

TEST_F(RegisteredErrors, AreRefusedToAnotherHead) {
    const Thrown thrown = publish(0, "Association");
    EXPECT_EQ(thrown.id, -29);
    EXPECT_TRUE(thrown.debugInfo.ends_with("Debug info: Expected \"List\"")) << thrown.debugInfo;
    EXPECT_EQ(TTError(services().libraryLink()), TTE_OK) << "usable for the next call";
    services().resetLink();
    EXPECT_EQ(publish().name, "");
}

TEST_F(RegisteredErrors, AreRefusedWithoutALink) {
    EXPECT_EQ(thrownBy([] { ErrorManager::sendRegisteredErrorsViaTether(nullptr); }).id, -28);
}

TEST_F(RegisteredErrors, EndWithTheCodeOfWhatTheLinkRefused) {
    const long count = registered();
    EXPECT_EQ(publishRefusing("TTTestHead", 1).id, -29);
    EXPECT_EQ(publishRefusing("TTNewPacket", 1).id, -44);
    for (const long n : {1L, 2L, 3L, 1 + 2 * count}) {
        EXPECT_EQ(publishRefusing("TTPutFunction", n).id, -31) << n;
    }
    for (const long n : {1L, 2L, 2 * count}) {
        EXPECT_EQ(publishRefusing("TTPutUTF8String", n).id, -40) << n;
    }
    for (const long n : {1L, count}) {
        EXPECT_EQ(publishRefusing("TTPutInteger64", n).id, -39) << n;
    }
    const Thrown end = publishRefusing("TTEndPacket", 1);
    EXPECT_EQ(end.id, -44);
    EXPECT_TRUE(end.debugInfo.ends_with("Debug info: Error in TTEndPacket")) << end.debugInfo;
    const Thrown flush = publishRefusing("TTFlush", 1);
    EXPECT_EQ(flush.id, -45);
    EXPECT_TRUE(flush.debugInfo.ends_with("Debug info: Error in TTFlush")) << flush.debugInfo;
}

TEST_F(RegisteredErrors, ComeCompleteAfterARefusal) {
    publishRefusing("TTPutFunction", 3);
    services().resetLink();
    EXPECT_EQ(publish().name, "");
    EXPECT_EQ(readHead(services().hostLink()), "Association/" + std::to_string(registered()));
}

} // namespace radvex::test

#include "tests/support/HostTest.h"

namespace radvex::test {

void expectCleanLedger() {
    for (const std::string& violation : velmora::ledger().violations()) {
        ADD_FAILURE() << violation;
    }
    EXPECT_EQ(velmora::ledger().alive(), 0) << "objects are still alive";
}

void ServicesTest::SetUp() {
    velmora::ledger() = velmora::Ledger{};
    mServices = std::make_unique<velmora::Services>();
}

void ServicesTest::TearDown() {
    EXPECT_EQ(TTOpenLinkCount(mServices->environment()), 2) << "links of the host are two";
    EXPECT_EQ(TTOpenBufferCount(mServices->environment()), 0);
    mServices.reset();
    expectCleanLedger();
}

void LibraryTest::SetUp() {
    velmora::ledger() = velmora::Ledger{};
    mHost = velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
}

void LibraryTest::TearDown() {
    EXPECT_EQ(TTOpenLinkCount(mHost->services().environment()), 2) << "links of the host are two";
    EXPECT_EQ(TTOpenBufferCount(mHost->services().environment()), 0);
    mHost.reset();
    expectCleanLedger();
}

int LibraryTest::codeOf(const std::string& name, std::vector<velmora::Value> arguments) {
    try {
        (void)call(name, std::move(arguments));
        return 0;
    } catch (const velmora::LibraryError& error) {
        return error.code();
    }
}

std::string LibraryTest::messageOf(const std::string& name, std::vector<velmora::Value> arguments) {
    try {
        (void)call(name, std::move(arguments));
        return "";
    } catch (const velmora::LibraryError& error) {
        return error.what();
    }
}

} // namespace radvex::test

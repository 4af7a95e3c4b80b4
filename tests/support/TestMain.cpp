#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/SmallStack.h"

/// Runs the tests of a room; with RADVEX_SMALL_STACK set, on a thread with a stack such as a host's helper thread has.
int main(int count, char** arguments) {
    testing::InitGoogleMock(&count, arguments);
    if (std::getenv("RADVEX_SMALL_STACK") == nullptr) {
        return RUN_ALL_TESTS();
    }
    int failed = 1;
    radvex::test::onSmallStack([&] { failed = RUN_ALL_TESTS(); });
    return failed;
}

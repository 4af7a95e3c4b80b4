#include <gtest/gtest.h>

#include "velmora/Tether.h"

TEST(Loopback, GivesBackWhatWasPut) {
    const TTEnvironment environment = TTInitialize();
    int error = -1;
    const TTLink link = TTLoopbackOpen(environment, &error);
    ASSERT_EQ(error, TTE_OK);
    EXPECT_NE(TTPutInteger32(link, -7), 0);
    int number = 0;
    EXPECT_NE(TTGetInteger32(link, &number), 0);
    EXPECT_EQ(number, -7);
    TTClose(link);
    EXPECT_EQ(TTOpenLinkCount(environment), 0);
    TTDeinitialize(environment);
}

#include "ErrorManager.h"

#include <gtest/gtest.h>

TEST(ErrorManager, GivesTheHostsCodesToTheFirstEightErrors) {
    EXPECT_EQ(GTU::ErrorManager::findError("VersionError").id(), 7);
    EXPECT_EQ(GTU::ErrorManager::findError("NoError").id(), 0);
}

#include <gtest/gtest.h>

#include "LosslessJson.h"

using namespace radvex::cli;

TEST(LosslessJson, RealsAlwaysHaveAPointOrAnExponent) {
    EXPECT_EQ(dumpJson(toJson(velmora::Value(1.0))), "1.0");
    EXPECT_EQ(dumpJson(toJson(velmora::Value(1e300))), "1e+300");
}

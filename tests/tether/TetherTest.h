#pragma once

#include <gtest/gtest.h>

#include <string>

#include "velmora/Tether.h"

namespace tether::test {

/// A test with an environment of its own. It ends with every link closed and every buffer released.
class TetherTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mEnvironment = TTInitialize();
        ASSERT_NE(mEnvironment, nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(TTOpenLinkCount(mEnvironment), 0) << "links or marks are still open";
        EXPECT_EQ(TTOpenBufferCount(mEnvironment), 0) << "buffers were not released";
        TTDeinitialize(mEnvironment);
    }

    TTEnvironment environment() const { return mEnvironment; }
    TTLink openLoopback() const {
        int error = -1;
        const TTLink link = TTLoopbackOpen(mEnvironment, &error);
        EXPECT_EQ(error, TTE_OK);
        return link;
    }

  private:
    TTEnvironment mEnvironment = nullptr;
};

/// A test on one loopback, `link`.
class LoopbackTest : public TetherTest {
  protected:
    void SetUp() override {
        TetherTest::SetUp();
        link = openLoopback();
    }
    void TearDown() override {
        TTClose(link);
        TetherTest::TearDown();
    }

    TTLink link = nullptr;
};

/// A test on the two ends of a pair.
class PairTest : public TetherTest {
  protected:
    void SetUp() override {
        TetherTest::SetUp();
        int error = -1;
        ASSERT_NE(TTOpenPair(environment(), &here, &there, &error), 0);
        ASSERT_EQ(error, TTE_OK);
    }
    void TearDown() override {
        TTClose(here);
        TTClose(there);
        TetherTest::TearDown();
    }

    TTLink here = nullptr;
    TTLink there = nullptr;
};

/// Expects that a function failed with `error`, and makes the link usable again.
inline void expectFailure(int result, TTLink link, int error) {
    EXPECT_EQ(result, 0);
    EXPECT_EQ(TTError(link), error);
    TTClearError(link);
}

/// Expects that nothing is left to read.
inline void expectNothingLeft(TTLink link) {
    EXPECT_EQ(TTGetNext(link), TTTK_ERROR);
    EXPECT_EQ(TTError(link), TTE_EMPTY);
    TTClearError(link);
}

inline void putInteger(TTLink link, int value) { EXPECT_NE(TTPutInteger32(link, value), 0); }

inline void expectInteger(TTLink link, int expected) {
    int value = expected + 1;
    EXPECT_NE(TTGetInteger32(link, &value), 0) << "expected " << expected << ", error " << TTError(link);
    EXPECT_EQ(value, expected);
}

inline void expectFunction(TTLink link, const std::string& expectedHead, int expectedCount) {
    const char* head = nullptr;
    int count = -1;
    ASSERT_NE(TTGetFunction(link, &head, &count), 0) << "expected " << expectedHead << ", error " << TTError(link);
    EXPECT_EQ(head, expectedHead);
    EXPECT_EQ(count, expectedCount);
    TTReleaseSymbol(link, head);
}

inline void expectSymbol(TTLink link, const std::string& expected) {
    const char* name = nullptr;
    ASSERT_NE(TTGetSymbol(link, &name), 0) << "expected " << expected << ", error " << TTError(link);
    EXPECT_EQ(name, expected);
    TTReleaseSymbol(link, name);
}

inline void expectString(TTLink link, const std::string& expected) {
    const char* text = nullptr;
    ASSERT_NE(TTGetString(link, &text), 0) << "expected " << expected << ", error " << TTError(link);
    EXPECT_EQ(text, expected);
    TTReleaseString(link, text);
}

/// Puts f[7, g[x, "y"]]: three levels, one of each kind.
inline void putNested(TTLink link) {
    EXPECT_NE(TTPutFunction(link, "f", 2), 0);
    putInteger(link, 7);
    EXPECT_NE(TTPutFunction(link, "g", 2), 0);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    EXPECT_NE(TTPutString(link, "y"), 0);
}

inline void expectNested(TTLink link) {
    expectFunction(link, "f", 2);
    expectInteger(link, 7);
    expectFunction(link, "g", 2);
    expectSymbol(link, "x");
    expectString(link, "y");
}

} // namespace tether::test

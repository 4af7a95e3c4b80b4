// Opening, closing, resetting and counting of links, and which end reads what.

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

using Loopback = LoopbackTest;
using Pair = PairTest;
using Environment = TetherTest;

TEST_F(Loopback, GivesBackWhatWasPutFirstInFirstOut) {
    putInteger(link, -7);
    EXPECT_NE(TTPutString(link, "second"), 0);
    putNested(link);
    expectInteger(link, -7);
    expectString(link, "second");
    expectNested(link);
    expectNothingLeft(link);
}

TEST_F(Loopback, ReadsWhileItIsBeingWritten) {
    for (int value = 0; value < 5; ++value) { // two in, one out
        putInteger(link, 2 * value);
        putInteger(link, 2 * value + 1);
        expectInteger(link, value);
    }
    for (const int left : {5, 6, 7, 8, 9}) {
        expectInteger(link, left);
    }
    expectNothingLeft(link);
}

TEST_F(Loopback, TellsTheTypeOfEachNextExpressionWithoutConsumingIt) {
    EXPECT_NE(TTPutFunction(link, "f", 0), 0);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    EXPECT_NE(TTPutString(link, "y"), 0);
    putInteger(link, 3);
    EXPECT_NE(TTPutReal64(link, 0.5), 0);
    for (int repeat = 0; repeat < 2; ++repeat) {
        EXPECT_EQ(TTGetNext(link), TTTK_FUNCTION);
    }
    expectFunction(link, "f", 0);
    EXPECT_EQ(TTGetNext(link), TTTK_SYMBOL);
    expectSymbol(link, "x");
    EXPECT_EQ(TTGetNext(link), TTTK_STRING);
    expectString(link, "y");
    EXPECT_EQ(TTGetNext(link), TTTK_INTEGER);
    expectInteger(link, 3);
    EXPECT_EQ(TTGetNext(link), TTTK_REAL);
    double real = 0.0;
    EXPECT_NE(TTGetReal64(link, &real), 0);
    EXPECT_EQ(real, 0.5);
}

TEST_F(Loopback, ResetDropsWhatIsUnreadAndHalfWrittenAndTheError) {
    putInteger(link, 1);
    EXPECT_NE(TTPutFunction(link, "f", 2), 0);
    putInteger(link, 2);
    expectFailure(TTPutFunction(link, "g", -1), link, TTE_SEQUENCE);
    EXPECT_EQ(TTPutFunction(link, "g", -1), 0); // leaves the error where it is
    EXPECT_NE(TTReset(link), 0);
    EXPECT_EQ(TTError(link), TTE_OK);
    expectNothingLeft(link);
    EXPECT_NE(TTEndPacket(link), 0) << "the half-written f is still open";
    putInteger(link, 3);
    expectInteger(link, 3);
}

TEST_F(Pair, CarriesExpressionsInBothDirectionsApart) {
    putInteger(here, 11);
    putInteger(there, 22);
    putNested(here);
    putInteger(there, 23);
    expectInteger(here, 22);
    expectInteger(there, 11);
    expectNested(there);
    expectInteger(here, 23);
    expectNothingLeft(here);
    expectNothingLeft(there);
}

TEST_F(Pair, AnEndDoesNotReadWhatItPut) {
    putInteger(here, 5);
    expectNothingLeft(here);
    expectInteger(there, 5);
}

TEST_F(Pair, WhatWasPutStaysReadableAfterItsEndIsClosed) {
    putNested(here);
    putInteger(here, 8);
    TTClose(here);
    here = nullptr;
    EXPECT_EQ(TTOpenLinkCount(environment()), 1);
    expectNested(there);
    expectInteger(there, 8);
    expectNothingLeft(there);
    putInteger(there, 9); // into the void, without a crash
}

TEST_F(Pair, AnErrorStaysOnItsEnd) {
    expectNothingLeft(here);
    EXPECT_EQ(TTGetNext(here), TTTK_ERROR);
    EXPECT_EQ(TTError(here), TTE_EMPTY);
    EXPECT_EQ(TTError(there), TTE_OK);
    putInteger(there, 4);
    TTClearError(here);
    expectInteger(here, 4);
}

TEST_F(Pair, ResetDropsBothDirections) {
    putInteger(here, 1);
    putInteger(there, 2);
    EXPECT_NE(TTPutFunction(there, "f", 3), 0);
    EXPECT_NE(TTReset(here), 0);
    expectNothingLeft(here);
    expectNothingLeft(there);
    EXPECT_NE(TTEndPacket(there), 0) << "the half-written f of the other end is still open";
    putInteger(there, 6);
    expectInteger(here, 6);
}

TEST_F(Environment, CountsLinksMarksAndBuffers) {
    const TTLink loopback = openLoopback();
    TTLink first = nullptr;
    TTLink second = nullptr;
    int error = -1;
    ASSERT_NE(TTOpenPair(environment(), &first, &second, &error), 0);
    EXPECT_EQ(TTOpenLinkCount(environment()), 3);
    const TTMark mark = TTCreateMark(loopback);
    EXPECT_EQ(TTOpenLinkCount(environment()), 4);

    const int elements[] = {1, 2, 3};
    EXPECT_NE(TTPutInteger32List(loopback, elements, 3), 0);
    EXPECT_NE(TTPutString(loopback, "text"), 0);
    EXPECT_EQ(TTOpenBufferCount(environment()), 0) << "putting hands nothing out";
    const int* list = nullptr;
    int length = 0;
    const char* text = nullptr;
    EXPECT_NE(TTGetInteger32List(loopback, &list, &length), 0);
    EXPECT_EQ(TTOpenBufferCount(environment()), 1);
    EXPECT_NE(TTGetString(loopback, &text), 0);
    EXPECT_EQ(TTOpenBufferCount(environment()), 2);
    TTReleaseInteger32List(loopback, list, length);
    TTReleaseString(loopback, text);
    EXPECT_EQ(TTOpenBufferCount(environment()), 0);

    TTDestroyMark(loopback, mark);
    EXPECT_EQ(TTOpenLinkCount(environment()), 3);
    TTClose(loopback);
    TTClose(second);
    TTClose(first);
}

TEST_F(Environment, ABufferMayBeReleasedThroughAnotherLinkAndAfterItsLinkIsClosed) {
    const TTLink source = openLoopback();
    const TTLink other = openLoopback();
    EXPECT_NE(TTPutString(source, "text"), 0);
    const char* text = nullptr;
    EXPECT_NE(TTGetString(source, &text), 0);
    TTClose(source);
    EXPECT_STREQ(text, "text");
    TTReleaseString(other, text);
    TTClose(other);
}

TEST_F(Environment, ReleasingTwiceOrSomethingForeignChangesNothing) {
    const TTLink link = openLoopback();
    EXPECT_NE(TTPutString(link, "text"), 0);
    const char* text = nullptr;
    EXPECT_NE(TTGetString(link, &text), 0);
    const char foreign[] = "foreign";
    TTReleaseString(link, foreign);
    EXPECT_EQ(TTOpenBufferCount(environment()), 1);
    TTReleaseString(link, text);
    TTReleaseString(link, text);
    TTReleaseString(link, nullptr);
    EXPECT_EQ(TTOpenBufferCount(environment()), 0);
    TTClose(link);
}

TEST(EnvironmentEnd, ClosesLinksAndFreesBuffersThatAreStillOpen) {
    const TTEnvironment environment = TTInitialize();
    int error = -1;
    const TTLink loopback = TTLoopbackOpen(environment, &error);
    TTLink first = nullptr;
    TTLink second = nullptr;
    EXPECT_NE(TTOpenPair(environment, &first, &second, &error), 0);
    EXPECT_NE(TTPutString(loopback, "unread and then read"), 0);
    const char* text = nullptr;
    EXPECT_NE(TTGetString(loopback, &text), 0);
    EXPECT_NE(TTCreateMark(first), nullptr);
    EXPECT_NE(TTPutFunction(second, "half", 2), 0);
    TTDeinitialize(environment); // the leak checker tells what is forgotten here
}

TEST_F(Environment, EnvironmentsKnowOnlyTheirOwnLinks) {
    const TTEnvironment other = TTInitialize();
    const TTLink link = openLoopback();
    EXPECT_EQ(TTLinkEnvironment(link), environment());
    EXPECT_EQ(TTOpenLinkCount(other), 0);
    EXPECT_EQ(TTOpenLinkCount(environment()), 1);
    TTDeinitialize(other);
    putInteger(link, 1);
    expectInteger(link, 1);
    TTClose(link);
}

} // namespace

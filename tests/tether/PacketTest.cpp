// Packets: heads, ends, and what is skipped between them.

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

using Packet = PairTest;

void putPacket(TTLink link, const char* head, int value) {
    EXPECT_NE(TTPutFunction(link, head, 1), 0);
    putInteger(link, value);
    EXPECT_NE(TTEndPacket(link), 0);
    EXPECT_NE(TTFlush(link), 0);
}

TEST_F(Packet, TheTwoKnownHeadsHaveTheirNumbers) {
    putPacket(here, "ReturnPacket", 10);
    putPacket(here, "EvaluatePacket", 20);
    EXPECT_EQ(TTNextPacket(there), 3);
    expectInteger(there, 10);
    EXPECT_EQ(TTNextPacket(there), 13);
    expectInteger(there, 20);
    EXPECT_EQ(TTError(there), TTE_OK);
}

TEST_F(Packet, AnotherHeadIsNoPacketAndNothingIsConsumed) {
    putPacket(here, "TextPacket", 10);
    expectFailure(TTNextPacket(there), there, TTE_HEAD);
    expectFunction(there, "TextPacket", 1);
    expectInteger(there, 10);
}

TEST_F(Packet, AnythingThatIsNoFunctionIsNoPacketAndNothingIsConsumed) {
    EXPECT_NE(TTPutSymbol(here, "ReturnPacket"), 0);
    expectFailure(TTNextPacket(there), there, TTE_TYPE);
    expectSymbol(there, "ReturnPacket");
    expectFailure(TTNextPacket(there), there, TTE_EMPTY);
}

TEST_F(Packet, NewPacketSkipsTheRestOfThisOneOnly) {
    EXPECT_NE(TTPutFunction(here, "ReturnPacket", 1), 0);
    putNested(here);
    EXPECT_NE(TTEndPacket(here), 0);
    putPacket(here, "ReturnPacket", 20);
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    expectFunction(there, "f", 2);
    expectInteger(there, 7);
    EXPECT_NE(TTNewPacket(there), 0); // in the middle of f
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    expectInteger(there, 20);
    expectNothingLeft(there);
}

TEST_F(Packet, NewPacketBehindTheLastExpressionOnlyPassesTheEnd) {
    putPacket(here, "ReturnPacket", 10);
    putPacket(here, "EvaluatePacket", 20);
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    expectInteger(there, 10);
    EXPECT_NE(TTNewPacket(there), 0);
    EXPECT_EQ(TTNextPacket(there), TTP_EVALUATE);
    expectInteger(there, 20);
}

TEST_F(Packet, NewPacketOnAnEmptyLinkIsASuccess) {
    EXPECT_NE(TTNewPacket(there), 0);
    EXPECT_NE(TTNewPacket(there), 0);
    EXPECT_EQ(TTError(there), TTE_OK);
    putInteger(here, 1);
    expectInteger(there, 1);
}

TEST_F(Packet, NewPacketSkipsAPacketThatNobodyBeganToRead) {
    putPacket(here, "TextPacket", 10);
    putPacket(here, "ReturnPacket", 20);
    expectFailure(TTNextPacket(there), there, TTE_HEAD);
    EXPECT_NE(TTNewPacket(there), 0);
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    expectInteger(there, 20);
}

TEST_F(Packet, CannotEndInsideAFunction) {
    EXPECT_NE(TTPutFunction(here, "f", 2), 0);
    putInteger(here, 1);
    expectFailure(TTEndPacket(here), here, TTE_SEQUENCE);
    putInteger(here, 2); // the function goes on where it was
    EXPECT_NE(TTEndPacket(here), 0);
    expectFunction(there, "f", 2);
    expectInteger(there, 1);
    expectInteger(there, 2);
}

TEST_F(Packet, CannotEndInsideANestedFunctionWhoseOwnArgumentsAreThere) {
    EXPECT_NE(TTPutFunction(here, "f", 2), 0);
    EXPECT_NE(TTPutFunction(here, "g", 1), 0);
    putInteger(here, 1);
    expectFailure(TTEndPacket(here), here, TTE_SEQUENCE);
    EXPECT_NE(TTPutFunction(here, "h", 0), 0); // a function without arguments is whole at once
    EXPECT_NE(TTEndPacket(here), 0);
}

TEST_F(Packet, EndsArePassedOverByEveryWayOfReading) {
    const auto end = [&] { EXPECT_NE(TTEndPacket(here), 0); };
    end();
    putInteger(here, 1);
    end(), end();
    EXPECT_NE(TTPutSymbol(here, "x"), 0);
    end();
    EXPECT_NE(TTPutString(here, "y"), 0);
    end();
    EXPECT_NE(TTPutFunction(here, "ReturnPacket", 0), 0);
    end();
    const int elements[] = {4, 5};
    EXPECT_NE(TTPutInteger32List(here, elements, 2), 0);
    end();

    expectInteger(there, 1);
    EXPECT_EQ(TTGetNext(there), TTTK_SYMBOL);
    expectSymbol(there, "x");
    expectString(there, "y");
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    const int* list = nullptr;
    int length = 0;
    ASSERT_NE(TTGetInteger32List(there, &list, &length), 0);
    EXPECT_EQ(length, 2);
    TTReleaseInteger32List(there, list, length);
    expectNothingLeft(there);
}

TEST_F(Packet, IsVisibleToTheOtherEndBeforeItIsFlushed) {
    EXPECT_NE(TTPutFunction(here, "ReturnPacket", 1), 0);
    putInteger(here, 10);
    EXPECT_EQ(TTNextPacket(there), TTP_RETURN);
    expectInteger(there, 10);
    EXPECT_NE(TTFlush(here), 0);
}

} // namespace

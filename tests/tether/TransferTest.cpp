// Moving whole expressions between links.

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

class Transfer : public LoopbackTest {
  protected:
    void SetUp() override {
        LoopbackTest::SetUp();
        target = openLoopback();
    }
    void TearDown() override {
        TTClose(target);
        LoopbackTest::TearDown();
    }

    TTLink target = nullptr;
};

class TransferToPair : public PairTest {
  protected:
    void SetUp() override {
        PairTest::SetUp();
        loopback = openLoopback();
    }
    void TearDown() override {
        TTClose(loopback);
        PairTest::TearDown();
    }

    TTLink loopback = nullptr;
};

TEST_F(Transfer, MovesOneWholeNestedExpression) {
    putNested(link);
    putInteger(link, 5);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectNested(target);
    expectNothingLeft(target);
    expectInteger(link, 5);
    expectNothingLeft(link);
}

TEST_F(Transfer, InsideAFunctionMovesOneArgument) {
    EXPECT_NE(TTPutFunction(link, "f", 2), 0);
    putNested(link);
    putInteger(link, 2);
    expectFunction(link, "f", 2);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectNested(target);
    expectInteger(link, 2);
}

TEST_F(Transfer, CountsAsOneArgumentOfTheTargetsFunction) {
    putNested(link);
    EXPECT_NE(TTPutFunction(target, "h", 2), 0);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectFailure(TTEndPacket(target), target, TTE_SEQUENCE);
    putInteger(target, 1);
    EXPECT_NE(TTEndPacket(target), 0);
    expectFunction(target, "h", 2);
    expectNested(target);
    expectInteger(target, 1);
}

TEST_F(Transfer, PassesOverAnEndOfPacket) {
    EXPECT_NE(TTEndPacket(link), 0);
    putInteger(link, 4);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectInteger(target, 4);
}

TEST_F(Transfer, AnEmptySourceIsAnErrorOfTheSource) {
    EXPECT_EQ(TTTransferExpression(target, link), 0);
    EXPECT_EQ(TTError(link), TTE_EMPTY);
    EXPECT_EQ(TTError(target), TTE_OK);
}

TEST_F(Transfer, AHalfWrittenExpressionStaysUntilItIsWhole) {
    EXPECT_NE(TTPutFunction(link, "f", 2), 0);
    putInteger(link, 7);
    expectFailure(TTTransferExpression(target, link), link, TTE_EMPTY);
    expectNothingLeft(target);
    EXPECT_NE(TTPutFunction(link, "g", 2), 0);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    expectFailure(TTTransferExpression(target, link), link, TTE_EMPTY);
    expectNothingLeft(target);
    EXPECT_NE(TTPutString(link, "y"), 0);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectNested(target);
}

TEST_F(Transfer, AStandingErrorOfEitherLinkStopsIt) {
    putInteger(link, 6);
    EXPECT_EQ(TTPutFunction(target, "f", -1), 0);
    EXPECT_EQ(TTTransferExpression(target, link), 0);
    EXPECT_EQ(TTError(target), TTE_SEQUENCE);
    TTClearError(target);
    TTClearError(link);
    EXPECT_EQ(TTPutFunction(link, "f", -1), 0);
    EXPECT_EQ(TTTransferExpression(target, link), 0);
    TTClearError(link);
    expectNothingLeft(target);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectInteger(target, 6);
}

TEST_F(Transfer, ANullTargetTakesNothingFromTheSource) {
    putInteger(link, 6);
    EXPECT_EQ(TTTransferExpression(nullptr, link), 0);
    TTClearError(link);
    expectInteger(link, 6);
    EXPECT_EQ(TTTransferExpression(target, nullptr), 0);
}

TEST_F(Transfer, OfALoopbackToItselfTurnsItsOrder) {
    putNested(link);
    putInteger(link, 2);
    EXPECT_NE(TTTransferExpression(link, link), 0);
    expectInteger(link, 2);
    expectNested(link);
    expectNothingLeft(link);
}

TEST_F(Transfer, OfAMarkedExpressionLeavesItToTheMark) {
    putNested(link);
    const TTMark mark = TTCreateMark(link);
    EXPECT_NE(TTTransferExpression(target, link), 0);
    EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
    expectNested(link);
    expectNested(target);
    TTDestroyMark(link, mark);
}

TEST_F(TransferToPair, MovesAllOfALoopbackInOrder) {
    putInteger(loopback, 1);
    putNested(loopback);
    EXPECT_NE(TTPutSymbol(loopback, "last"), 0);
    EXPECT_NE(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    expectNothingLeft(loopback);
    expectInteger(there, 1);
    expectNested(there);
    expectSymbol(there, "last");
    expectNothingLeft(there);
}

TEST_F(TransferToPair, MovesOnlyWhatIsUnread) {
    putInteger(loopback, 1);
    putInteger(loopback, 2);
    expectInteger(loopback, 1);
    EXPECT_NE(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    expectInteger(there, 2);
    expectNothingLeft(there);
}

TEST_F(TransferToPair, FillsTheArgumentsOfAFunction) {
    EXPECT_NE(TTPutFunction(here, "List", 3), 0);
    putInteger(loopback, 1);
    putNested(loopback);
    putInteger(loopback, 3);
    EXPECT_NE(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    EXPECT_NE(TTEndPacket(here), 0);
    expectFunction(there, "List", 3);
    expectInteger(there, 1);
    expectNested(there);
    expectInteger(there, 3);
}

TEST_F(TransferToPair, AnEmptyLoopbackIsASuccess) {
    EXPECT_NE(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    expectNothingLeft(there);
}

TEST_F(TransferToPair, AHalfWrittenLoopbackIsRefusedAndKeepsAll) {
    putInteger(loopback, 1);
    EXPECT_NE(TTPutFunction(loopback, "f", 1), 0);
    expectFailure(TTTransferToEndOfLoopbackLink(here, loopback), here, TTE_SEQUENCE);
    expectNothingLeft(there);
    putInteger(loopback, 2);
    EXPECT_NE(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    expectInteger(there, 1);
    expectFunction(there, "f", 1);
    expectInteger(there, 2);
}

TEST_F(TransferToPair, ALoopbackWithAnErrorIsRefusedAndKeepsAll) {
    putInteger(loopback, 1);
    EXPECT_EQ(TTPutFunction(loopback, "f", -1), 0);
    EXPECT_EQ(TTTransferToEndOfLoopbackLink(here, loopback), 0);
    EXPECT_NE(TTError(here), TTE_OK);
    TTClearError(here);
    TTClearError(loopback);
    expectNothingLeft(there);
    expectInteger(loopback, 1);
}

TEST_F(TransferToPair, APairAsTheSourceIsRefused) {
    putInteger(there, 1);
    expectFailure(TTTransferToEndOfLoopbackLink(loopback, here), loopback, TTE_LINK);
    expectNothingLeft(loopback);
    expectInteger(here, 1);
}

TEST_F(TransferToPair, ALoopbackToItselfAndANullSourceAreRefused) {
    putInteger(loopback, 1);
    expectFailure(TTTransferToEndOfLoopbackLink(loopback, loopback), loopback, TTE_LINK);
    expectFailure(TTTransferToEndOfLoopbackLink(loopback, nullptr), loopback, TTE_NULL);
    EXPECT_EQ(TTTransferToEndOfLoopbackLink(nullptr, loopback), 0);
    expectInteger(loopback, 1);
}

} // namespace

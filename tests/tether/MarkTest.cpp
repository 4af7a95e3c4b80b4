// Marks: reading positions to which a reader goes back.

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

using Mark = LoopbackTest;
using MarkOfAPair = PairTest;

TEST_F(Mark, SeekingBackReadsTheSameAgain) {
    putInteger(link, 1);
    putNested(link);
    putInteger(link, 3);
    expectInteger(link, 1);
    const TTMark mark = TTCreateMark(link);
    ASSERT_NE(mark, nullptr);
    for (int repeat = 0; repeat < 3; ++repeat) {
        expectNested(link);
        expectInteger(link, 3);
        expectNothingLeft(link);
        EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
    }
    TTDestroyMark(link, mark);
    expectNested(link);
    expectInteger(link, 3);
}

TEST_F(Mark, SkipsWholeExpressionsWithEverythingInThem) {
    const TTMark mark = TTCreateMark(link);
    putInteger(link, 100);
    putNested(link);
    EXPECT_NE(TTEndPacket(link), 0);
    EXPECT_NE(TTPutSymbol(link, "third"), 0);
    EXPECT_EQ(TTSeekMark(link, mark, 1), mark);
    expectNested(link);
    EXPECT_EQ(TTSeekMark(link, mark, 2), mark);
    expectSymbol(link, "third");
    EXPECT_EQ(TTSeekMark(link, mark, 3), mark);
    expectNothingLeft(link);
    EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
    expectInteger(link, 100);
    TTDestroyMark(link, mark);
}

TEST_F(Mark, InsideAFunctionSkipsItsArguments) {
    EXPECT_NE(TTPutFunction(link, "f", 3), 0);
    putInteger(link, 10);
    putNested(link);
    putInteger(link, 30);
    expectFunction(link, "f", 3);
    const TTMark mark = TTCreateMark(link);
    EXPECT_EQ(TTSeekMark(link, mark, 2), mark);
    expectInteger(link, 30);
    TTDestroyMark(link, mark);
}

TEST_F(Mark, SkippingBeyondTheEndFailsAndStaysInPlace) {
    const TTMark mark = TTCreateMark(link);
    putInteger(link, 1);
    putInteger(link, 2);
    expectInteger(link, 1);
    EXPECT_EQ(TTSeekMark(link, mark, 3), nullptr);
    EXPECT_EQ(TTError(link), TTE_EMPTY);
    TTClearError(link);
    expectInteger(link, 2);
    TTDestroyMark(link, mark);
}

TEST_F(Mark, ANegativeSkipFailsAndStaysInPlace) {
    const TTMark mark = TTCreateMark(link);
    putInteger(link, 1);
    putInteger(link, 2);
    expectInteger(link, 1);
    EXPECT_EQ(TTSeekMark(link, mark, -1), nullptr);
    EXPECT_EQ(TTError(link), TTE_SEQUENCE);
    TTClearError(link);
    expectInteger(link, 2);
    TTDestroyMark(link, mark);
}

TEST_F(Mark, AHalfWrittenExpressionIsNotSkipped) {
    const TTMark mark = TTCreateMark(link);
    EXPECT_NE(TTPutFunction(link, "f", 2), 0);
    putInteger(link, 1);
    EXPECT_EQ(TTSeekMark(link, mark, 1), nullptr);
    EXPECT_EQ(TTError(link), TTE_EMPTY);
    TTClearError(link);
    putInteger(link, 2);
    EXPECT_EQ(TTSeekMark(link, mark, 1), mark);
    expectNothingLeft(link);
    TTDestroyMark(link, mark);
}

TEST_F(Mark, TwoMarksAreKeptApart) {
    putInteger(link, 1);
    putInteger(link, 2);
    putInteger(link, 3);
    const TTMark first = TTCreateMark(link);
    expectInteger(link, 1);
    const TTMark second = TTCreateMark(link);
    EXPECT_NE(first, second);
    expectInteger(link, 2);
    expectInteger(link, 3);
    EXPECT_EQ(TTSeekMark(link, second, 0), second);
    expectInteger(link, 2);
    EXPECT_EQ(TTSeekMark(link, first, 0), first);
    expectInteger(link, 1);
    TTDestroyMark(link, first); // the later mark still keeps what it needs
    expectInteger(link, 2);
    EXPECT_EQ(TTSeekMark(link, second, 1), second);
    expectInteger(link, 3);
    TTDestroyMark(link, second);
}

TEST_F(Mark, TwoMarksAtOneExpressionAreDestroyedOneAtATime) {
    putInteger(link, 1);
    const TTMark first = TTCreateMark(link);
    const TTMark second = TTCreateMark(link);
    expectInteger(link, 1);
    TTDestroyMark(link, first);
    EXPECT_EQ(TTSeekMark(link, second, 0), second);
    expectInteger(link, 1);
    TTDestroyMark(link, second);
}

TEST_F(Mark, NullForeignAndDestroyedMarksAreRefused) {
    const TTLink other = openLoopback();
    const TTMark foreign = TTCreateMark(other);
    const TTMark destroyed = TTCreateMark(link);
    TTDestroyMark(link, destroyed);
    putInteger(link, 1);
    for (const TTMark mark : {TTMark{nullptr}, foreign, destroyed}) {
        EXPECT_EQ(TTSeekMark(link, mark, 0), nullptr);
        EXPECT_EQ(TTError(link), TTE_NULL);
        TTClearError(link);
    }
    expectInteger(link, 1);
    TTDestroyMark(link, foreign); // not the link's own: left alone
    EXPECT_EQ(TTSeekMark(other, foreign, 0), foreign);
    TTDestroyMark(link, nullptr);
    TTDestroyMark(link, destroyed);
    TTClose(other);
}

TEST_F(Mark, GoesWithItsLink) {
    const TTLink other = openLoopback();
    EXPECT_NE(TTCreateMark(other), nullptr);
    EXPECT_NE(TTCreateMark(other), nullptr);
    EXPECT_EQ(TTOpenLinkCount(environment()), 4);
    TTClose(other);
    EXPECT_EQ(TTOpenLinkCount(environment()), 1);
}

TEST_F(Mark, StandsAtTheEndAfterAReset) {
    putInteger(link, 1);
    const TTMark mark = TTCreateMark(link);
    putInteger(link, 2);
    EXPECT_NE(TTReset(link), 0);
    EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
    expectNothingLeft(link); // neither 1 nor 2 come back
    putInteger(link, 3);
    expectInteger(link, 3);
    EXPECT_EQ(TTSeekMark(link, mark, 0), mark);
    expectInteger(link, 3);
    TTDestroyMark(link, mark);
}

TEST_F(MarkOfAPair, StandsAtTheEndAfterAResetFromTheOtherEnd) {
    const TTMark mark = TTCreateMark(there);
    putInteger(here, 1);
    expectInteger(there, 1);
    EXPECT_NE(TTReset(here), 0);
    EXPECT_EQ(TTSeekMark(there, mark, 0), mark);
    expectNothingLeft(there);
    putInteger(here, 2);
    expectInteger(there, 2);
    TTDestroyMark(there, mark);
}

TEST_F(MarkOfAPair, IsOnWhatItsEndReads) {
    putInteger(here, 1);
    const TTMark mark = TTCreateMark(there);
    expectInteger(there, 1);
    putInteger(there, 9);
    TTClose(here);
    here = nullptr;
    EXPECT_EQ(TTSeekMark(there, mark, 0), mark);
    expectInteger(there, 1);
    TTDestroyMark(there, mark);
}

} // namespace

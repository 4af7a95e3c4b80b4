// Functions and symbols: what is refused, and what a refusal leaves behind.

#include <climits>

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

using Function = LoopbackTest;
using Symbol = LoopbackTest;
using ErrorState = LoopbackTest;

TEST_F(Function, CarriesItsHeadAndCount) {
    EXPECT_NE(TTPutFunction(link,
                            "Gr\xC3\xB6\xC3\x9F"
                            "e",
                            2),
              0); // a head beyond ASCII
    putInteger(link, 1);
    putInteger(link, 2);
    EXPECT_NE(TTPutFunction(link, "", 0), 0);
    expectFunction(link,
                   "Gr\xC3\xB6\xC3\x9F"
                   "e",
                   2);
    expectInteger(link, 1);
    expectInteger(link, 2);
    expectFunction(link, "", 0);
}

TEST_F(Function, ANegativeCountAndANullHeadPutNothing) {
    expectFailure(TTPutFunction(link, "f", -1), link, TTE_SEQUENCE);
    expectFailure(TTPutFunction(link, "f", INT_MIN), link, TTE_SEQUENCE);
    expectFailure(TTPutFunction(link, nullptr, 1), link, TTE_NULL);
    expectFailure(TTPutSymbol(link, nullptr), link, TTE_NULL);
    expectNothingLeft(link);
}

TEST_F(Function, AMalformedHeadIsRefused) {
    expectFailure(TTPutFunction(link, "\xC3", 0), link, TTE_ENCODING);
    expectFailure(TTPutSymbol(link, "a\xED\xA0\x80"), link, TTE_ENCODING);
    expectNothingLeft(link);
}

TEST_F(Function, IsNotReadFromAnotherType) {
    EXPECT_NE(TTPutSymbol(link, "f"), 0);
    const char* head = nullptr;
    int count = 0;
    expectFailure(TTGetFunction(link, &head, &count), link, TTE_TYPE);
    expectFailure(TTTestHead(link, "f", &count), link, TTE_TYPE);
    expectSymbol(link, "f");
    expectFailure(TTGetFunction(link, &head, &count), link, TTE_EMPTY);
}

TEST_F(Function, NullTargetsConsumeNothing) {
    EXPECT_NE(TTPutFunction(link, "f", 0), 0);
    const char* head = nullptr;
    int count = 0;
    expectFailure(TTGetFunction(link, nullptr, &count), link, TTE_NULL);
    expectFailure(TTGetFunction(link, &head, nullptr), link, TTE_NULL);
    expectFailure(TTTestHead(link, nullptr, &count), link, TTE_NULL);
    expectFailure(TTTestHead(link, "f", nullptr), link, TTE_NULL);
    expectFunction(link, "f", 0);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    expectFailure(TTGetSymbol(link, nullptr), link, TTE_NULL);
    expectFailure(TTTestSymbol(link, nullptr), link, TTE_NULL);
    expectSymbol(link, "x");
}

TEST_F(Function, TestingConsumesTheHeadThatWasAskedForAndNoOther) {
    EXPECT_NE(TTPutFunction(link, "List", 2), 0);
    putInteger(link, 1);
    putInteger(link, 2);
    int count = 0;
    expectFailure(TTTestHead(link, "Lis", &count), link, TTE_HEAD);
    expectFailure(TTTestHead(link, "Lists", &count), link, TTE_HEAD);
    expectFailure(TTTestHead(link, "list", &count), link, TTE_HEAD);
    EXPECT_NE(TTTestHead(link, "List", &count), 0);
    EXPECT_EQ(count, 2);
    expectInteger(link, 1);
    expectInteger(link, 2);
}

TEST_F(Symbol, TestingConsumesTheSymbolThatWasAskedForAndNoOther) {
    EXPECT_NE(TTPutSymbol(link, "Null"), 0);
    expectFailure(TTTestSymbol(link, "None"), link, TTE_HEAD);
    expectFailure(TTTestSymbol(link, ""), link, TTE_HEAD);
    EXPECT_NE(TTTestSymbol(link, "Null"), 0);
    expectFailure(TTTestSymbol(link, "Null"), link, TTE_EMPTY);
}

TEST_F(Symbol, IsNotAString) {
    EXPECT_NE(TTPutString(link, "x"), 0);
    EXPECT_NE(TTPutSymbol(link, "x"), 0);
    const char* text = nullptr;
    expectFailure(TTGetSymbol(link, &text), link, TTE_TYPE);
    expectFailure(TTTestSymbol(link, "x"), link, TTE_TYPE);
    expectString(link, "x");
    expectFailure(TTGetString(link, &text), link, TTE_TYPE);
    expectSymbol(link, "x");
}

TEST_F(Function, AHugeCountWithNothingBehindIsAnErrorAndNoMemory) {
    EXPECT_NE(TTPutFunction(link, "List", INT_MAX), 0);
    const int* list = nullptr;
    int length = 0;
    expectFailure(TTGetInteger32List(link, &list, &length), link, TTE_EMPTY);
    const double* reals = nullptr;
    const int* dimensions = nullptr;
    const char* const* heads = nullptr;
    int depth = 0;
    expectFailure(TTGetReal64Array(link, &reals, &dimensions, &heads, &depth), link, TTE_EMPTY);
    const TTLink target = openLoopback();
    expectFailure(TTTransferExpression(target, link), link, TTE_EMPTY);
    expectNothingLeft(target);
    TTClose(target);
    expectFailure(TTEndPacket(link), link, TTE_SEQUENCE);
    expectFunction(link, "List", INT_MAX);
}

TEST_F(Function, HugeCountsInsideEachOtherDoNotOverflow) {
    constexpr int kLevels = 9; // the product of the counts is beyond 64 bits after three
    for (int level = 0; level < kLevels; ++level) {
        EXPECT_NE(TTPutFunction(link, "List", INT_MAX), 0);
    }
    const double* reals = nullptr;
    const int* dimensions = nullptr;
    const char* const* heads = nullptr;
    int depth = 0;
    expectFailure(TTGetReal64Array(link, &reals, &dimensions, &heads, &depth), link, TTE_EMPTY);
    for (int level = 0; level < kLevels; ++level) {
        expectFunction(link, "List", INT_MAX);
    }
    expectNothingLeft(link);
}

TEST_F(Function, NestsDeeperThanAnyCallStack) {
    constexpr int kDepth = 200000;
    for (int level = 0; level < kDepth; ++level) {
        ASSERT_NE(TTPutFunction(link, "f", 1), 0);
    }
    expectFailure(TTEndPacket(link), link, TTE_SEQUENCE);
    putInteger(link, 1);
    EXPECT_NE(TTEndPacket(link), 0);
    const TTLink target = openLoopback();
    EXPECT_NE(TTTransferExpression(target, link), 0);
    expectNothingLeft(link);
    int count = 0;
    for (int level = 0; level < kDepth; ++level) {
        ASSERT_NE(TTTestHead(target, "f", &count), 0);
    }
    expectInteger(target, 1);
    TTClose(target);
}

TEST_F(ErrorState, StandsUntilItIsClearedAndStopsEverything) {
    putInteger(link, 1);
    const char* name = nullptr;
    EXPECT_EQ(TTGetSymbol(link, &name), 0);
    int value = 5;
    EXPECT_EQ(TTGetInteger32(link, &value), 0);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(TTPutInteger32(link, 2), 0);
    EXPECT_EQ(TTNewPacket(link), 0);
    EXPECT_EQ(TTGetNext(link), TTTK_ERROR);
    EXPECT_EQ(TTError(link), TTE_TYPE) << "the first error stands";
    EXPECT_NE(TTClearError(link), 0);
    EXPECT_EQ(TTError(link), TTE_OK);
    expectInteger(link, 1);
    expectNothingLeft(link);
}

TEST_F(ErrorState, HasASentenceForEveryCodeThatAFailureLeaves) {
    EXPECT_EQ(TTErrorMessage(link), nullptr) << "no error, no sentence";
    std::string earlier;
    for (const int count : {-1, 0}) { // TTE_SEQUENCE, then TTE_NULL
        EXPECT_EQ(TTPutFunction(link, count < 0 ? "f" : nullptr, count), 0);
        const char* message = TTErrorMessage(link);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(TTOpenBufferCount(environment()), 1);
        EXPECT_TRUE(std::string(message).ends_with('.')) << message;
        EXPECT_NE(message, earlier);
        earlier = message;
        TTReleaseErrorMessage(link, message);
        EXPECT_EQ(TTOpenBufferCount(environment()), 0);
        TTClearError(link);
    }
}

} // namespace
